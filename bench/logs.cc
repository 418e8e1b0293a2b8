// Fills the logs and lists what the benchmarks call on each, through the library and through bare SQLite.
#include "bench/logs.h"

#include <fmt/format.h>
#include <sqlite3.h>

#include <cstring>
#include <ctime>
#include <filesystem>
#include <memory>

#include "Corix_annal.h"
#include "bench/floor.h"

namespace annal::bench {

namespace {

constexpr std::int64_t kNewest = 1760000000;  // time of the newest row of a filled log; the others are a minute apart
constexpr int kBatch = 1000;
constexpr char kUser[] = "user1";
constexpr char kFirstDate[] = "2025-10-01";
constexpr char kLastDate[] = "2025-10-31";

// Rows and records are the same in every run: their number determines their content.
constexpr unsigned of(int number, unsigned salt, unsigned among) {
  const unsigned mixed = (static_cast<unsigned>(number) + 1U) * 2654435761U + salt * 40503U;
  return (mixed ^ (mixed >> 15U)) % among;
}

template <std::size_t kSize>
void write(char (&field)[kSize], const std::string& text) {
  field[text.copy(field, kSize - 1)] = '\0';
}

// These records need no normalising.
EventRecord event(int number) {
  EventRecord record{};
  record.event_type = static_cast<int>(of(number, 1, 3));
  record.event_timet = kNewest + number;
  write(record.event_user, fmt::format("user{}", of(number, 2, 97)));
  write(record.event_ip, fmt::format("10.0.{}.{}", of(number, 3, 4), of(number, 4, 250)));
  write(record.event_comp, fmt::format("pc{}", of(number, 5, 200)));
  write(record.event_desc, fmt::format("Event {}: share \"projects\" was mounted by a client.", number));
  write(record.event_msgid, "0");
  write(record.event_app_id, fmt::format("A{:03}", of(number, 6, 50)));
  write(record.event_app_name, fmt::format("Application {}", of(number, 6, 50)));
  write(record.event_category_id, fmt::format("C{:03}", of(number, 7, 20)));
  write(record.event_category, fmt::format("Category {}", of(number, 7, 20)));
  write(record.event_client_id, "---");
  write(record.event_client_app, fmt::format("Client {}", of(number, 8, 5)));
  write(record.event_client_agent, "Agent/5.0 (X11; Linux x86_64)");
  return record;
}

ConnRecord connection(int number) {
  ConnRecord record{};
  record.conn_type = static_cast<int>(of(number, 1, 3));
  record.conn_serv = static_cast<int>(of(number, 2, 12)) + 1;
  record.conn_action = static_cast<int>(of(number, 3, 36)) + 1;
  write(record.conn_user, fmt::format("user{}", of(number, 4, 97)));
  write(record.conn_ip, fmt::format("10.0.{}.{}", of(number, 5, 4), of(number, 6, 250)));
  write(record.conn_comp, fmt::format("pc{}", of(number, 7, 200)));
  write(record.conn_res, fmt::format("/share/projects/{}/report.txt", of(number, 8, 5000)));
  write(record.conn_app, fmt::format("Application {}", of(number, 9, 50)));
  write(record.conn_client_id, "---");
  write(record.conn_client_app, fmt::format("Client {}", of(number, 10, 5)));
  write(record.conn_client_agent, "Agent/5.0 (X11; Linux x86_64)");
  return record;
}

FileOpRecord file_operation(int number) {
  FileOpRecord record{};
  const std::time_t moment = kNewest + number;
  localtime_r(&moment, &record.event_tm);
  record.event_type = of(number, 1, 3);
  record.event_action = of(number, 2, 35) + 1;
  record.event_filesize = static_cast<int>(of(number, 3, 1000000));
  record.event_filepath = "/share/projects/2025/report.txt";
  record.event_oldfilepath = "";
  write(record.event_user, fmt::format("user{}", of(number, 4, 97)));
  write(record.event_ip, fmt::format("10.0.{}.{}", of(number, 5, 4), of(number, 6, 250)));
  write(record.event_comp, fmt::format("pc{}", of(number, 7, 200)));
  write(record.event_duid, fmt::format("device{}", of(number, 7, 200)));
  write(record.event_desc, fmt::format("Operation {}", number));
  return record;
}

NoticeRecord notice(int number) {
  NoticeRecord record{};
  record.severity = of(number, 1, 7);
  record.facility = static_cast<int>(of(number, 2, 21));
  record.uid = -1;
  record.gid = -1;
  write(record.serviceName, fmt::format("Service {}", of(number, 3, 30)));
  write(record.user, fmt::format("user{}", of(number, 4, 97)));
  write(record.ip, fmt::format("10.0.{}.{}", of(number, 5, 4), of(number, 6, 250)));
  write(record.client, fmt::format("pc{}", of(number, 7, 200)));
  write(record.desc, fmt::format("Notice {}: volume 1 is nearly full.", number));
  write(record.msgCode, "0");
  write(record.name, "Storage");
  write(record.title, "Storage");
  return record;
}

// Wraps a listing call.
template <typename List>
Side listing(List list) {
  return [list](int /*round*/, Answer& answer) { answer.result = list(&answer); };
}

Side floor_listing(const char* path, const char* sql) {
  return listing([path, sql](Answer* answer) { return floor_run(path, FLOOR_WAIT, sql, take_row, answer); });
}

// Wraps a call that returns a number, which may depend on the round.
template <typename Answering>
Side answering(Answering function) {
  return [function](int round, Answer& answer) { answer.result = function(round); };
}

// Deletes the first rows, one in each round.
constexpr int id_of(int round) {
  return round + 1;
}

constexpr char kEventFill[] = R"(
  WITH RECURSIVE n(i, t, h) AS (SELECT 1, 1760000000 - (?1 - 1) * 60, 2654435761 & 0xFFFF UNION ALL
    SELECT i + 1, t + 60, (i + 1) * 2654435761 >> 7 & 0xFFFF FROM n WHERE i < ?1)
  INSERT INTO ANNAL_EVENT (event_type, event_date, event_time, event_user, event_ip, event_comp, event_desc,
    event_msgid, event_timet, event_app_id, event_app_name, event_category_id, event_category, event_client_id,
    event_client_app, event_client_agent)
  SELECT CASE h % 100 WHEN 0 THEN 2 ELSE h % 10 = 0 END, date(t, 'unixepoch', 'localtime'),
    time(t, 'unixepoch', 'localtime'), 'user' || (h % 97), '10.0.' || (h % 4) || '.' || (h % 250), 'pc' || (h % 200),
    'Event ' || i || ': share "projects" was mounted by a client.', '0', t, printf('A%03d', h % 50),
    'Application ' || (h % 50), printf('C%03d', h % 20), 'Category ' || (h % 20), '---', 'Client ' || (h % 5),
    'Agent/5.0 (X11; Linux x86_64)' FROM n WHERE ?1 > 0)";

constexpr char kConnFill[] = R"(
  WITH RECURSIVE n(i, t, h) AS (SELECT 1, 1760000000 - (?1 - 1) * 60, 2654435761 & 0xFFFF UNION ALL
    SELECT i + 1, t + 60, (i + 1) * 2654435761 >> 7 & 0xFFFF FROM n WHERE i < ?1)
  INSERT INTO ANNAL_CONN (conn_type, conn_date, conn_time, conn_user, conn_ip, conn_comp, conn_res, conn_serv,
    conn_action, conn_app, conn_action_result, conn_client_id, conn_client_app, conn_client_agent)
  SELECT CASE h % 100 WHEN 0 THEN 2 ELSE h % 10 = 0 END, date(t, 'unixepoch', 'localtime'),
    time(t, 'unixepoch', 'localtime'), 'user' || (h % 97), '10.0.' || (h % 4) || '.' || (h % 250), 'pc' || (h % 200),
    '/share/projects/' || (h % 5000) || '/report.txt', h % 12 + 1, h % 36 + 1, 'Application ' || (h % 50),
    CASE h % 50 WHEN 0 THEN 13 ELSE 0 END, '---', 'Client ' || (h % 5), 'Agent/5.0 (X11; Linux x86_64)'
    FROM n WHERE ?1 > 0)";

