// The event log's queries: listings, counts and groups, each in forms of which the later ones have more filters, and
// the polling clients' queries. A search is a statement with a slot for each filter; tables below hold the filters,
// orders and groupings, and the caller's codes index them. Other programs recognize the statements in traces, so their
// texts, blanks included, must not change.
#include "Corix_annal.h"
#include "common/filters.h"
#include "common/fragment.h"
#include "common/level_list.h"
#include "common/paths.h"
#include "common/row_range.h"
#include "common/store.h"

namespace annal {

namespace {

// The columns are named instead of "*", so that a migrated table with its columns in a different order lists the same.
constexpr char kColumns[] =
    "event_id, event_type, event_date, event_time, event_user, event_ip, event_comp, event_desc, event_msgid, "
    "event_timet, event_app_id, event_app_name, event_category_id, event_category, event_client_id, "
    "event_client_app, event_client_agent";

// Formats: the columns if there are any, then the clauses in SQL's order. The blanks are part of the statements: other
// programs recognize them in traces.
constexpr Statement kListing{"SELECT %s  FROM ANNAL_EVENT %s %s %s;", Wait::kBusyTimeout, ANNAL_QUERY_FAILED};
constexpr Statement kGroups{"SELECT %s  , COUNT(*) FROM ANNAL_EVENT %s %s %s %s;", Wait::kBusyTimeout,
                            ANNAL_QUERY_FAILED};
constexpr Statement kCount{"SELECT COUNT(*) FROM ANNAL_EVENT %s;", Wait::kBusyTimeout, ANNAL_QUERY_FAILED};

// A caller's type is one more than the stored one; 0 means all.
constexpr const char* kTypes[] = {
    "",
    "WHERE event_type = 0",
    "WHERE event_type = 1",
    "WHERE event_type = 2",
};
constexpr unsigned kHighestType = 3;

constexpr const char* kOrders[] = {
    "ORDER BY event_date, event_time",
    "ORDER BY event_date DESC, event_time DESC",
    "ORDER BY event_time, event_date",
    "ORDER BY event_time DESC, event_date DESC",
    "ORDER BY event_type",
    "ORDER BY event_type DESC",
    "ORDER BY event_user",
    "ORDER BY event_user DESC",
    "ORDER BY event_ip",
    "ORDER BY event_ip DESC",
    "ORDER BY event_comp",
    "ORDER BY event_comp DESC",
    "ORDER BY event_id",
    "ORDER BY event_id DESC",
    "ORDER BY event_msgid",
    "ORDER BY event_msgid DESC",
    "ORDER BY event_timet",
    "ORDER BY event_timet DESC",
    "ORDER BY event_app_id",
    "ORDER BY event_app_id DESC",
    "ORDER BY event_app_name",
    "ORDER BY event_app_name DESC",
    "ORDER BY event_category_id",
    "ORDER BY event_category_id DESC",
    "ORDER BY event_category",
    "ORDER BY event_category DESC",
};

// Every query accepts codes up to this one. Later orders came with later filters; the older listings and the polling
// clients' never got them and stay unsorted. Callers that pass the same codes to all queries rely on this.
constexpr unsigned kHighestSort = 25;
constexpr unsigned kOldOrders = 18;

constexpr const char* old_order(unsigned sort) noexcept {
  return fragment(std::span(kOrders).first(kOldOrders), sort);
}

constexpr const char* kGroupings[] = {
    "GROUP BY event_id",
    "GROUP BY event_type",
    "GROUP BY event_type,event_date",
    "GROUP BY event_type,event_time",
    "GROUP BY event_type,event_user",
    "GROUP BY event_type,event_ip",
    "GROUP BY event_type,event_comp",
    "GROUP BY event_type,event_desc",
    "GROUP BY event_type,event_desc",  // 8 and 9 never got a grouping of their own
    "GROUP BY event_type,event_desc",
};
constexpr unsigned kHighestGroup = 9;

// The conditions of a search. A null text and a period without a first date mean no condition.
struct Conditions {
  unsigned type = 0;
  Period period{};
  const char* user = nullptr;
  const char* ip = nullptr;
  const char* comp = nullptr;
  const char* desc = nullptr;
  const char* app_id = nullptr;
  const char* app_name = nullptr;
  const char* category_id = nullptr;
  const char* category = nullptr;
  const char* client_id = nullptr;
  const char* client_app = nullptr;
  const char* client_agent = nullptr;
};

// The filters' slots in a statement. They are joined in the order of the table below, which differs: the client comes
// before the application. So SQLite refuses a search for both without a filter before them. Callers have learned which
// searches combine; a valid statement would return rows that they do not expect.
enum Slot : std::size_t {
  kIp = kUserSlot + 1,
  kComp,
  kDesc,
  kAppId,
  kAppName,
  kCategoryId,
  kCategory,
  kClientId,
  kClientApp,
  kClientAgent,
  kSlots
};

constexpr std::size_t kUpToDesc = kDesc + 1;

// The category id has never counted as a filter for the category after it, so SQLite also refuses a search for these
// two alone.
constexpr ValueFilter<Conditions> kValueFilters[] = {
    {kIp,
     {"WHERE (event_ip LIKE '%%%q%%')", " AND (event_ip LIKE '%%%q%%')", Following::kTakesAnd},
     &Conditions::ip,
     nullptr},
    {kComp,
     {"WHERE (event_comp LIKE '%%%q%%')", " AND (event_comp LIKE '%%%q%%')", Following::kTakesAnd},
     &Conditions::comp,
     nullptr},
    {kDesc,
     {"WHERE (event_desc LIKE '%%%q%%')", " AND (event_desc LIKE '%%%q%%')", Following::kTakesAnd},
     &Conditions::desc,
     nullptr},
    {kClientId,
     {"WHERE (event_client_id LIKE '%%%q%%')", " AND (event_client_id LIKE '%%%q%%')", Following::kTakesAnd},
     &Conditions::client_id,
     nullptr},
    {kClientApp,
     {"WHERE (event_client_app LIKE '%%%q%%')", " AND (event_client_app LIKE '%%%q%%')", Following::kTakesAnd},
     &Conditions::client_app,
     nullptr},
    {kClientAgent,
     {"WHERE (event_client_agent LIKE '%%%q%%')", " AND (event_client_agent LIKE '%%%q%%')", Following::kTakesAnd},
     &Conditions::client_agent,
     nullptr},
    {kAppId,
     {"WHERE (event_app_id LIKE '%%%q%%')", " AND (event_app_id LIKE '%%%q%%')", Following::kTakesAnd},
     &Conditions::app_id,
     nullptr},
    {kAppName,
     {"WHERE (event_app_name LIKE '%%%q%%')", " AND (event_app_name LIKE '%%%q%%')", Following::kTakesAnd},
     &Conditions::app_name,
     nullptr},
    {kCategoryId,
     {"WHERE (event_category_id LIKE '%%%q%%')", " AND (event_category_id LIKE '%%%q%%')", Following::kUnaffected},
     &Conditions::category_id,
     nullptr},
    {kCategory,
     {"WHERE (event_category LIKE '%%%q%%')", " AND (event_category LIKE '%%%q%%')", Following::kTakesAnd},
     &Conditions::category,
     nullptr},
};

// A caller's type is one more than the stored one. The blank before one WHERE is part of the statement: other programs
// recognize it in traces.
constexpr FilterTable<Conditions> kFilters{
    .type = {"WHERE (event_type = %d)", "", Following::kTakesAnd},
    .period =
        {
            .dates = {"WHERE (event_date >= '%q') AND (event_date <= '%q')",
                      " AND (event_date >= '%q') AND (event_date <= '%q')", Following::kTakesAnd},
            .dates_with_times =
                {" WHERE (event_date||' '||event_time >= '%q %q') AND (event_date||' '||event_time <= '%q %q')",
                 " AND (event_date||' '||event_time >= '%q %q') AND (event_date||' '||event_time <= '%q %q')",
                 Following::kTakesAnd},
        },
    .user_exactly = {"WHERE (event_user = '%q')", " AND (event_user = '%q')", Following::kTakesAnd},
    .user_contains = {"WHERE (event_user LIKE '%%%q%%')", " AND (event_user LIKE '%%%q%%')", Following::kTakesAnd},
    .exact_users = &is_event_name_matching,
    .values = kValueFilters,
};

constexpr Search kSearch{
    {"SELECT %s  FROM ANNAL_EVENT %s %s %s %s %s %s %s %s;", Wait::kBusyTimeout, ANNAL_QUERY_FAILED},
    kUpToDesc,
    kColumns};
constexpr Search kSearchByAll{{"SELECT %s  FROM ANNAL_EVENT %s %s %s %s %s %s %s %s %s %s %s %s %s %s %s;",
                               Wait::kBusyTimeout, ANNAL_QUERY_FAILED},
                              kSlots,
                              kColumns};
constexpr Search kSearchGroups{
    {"SELECT %s  , COUNT(*) FROM ANNAL_EVENT %s %s %s %s %s %s %s %s %s;", Wait::kBusyTimeout, ANNAL_QUERY_FAILED},
    kUpToDesc,
    kColumns};
constexpr Search kCountFound{
    {"SELECT COUNT(*) FROM ANNAL_EVENT %s %s %s %s %s %s;", Wait::kBusyTimeout, ANNAL_QUERY_FAILED}, kUpToDesc};
constexpr Search kCountFoundByAll{{"SELECT COUNT(*) FROM ANNAL_EVENT %s %s %s %s %s %s %s %s %s %s %s %s %s;",
                                   Wait::kBusyTimeout, ANNAL_QUERY_FAILED},
                                  kSlots};

// The polling clients' statements. The count and the grouping omit entries stamped in the future. The listing includes
// them and delivers the table's own columns in the table's order. Formats: the columns if the statement names them, the
// levels, then the clauses in SQL's order; a grouping sorts before it groups.
constexpr Statement kCountSince{
    "SELECT COUNT(*) FROM (SELECT %s  from ANNAL_EVENT %q) where event_date||' '||event_time >= datetime(%q , "
    "'unixepoch', 'localtime') and event_date||' '||event_time >= datetime(strftime('%%s','now')-%d*86400, "
    "'unixepoch', 'localtime') and event_date||' '||event_time <= datetime(strftime('%%s','now'), 'unixepoch', "
    "'localtime');",
    Wait::kBusyTimeout, ANNAL_QUERY_FAILED};
constexpr Statement kListingSince{
    "SELECT * FROM (select * from ANNAL_EVENT %q) where event_date||' '||event_time >= datetime(%q , 'unixepoch', "
    "'localtime') and event_date||' '||event_time >= datetime(strftime('%%s','now')-%d*86400, 'unixepoch', "
    "'localtime') %s %s;",
    Wait::kBusyTimeout, ANNAL_QUERY_FAILED};
constexpr Statement kGroupsSince{
    "SELECT *,COUNT(*) FROM (select %s  from ANNAL_EVENT %q %s) where event_date||' '||event_time >= datetime(%q , "
    "'unixepoch', 'localtime') and event_date||' '||event_time >= datetime(strftime('%%s','now')-%d*86400, "
    "'unixepoch', 'localtime') and event_date||' '||event_time <= datetime(strftime('%%s','now'), 'unixepoch', "
    "'localtime') %s %s;",
    Wait::kBusyTimeout, ANNAL_QUERY_FAILED};

constexpr LevelFilter kLevelsOfCount{"where ", "event_type"};
constexpr LevelFilter kLevels{"where", "event_type"};

// Either both are given or neither.
constexpr bool paired(const char* one, const char* other) noexcept {
  return (one == nullptr) == (other == nullptr);
}

bool dates_paired(const Period& period) noexcept {
  return paired(period.first_date, period.last_date);
}

bool times_paired(const Period& period) noexcept {
  return paired(period.first_time, period.last_time);
}

// Only the count accepts a first time without a last one: the period then ends where the last date begins.
int count_found(const Search& search, const Conditions& wanted) noexcept {
  if (wanted.type > kHighestType || !dates_paired(wanted.period)) {
    return ANNAL_BAD_ARGUMENT;
  }
  return first_integer(kEventLog, search.statement, search_text(search, filters_of(kFilters, wanted)),
                       NegativeValue::kIsFailure);
}

int list_found(const Search& search, const Conditions& wanted, std::span<const char* const> tail,
               const Receiver& receiver) noexcept {
  if (wanted.type > kHighestType || !dates_paired(wanted.period) || !times_paired(wanted.period)) {
    return ANNAL_BAD_ARGUMENT;
  }
  return list(kEventLog, search.statement, search_text(search, filters_of(kFilters, wanted), tail), receiver.callback,
              receiver.context);
}

}  // namespace

}  // namespace annal

