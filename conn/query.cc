// The connection log's queries: listings, counts and groups, each in three forms of which the later ones have more
// filters, and the polling clients' queries. A search is a statement with a slot for each filter; tables below hold the
// filters, orders and groupings, and the caller's codes index them. Other programs recognize the statements in traces,
// so their texts, blanks included, must not change.
#include "Corix_annal.h"
#include "common/filters.h"
#include "common/fragment.h"
#include "common/level_list.h"
#include "common/paths.h"
#include "common/row_range.h"
#include "common/store.h"

namespace annal {

namespace {

// The conditions of a search. A null text, a number of 0 and a period without a first date mean no condition.
struct Conditions {
  unsigned type = 0;
  Period period{};
  const char* user = nullptr;
  const char* ip = nullptr;
  const char* comp = nullptr;
  const char* res = nullptr;
  int serv = 0;
  int action = 0;
  const char* app = nullptr;
  int action_result = 0;
  const char* client_id = nullptr;
  const char* client_app = nullptr;
  const char* client_agent = nullptr;
};

// The filters' slots in a statement, which is also the order in which they are joined. Searches of earlier releases
// lack the later ones.
enum Slot : std::size_t {
  kIp = kUserSlot + 1,
  kComp,
  kRes,
  kServ,
  kAction,
  kApp,
  kActionResult,
  kClientId,
  kClientApp,
  kClientAgent,
  kSlots
};

constexpr std::size_t kTypeOnly = kTypeSlot + 1;
constexpr std::size_t kUpToApp = kApp + 1;
constexpr std::size_t kUpToActionResult = kActionResult + 1;

constexpr ValueFilter<Conditions> kValueFilters[] = {
    {kIp,
     {"WHERE (conn_ip LIKE '%%%q%%')", " AND (conn_ip LIKE '%%%q%%')", Following::kTakesAnd},
     &Conditions::ip,
     nullptr},
    {kComp,
     {"WHERE (conn_comp LIKE '%%%q%%')", " AND (conn_comp LIKE '%%%q%%')", Following::kTakesAnd},
     &Conditions::comp,
     nullptr},
    {kRes,
     {"WHERE (conn_res LIKE '%%%q%%')", " AND (conn_res LIKE '%%%q%%')", Following::kTakesAnd},
     &Conditions::res,
     nullptr},
    {kServ, {"WHERE (conn_serv = %d)", " AND (conn_serv = %d)", Following::kTakesAnd}, nullptr, &Conditions::serv},
    {kAction,
     {"WHERE (conn_action = %d)", " AND (conn_action = %d)", Following::kTakesAnd},
     nullptr,
     &Conditions::action},
    {kApp,
     {"WHERE (conn_app LIKE '%%%q%%')", " AND (conn_app LIKE '%%%q%%')", Following::kTakesAnd},
     &Conditions::app,
     nullptr},
    {kActionResult,
     {"WHERE (conn_action_result = %d)", " AND (conn_action_result = %d)", Following::kTakesAnd},
     nullptr,
     &Conditions::action_result},
    {kClientId,
     {"WHERE (conn_client_id LIKE '%%%q%%')", " AND (conn_client_id LIKE '%%%q%%')", Following::kTakesAnd},
     &Conditions::client_id,
     nullptr},
    {kClientApp,
     {"WHERE (conn_client_app LIKE '%%%q%%')", " AND (conn_client_app LIKE '%%%q%%')", Following::kTakesAnd},
     &Conditions::client_app,
     nullptr},
    {kClientAgent,
     {"WHERE (conn_client_agent LIKE '%%%q%%')", " AND (conn_client_agent LIKE '%%%q%%')", Following::kTakesAnd},
     &Conditions::client_agent,
     nullptr},
};

// A caller's type is one more than the stored one. The blank before one WHERE is part of the statement: other programs
// recognize it in traces.
constexpr FilterTable<Conditions> kFilters{
    .type = {"WHERE conn_type = %d", "", Following::kTakesAnd},
    .period =
        {
            .dates = {"WHERE (conn_date >= '%q') AND (conn_date <= '%q')",
                      " AND (conn_date >= '%q') AND (conn_date <= '%q')", Following::kTakesAnd},
            .dates_with_times =
                {" WHERE (conn_date||' '||conn_time >= '%q %q') AND (conn_date||' '||conn_time <= '%q %q')",
                 " AND (conn_date||' '||conn_time >= '%q %q') AND (conn_date||' '||conn_time <= '%q %q')",
                 Following::kTakesAnd},
        },
    .user_exactly = {"WHERE (conn_user = '%q')", " AND (conn_user = '%q')", Following::kTakesAnd},
    .user_contains = {"WHERE (conn_user LIKE '%%%q%%')", " AND (conn_user LIKE '%%%q%%')", Following::kTakesAnd},
    .exact_users = &is_conn_name_matching,
    .values = kValueFilters,
};

constexpr unsigned kHighestTypeMode = 3;
constexpr int kHighestService = 12;
constexpr int kHighestAction = 36;
constexpr int kFailedAction = 13;

constexpr const char* kOrders[] = {
    "ORDER BY conn_date, conn_time",
    "ORDER BY conn_date DESC, conn_time DESC",
    "ORDER BY conn_time, conn_date",
    "ORDER BY conn_time DESC, conn_date DESC",
    "ORDER BY conn_type",
    "ORDER BY conn_type DESC",
    "ORDER BY conn_user",
    "ORDER BY conn_user DESC",
    "ORDER BY conn_ip",
    "ORDER BY conn_ip DESC",
    "ORDER BY conn_comp",
    "ORDER BY conn_comp DESC",
    "ORDER BY conn_id",
    "ORDER BY conn_id DESC",
    "ORDER BY conn_serv",
    "ORDER BY conn_serv DESC",
    "ORDER BY conn_action",
    "ORDER BY conn_action DESC",
    "ORDER BY conn_app",
    "ORDER BY conn_app DESC",
    "ORDER BY conn_action_result",
    "ORDER BY conn_action_result DESC",
};
constexpr unsigned kHighestSort = 21;

constexpr const char* kGroupings[] = {
    "GROUP BY conn_id",   "GROUP BY conn_type",   "GROUP BY conn_date", "GROUP BY conn_time",
    "GROUP BY conn_user", "GROUP BY conn_ip",     "GROUP BY conn_comp", "GROUP BY conn_res",
    "GROUP BY conn_serv", "GROUP BY conn_action", "GROUP BY conn_app",  "GROUP BY conn_action_result",
};
constexpr unsigned kHighestGroup = 11;

// The forms of a search, by the number of filters that have a slot. GROUP BY, ORDER BY and LIMIT follow the filters if
// a statement has them.
constexpr Search kCount{{"SELECT COUNT(*) FROM ANNAL_CONN %s;", Wait::kBusyTimeout, ANNAL_QUERY_FAILED}, kTypeOnly};
constexpr Search kCountUpToApp{
    {"SELECT COUNT(*) FROM ANNAL_CONN %s %s %s %s %s %s %s %s %s;", Wait::kBusyTimeout, ANNAL_QUERY_FAILED}, kUpToApp};
constexpr Search kCountWithAll{
    {"SELECT COUNT(*) FROM ANNAL_CONN %s %s %s %s %s %s %s %s %s %s %s %s %s;", Wait::kBusyTimeout, ANNAL_QUERY_FAILED},
    kSlots};
constexpr Search kListing{{"SELECT * FROM ANNAL_CONN %s %s %s;", Wait::kBusyTimeout, ANNAL_QUERY_FAILED}, kTypeOnly};
constexpr Search kListingUpToApp{
    {"SELECT * FROM ANNAL_CONN %s %s %s %s %s %s %s %s %s %s %s;", Wait::kBusyTimeout, ANNAL_QUERY_FAILED}, kUpToApp};
constexpr Search kListingWithAll{
    {"SELECT * FROM ANNAL_CONN %s %s %s %s %s %s %s %s %s %s %s %s %s %s %s;", Wait::kBusyTimeout, ANNAL_QUERY_FAILED},
    kSlots};
constexpr Search kGroups{{"SELECT *,COUNT(*) FROM ANNAL_CONN %s %s %s %s;", Wait::kBusyTimeout, ANNAL_QUERY_FAILED},
                         kTypeOnly};
constexpr Search kGroupsUpToApp{
    {"SELECT *,COUNT(*) FROM ANNAL_CONN %s %s %s %s %s %s %s %s %s %s %s %s;", Wait::kBusyTimeout, ANNAL_QUERY_FAILED},
    kUpToApp};
constexpr Search kGroupsUpToActionResult{{"SELECT *,COUNT(*) FROM ANNAL_CONN %s %s %s %s %s %s %s %s %s %s %s %s %s;",
                                          Wait::kBusyTimeout, ANNAL_QUERY_FAILED},
                                         kUpToActionResult};

// The polling clients' statements. The count and the groups omit entries stamped in the future; the listing does not.
constexpr Statement kCountSince{
    "SELECT COUNT(*) FROM (select * from ANNAL_CONN %q) where conn_date||' '||conn_time >= datetime(%q , "
    "'unixepoch', 'localtime') and conn_date||' '||conn_time >= datetime(strftime('%%s','now')-%d*86400, "
    "'unixepoch', 'localtime') and conn_date||' '||conn_time <= datetime(strftime('%%s','now'), 'unixepoch', "
    "'localtime');",
    Wait::kBusyTimeout, ANNAL_QUERY_FAILED};
constexpr Statement kListingSince{
    "SELECT * FROM (select * from ANNAL_CONN %q) where conn_date||' '||conn_time >= datetime(%q , 'unixepoch', "
    "'localtime') and conn_date||' '||conn_time >= datetime(strftime('%%s','now')-%d*86400, 'unixepoch', "
    "'localtime') %s %s;",
    Wait::kBusyTimeout, ANNAL_QUERY_FAILED};
constexpr Statement kGroupsSince{
    "SELECT *,COUNT(*) FROM (select * from ANNAL_CONN %q %s) where conn_date||' '||conn_time >= datetime(%q , "
    "'unixepoch', 'localtime') and conn_date||' '||conn_time >= datetime(strftime('%%s','now')-%d*86400, "
    "'unixepoch', 'localtime') and conn_date||' '||conn_time <= datetime(strftime('%%s','now'), 'unixepoch', "
    "'localtime') %s %s;",
    Wait::kBusyTimeout, ANNAL_QUERY_FAILED};

constexpr LevelFilter kLevels{"where ", "conn_type"};

// Both accept the event log's codes, because callers pass those to either, but each sorts only by its own. The listing
// never got the orders by application and result.
constexpr unsigned kHighestSortSince = 25;
constexpr unsigned kOrdersOfListingSince = 18;

// Callers keep codes in plain ints; a negative one becomes larger than any valid code.
constexpr unsigned as_code(int number) noexcept {
  return static_cast<unsigned>(number);
}

bool in_range(const Conditions& wanted) noexcept {
  return wanted.type <= kHighestTypeMode && wanted.serv <= kHighestService && wanted.action <= kHighestAction &&
         (wanted.action_result == 0 || wanted.action_result == kFailedAction);
}

// The parts that follow the filters in a listing.
struct Rows {
  unsigned sort;
  RowRange range;