constexpr char kFileOpFill[] = R"(
  WITH RECURSIVE n(i, t, h) AS (SELECT 1, 1760000000 - (?1 - 1) * 60, 2654435761 & 0xFFFF UNION ALL
    SELECT i + 1, t + 60, (i + 1) * 2654435761 >> 7 & 0xFFFF FROM n WHERE i < ?1)
  INSERT INTO PAVO2LOG_EVENT (event_type, event_date, event_time, event_user, event_ip, event_oldfilepath,
    event_filepath, event_isFolder, event_action, event_filesize, event_comp, event_duid, event_desc, sub_user, pid)
  SELECT CASE h % 100 WHEN 0 THEN 2 ELSE h % 10 = 0 END, date(t, 'unixepoch', 'localtime'),
    time(t, 'unixepoch', 'localtime'), 'user' || (h % 97), '10.0.' || (h % 4) || '.' || (h % 250), '',
    '/share/projects/' || (h % 5000) || '/report.txt', h % 3, h % 35 + 1, h, 'pc' || (h % 200), 'device' || (h % 200),
    'Operation ' || i, '', 0 FROM n WHERE ?1 > 0)";

constexpr char kNoticeFill[] = R"(
  WITH RECURSIVE n(i, t, h) AS (SELECT 1, 1760000000 - (?1 - 1) * 60, 2654435761 & 0xFFFF UNION ALL
    SELECT i + 1, t + 60, (i + 1) * 2654435761 >> 7 & 0xFFFF FROM n WHERE i < ?1)
  INSERT INTO ANNAL_NOTICE (severity, server, action, serviceName, facility, time, endtime, user, ip, client, desc,
    msgCode, varNum, varContent, name, status, uid, gid, link_id, link_option, title)
  SELECT CASE h % 100 WHEN 0 THEN 3 ELSE 6 - 2 * (h % 10 = 0) END, 0, 0, 'Service ' || (h % 30), h % 21, t, t,
    'user' || (h % 97), '10.0.' || (h % 4) || '.' || (h % 250), 'pc' || (h % 200),
    'Notice ' || i || ': volume 1 is nearly full.', '0', 0, '', 'Storage', 0, -1, -1, '', '', 'Storage'
    FROM n WHERE ?1 > 0)";