using namespace annal;

int annal_event_query(annal_row_callback callback, unsigned sort, int start, int end, unsigned type,
                      void* context) noexcept {
  const RowRange rows(start, end);
  if (sort > kHighestSort || !rows.valid() || type > kHighestType) {
    return ANNAL_BAD_ARGUMENT;
  }
  const Text text(sqlite3_mprintf(kListing.sql, kColumns, fragment(kTypes, type), old_order(sort), rows.clause()));
  return list(kEventLog, kListing, text, callback, context);
}

int annal_event_query_group(annal_row_callback callback, unsigned sort, int start, int end, unsigned type,
                            unsigned group, void* context) noexcept {
  const RowRange rows(start, end);
  if (sort > kHighestSort || !rows.valid() || type > kHighestType || group > kHighestGroup) {
    return ANNAL_BAD_ARGUMENT;
  }
  const Text text(sqlite3_mprintf(kGroups.sql, kColumns, fragment(kTypes, type), fragment(kGroupings, group),
                                  old_order(sort), rows.clause()));
  return list(kEventLog, kGroups, text, callback, context);
}

int annal_event_query_count(unsigned type) noexcept {
  if (type > kHighestType) {
    return ANNAL_BAD_ARGUMENT;
  }
  return first_integer(kEventLog, kCount, Text(sqlite3_mprintf(kCount.sql, fragment(kTypes, type))),
                       NegativeValue::kIsReturned);
}