  [[nodiscard]] bool valid() const noexcept { return sort <= kHighestSort && range.valid(); }
};

const char* or_default(const char* path) noexcept {
  return path != nullptr ? path : kConnLog;
}

int count_matching(const Search& search, const Conditions& wanted) noexcept {
  if (!in_range(wanted)) {
    return ANNAL_BAD_ARGUMENT;
  }
  return first_integer(kConnLog, search.statement, search_text(search, filters_of(kFilters, wanted)),
                       NegativeValue::kIsFailure);
}

int list_matching(const Search& search, const char* path, const Conditions& wanted, const Rows& rows,
                  const Receiver& receiver) noexcept {
  if (!rows.valid() || !in_range(wanted)) {
    return ANNAL_BAD_ARGUMENT;
  }
  const char* tail[] = {fragment(kOrders, rows.sort), rows.range.clause()};
  return list(or_default(path), search.statement, search_text(search, filters_of(kFilters, wanted), tail),
              receiver.callback, receiver.context);
}

int list_matching_groups(const Search& search, const char* path, const Conditions& wanted, unsigned group,
                         const Rows& rows, const Receiver& receiver) noexcept {
  if (!rows.valid() || !in_range(wanted) || group > kHighestGroup) {
    return ANNAL_BAD_ARGUMENT;
  }
  const char* tail[] = {fragment(kGroupings, group), fragment(kOrders, rows.sort), rows.range.clause()};
  return list(or_default(path), search.statement, search_text(search, filters_of(kFilters, wanted), tail),
              receiver.callback, receiver.context);
}

}  // namespace

}  // namespace annal

