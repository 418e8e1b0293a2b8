// Fills a log in three parts, seals and copies it after each, and changes the log and the bytes of its chain.
#include "tests/proof/sealed_log.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <iterator>

#include "Corix_annal.h"
#include "tools/annalctl/base/sqlite.h"
#include "tools/annalctl/conn/model.h"
#include "tools/annalctl/event/model.h"
#include "tools/annalctl/fileop/model.h"
#include "tools/annalctl/notice/model.h"

namespace annalctl::proof {

namespace {

namespace fs = std::filesystem;

constexpr char kFolder[] = "/etc/logs/proof";

std::string new_path(const Log& log) {
  static int number = 0;
  return fmt::format("{}/{}{}.log", kFolder, log.name, ++number);
}

}  // namespace

const std::array<LogKind, 4> kLogKinds{{
    {&event::kLog, [](const char*, int limit, int batch) { return annal_event_create_tbl(limit, batch); },
     "event_id, event_type, event_date, event_time, event_user, event_ip, event_desc",
     "?1, 1, '2026-11-22', '10:00:00', 'carla', '192.0.2.7', ?2"},
    {&conn::kLog, [](const char*, int limit, int batch) { return annal_conn_create_tbl(limit, batch); },
     "conn_id, conn_type, conn_date, conn_time, conn_user, conn_ip, conn_res",
     "?1, 1, '2026-11-22', '10:00:00', 'carla', '192.0.2.7', ?2"},
    {&notice::kLog, [](const char*, int limit, int batch) { return annal_notice_create_tbl(limit, batch); },
     "id, severity, time, user, ip, desc", "?1, 3, 1795341600, 'carla', '192.0.2.7', ?2"},
    {&fileop::kLog,
     [](const char* path, int limit, int batch) { return pavo2log_event_create_tbl(path, limit, batch); },
     "event_id, event_type, event_date, event_time, event_user, event_ip, event_desc",
     "?1, 1, '2026-11-22', '10:00:00', 'carla', '192.0.2.7', ?2"},
}};

SealedLog::SealedLog(const LogKind& kind, const KeyRing& keys, int entries)
    : kind_(kind), keys_(keys), path_(new_path(*kind.log)), log_(*kind.log) {
  fs::create_directories(kFolder);
  const bool at_its_place = *kind.log->path != '\0';
  constexpr int kLimit = 100'000;
  EXPECT_EQ(kind.create(path_.c_str(), kLimit, 1), ANNAL_OK);
  if (at_its_place) {
    fs::rename(kind.log->path, path_);
  }
  log_.path = path_.c_str();
  for (int part = 0; part < 3; ++part) {
    for (int i = part * entries / 3; i < (part + 1) * entries / 3; ++i) {
      add({}, fmt::format("entry {} of the log", i));
    }
    for (const std::int64_t id : ids()) {
      if (id % 10 == 5 && id > part * entries / 3) {
        run(fmt::format("DELETE FROM {} WHERE rowid = {}", log_.table, id));
        free_.push_back(id);
      }
    }
    seal();
    copy_to(std::to_string(part));
  }
}

void SealedLog::run(const std::string& statements) const {
  const SqliteDatabase database(path_, SQLITE_OPEN_READWRITE);
  EXPECT_TRUE(database.run(statements)) << database.message() << ": " << statements;
}

void SealedLog::add(std::optional<std::int64_t> id, const std::string& text) const {
  const SqliteDatabase database(path_, SQLITE_OPEN_READWRITE);
  SqliteStatement insert(database,
                         fmt::format("INSERT INTO {} ({}) VALUES ({})", log_.table, kind_.columns, kind_.values));
  if (id) {
    insert.bind(1, *id);
  }
  insert.bind(2, text);
  static_cast<void>(insert.next());
  EXPECT_TRUE(insert.ended()) << database.message();
}

std::vector<std::int64_t> SealedLog::ids() const {
  const SqliteDatabase database(path_, SQLITE_OPEN_READWRITE);
  SqliteStatement select(database, fmt::format("SELECT rowid FROM {} ORDER BY rowid", log_.table));
  std::vector<std::int64_t> ids;
  while (select.next()) {
    ids.push_back(select.integer(0));
  }
  return ids;
}

std::int64_t SealedLog::some_id(int number) const {
  const std::vector<std::int64_t> all = ids();
  return all.at(static_cast<std::size_t>(number) % all.size());
}

void SealedLog::set_limit(int limit) const {
  const SqliteDatabase database(path_, SQLITE_OPEN_READWRITE);
  SqliteStatement trigger(database, "SELECT name, sql FROM sqlite_master WHERE type = 'trigger'");
  ASSERT_TRUE(trigger.next());
  const std::string name = trigger.text(0);
  std::string text = trigger.text(1);
  trigger.reset();
  const std::string before = "100000";
  text.replace(text.find(before), before.size(), std::to_string(limit));
  EXPECT_TRUE(database.run(fmt::format("DROP TRIGGER {}; {}", name, text))) << database.message();
}

Sealed SealedLog::seal(const SealOptions& options) {
  Sealed sealed = proof::seal(log_, keys_, options, [](std::int64_t, std::uint64_t) {});
  anchors.push_back(sealed.head);
  return sealed;
}

Report SealedLog::verify() const {
  const std::optional<Verified> verified =
      proof::verify(log_, {keys_.trusted, anchors}, [](std::int64_t, std::uint64_t) {});
  return verified ? verified->report : Report();
}

void SealedLog::copy_to(const std::string& name) const {
  fs::copy_file(path_, path_ + "." + name, fs::copy_options::overwrite_existing);
  fs::copy_file(chain(), chain() + "." + name, fs::copy_options::overwrite_existing);
}

void SealedLog::copy_from(const std::string& name) const {
  fs::copy_file(path_ + "." + name, path_, fs::copy_options::overwrite_existing);
  fs::copy_file(chain() + "." + name, chain(), fs::copy_options::overwrite_existing);
}

void SealedLog::restore() const {
  copy_from("2");
}

void SealedLog::roll_back(int which) const {
  copy_from(std::to_string(which));
}

void SealedLog::change_chain(std::size_t record, std::size_t byte) const {
  const int file = open(chain().c_str(), O_RDWR | O_CLOEXEC);
  const auto at = static_cast<off_t>(2 * kHeadSize + record * kRecordSize + byte);
  unsigned char value = 0;
  EXPECT_EQ(pread(file, &value, 1, at), 1);
  value ^= 1U;
  EXPECT_EQ(pwrite(file, &value, 1, at), 1);
  close(file);
}

void SealedLog::cut_chain(std::uintmax_t bytes) const {
  fs::resize_file(chain(), fs::file_size(chain()) - bytes);
}

void SealedLogTest::SetUp() {
  ApplianceTest::SetUp();
  start_hashing();
  keys_.emplace(load_or_create_keys("/etc/logs/keys/seal.key"));
}

bool has(const Report& report, State state) {
  return std::any_of(report.findings.begin(), report.findings.end(),
                     [state](const Finding& finding) { return finding.state == state; });
}

bool has(const Report& report, State state, std::int64_t id) {
  return std::any_of(report.findings.begin(), report.findings.end(), [state, id](const Finding& finding) {
    return finding.state == state && finding.from <= id && id <= finding.through;
  });
}

std::string read_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void write_file(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

}  // namespace annalctl::proof