int annal_event_query_ex(annal_row_callback callback, unsigned sort, int start, int end, unsigned type,
                         const char* date_from, const char* date_to, const char* user, const char* ip, const char* comp,
                         const char* desc, void* context, const char* time_from, const char* time_to) noexcept {
  const RowRange rows(start, end);
  if (sort > kHighestSort || !rows.valid()) {
    return ANNAL_BAD_ARGUMENT;
  }
  const char* tail[] = {old_order(sort), rows.clause()};
  return list_found(kSearch,
                    {.type = type,
                     .period = {date_from, date_to, time_from, time_to},
                     .user = user,
                     .ip = ip,
                     .comp = comp,
                     .desc = desc},
                    tail, {callback, context});
}

int annal_event_query_ex2(annal_row_callback callback, unsigned sort, int start, int end, unsigned type,
                          const char* date_from, const char* date_to, const char* user, const char* ip,
                          const char* comp, const char* desc, void* context, const char* time_from, const char* time_to,
                          const char* app_id, const char* app_name, const char* category_id,
                          const char* category) noexcept {
  return annal_event_query_ex3(callback, sort, start, end, type, date_from, date_to, user, ip, comp, desc, context,
                               time_from, time_to, app_id, app_name, category_id, category, /* client_id= */ nullptr,
                               /* client_app= */ nullptr, /* client_agent= */ nullptr);
}