using namespace annal;

int annal_conn_query(const char* db_path, annal_row_callback callback, int sort, int start, int end, int type_mode,
                     void* context) noexcept {
  return list_matching(kListing, db_path, {.type = as_code(type_mode)}, {as_code(sort), RowRange(start, end)},
                       {callback, context});
}

int annal_conn_query_ex(const char* db_path, annal_row_callback callback, int sort, int start, int end, int type_mode,
                        const char* date_from, const char* date_to, const char* user, const char* ip, const char* comp,
                        const char* res, int serv, int action, void* context, const char* time_from,
                        const char* time_to, const char* app) noexcept {
  return list_matching(kListingUpToApp, db_path,
                       {.type = as_code(type_mode),
                        .period = {date_from, date_to, time_from, time_to},
                        .user = user,
                        .ip = ip,
                        .comp = comp,
                        .res = res,
                        .serv = serv,
                        .action = action,
                        .app = app},
                       {as_code(sort), RowRange(start, end)}, {callback, context});
}

int annal_conn_query_ex2(const char* db_path, annal_row_callback callback, int sort, int start, int end, int type_mode,
                         const char* date_from, const char* date_to, const char* user, const char* ip, const char* comp,
                         const char* res, int serv, int action, void* context, const char* time_from,
                         const char* time_to, const char* app, int action_result) noexcept {
  return annal_conn_query_ex3(db_path, callback, sort, start, end, type_mode, date_from, date_to, user, ip, comp, res,
                              serv, action, context, time_from, time_to, app, action_result, nullptr, nullptr, nullptr);
}

