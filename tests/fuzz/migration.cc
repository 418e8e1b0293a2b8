// Runs the migrations, then every other function, on logs of any layout and files of any bytes. Each result must be
// documented, and a migration must do all or nothing.
#include <algorithm>
#include <array>

#include "Corix_annal.h"
#include "tests/fuzz/fuzz.h"

namespace {

using annal::fuzz::Files;
using annal::fuzz::Input;
using annal::fuzz::Listing;
using annal::fuzz::or_null;
using annal::fuzz::require;
using annal::fuzz::require_answer;
using annal::fuzz::Rows;

constexpr std::array kFailures{
    static_cast<int>(ANNAL_TOO_LONG),       static_cast<int>(ANNAL_BAD_ARGUMENT),
    static_cast<int>(ANNAL_NO_MEMORY),      static_cast<int>(ANNAL_OPEN_FAILED),
    static_cast<int>(ANNAL_TABLE_FAILED),   static_cast<int>(ANNAL_EMPTY_FAILED),
    static_cast<int>(ANNAL_INSERT_FAILED),  static_cast<int>(ANNAL_QUERY_FAILED),
    static_cast<int>(ANNAL_TRIGGER_FAILED), static_cast<int>(ANNAL_CHANGE_FAILED),
    static_cast<int>(ANNAL_BATCH_FAILED),   static_cast<int>(ANNAL_REMOVE_TRIGGER_FAILED),
};
constexpr std::array kMigrationFailures{static_cast<int>(ANNAL_OPEN_FAILED), static_cast<int>(ANNAL_CHANGE_FAILED)};

using Names = std::vector<std::string>;

// ---- the logs ----

struct Log {
  const char* path;
  const char* table;
  std::span<int (*const)(Input&)> operations;
};

Names columns_of(const char* path, const std::string& table) {
  Names names;
  for (const auto& row : annal::fuzz::rows(path, "PRAGMA TABLE_INFO(" + table + ");").value_or(Rows())) {
    names.push_back(row.at(1).value_or(""));
  }
  return names;
}

std::optional<Rows> schema_of(const char* path) {
  return annal::fuzz::rows(path, "SELECT type, name, tbl_name, sql FROM sqlite_master");
}

// An added column has its default in every entry, and nothing else changes.
std::optional<Rows> content_of(const char* path, const char* table, const Names& columns) {
  std::string list;
  for (const std::string& column : columns) {
    list += (list.empty() ? "" : ", ") + std::string("quote(\"") + column + "\")";
  }
  return list.empty() ? std::nullopt : annal::fuzz::rows(path, "SELECT " + list + " FROM " + table);
}

// ---- operations: each answers with what the library answered ----

template <typename Record>
Record record_with(Input& input) {
  Record record{};
  const std::string bytes = input.bytes(input.below(64));
  // Random bytes for the numbers at the front and the first text, which stays terminated.
  std::memcpy(static_cast<void*>(&record), bytes.data(), std::min<std::size_t>(bytes.size(), 64));
  return record;
}

int add_event(Input& input) {
  EventRecord record = record_with<EventRecord>(input);
  record.event_type = 1;
  record.event_timet = input.number();
  return annal_event_add_msgid_ex3(&record);
}

int add_connections(Input& input) {
  std::array<ConnRecord, 2> records{};
  records[1].conn_type = static_cast<int>(input.below(4));
  int inserted = 0;
  const int answer = annal_conn_add_entries2(records.data(), 2, &inserted);
  require(inserted >= 0 && inserted <= 2, "a batch's number of entries");
  return answer;
}

constexpr std::array kColumnNames{"event_msgid", "event_user", "conn_app", "title", "id", "x",
                                  "rowid",       "*",          "a b",      "\"",    ""};

constexpr std::array<int (*)(Input&), 20> kEventOperations{
    [](Input& /*input*/) { return annal_event_modify_tbl(); },
    &add_event,
    [](Input& input) {
      Listing listing;
      return annal_event_query(&Listing::callback, input.code(), 0, 0, input.below(4), &listing);
    },
    [](Input& input) { return annal_event_query_count(input.below(4)); },
    [](Input& input) {
      Listing listing;
      return annal_event_query_group(&Listing::callback, 0, 0, 0, 0, input.below(10), &listing);
    },
    [](Input& input) {
      Listing listing;
      return annal_event_query_byclientTime_ex(&Listing::callback, "0,1,2", "0", 30000, 0, 0, input.below(26),
                                               &listing);
    },
    [](Input& input) {
      Listing listing;
      const std::string text = input.text(16);
      return annal_event_query_ex3(
          &Listing::callback, /* sort= */ 0, /* start= */ 0, /* end= */ 0, /* type= */ 0, /* date_from= */ "2000-01-01",
          /* date_to= */ "2040-01-01", text.c_str(), /* ip= */ nullptr,
          /* comp= */ nullptr, /* desc= */ nullptr, &listing, /* time_from= */ nullptr, /* time_to= */ nullptr,
          /* app_id= */ nullptr, text.c_str(), /* category_id= */ nullptr,
          /* category= */ nullptr, /* client_id= */ nullptr, /* client_app= */ nullptr, text.c_str());
    },
    [](Input& input) {
      const int id = input.number();
      return annal_event_del(0, &id);
    },
    [](Input& input) { return annal_event_del(2 + input.below(7), "x"); },
    [](Input& input) { return annal_event_del_logfull_over_size(input.number()); },
    [](Input& input) { return annal_event_table_check_column(input.one_of(kColumnNames)); },
    [](Input& input) {
      const std::string text = input.unquoted(32);
      return annal_event_table_add_column(input.one_of(kColumnNames), static_cast<int>(input.below(2)), text.c_str());
    },
    [](Input& input) { return annal_event_table_update_event_timet(nullptr, input.flag() ? "%s" : "%Y"); },
    [](Input& input) { return annal_event_create_tbl(input.number(), input.number()); },
    [](Input& input) { return annal_event_add_trigger_logfull(input.number(), input.number()); },
    [](Input& /*input*/) { return annal_event_remove_trigger_logfull(); },
    [](Input& /*input*/) { return annal_event_flush_tbl(); },
    [](Input& /*input*/) { return annal_event_remove_tbl(); },
    [](Input& /*input*/) { return annal_common_pack_db(); },
    [](Input& input) { return annal_event_query_byclientTime_count_ex("1", "0", input.number()); },
};

constexpr std::array<int (*)(Input&), 15> kConnOperations{
    [](Input& /*input*/) { return annal_conn_modify_tbl(); },
    &add_connections,
    [](Input& /*input*/) {
      ConnRecord record{};
      return annal_conn_add2(&record);
    },
    [](Input& input) {
      Listing listing;
      return annal_conn_query(nullptr, &Listing::callback, static_cast<int>(input.below(22)), 0, 0,
                              static_cast<int>(input.below(4)), &listing);
    },
    [](Input& input) { return annal_conn_query_count(static_cast<int>(input.below(4))); },
    [](Input& input) {
      Listing listing;
      return annal_conn_query_group(nullptr, &Listing::callback, 0, 0, 0, 0, input.below(12), &listing);
    },
    [](Input& input) {
      Listing listing;
      return annal_conn_query_byclientTime_group(&Listing::callback, /* levels= */ "0,1,2", /* client_time= */ "0",
                                                 /* days= */ 30000, /* start= */ 0, /* end= */ 0, input.below(26),
                                                 /* group_text= */ "group by conn_user", &listing);
    },
    [](Input& input) { return annal_conn_del(2 + input.below(6), "x"); },
    [](Input& input) { return annal_conn_del_full(input.number()); },
    [](Input& input) { return annal_conn_table_check_column(input.one_of(kColumnNames)); },
    [](Input& input) { return annal_conn_table_add_column(input.one_of(kColumnNames), 1, "0"); },
    [](Input& input) { return annal_conn_create_tbl(input.number(), input.number()); },
    [](Input& /*input*/) { return annal_conn_remove_trigger_logfull(); },
    [](Input& /*input*/) { return annal_conn_flush_tbl(); },
    [](Input& /*input*/) { return annal_conn_remove_tbl(); },
};

constexpr std::array<int (*)(Input&), 14> kNoticeOperations{
    [](Input& /*input*/) { return AnnalNoticeModifyTbl(); },
    [](Input& input) {
      NoticeRecord record = record_with<NoticeRecord>(input);
      record.severity = 3;
      return annal_notice_add(&record);
    },
    [](Input& /*input*/) {
      const int missing = isAllColumnExist();
      require(missing >= 0 && missing <= 21, "the number of missing columns");
      return 0;
    },
    [](Input& input) {
      Listing listing;
      return annal_notice_query(&Listing::callback, input.below(24), 0, 0, 0, &listing);
    },
    [](Input& /*input*/) { return annal_notice_query_count(0, nullptr, nullptr, nullptr, nullptr, nullptr); },
    [](Input& input) {
      Listing listing;
      return annal_notice_query_group_byclientTime(&Listing::callback, /* from= */ "0", /* days= */ 30000,
                                                   /* to= */ "9999999999", /* start= */ 0, /* end= */ 0, /* sort= */ 0,
                                                   input.below(16), /* condition= */ nullptr, &listing);
    },
    [](Input& input) { return annal_notice_del(8 + input.below(5), "x"); },
    [](Input& input) { return AnnalNoticeDellogByClientTime(input.number()); },
    [](Input& input) {
      // A value below 0 is returned unchanged.
      return std::max(annal_notice_table_check_column(input.one_of(kColumnNames)), 0);
    },
    [](Input& input) { return annal_notice_table_add_column(input.one_of(kColumnNames), 0, "x"); },
    [](Input& input) { return annal_notice_create_tbl(input.number(), input.number()); },
    [](Input& /*input*/) { return annal_notice_remove_trigger_logfull(); },
    [](Input& /*input*/) { return annal_notice_flush_tbl(); },
    [](Input& /*input*/) { return annal_notice_remove_tbl(); },
};

constexpr std::array<int (*)(Input&), 9> kFileOpOperations{
    [](Input& input) {
      FileOpRecord record{};
      record.event_action = 1 + input.below(35);
      return static_cast<int>(std::min<std::int64_t>(pavo2log_event_add(annal::fuzz::kFileOpLog, &record), 0));
    },
    [](Input& input) {
      Listing listing;
      return pavo2log_event_query(annal::fuzz::kFileOpLog, &Listing::callback, input.below(22), 0, 0, 0, &listing);
    },
    [](Input& input) {
      FileOpFilter filter{};
      filter.event_filesize = -1;
      filter.event_action = static_cast<int>(input.below(3));
      return pavo2log_event_query_count_by(annal::fuzz::kFileOpLog, &filter, nullptr, nullptr, nullptr, nullptr);
    },
    [](Input& input) { return pavo2log_event_del(annal::fuzz::kFileOpLog, 9 + input.below(4), "x"); },
    [](Input& input) { return pavo2log_event_create_tbl(annal::fuzz::kFileOpLog, input.number(), input.number()); },
    [](Input& input) {
      return pavo2log_event_add_trigger_logfull(annal::fuzz::kFileOpLog, input.number(), input.number());
    },
    [](Input& /*input*/) { return pavo2log_event_remove_trigger_logfull(annal::fuzz::kFileOpLog); },
    [](Input& /*input*/) { return pavo2log_event_flush_tbl(annal::fuzz::kFileOpLog); },
    [](Input& /*input*/) { return pavo2log_event_remove_tbl(annal::fuzz::kFileOpLog); },
};

constexpr std::array kLogs{
    Log{annal::fuzz::kEventLog, "ANNAL_EVENT", kEventOperations},
    Log{annal::fuzz::kConnLog, "ANNAL_CONN", kConnOperations},
    Log{annal::fuzz::kNoticeLog, "ANNAL_NOTICE", kNoticeOperations},
    Log{annal::fuzz::kFileOpLog, "PAVO2LOG_EVENT", kFileOpOperations},
};

// The logs of this release.
const Files& new_logs() {
  static const Files logs = [] {
    require(annal_event_create_tbl(0, 0) == ANNAL_OK && annal_conn_create_tbl(0, 0) == ANNAL_OK &&
                annal_notice_create_tbl(0, 0) == ANNAL_OK &&
                pavo2log_event_create_tbl(annal::fuzz::kFileOpLog, 0, 0) == ANNAL_OK,
            "new logs");
    return annal::fuzz::files();
  }();
  return logs;
}

const Names& current_columns(const Log& log) {
  static const auto all = [] {
    annal::fuzz::put_back(new_logs());
    std::map<std::string, Names> columns;
    for (const Log& each : kLogs) {
      columns[each.path] = columns_of(each.path, each.table);
    }
    return columns;
  }();
  return all.at(log.path);
}

// ---- tables of any layout ----

std::string quoted(const std::string& name) {
  std::string text = "\"";
  for (const char c : name) {
    text += c == '"' ? "\"\"" : std::string(1, c);
  }
  return text + "\"";
}

std::string any_columns(Input& input, const Names& current, std::string& names) {
  constexpr std::array kTypes{" TEXT",
                              " INTEGER",
                              "",
                              " INTEGER PRIMARY KEY",
                              " TEXT NOT NULL",
                              " TEXT UNIQUE",
                              " BLOB",
                              " TEXT DEFAULT 'x'",
                              " CHECK (1 > 2)",
                              " AS (1) STORED",
                              " AS (1)",
                              " COLLATE NOCASE",
                              " INTEGER PRIMARY KEY AUTOINCREMENT UNIQUE"};
  std::string text;
  const std::size_t count = input.below(static_cast<unsigned>(current.size()) + 3);
  for (std::size_t i = 0; i < count; ++i) {
    std::string name = i < current.size() ? current[i] : "further";
    const unsigned twist = input.below(16);
    if (twist == 1) {
      name = input.text(40);
    } else if (twist == 2) {
      name[0] = static_cast<char>(name[0] ^ ' ');
    } else if (twist == 3) {
      name = input.one_of(current);
    }
    const unsigned type = input.below(24);
    text += (i == 0 ? "" : ", ") + quoted(name) + (type < kTypes.size() ? kTypes[type] : " TEXT");
    names += (i == 0 ? "" : ", ") + std::string("NULL AS ") + quoted(name);
  }
  return text;
}

void any_table(Input& input, const Log& log) {
  const char* const path = log.path;
  const std::string table = log.table;
  std::string names;
  const std::string columns = any_columns(input, current_columns(log), names);
  const unsigned pages = input.below(8);
  annal::fuzz::run_tolerantly(path, "PRAGMA page_size = " + std::to_string(512U << pages) + ";");
  if (input.below(8) == 1) {
    annal::fuzz::run_tolerantly(path, "PRAGMA journal_mode = WAL;");
  }
  if (input.below(16) == 1) {
    annal::fuzz::run_tolerantly(path, "PRAGMA encoding = 'UTF-16';");
  }
  switch (input.below(8)) {
    case 1:
      annal::fuzz::run_tolerantly(path, "CREATE VIEW " + table + " AS SELECT " + names);
      break;
    case 2:
      annal::fuzz::run_tolerantly(path, "CREATE TABLE " + table + " (" + columns + ") WITHOUT ROWID");
      break;
    case 3:
      annal::fuzz::run_tolerantly(path, "CREATE VIRTUAL TABLE " + table + " USING fts5(event_user, event_desc)");
      break;
    case 4:
      annal::fuzz::run_tolerantly(path, "CREATE TABLE " + table + " (" + columns + ") STRICT");
      break;
    case 5:
      annal::fuzz::run_tolerantly(
          path, "CREATE VIEW " + table +
                    " AS WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i FROM n) SELECT i AS id, " +
                    (names.empty() ? "1" : names) + " FROM n");
      break;
    default:
      annal::fuzz::run_tolerantly(path, "CREATE TABLE " + table + " (" + columns + ")");
  }
  for (unsigned rows = input.below(4); rows > 0; --rows) {
    annal::fuzz::run_tolerantly(path, "INSERT INTO " + table + " DEFAULT VALUES");
  }
  constexpr std::array kExtras{
      "CREATE TRIGGER t1 BEFORE INSERT ON % BEGIN SELECT RAISE(ABORT, 'no'); END",
      "CREATE TRIGGER t2 AFTER INSERT ON % BEGIN DELETE FROM %; END",
      "CREATE TRIGGER t3 AFTER DELETE ON % BEGIN INSERT INTO % DEFAULT VALUES; END",
      "CREATE TRIGGER t4 INSTEAD OF INSERT ON % BEGIN SELECT 1; END",
      "CREATE TRIGGER t5 AFTER INSERT ON % BEGIN INSERT INTO % DEFAULT VALUES; END",
      "CREATE VIEW v AS SELECT nothing FROM %",
      "CREATE INDEX i ON %(event_user, rowid)",
      "CREATE TABLE other (x REFERENCES %(event_id))",
      "PRAGMA user_version = 7",
      "DROP TABLE sqlite_sequence",
  };
  for (unsigned extras = input.below(4); extras > 0; --extras) {
    std::string sql = input.one_of(kExtras);
    for (std::size_t place = sql.find('%'); place != std::string::npos; place = sql.find('%', place)) {
      sql.replace(place, 1, table);
    }
    annal::fuzz::run_tolerantly(path, sql);
  }
}

void any_file(Input& input, const Log& log) {
  Files files;
  const unsigned patches = input.below(4);
  if (patches == 0) {
    files[log.path] = input.bytes(input.byte() * std::size_t{256});
  } else {
    std::string content = new_logs().at(log.path);
    for (unsigned i = 0; i < patches; ++i) {
      const std::size_t place = (std::size_t{input.byte()} << 8U | input.byte()) % content.size();
      const std::string bytes = input.bytes(1 + input.below(8));
      content.replace(place, std::min(bytes.size(), content.size() - place), bytes, 0, content.size() - place);
    }
    if (input.below(8) == 1) {
      content.resize(content.size() - std::min<std::size_t>(content.size(), input.byte() * std::size_t{256}));
    }
    files[log.path] = content;
  }
  annal::fuzz::put_back(files);
}

// ---- migrations ----

void require_all_or_nothing(int answer, const char* path, const std::string& table, const Names& wanted,
                            const std::optional<Rows>& before) {
  require_answer(answer, kMigrationFailures);
  if (answer == ANNAL_OK) {
    require(columns_of(path, table) == wanted, "a migrated table with other columns");
  } else {
    require(schema_of(path) == before, "a failed migration that has changed the schema");
  }
}

void migrate(const Log& log, int (*migration)() noexcept) {
  const std::optional<Rows> before = schema_of(log.path);
  const Names columns = columns_of(log.path, log.table);
  const std::optional<Rows> content = content_of(log.path, log.table, columns);
  const int answer = migration();
  require_all_or_nothing(answer, log.path, log.table, current_columns(log), before);
  require(content_of(log.path, log.table, columns) == content, "a migration that has changed an entry");
}

// A mostly correct list, for a mostly correct table of a few columns.
void migrate_any(Input& input) {
  const char* const path = annal::fuzz::kFileOpLog;
  const Names letters{"a", "b", "c", "d"};
  constexpr std::array kStatements{
      "ALTER TABLE t ADD COLUMN b TEXT;", "ALTER TABLE u ADD COLUMN b;", "nonsense;", "SELECT 1;", "", "-- no end"};
  Names names;
  Names statements;
  bool regular = true;
  for (std::size_t i = 0; i < letters.size(); ++i) {
    const unsigned twist = input.below(16);
    names.push_back(twist == 1 ? input.text(20) : letters[i]);
    statements.push_back(twist == 2 || twist == 3 ? input.one_of(kStatements)
                                                  : "ALTER TABLE t ADD COLUMN \"" + letters[i] + "\";");
    regular = regular && (twist == 0 || twist > 4);
  }
  const unsigned without = input.below(32);  // a column without its name, or without its statement
  std::vector<AnnalColumn> list(input.below(static_cast<unsigned>(letters.size()) + 1));
  for (std::size_t i = 0; i < list.size(); ++i) {
    list[i] = {without == i ? nullptr : names[i].c_str(),
               without == i + letters.size() ? nullptr : statements[i].c_str()};
  }
  std::string selected;
  annal::fuzz::run_tolerantly(path, "CREATE TABLE t (" + any_columns(input, {"a", "b", "c"}, selected) + ")");
  const std::optional<Rows> before = schema_of(path);
  const std::string table = input.below(8) == 1 ? input.text(130) : "t";
  const int answer = annal_common_migrate_db(path, table.c_str(), list.empty() ? nullptr : list.data(), list.size());
  require_answer(answer, kMigrationFailures);
  if (answer != ANNAL_OK) {
    require(schema_of(path) == before, "a failed migration that has changed the schema");
  } else if (regular && table == "t") {
    names.resize(list.size());
    require(columns_of(path, table) == names, "a migrated table with other columns");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  for (const Log& log : kLogs) {
    static_cast<void>(current_columns(log));  // before any measurement
  }
  Input input(data, size);
  annal::fuzz::put_back({});
  const annal::fuzz::LeakCheck leak_check;
  const unsigned chosen = input.below(kLogs.size() + 1);
  if (chosen == kLogs.size()) {
    migrate_any(input);
    return 0;
  }
  const Log& log = kLogs.at(chosen);
  if (input.below(4) == 1) {
    any_file(input, log);
  } else {
    any_table(input, log);
  }
  if (chosen == 0) {
    migrate(log, &annal_event_modify_tbl);
  } else if (chosen == 1) {
    migrate(log, &annal_conn_modify_tbl);
  }
  constexpr int kMaxOperations = 6;
  for (int i = 0; i < kMaxOperations && !input.empty(); ++i) {
    require_answer(input.one_of(log.operations)(input), kFailures);
  }
  return 0;
}
