// Calls every function that counts, lists, groups, deletes or trims with any arguments, on logs with some entries. A
// count and its listing must agree, escaped texts must never act as SQL, and reading must not change the file.
#include <array>
#include <functional>

#include "Corix_annal.h"
#include "tests/fuzz/fuzz.h"

namespace {

using annal::fuzz::Input;
using annal::fuzz::Listing;
using annal::fuzz::or_null;
using annal::fuzz::require;
using annal::fuzz::require_answer;

using Text = std::optional<std::string>;

constexpr std::array kRefusals{static_cast<int>(ANNAL_BAD_ARGUMENT), static_cast<int>(ANNAL_QUERY_FAILED)};

// The rows, their order, and where the callback stops.
struct Page {
  explicit Page(Input& input) : sort(input.code()) {
    if (input.flag()) {
      start = input.number();
      end = input.number();
    }
    listing.stop_at = input.below(8) == 1 ? static_cast<int>(1 + input.below(3)) : 0;
    callback = input.below(16) == 1 ? nullptr : &Listing::callback;
  }

  // Whether all rows were requested, so that a count must match.
  [[nodiscard]] bool whole() const { return start == 0 && end == 0 && callback != nullptr && !listing.stopped(); }

  unsigned sort;
  int start = 0;
  int end = 0;
  annal_row_callback callback = nullptr;
  Listing listing;
};

void require_listing(int answer, const Page& page) {
  require_answer(answer, kRefusals);
  require(answer <= 0, "a listing that answers with a count");
  require(answer != ANNAL_OK || !page.listing.stopped(), "a listing that was stopped and succeeded");
  require(answer != ANNAL_BAD_ARGUMENT || page.listing.delivered == 0, "rows of a refused listing");
}

// Filter texts are escaped: the statement may fail only because of the callback, or as documented.
void require_escaped(int answer, const Page& page, bool may_fail) {
  require(answer != ANNAL_QUERY_FAILED || page.listing.stopped() || may_fail, "a filter's text that is SQL");
}

void require_same_count(int listed, const Page& page, int count) {
  require_answer(count, kRefusals);
  if (listed == ANNAL_OK && page.whole() && count >= 0) {
    require(page.listing.delivered == count,
            "a count of " + std::to_string(count) + " for a listing of " + std::to_string(page.listing.delivered));
  }
}

void require_columns(const Page& page, int columns) {
  require(page.listing.delivered == 0 || page.listing.columns == columns, "another number of columns");
}

// A number as a text, or something similar.
std::string moment(Input& input) {
  constexpr std::array kMoments{"0", "1577836800", "-1", "1e10", "99999999999999999999", "x", "", "1+1", "(", ")"};
  return input.flag() ? std::to_string(input.number()) : input.one_of(kMoments);
}

std::string levels(Input& input) {
  std::string levels = input.text(70);
  if (input.flag()) {
    for (char& c : levels) {
      c = "012,9- "[static_cast<unsigned char>(c) % 7];
    }
  }
  return levels;
}

// ---- events ----

void plain_events(Input& input) {
  Page page(input);
  const unsigned type = input.code();
  const int listed = annal_event_query(page.callback, page.sort, page.start, page.end, type, &page.listing);
  require_listing(listed, page);
  require_escaped(listed, page, false);
  require_columns(page, 17);
  require_same_count(listed, page, annal_event_query_count(type));
  Page groups(input);
  const int grouped = annal_event_query_group(groups.callback, groups.sort, groups.start, groups.end, type,
                                              input.code(), &groups.listing);
  require_listing(grouped, groups);
  require_escaped(grouped, groups, false);
  require_columns(groups, 18);
}

struct Period {
  Text date_from, date_to, time_from, time_to;