int annal_conn_query_ex3(const char* db_path, annal_row_callback callback, int sort, int start, int end, int type_mode,
                         const char* date_from, const char* date_to, const char* user, const char* ip, const char* comp,
                         const char* res, int serv, int action, void* context, const char* time_from,
                         const char* time_to, const char* app, int action_result, const char* client_id,
                         const char* client_app, const char* client_agent) noexcept {
  return list_matching(kListingWithAll, db_path,
                       {.type = as_code(type_mode),
                        .period = {date_from, date_to, time_from, time_to},
                        .user = user,
                        .ip = ip,
                        .comp = comp,
                        .res = res,
                        .serv = serv,
                        .action = action,
                        .app = app,
                        .action_result = action_result,
                        .client_id = client_id,
                        .client_app = client_app,
                        .client_agent = client_agent},
                       {as_code(sort), RowRange(start, end)}, {callback, context});
}

int annal_conn_query_count(int type_mode) noexcept {
  return count_matching(kCount, {.type = as_code(type_mode)});
}

int annal_conn_query_count_ex(int type_mode, const char* date_from, const char* date_to, const char* user,
                              const char* ip, const char* comp, const char* res, int serv, int action,
                              const char* time_from, const char* time_to, const char* app) noexcept {
  return count_matching(kCountUpToApp, {.type = as_code(type_mode),
                                        .period = {date_from, date_to, time_from, time_to},
                                        .user = user,
                                        .ip = ip,
                                        .comp = comp,
                                        .res = res,
                                        .serv = serv,
                                        .action = action,
                                        .app = app});
}

int annal_conn_query_count_ex2(int type_mode, const char* date_from, const char* date_to, const char* user,
                               const char* ip, const char* comp, const char* res, int serv, int action,
                               const char* time_from, const char* time_to, const char* app,
                               int action_result) noexcept {
  return annal_conn_query_count_ex3(type_mode, date_from, date_to, user, ip, comp, res, serv, action, time_from,
                                    time_to, app, action_result, nullptr, nullptr, nullptr);
}