constexpr char kEventFloor[] = "/etc/logs/event.floor";
constexpr char kConnFloor[] = "/etc/logs/conn.floor";
constexpr char kFileOpLog[] = "/etc/logs/fileop.log";
constexpr char kFileOpFloor[] = "/etc/logs/fileop.floor";
constexpr char kNoticeFloor[] = "/etc/logs/notice.floor";

std::vector<Call> event_calls(int rows) {
  return {
      {"newest 50", false, listing([](Answer* answer) { return annal_event_query(take_row, 1, 0, 50, 0, answer); }),
       floor_listing(kEventFloor, floor_event_newest)},
      {"filtered 50", false, listing([](Answer* answer) {
         return annal_event_query_ex3(take_row, /* sort= */ 1, /* start= */ 0, /* end= */ 50, /* type= */ 2, kFirstDate,
                                      kLastDate, kUser, /* ip= */ nullptr, /* comp= */ nullptr, /* desc= */ nullptr,
                                      answer, /* time_from= */ nullptr, /* time_to= */ nullptr, /* app_id= */ nullptr,
                                      /* app_name= */ nullptr, /* category_id= */ nullptr, /* category= */ nullptr,
                                      /* client_id= */ nullptr, /* client_app= */ nullptr,
                                      /* client_agent= */ nullptr);
       }),
       floor_listing(kEventFloor, floor_event_filtered)},
      {"count", false, answering([](int /*round*/) { return annal_event_query_count(0); }),
       answering([](int /*round*/) { return floor_integer(kEventFloor, floor_event_count); })},
      {"group", false,
       listing([](Answer* answer) { return annal_event_query_group(take_row, 6, 0, 50, 0, 4, answer); }),
       floor_listing(kEventFloor, floor_event_group)},
      {"add", true, answering([](int round) {
         EventRecord record = event(round);
         return annal_event_add_msgid_ex3(&record);
       }),
       answering([](int round) {
         const EventRecord record = event(round);
         return floor_event_add(kEventFloor, &record);
       })},
      {"delete one", true, answering([rows](int round) {
         const int id = rows - id_of(round);
         return annal_event_del(0, &id);
       }),
       answering([rows](int round) {
         return floor_run_number(kEventFloor, FLOOR_NO_WAIT, floor_event_delete, rows - id_of(round));
       })},
      {"trim by one", true, answering([rows](int round) {
         return annal_event_del_logfull_over_size(rows > round + 1000 ? rows - round - 1000 : 1);
       }),
       answering([rows](int round) {
         return floor_run_number(kEventFloor, FLOOR_WAIT, floor_event_trim,
                                 rows > round + 1000 ? rows - round - 1000 : 1);
       })},
  };
}

