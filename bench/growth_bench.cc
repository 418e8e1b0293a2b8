// Measures what each order and filter of the listings and counts costs as a log grows, and shows SQLite's query plan.
// Alternates between the sizes. Run it on a private appliance.
#include <fmt/format.h>
#include <sqlite3.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "Corix_annal.h"
#include "bench/logs.h"
#include "bench/measure.h"

namespace annal::bench {
namespace {

namespace fs = std::filesystem;

constexpr char kFileOpLog[] = "/etc/logs/fileop.log";
constexpr char kNobody[] = "no such text";
// A period after the last entry of any filled log.
constexpr char kFirstDate[] = "2031-01-01";
constexpr char kLastDate[] = "2031-01-31";
// Values that occur in every filled log: in one of a hundred entries (or, as a substring, in one of nine), and the days
// before the newest.
constexpr char kSomebody[] = "user1";
constexpr char kRecentFirst[] = "2025-09-10";
constexpr char kRecentLast[] = "2025-10-09";

struct Question {
  std::string name;
  std::function<int(Answer* answer)> ask;
};

// Unless a question says how many rows match, none do: the filter's cost when SQLite has to scan everything.
struct EventFilters {
  unsigned type = 0;
  const char* first_date = nullptr;
  const char* last_date = nullptr;
  const char* user = nullptr;
  const char* ip = nullptr;
  const char* comp = nullptr;
  const char* desc = nullptr;
  const char* first_time = nullptr;
  const char* last_time = nullptr;
  const char* app_id = nullptr;
  const char* app_name = nullptr;
  const char* category = nullptr;
  const char* client_id = nullptr;
  const char* client_app = nullptr;
  const char* client_agent = nullptr;
};

std::function<int(Answer*)> event_page(const EventFilters& f, bool exactly = false) {
  return [f, exactly](Answer* answer) {
    is_event_name_matching = exactly ? 1 : 0;
    return annal_event_query_ex3(take_row, /* sort= */ 1, /* start= */ 0, /* end= */ 50, f.type, f.first_date,
                                 f.last_date, f.user, f.ip, f.comp, f.desc, answer, f.first_time, f.last_time, f.app_id,
                                 f.app_name, /* category_id= */ nullptr, f.category, f.client_id, f.client_app,
                                 f.client_agent);
  };
}

std::vector<Question> event_questions() {
  std::vector<Question> questions;
  static const char* const orders[] = {"date, time",  "time, date",  "type",       "user",       "address",
                                       "computer",    "id",          "message id", "time stamp", "application id",
                                       "application", "category id", "category"};
  for (unsigned sort = 0; sort < 2 * std::size(orders); ++sort) {
    questions.push_back(
        {fmt::format("50 by {}{}", orders[sort / 2], sort % 2 == 0 ? "" : ", reversed"), [sort](Answer* answer) {
           return annal_event_query_ex3(
               take_row, sort, /* start= */ 0, /* end= */ 50, /* type= */ 0, /* date_from= */ nullptr,
               /* date_to= */ nullptr, /* user= */ nullptr, /* ip= */ nullptr, /* comp= */ nullptr, /* desc= */ nullptr,
               answer, /* time_from= */ nullptr, /* time_to= */ nullptr, /* app_id= */ nullptr, /* app_name= */ nullptr,
               /* category_id= */ nullptr, /* category= */ nullptr, /* client_id= */ nullptr, /* client_app= */ nullptr,
               /* client_agent= */ nullptr);
         }});
  }
  questions.push_back(
      {"50 rows after 900 others", [](Answer* answer) { return annal_event_query(take_row, 1, 900, 950, 0, answer); }});
  questions.push_back({"50 of a level that 1 % have", event_page({.type = 3})});
  questions.push_back({"50 of a period of days", event_page({.first_date = kFirstDate, .last_date = kLastDate})});
  questions.push_back(
      {"50 of a period with times",
       event_page(
           {.first_date = kFirstDate, .last_date = kLastDate, .first_time = "00:00:00", .last_time = "23:59:59"})});
  questions.push_back({"50 of a user, exactly", event_page({.user = kNobody}, true)});
  questions.push_back({"50 of a user, contained", event_page({.user = kNobody})});
  questions.push_back({"50 of a user that 1 % have, exactly", event_page({.user = kSomebody}, true)});
  questions.push_back({"50 of users that 11 % have, contained", event_page({.user = kSomebody})});
  questions.push_back({"50 of the last 30 days", event_page({.first_date = kRecentFirst, .last_date = kRecentLast})});
  questions.push_back(
      {"50 of the last 30 days, with times",
       event_page(
           {.first_date = kRecentFirst, .last_date = kRecentLast, .first_time = "00:00:00", .last_time = "23:59:59"})});
  questions.push_back({"50 of an address", event_page({.ip = kNobody})});
  questions.push_back({"50 of a computer", event_page({.comp = kNobody})});
  questions.push_back({"50 with a text", event_page({.desc = kNobody})});
  questions.push_back({"50 of an application id", event_page({.app_id = kNobody})});
  questions.push_back({"50 of an application", event_page({.app_name = kNobody})});
  questions.push_back({"50 of a category", event_page({.category = kNobody})});
  questions.push_back({"50 of a client id", event_page({.client_id = kNobody})});
  questions.push_back({"50 of a client application", event_page({.client_app = kNobody})});
  questions.push_back({"50 of a client agent", event_page({.client_agent = kNobody})});
  questions.push_back({"count", [](Answer* /*answer*/) { return std::min(0, annal_event_query_count(0)); }});
  questions.push_back({"count a level", [](Answer* /*answer*/) { return std::min(0, annal_event_query_count(3)); }});
  questions.push_back(
      {"groups of users", [](Answer* answer) { return annal_event_query_group(take_row, 6, 0, 50, 0, 4, answer); }});
  questions.push_back({"polling: new since a moment", [](Answer* answer) {
                         return annal_event_query_byclientTime_ex(take_row, "0,1,2", "4000000000", 7, 0, 50, 1, answer);
                       }});
  return questions;
}

std::vector<Question> conn_questions() {
  std::vector<Question> questions;
  static const char* const orders[] = {"date, time", "time, date", "type",   "user",        "address",      "computer",
                                       "id",         "service",    "action", "application", "action result"};
  for (unsigned sort = 0; sort < 2 * std::size(orders); ++sort) {
    questions.push_back(
        {fmt::format("50 by {}{}", orders[sort / 2], sort % 2 == 0 ? "" : ", reversed"), [sort](Answer* answer) {
           return annal_conn_query(nullptr, take_row, static_cast<int>(sort), 0, 50, 0, answer);
         }});
  }
  struct Filter {
    const char* name;
    const char* user;
    const char* ip;
    const char* comp;
    const char* res;
    int serv;
    int action;
    const char* app;
    int result;
    const char* client;
    bool exactly;
  };
  static const Filter filters[] = {
      {"50 of a user, exactly", kNobody, nullptr, nullptr, nullptr, 0, 0, nullptr, 0, nullptr, true},
      {"50 of a user, contained", kNobody, nullptr, nullptr, nullptr, 0, 0, nullptr, 0, nullptr, false},
      {"50 of a user that 1 % have, exactly", kSomebody, nullptr, nullptr, nullptr, 0, 0, nullptr, 0, nullptr, true},
      {"50 of users that 11 % have, contained", kSomebody, nullptr, nullptr, nullptr, 0, 0, nullptr, 0, nullptr, false},
      {"50 of an address", nullptr, kNobody, nullptr, nullptr, 0, 0, nullptr, 0, nullptr, false},
      {"50 of a computer", nullptr, nullptr, kNobody, nullptr, 0, 0, nullptr, 0, nullptr, false},
      {"50 of a resource", nullptr, nullptr, nullptr, kNobody, 0, 0, nullptr, 0, nullptr, false},
      {"50 of a service", nullptr, nullptr, nullptr, nullptr, 7, 0, nullptr, 0, nullptr, false},
      {"50 of an action", nullptr, nullptr, nullptr, nullptr, 0, 7, nullptr, 0, nullptr, false},
      {"50 of an application", nullptr, nullptr, nullptr, nullptr, 0, 0, kNobody, 0, nullptr, false},
      {"50 that failed", nullptr, nullptr, nullptr, nullptr, 0, 0, nullptr, 13, nullptr, false},
      {"50 of a client application", nullptr, nullptr, nullptr, nullptr, 0, 0, nullptr, 0, kNobody, false},
  };
  for (const Filter& f : filters) {
    questions.push_back({f.name, [&f](Answer* answer) {
                           is_conn_name_matching = f.exactly ? 1 : 0;
                           return annal_conn_query_ex3(/* db_path= */ nullptr, take_row, /* sort= */ 1, /* start= */ 0,
                                                       /* end= */ 50, /* type_mode= */ 0, /* date_from= */ nullptr,
                                                       /* date_to= */ nullptr, f.user, f.ip, f.comp, f.res, f.serv,
                                                       f.action, answer, /* time_from= */ nullptr,
                                                       /* time_to= */ nullptr, f.app, f.result,
                                                       /* client_id= */ nullptr, f.client, /* client_agent= */ nullptr);
                         }});
  }
  questions.push_back({"50 of a period of days", [](Answer* answer) {
                         return annal_conn_query_ex(
                             /* db_path= */ nullptr, take_row, /* sort= */ 1, /* start= */ 0, /* end= */ 50,
                             /* type_mode= */ 0, kFirstDate, kLastDate, /* user= */ nullptr,
                             /* ip= */ nullptr, /* comp= */ nullptr, /* res= */ nullptr, /* serv= */ 0, /* action= */ 0,
                             answer, /* time_from= */ nullptr, /* time_to= */ nullptr, /* app= */ nullptr);
                       }});
  questions.push_back({"50 of a period with times", [](Answer* answer) {
                         return annal_conn_query_ex(
                             /* db_path= */ nullptr, take_row, /* sort= */ 1, /* start= */ 0, /* end= */ 50,
                             /* type_mode= */ 0, kFirstDate, kLastDate, /* user= */ nullptr,
                             /* ip= */ nullptr, /* comp= */ nullptr, /* res= */ nullptr, /* serv= */ 0, /* action= */ 0,
                             answer, /* time_from= */ "00:00:00", /* time_to= */ "23:59:59",
                             /* app= */ nullptr);
                       }});
  questions.push_back({"count", [](Answer* /*answer*/) { return std::min(0, annal_conn_query_count(0)); }});
  questions.push_back({"groups of users", [](Answer* answer) {
                         return annal_conn_query_group(nullptr, take_row, 6, 0, 50, 0, 4, answer);
                       }});
  return questions;
}

// Copies a text into a zeroed field.
template <std::size_t kSize>
void fill(char (&field)[kSize], std::string_view text) {
  text.copy(field, kSize - 1);
}

std::function<int(Answer*)> fileop_page(const std::function<void(FileOpFilter& filter)>& set) {
  return [set](Answer* answer) {
    FileOpFilter filter{};
    filter.event_filesize = -1;
    set(filter);
    return pavo2log_event_query_by(kFileOpLog, take_row, &filter, 0, 0, 50, answer);
  };
}

std::vector<Question> fileop_questions() {
  std::vector<Question> questions;
  static const char* const orders[] = {"date, time", "time, date", "type",   "user",   "address",
                                       "computer",   "id",         "folder", "action", "size"};
  for (unsigned sort = 0; sort < 2 * std::size(orders); ++sort) {
    questions.push_back(
        {fmt::format("50 by {}{}", orders[sort / 2], sort % 2 == 0 ? "" : ", reversed"),
         [sort](Answer* answer) { return pavo2log_event_query(kFileOpLog, take_row, sort, 0, 50, 0, answer); }});
  }
  questions.push_back({"50 of a level that 1 % have", fileop_page([](FileOpFilter& f) { f.event_type = 3; })});
  questions.push_back({"50 of a period of days", fileop_page([](FileOpFilter& f) {
                         fill(f.date_from, kFirstDate);
                         fill(f.date_to, kLastDate);
                       })});
  questions.push_back({"50 of a user", fileop_page([](FileOpFilter& f) { fill(f.event_user, kNobody); })});
  questions.push_back({"50 of an address", fileop_page([](FileOpFilter& f) { fill(f.event_ip, kNobody); })});
  questions.push_back({"50 of a path", fileop_page([](FileOpFilter& f) { f.event_filepath = kNobody; })});
  questions.push_back({"50 of an old path", fileop_page([](FileOpFilter& f) { f.event_oldfilepath = kNobody; })});
  questions.push_back({"50 of a folder kind", fileop_page([](FileOpFilter& f) { f.event_isFolder = 9; })});
  questions.push_back({"50 of an action", fileop_page([](FileOpFilter& f) { f.event_action = 99; })});
  questions.push_back({"50 of a size", fileop_page([](FileOpFilter& f) { f.event_filesize = 999999; })});
  questions.push_back({"50 of a computer", fileop_page([](FileOpFilter& f) { fill(f.event_comp, kNobody); })});
  questions.push_back({"50 with a text", fileop_page([](FileOpFilter& f) { fill(f.event_desc, kNobody); })});
  questions.push_back({"count", [](Answer* /*answer*/) {
                         return std::min(0,
                                         pavo2log_event_query_count(kFileOpLog, 0, nullptr, nullptr, nullptr, nullptr));
                       }});
  return questions;
}

std::vector<Question> notice_questions() {
  std::vector<Question> questions;
  static const char* const orders[] = {"time", nullptr,  "severity", "user",    "address",  "client",
                                       "id",   "server", "action",   "service", "facility", "message code"};
  for (unsigned sort = 0; sort < 2 * std::size(orders); ++sort) {
    if (orders[sort / 2] != nullptr) {
      questions.push_back({fmt::format("50 by {}{}", orders[sort / 2], sort % 2 == 0 ? "" : ", reversed"),
                           [sort](Answer* answer) { return annal_notice_query(take_row, sort, 0, 50, 0, answer); }});
    }
  }
  questions.push_back({"50 of a time", [](Answer* answer) {
                         return annal_notice_query_byclientTime(take_row, /* from= */ "1999999999", /* days= */ 30,
                                                                /* to= */ "2000000000", /* start= */ 0, /* end= */ 50,
                                                                /* sort= */ 1,
                                                                /* condition= */ nullptr, answer);
                       }});
  questions.push_back({"50 of any time, of a severity", [](Answer* answer) {
                         return annal_notice_query_byclientTime(take_row, /* from= */ "0", /* days= */ 20000,
                                                                /* to= */ "1760000000", /* start= */ 0, /* end= */ 50,
                                                                /* sort= */ 1,
                                                                /* condition= */ "severity = 1", answer);
                       }});
  questions.push_back({"count", [](Answer* /*answer*/) {
                         return std::min(0, annal_notice_query_count(0, nullptr, nullptr, nullptr, nullptr, nullptr));
                       }});
  questions.push_back({"groups of facilities", [](Answer* answer) {
                         return annal_notice_query_group_byclientTime(take_row, /* from= */ "0", /* days= */ 20000,
                                                                      /* to= */ "1760000000", /* start= */ 0,
                                                                      /* end= */ 50, /* sort= */ 1, /* group= */ 5,
                                                                      /* condition= */ nullptr, answer);
                       }});
  return questions;
}

int take_plan(void* context, int /*columns*/, char** values, char** /*names*/) {
  std::string& plan = *static_cast<std::string*>(context);
  constexpr int kDetail = 3;
  plan += (plan.empty() ? "" : "; ") + std::string(values[kDetail]);
  return 0;
}

// Explains the statement that the library runs, on the same log.
std::string plan_of(const LogUnderTest& log, const Question& question) {
  Answer answer;
  const std::vector<std::string> statements = statements_of([&] { question.ask(&answer); });
  sqlite3* database = nullptr;
  std::string plan;
  if (statements.empty() || sqlite3_open(log.path, &database) != SQLITE_OK ||
      sqlite3_exec(database, ("EXPLAIN QUERY PLAN " + statements.back()).c_str(), take_plan, &plan, nullptr) !=
          SQLITE_OK) {
    give_up("no plan for " + question.name);
  }
  sqlite3_close(database);
  return plan;
}

void point_at(const LogUnderTest& log, int rows) {
  fs::remove(log.path);
  fs::create_symlink(fmt::format("{}.{}", log.path, rows), log.path);
}

void compare_sizes(const LogUnderTest& log, const std::vector<Question>& questions, const std::vector<int>& sizes) {
  for (const int rows : sizes) {
    progress(fmt::format("filling the {} log with {} rows", log.name, rows));
    fs::remove(log.path);
    fill_log(log, rows);
    fs::rename(log.path, fmt::format("{}.{}", log.path, rows));
  }
  fmt::print("\n| {:42} |", fmt::format("{} log, us", log.name));
  for (const int rows : sizes) {
    fmt::print(" {:>8} |", rows);
  }
  fmt::print(" {:>8} | plan |\n|---|", "growth");
  for (std::size_t i = 0; i <= sizes.size(); ++i) {
    fmt::print("--:|");
  }
  fmt::print("---|\n");
  progress(fmt::format("asking the {} log", log.name));
  for (const Question& question : questions) {
    std::vector<std::vector<double>> times(sizes.size());
    std::vector<double> growth;
    double spent = 0;
    // One round is enough for a query that reads a million rows.
    for (int round = 0; round == 0 || (round < 3 && spent < 3e6) || (round < 9 && spent < 0.3e6); ++round) {
      for (std::size_t i = 0; i < sizes.size(); ++i) {
        point_at(log, sizes[i]);
        Answer answer;
        times[i].push_back(microseconds([&] { answer.result = question.ask(&answer); }));
        spent += times[i].back();
        if (answer.result != ANNAL_OK) {
          give_up(fmt::format("{} answered {}", question.name, answer.result));
        }
      }
      growth.push_back(times.back().back() / times.front().back());
    }
    fmt::print("| {:42} |", question.name);
    for (const std::vector<double>& of_size : times) {
      fmt::print(" {:>8} |", amount(median(of_size)));
    }
    fmt::print(" {:>8} | {} |\n", amount(median(growth)), plan_of(log, question));
    std::fflush(stdout);
  }
  fs::remove(log.path);
  for (const int rows : sizes) {
    fs::remove(fmt::format("{}.{}", log.path, rows));
  }
}

}  // namespace
}  // namespace annal::bench

int main(int argc, char** argv) {
  using namespace annal::bench;
  const std::string_view option = argc > 1 ? argv[1] : "";
  const bool quick = option == "--quick";
  const std::vector<int> sizes = quick ? std::vector{1000, 10000} : std::vector{1000, 100000, 1000000};
  for (const LogUnderTest& log : logs()) {
    const std::string_view name = log.name;
    if (!option.empty() && !quick && option != name) {
      continue;  // a log's name selects that log alone
    }
    compare_sizes(log,
                  name == "event"    ? event_questions()
                  : name == "conn"   ? conn_questions()
                  : name == "fileop" ? fileop_questions()
                                     : notice_questions(),
                  sizes);
  }
  return EXIT_SUCCESS;
}