int annal_event_query_ex3(annal_row_callback callback, unsigned sort, int start, int end, unsigned type,
                          const char* date_from, const char* date_to, const char* user, const char* ip,
                          const char* comp, const char* desc, void* context, const char* time_from, const char* time_to,
                          const char* app_id, const char* app_name, const char* category_id, const char* category,
                          const char* client_id, const char* client_app, const char* client_agent) noexcept {
  const RowRange rows(start, end);
  if (sort > kHighestSort || !rows.valid()) {
    return ANNAL_BAD_ARGUMENT;
  }
  const char* tail[] = {fragment(kOrders, sort), rows.clause()};
  return list_found(kSearchByAll,
                    {.type = type,
                     .period = {date_from, date_to, time_from, time_to},
                     .user = user,
                     .ip = ip,
                     .comp = comp,
                     .desc = desc,
                     .app_id = app_id,
                     .app_name = app_name,
                     .category_id = category_id,
                     .category = category,
                     .client_id = client_id,
                     .client_app = client_app,
                     .client_agent = client_agent},
                    tail, {callback, context});
}

int annal_event_query_count_ex(unsigned type, const char* date_from, const char* date_to, const char* user,
                               const char* ip, const char* comp, const char* desc, const char* time_from,
                               const char* time_to) noexcept {
  return count_found(kCountFound, {.type = type,
                                   .period = {date_from, date_to, time_from, time_to},
                                   .user = user,
                                   .ip = ip,
                                   .comp = comp,
                                   .desc = desc});
}