  explicit Period(Input& input) {
    for (Text* const text : {&date_from, &date_to, &time_from, &time_to}) {
      *text = input.text_or_none(20);
    }
    if (input.below(4) != 0) {  // both or neither
      date_to = date_from ? Text(date_to.value_or("2030-01-01")) : Text();
      time_to = time_from ? Text(time_to.value_or("12:00:00")) : Text();
    }
  }
  [[nodiscard]] bool paired() const {
    return date_from.has_value() == date_to.has_value() && time_from.has_value() == time_to.has_value();
  }
};

void searched_events(Input& input) {
  annal_event_enable_name_matching(input.flag() ? 1 : 0);
  Page page(input);
  const unsigned type = input.flag() ? 0 : input.code();
  const Period period(input);
  std::array<Text, 11> texts;
  for (Text& text : texts) {
    text = input.text_or_none(2100);
  }
  const char* const date_from = or_null(period.date_from);
  const char* const date_to = or_null(period.date_to);
  const char* const time_from = or_null(period.time_from);
  const char* const time_to = or_null(period.time_to);
  const auto [user, ip, comp, desc] =
      std::tuple(or_null(texts[0]), or_null(texts[1]), or_null(texts[2]), or_null(texts[3]));
  const auto [app_id, app, category_id, category] =
      std::tuple(or_null(texts[4]), or_null(texts[5]), or_null(texts[6]), or_null(texts[7]));
  const auto [client_id, client_app, agent] = std::tuple(or_null(texts[8]), or_null(texts[9]), or_null(texts[10]));
  const bool others =
      type != 0 || date_from != nullptr || user != nullptr || ip != nullptr || comp != nullptr || desc != nullptr;
  const bool client = client_id != nullptr || client_app != nullptr || agent != nullptr;
  const bool application = app_id != nullptr || app != nullptr || category_id != nullptr || category != nullptr;
  const bool category_alone = category_id != nullptr && category != nullptr && app_id == nullptr && app == nullptr;
  const unsigned form = input.below(4);
  const bool known_to_fail = !others && ((form == 1 && category_alone) ||
                                         (form == 2 && ((category_alone && !client) || (client && application))));
  int listed = 0;
  int count = 0;
  if (form == 0) {
    listed = annal_event_query_ex(page.callback, page.sort, page.start, page.end, type, date_from, date_to, user, ip,
                                  comp, desc, &page.listing, time_from, time_to);
    count = annal_event_query_count_ex(type, date_from, date_to, user, ip, comp, desc, time_from, time_to);
  } else if (form == 1) {
    listed = annal_event_query_ex2(page.callback, page.sort, page.start, page.end, type, date_from, date_to, user, ip,
                                   comp, desc, &page.listing, time_from, time_to, app_id, app, category_id, category);
    count = annal_event_query_count_ex2(type, date_from, date_to, user, ip, comp, desc, time_from, time_to, app_id, app,
                                        category_id, category);
  } else if (form == 2) {
    listed = annal_event_query_ex3(page.callback, page.sort, page.start, page.end, type, date_from, date_to, user, ip,
                                   comp, desc, &page.listing, time_from, time_to, app_id, app, category_id, category,
                                   client_id, client_app, agent);
    count = annal_event_query_count_ex3(type, date_from, date_to, user, ip, comp, desc, time_from, time_to, app_id, app,
                                        category_id, category, client_id, client_app, agent);
  } else {
    const unsigned group = input.code();
    listed = annal_event_query_group_ex(page.callback, page.sort, page.start, page.end, type, date_from, date_to, user,
                                        ip, comp, desc, group, &page.listing, time_from, time_to);
  }
  require_listing(listed, page);
  require_escaped(listed, page, known_to_fail);
  require_columns(page, form == 3 ? 18 : 17);
  require_answer(count, kRefusals);
  if (form != 3 && period.paired()) {
    require((count == ANNAL_QUERY_FAILED) == (known_to_fail && type <= 3), "a count that failed");
    require_same_count(listed, page, count);
  }
}

void polled_events(Input& input) {
  Page page(input);
  const std::string types = levels(input);
  const std::string client_time = moment(input);
  const int days = input.number();
  const int listed = annal_event_query_byclientTime_ex(page.callback, types.c_str(), client_time.c_str(), days,
                                                       page.start, page.end, page.sort, &page.listing);
  require_listing(listed, page);
  require_same_count(listed, page, annal_event_query_byclientTime_count_ex(types.c_str(), client_time.c_str(), days));
  Page groups(input);
  require_listing(
      annal_event_query_byclientTime_group(groups.callback, types.c_str(), client_time.c_str(), days, groups.start,
                                           groups.end, groups.sort, input.code(), &groups.listing),
      groups);
}

// ---- connections ----

void searched_connections(Input& input) {
  annal_conn_enable_name_matching(input.flag() ? 1 : 0);
  Page page(input);
  const char* const path = input.flag() ? annal::fuzz::kConnLog : nullptr;
  const unsigned mode = input.flag() ? 0 : input.code();
  Period period(input);
  if (period.date_from) {  // its partner must be given too
    period.date_to = period.date_to.value_or("2030-01-01");
    period.time_to = period.time_from ? Text(period.time_to.value_or("0")) : period.time_to;
  }
  std::array<Text, 8> texts;
  for (Text& text : texts) {
    text = input.text_or_none(1100);
  }
  const int service = input.flag() ? 0 : input.number();
  const int action = input.flag() ? 0 : input.number();
  const int result = input.flag() ? static_cast<int>(13 * input.below(2)) : input.number();
  const unsigned group = input.code();
  const char* const from = or_null(period.date_from);
  const char* const to = or_null(period.date_to);
  const char* const time_from = or_null(period.time_from);
  const char* const time_to = or_null(period.time_to);
  const auto [user, ip, comp, res] =
      std::tuple(or_null(texts[0]), or_null(texts[1]), or_null(texts[2]), or_null(texts[3]));
  const auto [app, client_id, client_app, agent] =
      std::tuple(or_null(texts[4]), or_null(texts[5]), or_null(texts[6]), or_null(texts[7]));
  const auto sort = static_cast<int>(page.sort);
  const auto type_mode = static_cast<int>(mode);
  int listed = 0;
  std::optional<int> count;
  const unsigned form = input.below(7);
  if (form == 0) {
    listed = annal_conn_query(path, page.callback, sort, page.start, page.end, type_mode, &page.listing);
    count = annal_conn_query_count(type_mode);
  } else if (form == 1) {
    listed = annal_conn_query_ex(path, page.callback, sort, page.start, page.end, type_mode, from, to, user, ip, comp,
                                 res, service, action, &page.listing, time_from, time_to, app);
    count =
        annal_conn_query_count_ex(type_mode, from, to, user, ip, comp, res, service, action, time_from, time_to, app);
  } else if (form == 2) {
    listed = annal_conn_query_ex2(path, page.callback, sort, page.start, page.end, type_mode, from, to, user, ip, comp,
                                  res, service, action, &page.listing, time_from, time_to, app, result);
    count = annal_conn_query_count_ex2(type_mode, from, to, user, ip, comp, res, service, action, time_from, time_to,
                                       app, result);
  } else if (form == 3) {
    listed = annal_conn_query_ex3(path, page.callback, sort, page.start, page.end, type_mode, from, to, user, ip, comp,
                                  res, service, action, &page.listing, time_from, time_to, app, result, client_id,
                                  client_app, agent);
    count = annal_conn_query_count_ex3(type_mode, from, to, user, ip, comp, res, service, action, time_from, time_to,
                                       app, result, client_id, client_app, agent);
  } else if (form == 4) {
    listed = annal_conn_query_group(path, page.callback, sort, page.start, page.end, type_mode, group, &page.listing);
  } else if (form == 5) {
    listed = annal_conn_query_group_ex(path, page.callback, sort, page.start, page.end, type_mode, from, to, user, ip,
                                       comp, res, service, action, group, &page.listing, time_from, time_to, app);
  } else {
    listed =
        annal_conn_query_group_ex2(path, page.callback, sort, page.start, page.end, type_mode, from, to, user, ip, comp,
                                   res, service, action, group, &page.listing, time_from, time_to, app, result);
  }
  require_listing(listed, page);
  require_escaped(listed, page, false);
  require_columns(page, form > 3 ? 16 : 15);
  if (count) {
    require(*count != ANNAL_QUERY_FAILED, "a count that failed");
    require_same_count(listed, page, *count);
  }
}

void polled_connections(Input& input) {
  Page page(input);
  const std::string wanted = levels(input);
  const std::string client_time = moment(input);
  const int days = input.number();
  const int listed = annal_conn_query_byclientTime_ex(page.callback, wanted.c_str(), client_time.c_str(), days,
                                                      page.start, page.end, page.sort, &page.listing);
  require_listing(listed, page);
  require_same_count(listed, page, annal_conn_query_byclientTime_count_ex(wanted.c_str(), client_time.c_str(), days));
  constexpr std::array kGroupings{"", "group by conn_user", "group by conn_type, conn_ip", "GROUP BY nothing", "(",
                                  "'"};
  Page groups(input);
  require_listing(
      annal_conn_query_byclientTime_group(groups.callback, wanted.c_str(), client_time.c_str(), days, groups.start,
                                          groups.end, groups.sort, input.one_of(kGroupings), &groups.listing),
      groups);
}

// ---- notices ----

void notices(Input& input) {
  Page page(input);
  const unsigned kind = input.below(4);
  const int listed = annal_notice_query(page.callback, page.sort, page.start, page.end, kind, &page.listing);
  require_listing(listed, page);
  require_escaped(listed, page, false);
  require_columns(page, 22);
  require_same_count(listed, page, annal_notice_query_count(kind, nullptr, nullptr, nullptr, nullptr, nullptr));

  const Text from = input.below(8) == 1 ? Text() : Text(moment(input));
  const Text to = input.below(8) == 1 ? Text() : Text(moment(input));
  const int days = input.number();
  constexpr std::array kConditions{"severity < 4", "1", "uid in (1, 2)", "(", "user = 'x'", "0 limit 1"};
  const Text condition = input.flag() ? Text(input.one_of(kConditions)) : Text();
  Page timed(input);
  const int found = annal_notice_query_byclientTime(timed.callback, or_null(from), days, or_null(to), timed.start,
                                                    timed.end, timed.sort, or_null(condition), &timed.listing);
  require_listing(found, timed);
  require_columns(timed, 22);
  const int count = annal_notice_query_byclientTime_count(or_null(from), days, or_null(to), or_null(condition));
  require_same_count(found, timed, count);
  Page groups(input);
  require_listing(
      annal_notice_query_group_byclientTime(groups.callback, or_null(from), days, or_null(to), groups.start, groups.end,
                                            groups.sort, input.code(), or_null(condition), &groups.listing),
      groups);
}

void facilities_and_columns(Input& input) {
  constexpr std::array kColumns{"title", "event_id", "conn_app", "id", "rowid", "nothing", "*", "count(*)", "-1", ""};
  const char* const column = input.one_of(kColumns);
  require_answer(annal_event_table_check_column(column), kRefusals);
  require_answer(annal_conn_table_check_column(column), kRefusals);
  // This one also returns negative values.
  static_cast<void>(annal_notice_table_check_column(column));
  require(isAllColumnExist() == 0, "a column of the notices that is missing");
}

// ---- file operations ----

bool has_quote(const Text& text) {
  return text && text->find('\'') != std::string::npos;
}

void operations(Input& input) {
  const char* const path = annal::fuzz::kFileOpLog;
  Page page(input);
  const unsigned type = input.code();
  const int listed = pavo2log_event_query(path, page.callback, page.sort, page.start, page.end, type, &page.listing);
  require_listing(listed, page);
  require_escaped(listed, page, false);
  require_columns(page, 16);
  require_same_count(listed, page, pavo2log_event_query_count(path, type, nullptr, nullptr, nullptr, nullptr));

  FileOpFilter filter{};
  filter.event_type = input.flag() ? 0 : input.code();
  filter.event_isFolder = input.number();
  filter.event_action = input.number();
  filter.event_filesize = input.flag() ? -1 : input.number();
  const Text old_path = input.text_or_none(2100);
  const Text new_path = input.text_or_none(2100);
  filter.event_oldfilepath = or_null(old_path);
  filter.event_filepath = or_null(new_path);
  bool quoted = has_quote(old_path) || has_quote(new_path);
  for (const std::span<char> field :
       {std::span<char>(filter.date_from), std::span<char>(filter.date_to), std::span<char>(filter.event_user),
        std::span<char>(filter.event_ip), std::span<char>(filter.event_comp), std::span<char>(filter.event_duid),
        std::span<char>(filter.event_desc)}) {
    if (input.flag()) {
      input.fill(field);
      quoted = quoted || std::memchr(field.data(), '\'', field.size()) != nullptr;
    }
  }
  Page filtered(input);
  const FileOpFilter before = filter;
  const int found = pavo2log_event_query_by(path, filtered.callback, &filter, filtered.sort, filtered.start,
                                            filtered.end, &filtered.listing);
  require_listing(found, filtered);
  require_escaped(found, filtered, quoted);
  const int count = pavo2log_event_query_count_by(path, &filter, nullptr, nullptr, nullptr, nullptr);
  require_same_count(found, filtered, count);
  require(annal::fuzz::same_bytes(&before, &filter, sizeof filter), "a filter that has changed");
}

// ---- changes ----

void delete_entries(Input& input) {
  constexpr std::array kFailures{static_cast<int>(ANNAL_BAD_ARGUMENT), static_cast<int>(ANNAL_CHANGE_FAILED)};
  const unsigned selector = input.code();
  // Works as an int and as a text; the selector decides which is read.
  std::string value = input.unquoted(2100);
  if (value.size() < sizeof(int)) {
    value.append(sizeof(int), '\0');
  }
  const unsigned log = input.below(4);
  int answer = 0;
  if (log == 0) {
    answer = annal_event_del(selector, value.data());
    require((answer == ANNAL_BAD_ARGUMENT) == (selector > 9) && answer != ANNAL_CHANGE_FAILED, "a deletion's answer");
  } else if (log == 1) {
    answer = annal_conn_del(selector, value.data());
    require((answer == ANNAL_BAD_ARGUMENT) == (selector > 11) && answer != ANNAL_CHANGE_FAILED, "a deletion's answer");
  } else if (log == 2) {
    // Three selectors take expressions.
    if (selector >= 19 && selector <= 21) {
      value = std::to_string(input.number());
    }
    answer = annal_notice_del(selector, value.data());
    require((answer == ANNAL_BAD_ARGUMENT) == (selector > 21), "a deletion's answer");
    require((answer == ANNAL_CHANGE_FAILED) == (selector == 10), "a deletion's answer");
  } else {
    answer = pavo2log_event_del(annal::fuzz::kFileOpLog, selector, value.data());
    require((answer == ANNAL_BAD_ARGUMENT) == (selector > 12) && answer != ANNAL_CHANGE_FAILED, "a deletion's answer");
  }
  require_answer(answer, kFailures);
}

// With any limits, a log with a trigger accepts entries and stays undamaged.
void maintain(Input& input) {
  const int limit = input.number();
  const int batch = input.number();
  const char* const path = annal::fuzz::kFileOpLog;
  require(annal_event_remove_trigger_logfull() == ANNAL_OK && annal_event_add_trigger_logfull(limit, batch) == ANNAL_OK,
          "the trigger of events");
  require(annal_conn_remove_trigger_logfull() == ANNAL_OK && annal_conn_add_trigger_logfull(limit, batch) == ANNAL_OK,
          "the trigger of connections");
  require(
      annal_notice_remove_trigger_logfull() == ANNAL_OK && annal_notice_add_trigger_logfull(limit, batch) == ANNAL_OK,
      "the trigger of notices");
  require(pavo2log_event_remove_trigger_logfull(path) == ANNAL_OK &&
              pavo2log_event_add_trigger_logfull(path, limit, batch) == ANNAL_OK,
          "the trigger of operations");
  EventRecord event{};
  std::strcpy(event.event_desc, "x");
  require(annal_event_add_msgid_ex3(&event) == ANNAL_OK, "an event");
  ConnRecord connection{};
  require(annal_conn_add2(&connection) == ANNAL_OK, "a connection");
  NoticeRecord notice{};
  require(annal_notice_add(&notice) == ANNAL_OK, "a notice");
  FileOpRecord operation{};
  operation.event_action = 1;
  require(pavo2log_event_add(path, &operation) > 0, "an operation");
  const int keep = input.number();
  require(annal_event_del_logfull_over_size(keep) == ANNAL_OK, "trimming events");
  require(keep <= 0 || annal_event_query_count(0) <= keep, "events beyond the limit");
  const int before = annal_conn_query_count(0);
  const int drop = input.number();
  require(annal_conn_del_full(drop) == ANNAL_OK, "trimming connections");
  const int left = drop < 0 || drop >= before ? 0 : before - drop;
  require(annal_conn_query_count(0) == left, "connections beyond the limit");
  const int days = input.number();
  require(AnnalNoticeDellogByClientTime(days) == (days < 1 ? ANNAL_BAD_ARGUMENT : ANNAL_OK), "ageing notices");
  for (const char* const log : {annal::fuzz::kEventLog, annal::fuzz::kConnLog, annal::fuzz::kNoticeLog, path}) {
    require(annal::fuzz::rows(log, "PRAGMA integrity_check") == annal::fuzz::Rows{{"ok"}}, "a damaged log");
  }
}

struct QueryKind {
  void (*run)(Input&);
  bool reads;
};

constexpr std::array kWays{
    QueryKind{&plain_events, true}, QueryKind{&searched_events, true},        QueryKind{&polled_events, true},
    QueryKind{&notices, true},      QueryKind{&searched_connections, true},   QueryKind{&polled_connections, true},
    QueryKind{&operations, true},   QueryKind{&facilities_and_columns, true}, QueryKind{&delete_entries, false},
    QueryKind{&maintain, false},
};

void insert(const char* path, const char* table, std::initializer_list<std::string> values) {
  std::string sql = std::string("INSERT INTO ") + table + " VALUES (NULL";
  for (const std::string& value : values) {
    sql += ", ";
    sql += value;
  }
  annal::fuzz::run(path, sql + ")");
}

const annal::fuzz::Files& filled_logs() {
  static const annal::fuzz::Files logs = [] {
    const char* const path = annal::fuzz::kFileOpLog;
    require(annal_event_create_tbl(0, 0) == ANNAL_OK && annal_conn_create_tbl(0, 0) == ANNAL_OK &&
                annal_notice_create_tbl(0, 0) == ANNAL_OK && pavo2log_event_create_tbl(path, 0, 0) == ANNAL_OK,
            "new logs");
    for (int i = 0; i < 6; ++i) {
      const std::string n = std::to_string(i);
      const std::string type = std::to_string(i % 3);
      const std::string day = "'2020-01-0" + std::to_string(1 + i % 3) + "'";
      const std::string time = "'0" + n + ":00:00'";
      const std::string user = "'user" + n + "'";
      const std::string text = "'\xC3\xA9\xFF" + n + "'";
      const char* const odd = R"('it''s %_\ "')";
      insert(annal::fuzz::kEventLog, "ANNAL_EVENT",
             {type, day, time, user, "'::1'", odd, text, "'0'", "1577836800", "'A'", "'B'", "'C'", "'D'", "'---'",
              "'---'", "NULL"});
      insert(annal::fuzz::kConnLog, "ANNAL_CONN",
             {type, day, time, user, "'::1'", odd, text, "1", n, "'app'", "13", "'---'", "'---'", "NULL"});
      insert(annal::fuzz::kNoticeLog, "ANNAL_NOTICE",
             {n,     "0", "0",  "'service'", "3", "1577836800", "1577836800", user,     "'::1'", odd,      text,
              "'0'", "0", "''", "'name'",    "0", "1",          "1",          "'link'", "''",    "'title'"});
      insert(path, "PAVO2LOG_EVENT",
             {type, day, time, user, "'::1'", "'/old'", "'/new'", "1", "2", "3", odd, text, "'desc'", "''", "0"});
    }
    return annal::fuzz::files();
  }();
  return logs;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static bool changed = true;
  if (changed) {
    annal::fuzz::put_back(filled_logs());
  }
  Input input(data, size);
  const QueryKind& way = input.one_of(kWays);
  changed = !way.reads;
  const annal::fuzz::LeakCheck leak_check;
  way.run(input);
  require(!way.reads || annal::fuzz::files() == filled_logs(), "a query that has changed a file");
  return 0;
}
