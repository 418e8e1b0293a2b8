// Stores connections as a batch, once the log has proved sound.
#include "tools/annalctl/conn/batch.h"

#include <fmt/format.h>

#include <optional>
#include <string>

#include "tools/annalctl/base/sqlite.h"
#include "tools/annalctl/conn/model.h"
#include "tools/annalctl/log/diagnosis.h"

namespace annalctl::conn {

namespace {

constexpr int kWaitMilliseconds = 20000;

// Does what a batch does and rolls it back. The library's header shows this to every caller, and explains it.
constexpr char kTrial[] =
    "BEGIN IMMEDIATE; "
    "INSERT INTO ANNAL_CONN (conn_type, conn_date, conn_time, conn_user, conn_ip, conn_comp, conn_res, conn_serv, "
    "conn_action, conn_app, conn_action_result, conn_client_id, conn_client_app, conn_client_agent) "
    "SELECT 0, strftime('%Y-%m-%d', CURRENT_TIMESTAMP, 'LOCALTIME'), strftime('%H:%M:%S', CURRENT_TIMESTAMP, "
    "'LOCALTIME'), '---', '---', '---', '---', 0, 0, '---', 0, '---', '---', '---' FROM (VALUES (1), (2)); "
    "ROLLBACK;";

// Why the log does not take entries, in SQLite's words.
std::optional<std::string> refusal() {
  const SqliteDatabase database(kLog.path, SQLITE_OPEN_READWRITE);
  sqlite3_busy_timeout(database.handle(), kWaitMilliseconds);
  return database.run(kTrial) ? std::nullopt : std::optional(database.message());
}

}  // namespace

Stored store(std::vector<ConnRecord>& records) {
  if (file_obstacle(kLog, Purpose::kWriting)) {
    return {ANNAL_BATCH_FAILED, 0};
  }
  if (const std::optional<std::string> reason = refusal()) {
    return {ANNAL_BATCH_FAILED, 0, fmt::format("the log refuses new entries: {} (run 'annalctl conn check')", *reason)};
  }
  int stored = 0;
  const int code = annal_conn_add_entries2(records.data(), static_cast<int>(records.size()), &stored);
  if (code != ANNAL_OK) {
    return {code, 0};  // Nothing was committed, whatever the number says.
  }
  const bool all = static_cast<std::size_t>(stored) == records.size();
  return {all ? ANNAL_OK : ANNAL_INSERT_FAILED, static_cast<std::size_t>(stored)};
}

}  // namespace annalctl::conn
