// The registry: a valid call of every exported function, its documented codes, and what its documentation allows
// besides all or nothing.
#include "tests/trust/harness/scenarios.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <ostream>
#include <set>
#include <span>
#include <stdexcept>

#include "Corix_annal.h"
#include "common/paths.h"
#include "tests/support/log_file.h"
#include "tests/support/platform_recorder.h"

namespace annal::test {

namespace {

// ---- set-ups ----

constexpr int kEntries = 3;

void must(int result) {
  if (result != ANNAL_OK) {
    throw std::runtime_error("a log cannot be set up: " + std::to_string(result));
  }
}

void set_up_events(Start start) {
  must(annal_event_create_tbl(kEntries, 1));
  for (const char* text : {"one", "two", "three"}) {
    auto record = an_event<EventRecord>(text);
    must(annal_event_add_msgid_ex3(&record));
  }
  if (start == Start::kUnlimited) {
    must(annal_event_remove_trigger_logfull());
  }
}

void set_up_connections(Start start) {
  must(annal_conn_create_tbl(kEntries, 1));
  for (const char* resource : {"/one", "/two", "/three"}) {
    auto record = a_connection<ConnRecord>(resource);
    must(annal_conn_add2(&record));
  }
  if (start == Start::kUnlimited) {
    must(annal_conn_remove_trigger_logfull());
  }
}

void set_up_file_operations(Start start) {
  must(pavo2log_event_create_tbl(kFileOpLog, kEntries, 1));
  for (int i = 0; i < kEntries; ++i) {
    FileOpRecord record = a_file_operation("/one");
    must(pavo2log_event_add(kFileOpLog, &record) == i + 1 ? ANNAL_OK : ANNAL_INSERT_FAILED);
  }
  if (start == Start::kUnlimited) {
    must(pavo2log_event_remove_trigger_logfull(kFileOpLog));
  }
}

void set_up_notices(Start start) {
  must(annal_notice_create_tbl(kEntries, 1));
  for (const char* text : {"one", "two", "three"}) {
    NoticeRecord record = a_notice(text);
    must(annal_notice_add(&record));
  }
  if (start == Start::kUnlimited) {
    must(annal_notice_remove_trigger_logfull());
  }
}

// Input for migrations: a table without its last columns, and without triggers and indexes that would block dropping
// them.
void set_up_old(Log log) {
  switch (log) {
    case Log::kEvents:
      sql(kEventLog,
          "CREATE TABLE ANNAL_EVENT (event_id INTEGER PRIMARY KEY, event_type INTEGER, event_date TEXT, "
          "event_time TEXT, event_user TEXT, event_ip TEXT, event_comp TEXT, event_desc TEXT);"
          "INSERT INTO ANNAL_EVENT VALUES (1,1,'2026-01-15','12:00:00','anna','10.0.0.5','pc','one'),"
          "(2,0,'2026-01-15','12:00:01','bert','10.0.0.6','pc','two');");
      break;
    case Log::kConnections:
      sql(kConnLog,
          "CREATE TABLE ANNAL_CONN (conn_id INTEGER PRIMARY KEY, conn_type INTEGER, conn_date TEXT, conn_time TEXT, "
          "conn_user TEXT, conn_ip TEXT, conn_comp TEXT, conn_res TEXT, conn_serv INTEGER, conn_action INTEGER);"
          "INSERT INTO ANNAL_CONN VALUES (1,1,'2026-01-15','12:00:00','anna','10.0.0.5','pc','/one',2,9),"
          "(2,0,'2026-01-15','12:00:01','bert','10.0.0.6','pc','/two',2,9);");
      break;
    case Log::kNotices:
      sql(kNoticeLog,
          "CREATE TABLE ANNAL_NOTICE (id INTEGER PRIMARY KEY, severity INTEGER, server INTEGER, action INTEGER, "
          "serviceName TEXT, facility INTEGER, time INTEGER, endtime INTEGER, user TEXT, ip TEXT, client TEXT, "
          "desc TEXT, msgCode TEXT, varNum INTEGER, varContent TEXT, name TEXT, status INTEGER, uid INTEGER, "
          "gid INTEGER, link_id TEXT, link_option TEXT);"
          "INSERT INTO ANNAL_NOTICE VALUES "
          "(1,4,0,0,'a',8,1768474800,0,'anna','10.0.0.5','','one','m',0,'','n',0,0,0,'','');");
      break;
    case Log::kFileOperations:  // have no migration
    case Log::kNone:
      break;
  }
}

// ---- delivered rows ----

int gather(void* into, int columns, char** values, char** /*names*/) {
  auto& output = *static_cast<std::string*>(into);
  for (int i = 0; i < columns; ++i) {
    output += std::string(values[i] != nullptr ? values[i] : "NULL") + "|";
  }
  output += "\n";
  return 0;
}

// ---- what the documentation allows besides all or nothing ----

bool is_one_of(int result, std::initializer_list<int> codes) {
  return std::find(codes.begin(), codes.end(), result) != codes.end();
}

// The results of a creation that got as far as its trigger.
bool is_about_the_trigger(int result) {
  return is_one_of(result, {ANNAL_TRIGGER_FAILED, ANNAL_NO_MEMORY, ANNAL_OPEN_FAILED});
}

// The table stays if its trigger cannot be created.
bool table_may_stay(const Outcome& outcome, const Expectation& expected) {
  return is_about_the_trigger(outcome.result) && outcome.found == without_trigger(expected.after);
}

// The same, and a failed index does not count as a failure.
bool indexes_may_lack(const Outcome& outcome, const Expectation& expected) {
  const Content found = without_indexes(outcome.found);
  const Content made = without_indexes(expected.after);
  return (outcome.result == ANNAL_OK && found == made) ||
         (is_about_the_trigger(outcome.result) && found == without_trigger(made));
}

// Each column that could not be read counts as missing.
bool counts_unreadable_columns(const Outcome& outcome, const Expectation& expected) {
  constexpr int kRequiredColumns = 21;
  return outcome.result > 0 && outcome.result <= kRequiredColumns && outcome.found == expected.before;
}

// A required column that could not be read counts as missing and costs the file. If the file could not be opened, or
// memory ran out before the query, the column counts as present, and nothing is done.
bool notices_may_be_lost_or_left(const Outcome& outcome, const Expectation& expected) {
  const bool left = outcome.result == ANNAL_OK && outcome.found == expected.before;
  const bool lost = outcome.found.rows.empty() &&
                    is_one_of(outcome.result, {ANNAL_OK, ANNAL_NO_MEMORY, ANNAL_OPEN_FAILED, ANNAL_TABLE_FAILED,
                                               ANNAL_TRIGGER_FAILED, ANNAL_CHANGE_FAILED});
  return left || lost;
}

std::vector<std::string> rows_with(const Content& content, bool of_batch) {
  std::vector<std::string> rows;
  std::copy_if(content.rows.begin(), content.rows.end(), std::back_inserter(rows), [&](const std::string& row) {
    return row.find("|/") != std::string::npos && (row.find("|/batch") != std::string::npos) == of_batch;
  });
  return rows;
}

// The log has exactly the counted new entries, each once. After a failure it has none, except those after the point
// where SQLite rolled back the transaction. The old entries stay, except those that the trigger deletes; all of them go
// if two attempts at the file have failed.
bool batch_is_whole(const Outcome& outcome, const Expectation& expected) {
  const std::vector<std::string> all_old = rows_with(expected.before, false);
  const std::vector<std::string> old_rows = rows_with(outcome.found, false);
  const std::vector<std::string> new_rows = rows_with(outcome.found, true);
  const bool recreated = outcome.faults >= 2 && old_rows.empty();
  if (outcome.result != ANNAL_OK && new_rows.empty()) {
    return is_one_of(outcome.result, {ANNAL_OPEN_FAILED, ANNAL_INSERT_FAILED, ANNAL_BATCH_FAILED}) &&
           (outcome.found == expected.before || recreated);
  }
  const bool limited = without_trigger(outcome.found) != outcome.found;
  const std::size_t kept = limited ? all_old.size() - std::min(all_old.size(), new_rows.size()) : all_old.size();
  const bool each_once = std::set(new_rows.begin(), new_rows.end()).size() == new_rows.size();
  const bool latest_kept = old_rows.size() == kept && std::equal(old_rows.rbegin(), old_rows.rend(), all_old.rbegin());
  const bool counted = outcome.result == ANNAL_INSERT_FAILED ||
                       (outcome.result == ANNAL_OK && std::to_string(new_rows.size()) == outcome.output);
  return each_once && counted && (latest_kept || recreated);
}

// ---- the registry ----

// The failures of a call that builds a statement and runs it on a file.
std::vector<int> run_failing(int failure) {
  return {ANNAL_OPEN_FAILED, failure};
}
std::vector<int> built_failing(int failure) {
  return {ANNAL_NO_MEMORY, ANNAL_OPEN_FAILED, failure};
}

class Registry {
 public:
  // A call that touches no log and cannot fail.
  template <typename Call>
  void plain(const char* function, int success, Call call) {
    add(function, Log::kNone, Start::kAbsent, success, {}, 0, call);
  }