std::vector<Call> conn_calls(int rows) {
  const auto batch = std::make_shared<std::vector<ConnRecord>>();
  for (int i = 0; i < kBatch; ++i) {
    batch->push_back(connection(i));
  }
  return {
      {"newest 50", false,
       listing([](Answer* answer) { return annal_conn_query(nullptr, take_row, 1, 0, 50, 0, answer); }),
       floor_listing(kConnFloor, floor_conn_newest)},
      {"filtered 50", false, listing([](Answer* answer) {
         return annal_conn_query_ex3(
             /* db_path= */ nullptr, take_row, /* sort= */ 1, /* start= */ 0, /* end= */ 50, /* type_mode= */ 2,
             kFirstDate, kLastDate, kUser, /* ip= */ nullptr, /* comp= */ nullptr,
             /* res= */ nullptr, /* serv= */ 0, /* action= */ 0, answer, /* time_from= */ nullptr,
             /* time_to= */ nullptr, /* app= */ nullptr, /* action_result= */ 0, /* client_id= */ nullptr,
             /* client_app= */ nullptr, /* client_agent= */ nullptr);
       }),
       floor_listing(kConnFloor, floor_conn_filtered)},
      {"count", false, answering([](int /*round*/) { return annal_conn_query_count(0); }),
       answering([](int /*round*/) { return floor_integer(kConnFloor, floor_conn_count); })},
      {"group", false,
       listing([](Answer* answer) { return annal_conn_query_group(nullptr, take_row, 6, 0, 50, 0, 4, answer); }),
       floor_listing(kConnFloor, floor_conn_group)},
      {"add", true, answering([](int round) {
         ConnRecord record = connection(round);
         return annal_conn_add2(&record);
       }),
       answering([](int round) {
         const ConnRecord record = connection(round);
         return floor_conn_add(kConnFloor, &record);
       })},
      {"add a batch of 1,000", true, answering([batch](int /*round*/) {
         int inserted = 0;
         const int result = annal_conn_add_entries2(batch->data(), kBatch, &inserted);
         return result == 0 ? inserted : result;
       }),
       answering([batch](int /*round*/) {
         int inserted = 0;
         const int result = floor_conn_add_entries(kConnFloor, batch->data(), kBatch, &inserted);
         return result == 0 ? inserted : result;
       })},
      {"delete one", true, answering([rows](int round) {
         const int id = rows - id_of(round);
         return annal_conn_del(0, &id);
       }),
       answering([rows](int round) {
         return floor_run_number(kConnFloor, FLOOR_NO_WAIT, floor_conn_delete, rows - id_of(round));
       })},
      {"trim by one", true, answering([](int /*round*/) { return annal_conn_del_full(1); }),
       answering([](int /*round*/) { return floor_run_number(kConnFloor, FLOOR_WAIT, floor_conn_trim, 1); })},
  };
}

int create_fileop(int limit, int batch) {
  return pavo2log_event_create_tbl(kFileOpLog, limit, batch);
}

int add_fileop_trigger(int limit, int batch) {
  return pavo2log_event_add_trigger_logfull(kFileOpLog, limit, batch);
}

int remove_fileop_trigger() {
  return pavo2log_event_remove_trigger_logfull(kFileOpLog);
}

