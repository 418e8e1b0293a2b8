// Adds connections, one at a time or in a batch. A batch that cannot begin recreates the log.
#include <cstddef>
#include <cstring>
#include <optional>
#include <string_view>
#include <type_traits>

#include "Corix_annal.h"
#include "common/address.h"
#include "common/database.h"
#include "common/paths.h"
#include "common/record.h"
#include "common/recreation.h"
#include "common/store.h"
#include "conn/forwarding.h"
#include "platform/platform.h"

namespace annal {

namespace {

constexpr std::size_t kLongestResource = 1024;

constexpr FieldBound kBounds[] = {
    {offsetof(ConnRecord, conn_user), 64, nullptr},
    {offsetof(ConnRecord, conn_app), 256, nullptr},
    {offsetof(ConnRecord, conn_ip), 64, nullptr},
    {offsetof(ConnRecord, conn_comp), 64, nullptr},
    {offsetof(ConnRecord, conn_res), kLongestResource, nullptr},
};

constexpr std::size_t kTextsEnd = offsetof(ConnRecord, conn_client_agent) + sizeof ConnRecord::conn_client_agent;

constexpr unsigned kHighestType = 2;
constexpr unsigned kHighestService = 12;
constexpr unsigned kHighestAction = 36;

// The only two results that every consumer of this log can show.
constexpr int kSucceeded = 0;
constexpr int kFailed = 13;

// Most fields receive only the text and keep the bytes after its terminator: callers have always seen exactly these
// bytes.
constexpr FieldDefault kDefaults[] = {
    {offsetof(ConnRecord, conn_comp), kHostName, 64},
    {offsetof(ConnRecord, conn_res), kAbsent, sizeof kAbsent},
    {offsetof(ConnRecord, conn_app), kAbsent, sizeof kAbsent},
    {offsetof(ConnRecord, conn_client_id), kAbsent, sizeof kAbsent},
    {offsetof(ConnRecord, conn_client_app), kAbsent, sizeof kAbsent},
    {offsetof(ConnRecord, conn_client_agent), kAbsent, sizeof kAbsent},
};

// How a single entry and a batch differ. A single entry comes from a service that saw the client; the system collects a
// batch, so missing values are attributed to the system.
struct Normalisation {
  FieldDefault user;
  FieldDefault no_address;       // replaces an invalid address
  std::string_view own_address;  // an entry without a client from an address with this prefix is the appliance's own
};

constexpr Normalisation kSingle{
    .user = {offsetof(ConnRecord, conn_user), kAbsent, 65},
    .no_address = {offsetof(ConnRecord, conn_ip), kAbsent, 65},
    .own_address = kAbsent,
};
constexpr Normalisation kBatch{
    .user = {offsetof(ConnRecord, conn_user), "System", sizeof "System"},
    .no_address = {offsetof(ConnRecord, conn_ip), kLocalAddress, 64},
    .own_address = kLocalAddress,
};

// Only the resource is escaped. A service's own names contain no quotes; if one does, the failing statement tells the
// service.
constexpr Statement kInsert{
    "INSERT INTO ANNAL_CONN \t( conn_type, conn_user, conn_ip, conn_comp, conn_res, conn_serv, conn_action, "
    "conn_app, conn_action_result, conn_client_id, conn_client_app, conn_client_agent ) \tVALUES \t( %d, '%s', "
    "'%s', '%s', '%s', %d, %d, '%s', %d, %Q, %Q, %Q);",
    Wait::kBusyTimeout, ANNAL_INSERT_FAILED};

constexpr Statement kBatchInsert{
    "INSERT INTO ANNAL_CONN ( conn_type, conn_date, conn_time, conn_user, conn_ip, conn_comp, conn_res, "
    "conn_serv, conn_action, conn_app, conn_action_result, conn_client_id, conn_client_app, conn_client_agent ) "
    "VALUES ( ?, strftime('%Y-%m-%d', CURRENT_TIMESTAMP, 'LOCALTIME'), strftime('%H:%M:%S', CURRENT_TIMESTAMP, "
    "'LOCALTIME'), ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ? );",
    Wait::kBusyTimeout, ANNAL_INSERT_FAILED};

constexpr int kBatchAttempts = 7;
constexpr int kAttemptsBeforeRecreation = 2;

bool begins(const char* text, std::string_view prefix) noexcept {
  return std::strncmp(text, prefix.data(), prefix.size()) == 0;
}

bool in_range(const ConnRecord& record) noexcept {
  return static_cast<unsigned>(record.conn_type) <= kHighestType &&
         static_cast<unsigned>(record.conn_serv) <= kHighestService &&
         static_cast<unsigned>(record.conn_action) <= kHighestAction &&
         (record.conn_action_result == kSucceeded || record.conn_action_result == kFailed);
}

void normalise(ConnRecord& record, const Normalisation& normalisation) noexcept {
  fill_empty_fields(&record, {&normalisation.user, 1});
  if (check_address(record.conn_ip, sizeof record.conn_ip) != ANNAL_OK) {
    fill_field(record.conn_ip, normalisation.no_address.text, normalisation.no_address.width);
  }
  fill_empty_fields(&record, kDefaults);
  if (begins(record.conn_ip, normalisation.own_address) && begins(record.conn_client_app, kAbsent)) {
    fill_field(record.conn_client_app, kHostName, sizeof kHostName);
  }
  Skip_Unicode_Control_Characters(record.conn_res);
}

ConnRecord widen(const ConnRecordV1& record) noexcept {
  ConnRecord copy{};
  std::memcpy(&copy, &record, sizeof record);
  return copy;
}

int store(const ConnRecord& record) noexcept {
  const Text resource(sqlite3_mprintf("%q", record.conn_res));
  if (!resource.built()) {
    return ANNAL_NO_MEMORY;
  }
  const Text text(sqlite3_mprintf(kInsert.sql, record.conn_type, record.conn_user, record.conn_ip, record.conn_comp,
                                  resource.c_str(), record.conn_serv, record.conn_action, record.conn_app,
                                  record.conn_action_result, record.conn_client_id, record.conn_client_app,
                                  record.conn_client_agent));
  return run(kConnLog, kInsert, text);
}

// Stops at the first value that cannot be bound. The texts are not copied: the record must outlive the next reset.
bool bind(const PreparedStatement& insert, const ConnRecord& record) noexcept {
  return insert.bind(1, record.conn_type) && insert.bind(2, record.conn_user) && insert.bind(3, record.conn_ip) &&
         insert.bind(4, record.conn_comp) && insert.bind(5, record.conn_res) && insert.bind(6, record.conn_serv) &&
         insert.bind(7, record.conn_action) && insert.bind(8, record.conn_app) &&
         insert.bind(9, record.conn_action_result) && insert.bind(10, record.conn_client_id) &&
         insert.bind(11, record.conn_client_app) && insert.bind(12, record.conn_client_agent);
}

// A connection to the log with a transaction begun and the statement prepared.
class Batch {
 public:
  Batch() noexcept : database_(kConnLog, Wait::kBusyTimeout), insert_(database_, kBatchInsert.sql) {}