int annal_event_query_count_ex2(unsigned type, const char* date_from, const char* date_to, const char* user,
                                const char* ip, const char* comp, const char* desc, const char* time_from,
                                const char* time_to, const char* app_id, const char* app_name, const char* category_id,
                                const char* category) noexcept {
  return annal_event_query_count_ex3(type, date_from, date_to, user, ip, comp, desc, time_from, time_to, app_id,
                                     app_name, category_id, category, /* client_id= */ nullptr,
                                     /* client_app= */ nullptr, /* client_agent= */ nullptr);
}

int annal_event_query_count_ex3(unsigned type, const char* date_from, const char* date_to, const char* user,
                                const char* ip, const char* comp, const char* desc, const char* time_from,
                                const char* time_to, const char* app_id, const char* app_name, const char* category_id,
                                const char* category, const char* client_id, const char* client_app,
                                const char* client_agent) noexcept {
  return count_found(kCountFoundByAll, {.type = type,
                                        .period = {date_from, date_to, time_from, time_to},
                                        .user = user,
                                        .ip = ip,
                                        .comp = comp,
                                        .desc = desc,
                                        .app_id = app_id,
                                        .app_name = app_name,
                                        .category_id = category_id,
                                        .category = category,
                                        .client_id = client_id,
                                        .client_app = client_app,
                                        .client_agent = client_agent});
}

int annal_event_query_group_ex(annal_row_callback callback, unsigned sort, int start, int end, unsigned type,
                               const char* date_from, const char* date_to, const char* user, const char* ip,
                               const char* comp, const char* desc, unsigned group, void* context, const char* time_from,
                               const char* time_to) noexcept {
  const RowRange rows(start, end);
  if (sort > kHighestSort || !rows.valid() || group > kHighestGroup) {
    return ANNAL_BAD_ARGUMENT;
  }
  const char* tail[] = {fragment(kGroupings, group), old_order(sort), rows.clause()};
  return list_found(kSearchGroups,
                    {.type = type,
                     .period = {date_from, date_to, time_from, time_to},
                     .user = user,
                     .ip = ip,
                     .comp = comp,
                     .desc = desc},
                    tail, {callback, context});
}

int annal_event_query_byclientTime_count_ex(const char* types, const char* client_time, int days) noexcept {
  if (!is_valid_poll(types, client_time, days)) {
    return ANNAL_BAD_ARGUMENT;
  }
  return first_integer(
      kEventLog, kCountSince,
      Text(sqlite3_mprintf(kCountSince.sql, kColumns, LevelClause(kLevelsOfCount, types).text(), client_time, days)),
      NegativeValue::kIsFailure);
}

int annal_event_query_byclientTime_ex(annal_row_callback callback, const char* types, const char* client_time, int days,
                                      int start, int end, unsigned sort, void* context) noexcept {
  const RowRange rows(start, end);
  if (!is_valid_poll(types, client_time, days) || sort > kHighestSort || !rows.valid()) {
    return ANNAL_BAD_ARGUMENT;
  }
  return list(kEventLog, kListingSince,
              Text(sqlite3_mprintf(kListingSince.sql, LevelClause(kLevels, types).text(), client_time, days,
                                   old_order(sort), rows.clause())),
              callback, context);
}

int annal_event_query_byclientTime_group(annal_row_callback callback, const char* types, const char* client_time,
                                         int days, int start, int end, unsigned sort, unsigned group,
                                         void* context) noexcept {
  const RowRange rows(start, end);
  if (!is_valid_poll(types, client_time, days) || sort > kHighestSort || !rows.valid() || group > kHighestGroup) {
    return ANNAL_BAD_ARGUMENT;
  }
  return list(kEventLog, kGroupsSince,
              Text(sqlite3_mprintf(kGroupsSince.sql, kColumns, LevelClause(kLevels, types).text(), old_order(sort),
                                   client_time, days, fragment(kGroupings, group), rows.clause())),
              callback, context);
}