  template <typename Call>
  Scenario& add(const char* function, Log log, Start start, int success, std::vector<int> failures, int waits,
                Call call) {
    Scenario scenario{function, "", log, start, {}, success, std::move(failures), waits, nullptr};
    if constexpr (std::is_invocable_v<Call, std::string&>) {
      scenario.call = call;
    } else {
      scenario.call = [call](std::string& /*output*/) { return call(); };
    }
    all_.push_back(std::move(scenario));
    return all_.back();
  }

  // Creates a table and then its trigger.
  template <typename Call>
  void creation(const char* function, Log log, int statements, Allowance allows, Call call) {
    Scenario& scenario = add(function, log, Start::kAbsent, ANNAL_OK,
                             {ANNAL_NO_MEMORY, ANNAL_OPEN_FAILED, ANNAL_TABLE_FAILED}, statements + 1, call);
    scenario.allows = allows;
    scenario.partial_failures = {ANNAL_TRIGGER_FAILED};
  }

  // A query: returns a count, or ANNAL_OK if it lists.
  template <typename Call>
  void query(const char* function, Log log, int success, Call call) {
    add(function, log, Start::kFilled, success, built_failing(ANNAL_QUERY_FAILED), 1, call);
  }

  std::vector<Scenario> take() { return std::move(all_); }