  [[nodiscard]] bool opened() const noexcept { return database_.opened(); }
  [[nodiscard]] bool begin() const noexcept { return insert_.prepared() && run("BEGIN TRANSACTION;"); }
  [[nodiscard]] bool end() const noexcept { return run("END TRANSACTION"); }

  // Returns whether the record was inserted, or no value if it could not be bound; the consumers then do not get it. A
  // failed insert does not stop the batch, even if it rolled back the transaction: each remaining record is then stored
  // on its own.
  [[nodiscard]] std::optional<bool> add(const ConnRecord& record) const noexcept {
    std::optional<bool> stored;
    if (bind(insert_, record)) {
      stored = insert_.step() == SQLITE_DONE;
    }
    insert_.reset();
    return stored;
  }

 private:
  [[nodiscard]] bool run(const char* sql) const noexcept { return database_.execute(sql, nullptr, nullptr); }

  Database database_;
  PreparedStatement insert_;
};

// Deletes the log, with all its entries, and creates an empty one. A log that takes no batch would cost the services
// every later entry. The first failure may be temporary, so recreation starts after the second.
void recreate_log() noexcept {
  replace_with_empty_file(kConnLog);
  (void)annal_conn_create_tbl(0, 0);  // if this fails, so does the attempt
}

// Adds one record of a batch. An earlier release's record is widened in a copy and so remains unchanged.
template <typename Record>
bool add_to(const Batch& batch, Record& original) noexcept {
  ConnRecord widened;
  ConnRecord* record = &widened;
  if constexpr (std::is_same_v<Record, ConnRecord>) {
    record = &original;
  } else {
    widened = widen(original);
  }
  if (!within_bounds(record, kBounds) || !in_range(*record)) {
    return false;
  }
  normalise(*record, kBatch);
  ConnRecord room;
  const ConnRecord& connection = terminated<kTextsEnd>(*record, room);
  const std::optional<bool> stored = batch.add(connection);
  if (stored.has_value()) {
    forward(connection);
  }
  return stored.value_or(false);
}

template <typename Record>
int add_all(Record* records, int count, int* inserted) noexcept {
  if (inserted == nullptr || (records == nullptr && count > 0)) {
    return ANNAL_BAD_ARGUMENT;
  }
  *inserted = 0;
  for (int attempt = 1; attempt <= kBatchAttempts; ++attempt) {
    if (attempt > kAttemptsBeforeRecreation) {
      recreate_log();
    }
    const Batch batch;
    if (!batch.opened()) {
      return ANNAL_OPEN_FAILED;
    }
    if (!batch.begin()) {
      continue;
    }
    for (int i = 0; i < count; ++i) {
      *inserted += add_to(batch, records[i]) ? 1 : 0;
    }
    return batch.end() ? ANNAL_OK : ANNAL_INSERT_FAILED;
  }
  return ANNAL_BATCH_FAILED;
}

}  // namespace

}  // namespace annal

using namespace annal;

int annal_conn_add(const ConnRecordV1* record) noexcept {
  if (record == nullptr) {
    return ANNAL_BAD_ARGUMENT;
  }
  ConnRecord copy = widen(*record);
  return annal_conn_add2(&copy);
}

int annal_conn_add2(ConnRecord* record) noexcept {
  if (record == nullptr) {
    return ANNAL_BAD_ARGUMENT;
  }
  if (!within_bounds(record, kBounds)) {
    return ANNAL_TOO_LONG;
  }
  if (!in_range(*record)) {
    return ANNAL_BAD_ARGUMENT;
  }
  normalise(*record, kSingle);
  ConnRecord room;
  const ConnRecord& connection = terminated<kTextsEnd>(*record, room);
  const int stored = store(connection);
  if (stored == ANNAL_OK) {
    forward(connection);
  }
  return stored;
}

int annal_conn_add_entries(const ConnRecordV1* records, int count, int* inserted) noexcept {
  return add_all(records, count, inserted);
}

int annal_conn_add_entries2(ConnRecord* records, int count, int* inserted) noexcept {
  return add_all(records, count, inserted);
}