int annal_conn_query_count_ex3(int type_mode, const char* date_from, const char* date_to, const char* user,
                               const char* ip, const char* comp, const char* res, int serv, int action,
                               const char* time_from, const char* time_to, const char* app, int action_result,
                               const char* client_id, const char* client_app, const char* client_agent) noexcept {
  return count_matching(kCountWithAll, {.type = as_code(type_mode),
                                        .period = {date_from, date_to, time_from, time_to},
                                        .user = user,
                                        .ip = ip,
                                        .comp = comp,
                                        .res = res,
                                        .serv = serv,
                                        .action = action,
                                        .app = app,
                                        .action_result = action_result,
                                        .client_id = client_id,
                                        .client_app = client_app,
                                        .client_agent = client_agent});
}

int annal_conn_query_group(const char* db_path, annal_row_callback callback, int sort, int start, int end,
                           int type_mode, unsigned group, void* context) noexcept {
  return list_matching_groups(kGroups, db_path, {.type = as_code(type_mode)}, group,
                              {as_code(sort), RowRange(start, end)}, {callback, context});
}

int annal_conn_query_group_ex(const char* db_path, annal_row_callback callback, int sort, int start, int end,
                              int type_mode, const char* date_from, const char* date_to, const char* user,
                              const char* ip, const char* comp, const char* res, int serv, int action, unsigned group,
                              void* context, const char* time_from, const char* time_to, const char* app) noexcept {
  return list_matching_groups(kGroupsUpToApp, db_path,
                              {.type = as_code(type_mode),
                               .period = {date_from, date_to, time_from, time_to},
                               .user = user,
                               .ip = ip,
                               .comp = comp,
                               .res = res,
                               .serv = serv,
                               .action = action,
                               .app = app},
                              group, {as_code(sort), RowRange(start, end)}, {callback, context});
}

int annal_conn_query_group_ex2(const char* db_path, annal_row_callback callback, int sort, int start, int end,
                               int type_mode, const char* date_from, const char* date_to, const char* user,
                               const char* ip, const char* comp, const char* res, int serv, int action, unsigned group,
                               void* context, const char* time_from, const char* time_to, const char* app,
                               int action_result) noexcept {
  return list_matching_groups(kGroupsUpToActionResult, db_path,
                              {.type = as_code(type_mode),
                               .period = {date_from, date_to, time_from, time_to},
                               .user = user,
                               .ip = ip,
                               .comp = comp,
                               .res = res,
                               .serv = serv,
                               .action = action,
                               .app = app,
                               .action_result = action_result},
                              group, {as_code(sort), RowRange(start, end)}, {callback, context});
}

int annal_conn_query_byclientTime_count_ex(const char* levels, const char* client_time, int days) noexcept {
  if (!is_valid_poll(levels, client_time, days)) {
    return ANNAL_BAD_ARGUMENT;
  }
  return first_integer(kConnLog, kCountSince,
                       Text(sqlite3_mprintf(kCountSince.sql, LevelClause(kLevels, levels).text(), client_time, days)),
                       NegativeValue::kIsFailure);
}

int annal_conn_query_byclientTime_ex(annal_row_callback callback, const char* levels, const char* client_time, int days,
                                     int start, int end, unsigned sort, void* context) noexcept {
  const RowRange rows(start, end);
  if (!is_valid_poll(levels, client_time, days) || sort > kHighestSortSince || !rows.valid()) {
    return ANNAL_BAD_ARGUMENT;
  }
  const char* order = fragment(std::span(kOrders).first(kOrdersOfListingSince), sort);
  return list(kConnLog, kListingSince,
              Text(sqlite3_mprintf(kListingSince.sql, LevelClause(kLevels, levels).text(), client_time, days, order,
                                   rows.clause())),
              callback, context);
}

int annal_conn_query_byclientTime_group(annal_row_callback callback, const char* levels, const char* client_time,
                                        int days, int start, int end, unsigned sort, const char* group_text,
                                        void* context) noexcept {
  const RowRange rows(start, end);
  if (!is_valid_poll(levels, client_time, days) || sort > kHighestSortSince || !rows.valid() || group_text == nullptr) {
    return ANNAL_BAD_ARGUMENT;
  }
  return list(kConnLog, kGroupsSince,
              Text(sqlite3_mprintf(kGroupsSince.sql, LevelClause(kLevels, levels).text(), group_text, client_time, days,
                                   fragment(kOrders, sort), rows.clause())),
              callback, context);
}