 private:
  std::vector<Scenario> all_;
};

void add_helpers(Registry& registry) {
  registry.plain("annal_checkip", ANNAL_OK, [](std::string& output) {
    char ip[65] = "::ffff:10.0.0.5%eth0";
    const int result = annal_checkip(ip);
    output = ip;
    return result;
  });
  registry.plain("annal_gethostname", ANNAL_OK, [](std::string& output) {
    output.resize(64);
    return annal_gethostname(output.data());
  });
  registry.plain("annal_getlocalip", ANNAL_OK, [](std::string& output) {
    output.resize(64);
    return annal_getlocalip(output.data());
  });
  registry.plain("auto_free_str", ANNAL_OK, [] {
    char* text = sqlite3_mprintf("a text");
    auto_free_str(&text);
    return text == nullptr ? ANNAL_OK : ANNAL_NO_MEMORY;
  });
  registry.plain("ChangeLogTypeToNoticeSeverity", 4, [] { return ChangeLogTypeToNoticeSeverity(1); });
  registry.plain("Get_Facility_String_By_Facility", ANNAL_OK, [](std::string& output) {
    output.resize(64);
    return Get_Facility_String_By_Facility(8, output.data(), 64);
  });
  // Misspelled on purpose: fails on a healthy log.
  registry.add("annal_common_pack_db", Log::kEvents, Start::kFilled, ANNAL_TABLE_FAILED, {ANNAL_OPEN_FAILED}, 0,
               [] { return annal_common_pack_db(); });
  registry.add("annal_common_migrate_db", Log::kEvents, Start::kOld, ANNAL_OK, built_failing(ANNAL_CHANGE_FAILED), 1,
               [] {
                 constexpr AnnalColumn kColumns[] = {
                     {"event_id", nullptr},
                     {"event_type", nullptr},
                     {"event_date", nullptr},
                     {"event_time", nullptr},
                     {"event_user", nullptr},
                     {"event_ip", nullptr},
                     {"event_comp", nullptr},
                     {"event_desc", nullptr},
                     {"one_more", "ALTER TABLE ANNAL_EVENT ADD COLUMN one_more TEXT DEFAULT 'a';"},
                     {"another", "ALTER TABLE ANNAL_EVENT ADD COLUMN another TEXT DEFAULT 'b';"}};
                 return annal_common_migrate_db(kEventLog, "ANNAL_EVENT", kColumns, std::size(kColumns));
               });
}

// Maintenance functions common to events and connections.
struct Maintenance {
  Log log;
  int (*create)(int, int);
  int (*remove)();
  int (*flush)();
  int (*add_trigger)(int, int);
  int (*remove_trigger)();
  int (*del)(unsigned, const void*);
  int (*check_column)(const char*);
  int (*add_column)(const char*, int, const char*);
  int (*modify)();
  std::vector<const char*> names;  // the columns, in this order
  const char* id;                  // the first column
};

void add_maintenance(Registry& registry, const Maintenance& log) {
  const auto call = [&](int which) { return log.names.at(static_cast<std::size_t>(which)); };
  registry.creation(call(0), log.log, 1, &table_may_stay, [create = log.create] { return create(0, 0); });
  registry.add(call(1), log.log, Start::kFilled, ANNAL_OK, run_failing(ANNAL_TABLE_FAILED), 0, log.remove);
  registry.add(call(2), log.log, Start::kFilled, ANNAL_OK, run_failing(ANNAL_EMPTY_FAILED), 1, log.flush);
  registry.add(call(3), log.log, Start::kUnlimited, ANNAL_OK, built_failing(ANNAL_TRIGGER_FAILED), 1,
               [add = log.add_trigger] { return add(7, 2); });
  registry.add(call(4), log.log, Start::kFilled, ANNAL_OK, run_failing(ANNAL_REMOVE_TRIGGER_FAILED), 1,
               log.remove_trigger);
  registry.add(call(5), log.log, Start::kFilled, ANNAL_OK, built_failing(ANNAL_CHANGE_FAILED), 0, [del = log.del] {
    const int id = 2;
    return del(0, &id);
  });
  registry.add(call(6), log.log, Start::kFilled, 1, built_failing(ANNAL_QUERY_FAILED), 1,
               [check = log.check_column, id = log.id] { return check(id); });
  registry.add(call(7), log.log, Start::kFilled, ANNAL_OK, built_failing(ANNAL_CHANGE_FAILED), 0,
               [add = log.add_column] { return add("one_more", 0, "a"); });
  registry.add(call(8), log.log, Start::kOld, ANNAL_OK, built_failing(ANNAL_CHANGE_FAILED), 1, log.modify);
}

void add_events(Registry& registry) {
  constexpr Log kLog = Log::kEvents;
  add_maintenance(registry,
                  {kLog,
                   &annal_event_create_tbl,
                   &annal_event_remove_tbl,
                   &annal_event_flush_tbl,
                   &annal_event_add_trigger_logfull,
                   &annal_event_remove_trigger_logfull,
                   &annal_event_del,
                   &annal_event_table_check_column,
                   &annal_event_table_add_column,
                   &annal_event_modify_tbl,
                   {"annal_event_create_tbl", "annal_event_remove_tbl", "annal_event_flush_tbl",
                    "annal_event_add_trigger_logfull", "annal_event_remove_trigger_logfull", "annal_event_del",
                    "annal_event_table_check_column", "annal_event_table_add_column", "annal_event_modify_tbl"},
                   "event_id"});
  registry.add("annal_event_del_logfull_over_size", kLog, Start::kFilled, ANNAL_OK, built_failing(ANNAL_TRIGGER_FAILED),
               1, [] { return annal_event_del_logfull_over_size(1); });
  registry.add("annal_event_table_update_event_timet", kLog, Start::kUnlimited, ANNAL_OK,
               built_failing(ANNAL_CHANGE_FAILED), 0,
               [] { return annal_event_table_update_event_timet(nullptr, "%s"); });

  registry.plain("annal_event_enable_name_matching", ANNAL_OK, [] {
    return annal_event_enable_name_matching(0) == &is_event_name_matching ? ANNAL_OK : ANNAL_BAD_ARGUMENT;
  });
  registry.plain("InitAnnalEvent", ANNAL_OK, [] {
    EventRecord record = an_event<EventRecord>("text");
    return InitAnnalEvent(&record) == record.event_desc ? ANNAL_OK : ANNAL_BAD_ARGUMENT;
  });
  const auto adding = built_failing(ANNAL_INSERT_FAILED);
  for (const Start start : {Start::kFilled, Start::kUnlimited}) {
    registry
        .add("annal_event_add_msgid_ex3", kLog, start, ANNAL_OK, adding, 1,
             [] {
               auto record = an_event<EventRecord>("it's new");
               return annal_event_add_msgid_ex3(&record);
             })
        .variant = start == Start::kFilled ? "InAFullLog" : "";
  }
  registry.add("annal_event_add_msgid_ex2", kLog, Start::kFilled, ANNAL_OK, adding, 1, [] {
    const auto record = an_event<EventRecordEx>("new");
    return annal_event_add_msgid_ex2(&record);
  });
  registry.add("annal_event_add_msgid", kLog, Start::kFilled, ANNAL_OK, adding, 1, [] {
    const auto record = an_event<EventRecordMsgId>("new");
    return annal_event_add_msgid(&record);
  });
  registry.add("annal_event_add", kLog, Start::kFilled, ANNAL_OK, adding, 1, [] {
    const auto record = an_event<EventRecordBasic>("new");
    return annal_event_add(&record);
  });
  registry.plain("annal_report_event", ANNAL_OK, [] { return annal_report_event(1, "a \"text\""); });
  registry.plain("SendEventToLumod", ANNAL_OK, [] {
    const auto record = an_event<EventRecord>("text");
    SendEventToLumod(&record);
    return ANNAL_OK;
  });
  registry.plain("send_event_log_to_orca", ANNAL_OK, [] {
    const auto record = an_event<EventRecord>("text");
    return send_event_log_to_orca(&record, kTimeOfEntries);
  });

  registry.query("annal_event_query", kLog, ANNAL_OK,
                 [](std::string& output) { return annal_event_query(&gather, 0, 0, 0, 0, &output); });
  registry.query("annal_event_query_group", kLog, ANNAL_OK,
                 [](std::string& output) { return annal_event_query_group(&gather, 8, 0, 0, 0, 4, &output); });
  registry.query("annal_event_query_count", kLog, kEntries, [] { return annal_event_query_count(0); });
  registry.query("annal_event_query_ex", kLog, ANNAL_OK, [](std::string& output) {
    return annal_event_query_ex(&gather, /* sort= */ 0, /* start= */ 0, /* end= */ 9, /* type= */ 2,
                                /* date_from= */ "2026-01-01", /* date_to= */ "2026-12-31", /* user= */ "ann",
                                /* ip= */ "10.", /* comp= */ "local", /* desc= */ "o", &output,
                                /* time_from= */ "00:00:00", /* time_to= */ "23:59:59");
  });
  registry.query("annal_event_query_ex2", kLog, ANNAL_OK, [](std::string& output) {
    return annal_event_query_ex2(&gather, /* sort= */ 0, /* start= */ 0, /* end= */ 9, /* type= */ 2,
                                 /* date_from= */ nullptr, /* date_to= */ nullptr, /* user= */ "ann", /* ip= */ nullptr,
                                 /* comp= */ nullptr, /* desc= */ nullptr, &output,
                                 /* time_from= */ nullptr, /* time_to= */ nullptr, /* app_id= */ "-",
                                 /* app_name= */ "-", /* category_id= */ "-", /* category= */ "-");
  });
  registry.query("annal_event_query_ex3", kLog, ANNAL_OK, [](std::string& output) {
    return annal_event_query_ex3(&gather, /* sort= */ 1, /* start= */ 0, /* end= */ 9, /* type= */ 2,
                                 /* date_from= */ nullptr, /* date_to= */ nullptr, /* user= */ "ann", /* ip= */ nullptr,
                                 /* comp= */ nullptr, /* desc= */ nullptr, &output,
                                 /* time_from= */ nullptr, /* time_to= */ nullptr, /* app_id= */ "-",
                                 /* app_name= */ "-", /* category_id= */ "-", /* category= */ "-", /* client_id= */ "-",
                                 /* client_app= */ "-", /* client_agent= */ "-");
  });
  registry.query("annal_event_query_count_ex", kLog, kEntries, [] {
    return annal_event_query_count_ex(/* type= */ 2, /* date_from= */ "2026-01-01", /* date_to= */ "2026-12-31",
                                      /* user= */ "ann", /* ip= */ "10.", /* comp= */ nullptr, /* desc= */ nullptr,
                                      /* time_from= */ nullptr, /* time_to= */ nullptr);
  });
  registry.query("annal_event_query_count_ex2", kLog, kEntries, [] {
    return annal_event_query_count_ex2(/* type= */ 2, /* date_from= */ nullptr, /* date_to= */ nullptr,
                                       /* user= */ "ann", /* ip= */ nullptr, /* comp= */ nullptr, /* desc= */ nullptr,
                                       /* time_from= */ nullptr, /* time_to= */ nullptr, /* app_id= */ "-",
                                       /* app_name= */ nullptr, /* category_id= */ nullptr, /* category= */ nullptr);
  });
  registry.query("annal_event_query_count_ex3", kLog, kEntries, [] {
    return annal_event_query_count_ex3(/* type= */ 2, /* date_from= */ nullptr, /* date_to= */ nullptr,
                                       /* user= */ "ann", /* ip= */ nullptr, /* comp= */ nullptr, /* desc= */ nullptr,
                                       /* time_from= */ nullptr, /* time_to= */ nullptr, /* app_id= */ nullptr,
                                       /* app_name= */ nullptr, /* category_id= */ nullptr, /* category= */ nullptr,
                                       /* client_id= */ "-", /* client_app= */ "-", /* client_agent= */ "-");
  });
  registry.query("annal_event_query_group_ex", kLog, ANNAL_OK, [](std::string& output) {
    return annal_event_query_group_ex(&gather, /* sort= */ 0, /* start= */ 0, /* end= */ 0, /* type= */ 2,
                                      /* date_from= */ nullptr, /* date_to= */ nullptr, /* user= */ "ann",
                                      /* ip= */ nullptr, /* comp= */ nullptr, /* desc= */ nullptr, /* group= */ 4,
                                      &output, /* time_from= */ nullptr, /* time_to= */ nullptr);
  });
  registry.query("annal_event_query_byclientTime_count_ex", kLog, kEntries,
                 [] { return annal_event_query_byclientTime_count_ex("0,1", "0", 99); });
  registry.query("annal_event_query_byclientTime_ex", kLog, ANNAL_OK, [](std::string& output) {
    return annal_event_query_byclientTime_ex(&gather, "0,1", "0", 99, 0, 0, 0, &output);
  });
  registry.query("annal_event_query_byclientTime_group", kLog, ANNAL_OK, [](std::string& output) {
    return annal_event_query_byclientTime_group(&gather, /* types= */ "0,1", /* client_time= */ "0", /* days= */ 99,
                                                /* start= */ 0, /* end= */ 0, /* sort= */ 0, /* group= */ 4, &output);
  });
}

template <typename Record, typename Add>
auto batch_of(Add add) {
  return [add](std::string& output) {
    Record records[] = {a_connection<Record>("/batch'1"), a_connection<Record>("/batch2"),
                        a_connection<Record>("/batch3"), a_connection<Record>("/batch4")};
    records[1].conn_action_result = 5;  // an invalid result: skipped
    int inserted = -1;
    const int result = add(records, static_cast<int>(std::size(records)), &inserted);
    output = std::to_string(inserted);
    return result;
  };
}

void add_connections(Registry& registry) {
  constexpr Log kLog = Log::kConnections;
  add_maintenance(registry, {kLog,
                             &annal_conn_create_tbl,
                             &annal_conn_remove_tbl,
                             &annal_conn_flush_tbl,
                             &annal_conn_add_trigger_logfull,
                             &annal_conn_remove_trigger_logfull,
                             &annal_conn_del,
                             &annal_conn_table_check_column,
                             &annal_conn_table_add_column,
                             &annal_conn_modify_tbl,
                             {"annal_conn_create_tbl", "annal_conn_remove_tbl", "annal_conn_flush_tbl",
                              "annal_conn_add_trigger_logfull", "annal_conn_remove_trigger_logfull", "annal_conn_del",
                              "annal_conn_table_check_column", "annal_conn_table_add_column", "annal_conn_modify_tbl"},
                             "conn_id"});
  registry.add("annal_conn_del_full", kLog, Start::kFilled, ANNAL_OK, built_failing(ANNAL_TRIGGER_FAILED), 1,
               [] { return annal_conn_del_full(2); });
  registry.plain("annal_conn_enable_name_matching", ANNAL_OK, [] { return annal_conn_enable_name_matching(0); });

  for (const Start start : {Start::kFilled, Start::kUnlimited}) {
    registry
        .add("annal_conn_add2", kLog, start, ANNAL_OK, built_failing(ANNAL_INSERT_FAILED), 1,
             [] {
               auto record = a_connection<ConnRecord>("/it's new");
               return annal_conn_add2(&record);
             })
        .variant = start == Start::kFilled ? "ToAFullLog" : "";
  }
  registry.add("annal_conn_add", kLog, Start::kFilled, ANNAL_OK, built_failing(ANNAL_INSERT_FAILED), 1, [] {
    const auto record = a_connection<ConnRecordV1>("/new");
    return annal_conn_add(&record);
  });

  // Seven attempts, five of them after creating a table with its trigger.
  constexpr int kWaitsOfABatch = 7 + 5 * 2;
  const std::vector<int> batch{ANNAL_OPEN_FAILED, ANNAL_INSERT_FAILED, ANNAL_BATCH_FAILED};
  for (const Start start : {Start::kFilled, Start::kUnlimited}) {
    Scenario& scenario = registry.add("annal_conn_add_entries2", kLog, start, ANNAL_OK, batch, kWaitsOfABatch,
                                      batch_of<ConnRecord>(&annal_conn_add_entries2));
    scenario.variant = start == Start::kFilled ? "ToAFullLog" : "";
    scenario.allows = &batch_is_whole;
  }
  registry
      .add("annal_conn_add_entries", kLog, Start::kUnlimited, ANNAL_OK, batch, kWaitsOfABatch,
           batch_of<ConnRecordV1>(&annal_conn_add_entries))
      .allows = &batch_is_whole;
  registry.plain("send_conn_log_to_orca", ANNAL_OK,
                 [] { return send_conn_log_to_orca(1, "anna", "10.0.0.5", "pc", 2, 9, "/one"); });

  registry.query("annal_conn_query", kLog, ANNAL_OK,
                 [](std::string& output) { return annal_conn_query(nullptr, &gather, 0, 0, 0, 0, &output); });
  registry.query("annal_conn_query_ex", kLog, ANNAL_OK, [](std::string& output) {
    return annal_conn_query_ex(/* db_path= */ nullptr, &gather, /* sort= */ 0, /* start= */ 0, /* end= */ 9,
                               /* type_mode= */ 2, /* date_from= */ "2000-01-01", /* date_to= */ "2099-12-31",
                               /* user= */ "ann", /* ip= */ "10.", /* comp= */ "local", /* res= */ "o", /* serv= */ 2,
                               /* action= */ 9, &output, /* time_from= */ "00:00:00", /* time_to= */ "23:59:59",
                               /* app= */ "-");
  });
  registry.query("annal_conn_query_ex2", kLog, ANNAL_OK, [](std::string& output) {
    return annal_conn_query_ex2(/* db_path= */ nullptr, &gather, /* sort= */ 0, /* start= */ 0, /* end= */ 9,
                                /* type_mode= */ 2, /* date_from= */ nullptr, /* date_to= */ nullptr, /* user= */ "ann",
                                /* ip= */ nullptr, /* comp= */ nullptr, /* res= */ nullptr, /* serv= */ 0,
                                /* action= */ 0, &output, /* time_from= */ nullptr, /* time_to= */ nullptr,
                                /* app= */ nullptr, /* action_result= */ 0);
  });
  registry.query("annal_conn_query_ex3", kLog, ANNAL_OK, [](std::string& output) {
    return annal_conn_query_ex3(/* db_path= */ nullptr, &gather, /* sort= */ 0, /* start= */ 0, /* end= */ 9,
                                /* type_mode= */ 2, /* date_from= */ nullptr, /* date_to= */ nullptr, /* user= */ "ann",
                                /* ip= */ nullptr, /* comp= */ nullptr, /* res= */ nullptr, /* serv= */ 0,
                                /* action= */ 0, &output, /* time_from= */ nullptr, /* time_to= */ nullptr,
                                /* app= */ nullptr, /* action_result= */ 0, /* client_id= */ "-", /* client_app= */ "-",
                                /* client_agent= */ "-");
  });
  registry.query("annal_conn_query_count", kLog, kEntries, [] { return annal_conn_query_count(0); });
  registry.query("annal_conn_query_count_ex", kLog, kEntries, [] {
    return annal_conn_query_count_ex(/* type_mode= */ 2, /* date_from= */ nullptr, /* date_to= */ nullptr,
                                     /* user= */ "ann", /* ip= */ "10.", /* comp= */ nullptr, /* res= */ nullptr,
                                     /* serv= */ 2, /* action= */ 9, /* time_from= */ nullptr, /* time_to= */ nullptr,
                                     /* app= */ "-");
  });
  registry.query("annal_conn_query_count_ex2", kLog, kEntries, [] {
    return annal_conn_query_count_ex2(/* type_mode= */ 2, /* date_from= */ nullptr, /* date_to= */ nullptr,
                                      /* user= */ "ann", /* ip= */ nullptr, /* comp= */ nullptr, /* res= */ nullptr,
                                      /* serv= */ 0, /* action= */ 0, /* time_from= */ nullptr, /* time_to= */ nullptr,
                                      /* app= */ nullptr, /* action_result= */ 0);
  });
  registry.query("annal_conn_query_count_ex3", kLog, kEntries, [] {
    return annal_conn_query_count_ex3(/* type_mode= */ 2, /* date_from= */ nullptr, /* date_to= */ nullptr,
                                      /* user= */ "ann", /* ip= */ nullptr, /* comp= */ nullptr, /* res= */ nullptr,
                                      /* serv= */ 0, /* action= */ 0, /* time_from= */ nullptr, /* time_to= */ nullptr,
                                      /* app= */ nullptr, /* action_result= */ 0, /* client_id= */ "-",
                                      /* client_app= */ "-", /* client_agent= */ "-");
  });
  registry.query("annal_conn_query_group", kLog, ANNAL_OK,
                 [](std::string& output) { return annal_conn_query_group(nullptr, &gather, 8, 0, 0, 0, 4, &output); });
  registry.query("annal_conn_query_group_ex", kLog, ANNAL_OK, [](std::string& output) {
    return annal_conn_query_group_ex(/* db_path= */ nullptr, &gather, /* sort= */ 0, /* start= */ 0, /* end= */ 0,
                                     /* type_mode= */ 2, /* date_from= */ nullptr, /* date_to= */ nullptr,
                                     /* user= */ "ann", /* ip= */ nullptr, /* comp= */ nullptr, /* res= */ nullptr,
                                     /* serv= */ 0, /* action= */ 0, /* group= */ 4, &output, /* time_from= */ nullptr,
                                     /* time_to= */ nullptr, /* app= */ nullptr);
  });
  registry.query("annal_conn_query_group_ex2", kLog, ANNAL_OK, [](std::string& output) {
    return annal_conn_query_group_ex2(/* db_path= */ nullptr, &gather, /* sort= */ 0, /* start= */ 0, /* end= */ 0,
                                      /* type_mode= */ 2, /* date_from= */ nullptr, /* date_to= */ nullptr,
                                      /* user= */ "ann", /* ip= */ nullptr, /* comp= */ nullptr, /* res= */ nullptr,
                                      /* serv= */ 0, /* action= */ 0, /* group= */ 4, &output, /* time_from= */ nullptr,
                                      /* time_to= */ nullptr, /* app= */ nullptr, /* action_result= */ 0);
  });
  registry.query("annal_conn_query_byclientTime_count_ex", kLog, kEntries,
                 [] { return annal_conn_query_byclientTime_count_ex("0,1", "0", 99); });
  registry.query("annal_conn_query_byclientTime_ex", kLog, ANNAL_OK, [](std::string& output) {
    return annal_conn_query_byclientTime_ex(&gather, "0,1", "0", 99, 0, 0, 0, &output);
  });
  registry.query("annal_conn_query_byclientTime_group", kLog, ANNAL_OK, [](std::string& output) {
    return annal_conn_query_byclientTime_group(&gather, /* levels= */ "0,1", /* client_time= */ "0", /* days= */ 99,
                                               /* start= */ 0, /* end= */ 0, /* sort= */ 0,
                                               /* group_text= */ "group by conn_user", &output);
  });
}

void add_file_operations(Registry& registry) {
  constexpr Log kLog = Log::kFileOperations;
  constexpr int kStatementsOfCreation = 12;
  registry.creation("pavo2log_event_create_tbl", kLog, kStatementsOfCreation, &indexes_may_lack,
                    [] { return pavo2log_event_create_tbl(kFileOpLog, 0, 0); });
  registry.add("pavo2log_event_remove_tbl", kLog, Start::kFilled, ANNAL_OK, run_failing(ANNAL_TABLE_FAILED), 0,
               [] { return pavo2log_event_remove_tbl(kFileOpLog); });
  registry.add("pavo2log_event_flush_tbl", kLog, Start::kFilled, ANNAL_OK, run_failing(ANNAL_EMPTY_FAILED), 1,
               [] { return pavo2log_event_flush_tbl(kFileOpLog); });
  registry.add("pavo2log_event_add_trigger_logfull", kLog, Start::kUnlimited, ANNAL_OK,
               built_failing(ANNAL_TRIGGER_FAILED), 1,
               [] { return pavo2log_event_add_trigger_logfull(kFileOpLog, 7, 2); });
  registry.add("pavo2log_event_remove_trigger_logfull", kLog, Start::kFilled, ANNAL_OK,
               run_failing(ANNAL_REMOVE_TRIGGER_FAILED), 1,
               [] { return pavo2log_event_remove_trigger_logfull(kFileOpLog); });
  registry.add("pavo2log_event_del", kLog, Start::kFilled, ANNAL_OK, built_failing(ANNAL_CHANGE_FAILED), 0, [] {
    const int id = 2;
    return pavo2log_event_del(kFileOpLog, 0, &id);
  });
  registry.plain("pavo2log_checkip", ANNAL_OK, [](std::string& output) {
    char ip[65] = "10.0.0.5:8080";
    const int result = pavo2log_checkip(ip);
    output = ip;
    return result;
  });
  for (const Start start : {Start::kFilled, Start::kUnlimited}) {
    Scenario& scenario =
        registry.add("pavo2log_event_add", kLog, start, kEntries + 1, built_failing(ANNAL_INSERT_FAILED), 1, [] {
          FileOpRecord record = a_file_operation("/it's new");
          return static_cast<int>(pavo2log_event_add(kFileOpLog, &record));
        });
    scenario.variant = start == Start::kFilled ? "ToAFullLog" : "";
    scenario.wait_milliseconds = 5000;
  }
  registry.query("pavo2log_event_query", kLog, ANNAL_OK,
                 [](std::string& output) { return pavo2log_event_query(kFileOpLog, &gather, 1, 0, 0, 0, &output); });
  registry.query("pavo2log_event_query_by", kLog, ANNAL_OK, [](std::string& output) {
    FileOpFilter filter{};
    filter.event_filesize = -1;
    put(filter.event_user, "ann");
    return pavo2log_event_query_by(kFileOpLog, &gather, &filter, 1, 0, 0, &output);
  });
  registry.query("pavo2log_event_query_count", kLog, kEntries,
                 [] { return pavo2log_event_query_count(kFileOpLog, 0, nullptr, nullptr, nullptr, nullptr); });
  registry.query("pavo2log_event_query_count_by", kLog, kEntries, [] {
    FileOpFilter filter{};
    filter.event_filesize = -1;
    filter.event_filepath = "one";
    return pavo2log_event_query_count_by(kFileOpLog, &filter, nullptr, nullptr, nullptr, nullptr);
  });
}

constexpr const char* kLater = "1768500000";  // later than every entry

void add_notices(Registry& registry) {
  constexpr Log kLog = Log::kNotices;
  constexpr int kStatementsOfCreation = 20;
  registry.creation("annal_notice_create_tbl", kLog, kStatementsOfCreation, &indexes_may_lack,
                    [] { return annal_notice_create_tbl(0, 0); });
  registry.add("annal_notice_remove_tbl", kLog, Start::kFilled, ANNAL_OK, run_failing(ANNAL_TABLE_FAILED), 0,
               [] { return annal_notice_remove_tbl(); });
  registry.add("annal_notice_flush_tbl", kLog, Start::kFilled, ANNAL_OK, run_failing(ANNAL_EMPTY_FAILED), 1,
               [] { return annal_notice_flush_tbl(); });
  registry.add("annal_notice_add_trigger_logfull", kLog, Start::kUnlimited, ANNAL_OK,
               built_failing(ANNAL_TRIGGER_FAILED), 1, [] { return annal_notice_add_trigger_logfull(7, 2); });
  registry.add("annal_notice_remove_trigger_logfull", kLog, Start::kFilled, ANNAL_OK,
               run_failing(ANNAL_REMOVE_TRIGGER_FAILED), 1, [] { return annal_notice_remove_trigger_logfull(); });
  registry.add("annal_notice_del", kLog, Start::kFilled, ANNAL_OK, built_failing(ANNAL_CHANGE_FAILED), 0,
               [] { return annal_notice_del(11, "two"); });
  registry.add("AnnalNoticeDellogByClientTime", kLog, Start::kFilled, ANNAL_OK, built_failing(ANNAL_CHANGE_FAILED), 0,
               [] { return AnnalNoticeDellogByClientTime(1); });
  registry.add("annal_notice_table_check_column", kLog, Start::kFilled, 1, built_failing(ANNAL_QUERY_FAILED), 1,
               [] { return annal_notice_table_check_column("id"); });
  constexpr int kRequiredColumns = 21;
  registry.add("isAllColumnExist", kLog, Start::kFilled, 0, {}, kRequiredColumns, [] { return isAllColumnExist(); })
      .allows = &counts_unreadable_columns;
  registry.add("annal_notice_table_add_column", kLog, Start::kFilled, ANNAL_OK, built_failing(ANNAL_CHANGE_FAILED), 0,
               [] { return annal_notice_table_add_column("one_more", 0, "a"); });
  registry
      .add("AnnalNoticeModifyTbl", kLog, Start::kOld, ANNAL_OK,
           {ANNAL_NO_MEMORY, ANNAL_OPEN_FAILED, ANNAL_TABLE_FAILED, ANNAL_TRIGGER_FAILED, ANNAL_CHANGE_FAILED},
           kRequiredColumns + kStatementsOfCreation + 2, [] { return AnnalNoticeModifyTbl(); })
      .allows = &notices_may_be_lost_or_left;

  for (const Start start : {Start::kFilled, Start::kUnlimited}) {
    registry
        .add("annal_notice_add", kLog, start, ANNAL_OK, built_failing(ANNAL_INSERT_FAILED), 1,
             [] {
               NoticeRecord record = a_notice("it's new");
               return annal_notice_add(&record);
             })
        .variant = start == Start::kFilled ? "ToAFullLog" : "";
  }
  registry.query("annal_notice_query", kLog, ANNAL_OK,
                 [](std::string& output) { return annal_notice_query(&gather, 0, 0, 0, 0, &output); });
  registry.query("annal_notice_query_count", kLog, kEntries,
                 [] { return annal_notice_query_count(0, nullptr, nullptr, nullptr, nullptr, nullptr); });
  registry.query("annal_notice_query_byclientTime", kLog, ANNAL_OK, [](std::string& output) {
    return annal_notice_query_byclientTime(&gather, /* from= */ "0", /* days= */ 99, kLater, /* start= */ 0,
                                           /* end= */ 0, /* sort= */ 0, /* condition= */ "severity < 9", &output);
  });
  registry.query("annal_notice_query_byclientTime_count", kLog, kEntries,
                 [] { return annal_notice_query_byclientTime_count("0", 99, kLater, nullptr); });
  registry.query("annal_notice_query_group_byclientTime", kLog, ANNAL_OK, [](std::string& output) {
    return annal_notice_query_group_byclientTime(&gather, /* from= */ "0", /* days= */ 99, kLater, /* start= */ 0,
                                                 /* end= */ 0, /* sort= */ 0, /* group= */ 8, /* condition= */ nullptr,
                                                 &output);
  });

  registry.plain("annal_notice_send", ANNAL_OK, [] {
    PlatformRecorder::answer("zeno_exec_v", 0);
    return annal_notice_send(/* app_id= */ "A011", /* level= */ 1, /* type= */ 7, /* category_id= */ "C001",
                             /* msg_no= */ "7", /* ip= */ "10.0.0.5", /* user= */ "anna", /* comp= */ "pc",
                             /* message= */ "a text", /* param= */ "a parameter", static_cast<char*>(nullptr));
  });
  registry.plain("notify_send", ANNAL_OK, [] {
    const CatalogEntry entry{"A011", 4, "C001", "7", "a text with {0}"};
    return notify_send(/* ip= */ "10.0.0.5", /* user= */ "anna", /* comp= */ "pc", /* client_id= */ "id",
                       /* client_app= */ nullptr, /* client_agent= */ "agent", &entry, /* type= */ 7, /* level= */ 1,
                       "a parameter", static_cast<char*>(nullptr));
  });
}

}  // namespace

const char* path_of(Log log) {
  switch (log) {
    case Log::kEvents:
      return kEventLog;
    case Log::kConnections:
      return kConnLog;
    case Log::kFileOperations:
      return kFileOpLog;
    case Log::kNotices:
      return kNoticeLog;
    case Log::kNone:
      break;
  }
  return "/etc/logs/none";
}

void set_up(Log log, Start start) {
  if (start == Start::kAbsent) {
    return;
  }
  if (start == Start::kOld) {
    set_up_old(log);
    return;
  }
  switch (log) {
    case Log::kEvents:
      set_up_events(start);
      break;
    case Log::kConnections:
      set_up_connections(start);
      break;
    case Log::kFileOperations:
      set_up_file_operations(start);
      break;
    case Log::kNotices:
      set_up_notices(start);
      break;
    case Log::kNone:
      break;
  }
}

bool is_described(const Scenario& scenario, const Outcome& outcome, const Expectation& expected) {
  const std::vector<int>& failures = scenario.failures;
  const bool succeeded = outcome.result == scenario.success && outcome.output == expected.output;
  const bool failed = std::find(failures.begin(), failures.end(), outcome.result) != failures.end();
  return (succeeded && outcome.found == expected.after) || (failed && outcome.found == expected.before) ||
         (scenario.allows != nullptr && scenario.allows(outcome, expected));
}

void PrintTo(const Scenario& scenario, std::ostream* out) {
  *out << name_of(scenario);
}

std::string name_of(const Scenario& scenario) {
  return std::string(scenario.function) + (*scenario.variant != '\0' ? "_" : "") + scenario.variant;
}

const std::vector<Scenario>& scenarios() {
  static const std::vector<Scenario> all = [] {
    Registry registry;
    add_helpers(registry);
    add_events(registry);
    add_connections(registry);
    add_file_operations(registry);
    add_notices(registry);
    return registry.take();
  }();
  return all;
}

}  // namespace annal::test