// This log has no functions to group or trim.
std::vector<Call> fileop_calls(int rows) {
  const auto filter = std::make_shared<FileOpFilter>();
  filter->event_type = 2;
  filter->event_filesize = -1;
  write(filter->event_user, kUser);
  write(filter->date_from, kFirstDate);
  write(filter->date_to, kLastDate);
  return {
      {"newest 50", false,
       listing([](Answer* answer) { return pavo2log_event_query(kFileOpLog, take_row, 1, 0, 50, 0, answer); }),
       floor_listing(kFileOpFloor, floor_fileop_newest)},
      {"filtered 50", false, listing([filter](Answer* answer) {
         return pavo2log_event_query_by(kFileOpLog, take_row, filter.get(), 1, 0, 50, answer);
       }),
       floor_listing(kFileOpFloor, floor_fileop_filtered)},
      {"count", false, answering([](int /*round*/) {
         return pavo2log_event_query_count(kFileOpLog, 0, nullptr, nullptr, nullptr, nullptr);
       }),
       answering([](int /*round*/) { return floor_integer(kFileOpFloor, floor_fileop_count); })},
      {"add", true, answering([](int round) {
         FileOpRecord record = file_operation(round);
         return pavo2log_event_add(kFileOpLog, &record) > 0 ? 0 : -1;
       }),
       answering([](int round) {
         const FileOpRecord record = file_operation(round);
         return floor_fileop_add(kFileOpFloor, &record);
       })},
      {"delete one", true, answering([rows](int round) {
         const int id = rows - id_of(round);
         return pavo2log_event_del(kFileOpLog, 0, &id);
       }),
       answering([rows](int round) {
         return floor_run_number(kFileOpFloor, FLOOR_NO_WAIT, floor_fileop_delete, rows - id_of(round));
       })},
  };
}

// This log has no function to trim.
std::vector<Call> notice_calls(int rows) {
  return {
      {"newest 50", false, listing([](Answer* answer) { return annal_notice_query(take_row, 1, 0, 50, 0, answer); }),
       floor_listing(kNoticeFloor, floor_notice_newest)},
      {"filtered 50", false, listing([](Answer* answer) {
         return annal_notice_query_byclientTime(take_row, /* from= */ "1759000000", /* days= */ 30,
                                                /* to= */ "1760000000", /* start= */ 0, /* end= */ 50, /* sort= */ 1,
                                                /* condition= */ "severity < 5", answer);
       }),
       floor_listing(kNoticeFloor, floor_notice_filtered)},
      {"count", false, answering([](int /*round*/) {
         return annal_notice_query_count(0, nullptr, nullptr, nullptr, nullptr, nullptr);
       }),
       answering([](int /*round*/) { return floor_integer(kNoticeFloor, floor_notice_count); })},
      {"group", false, listing([](Answer* answer) {
         return annal_notice_query_group_byclientTime(take_row, /* from= */ "1759000000", /* days= */ 30,
                                                      /* to= */ "1760000000", /* start= */ 0, /* end= */ 50,
                                                      /* sort= */ 1, /* group= */ 5, /* condition= */ nullptr, answer);
       }),
       floor_listing(kNoticeFloor, floor_notice_group)},
      {"add", true, answering([](int round) {
         NoticeRecord record = notice(round);
         return annal_notice_add(&record);
       }),
       answering([](int round) {
         const NoticeRecord record = notice(round);
         return floor_notice_add(kNoticeFloor, &record);
       })},
      {"delete one", true, answering([rows](int round) {
         const int id = rows - id_of(round);
         return annal_notice_del(0, &id);
       }),
       answering([rows](int round) {
         return floor_run_number(kNoticeFloor, FLOOR_NO_WAIT, floor_notice_delete, rows - id_of(round));
       })},
  };
}

struct Connection {
  explicit Connection(const char* path) {
    if (sqlite3_open(path, &handle) != SQLITE_OK) {
      give_up(std::string(path) + " cannot be opened");
    }
  }
  ~Connection() { sqlite3_close(handle); }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  void execute(const std::string& sql, annal_row_callback callback = nullptr, void* context = nullptr) const {
    if (sqlite3_exec(handle, sql.c_str(), callback, context, nullptr) != SQLITE_OK) {
      give_up(std::string(sqlite3_errmsg(handle)) + " in: " + sql);
    }
  }

  sqlite3* handle = nullptr;
};

void expect_done(int result, const char* what) {
  if (result != ANNAL_OK) {
    give_up(fmt::format("{} answered {}", what, result));
  }
}

std::vector<std::string>* traced = nullptr;

int trace_statement(unsigned /*kind*/, void* /*context*/, void* /*statement*/, void* sql) {
  traced->emplace_back(static_cast<const char*>(sql));
  return 0;
}

int trace_connection(sqlite3* database, const char** /*message*/, const sqlite3_api_routines* /*api*/) {
  return sqlite3_trace_v2(database, SQLITE_TRACE_STMT, trace_statement, nullptr);
}

}  // namespace

const std::vector<LogUnderTest>& logs() {
  static const std::vector<LogUnderTest> all{
      {"event", "/etc/logs/event.log", kEventFloor, "ANNAL_EVENT", "*", kEventFill, annal_event_create_tbl,
       annal_event_add_trigger_logfull, annal_event_remove_trigger_logfull, event_calls},
      {"conn", "/etc/logs/conn.log", kConnFloor, "ANNAL_CONN",
       "conn_id, conn_type, conn_user, conn_ip, conn_comp, conn_res, conn_serv, conn_action, conn_app, "
       "conn_action_result, conn_client_id, conn_client_app, conn_client_agent",
       kConnFill, annal_conn_create_tbl, annal_conn_add_trigger_logfull, annal_conn_remove_trigger_logfull, conn_calls},
      {"fileop", kFileOpLog, kFileOpFloor, "PAVO2LOG_EVENT", "*", kFileOpFill, create_fileop, add_fileop_trigger,
       remove_fileop_trigger, fileop_calls},
      {"notice", "/etc/logs/notice.log", kNoticeFloor, "ANNAL_NOTICE",
       "id, severity, server, action, serviceName, facility, user, ip, client, desc, msgCode, varNum, varContent, "
       "name, "
       "status, uid, gid, link_id, link_option, title",
       kNoticeFill, annal_notice_create_tbl, annal_notice_add_trigger_logfull, annal_notice_remove_trigger_logfull,
       notice_calls},
  };
  return all;
}

void fill_log(const LogUnderTest& log, int rows) {
  std::filesystem::remove(log.path);
  expect_done(log.create(1, 1), "creating a log");
  // With the trigger in place, each inserted row would count all others.
  expect_done(log.remove_trigger(), "removing the trigger");
  const Connection connection(log.path);
  sqlite3_stmt* fill = nullptr;
  if (sqlite3_prepare_v2(connection.handle, log.fill, -1, &fill, nullptr) != SQLITE_OK ||
      sqlite3_bind_int(fill, 1, rows) != SQLITE_OK || sqlite3_step(fill) != SQLITE_DONE) {
    give_up(fmt::format("filling {}: {}", log.path, sqlite3_errmsg(connection.handle)));
  }
  sqlite3_finalize(fill);
}

void make_log(const LogUnderTest& log, int rows, int limit, int batch) {
  fill_log(log, rows);
  expect_done(log.add_trigger(limit, batch), "adding the trigger");
  std::filesystem::copy_file(log.path, log.floor_path, std::filesystem::copy_options::overwrite_existing);
}

void execute(const char* path, const std::string& sql) {
  Connection(path).execute(sql);
}

std::uint64_t contents(const LogUnderTest& log, const char* path) {
  Answer answer{.hashing = true};
  Connection(path).execute(fmt::format("SELECT {} FROM {} ORDER BY 1", log.lasting, log.table), take_row, &answer);
  return answer.rows;
}

std::vector<std::string> statements_of(const std::function<void()>& work) {
  std::vector<std::string> statements;
  traced = &statements;
  const auto entry = reinterpret_cast<void (*)()>(trace_connection);
  sqlite3_auto_extension(entry);
  work();
  sqlite3_cancel_auto_extension(entry);
  return statements;
}

}  // namespace annal::bench
