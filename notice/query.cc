// The notice list's queries: all notices, or those of a period that match the caller's own SQL condition, listed,
// counted or grouped. Some orders and groupings are odd on purpose; each says why.
#include <iterator>

#include "Corix_annal.h"
#include "common/fragment.h"
#include "common/paths.h"
#include "common/row_range.h"
#include "common/store.h"

namespace annal {

namespace {

// The filter was never implemented: it is always empty.
constexpr Statement kListing{"SELECT * FROM ANNAL_NOTICE %s %s %s;", Wait::kBusyTimeout, ANNAL_QUERY_FAILED};
constexpr Statement kCount{"SELECT COUNT(*) FROM ANNAL_NOTICE %s;", Wait::kBusyTimeout, ANNAL_QUERY_FAILED};
constexpr char kNoFilter[] = "";
constexpr unsigned kHighestKind = 1;

// Formats: the earliest time, the latest, the latest again, the maximum number of days before it, then a condition of
// the caller's own if there is one. They are not quoted, because callers pass expressions; quotes inside them are still
// doubled, so an expression cannot contain one.
constexpr Statement kListingOfTime{
    "SELECT * FROM ANNAL_NOTICE where time >= %q and time <= %q and time >= (%q - %d*86400) %s %s;", Wait::kBusyTimeout,
    ANNAL_QUERY_FAILED};
constexpr Statement kListingOfTimeWhere{
    "SELECT * FROM ANNAL_NOTICE where time >= %q and time <= %q and time >= (%q - %d*86400) and %q %s %s;",
    Wait::kBusyTimeout, ANNAL_QUERY_FAILED};
constexpr Statement kCountOfTime{
    "SELECT COUNT(*) FROM ANNAL_NOTICE where time >= %q and time <= %q and time >= (%q - %d*86400);",
    Wait::kBusyTimeout, ANNAL_QUERY_FAILED};
constexpr Statement kCountOfTimeWhere{
    "SELECT COUNT(*) FROM ANNAL_NOTICE where time >= %q and time <= %q and time >= (%q - %d*86400) and %q;",
    Wait::kBusyTimeout, ANNAL_QUERY_FAILED};

// The order is applied before grouping and the clauses after it, so at most it decides which notice represents its
// group.
constexpr Statement kGroupsOfTime{
    "SELECT *,COUNT(*) FROM (SELECT * FROM ANNAL_NOTICE %s) where time >= %q and time <= %q and time >= (%q - "
    "%d*86400) %s %s;",
    Wait::kBusyTimeout, ANNAL_QUERY_FAILED};
constexpr Statement kGroupsOfTimeWhere{
    "SELECT *,COUNT(*) FROM (SELECT * FROM ANNAL_NOTICE %s) where time >= %q and time <= %q and time >= (%q - "
    "%d*86400) and %q %s %s;",
    Wait::kBusyTimeout, ANNAL_QUERY_FAILED};

// Two codes have no order.
constexpr const char* kOrders[] = {
    "ORDER BY time",
    "ORDER BY time DESC",
    "",
    "",
    "ORDER BY severity",
    "ORDER BY severity DESC",
    "ORDER BY user",
    "ORDER BY user DESC",
    "ORDER BY ip",
    "ORDER BY ip DESC",
    "ORDER BY client",
    "ORDER BY client DESC",
    "ORDER BY id",
    "ORDER BY id DESC",
    "ORDER BY server",
    "ORDER BY server DESC",
    "ORDER BY action",
    "ORDER BY action DESC",
    "ORDER BY serviceName",
    "ORDER BY serviceName DESC",
    "ORDER BY facility",
    "ORDER BY facility DESC",
    "ORDER BY msgCode",
    "ORDER BY msgCode DESC",
};
constexpr unsigned kHighestSort = 23;

// 10 names a column that never existed, so it always fails, as does deleting by it.
constexpr const char* kGroupings[] = {
    "GROUP BY id",       "GROUP BY severity", "GROUP BY server",  "GROUP BY action", "GROUP BY serviceName",
    "GROUP BY facility", "GROUP BY time",     "GROUP BY endtime", "GROUP BY user",   "GROUP BY ip",
    "GROUP BY clisant",  "GROUP BY desc",     "GROUP BY msgCode", "GROUP BY varNum", "GROUP BY varContent",
};

// Any other code groups similar notices; it is not an error.
constexpr char kAlike[] = "GROUP BY facility,name,desc";

const char* grouping(unsigned code) noexcept {
  return code < std::size(kGroupings) ? kGroupings[code] : kAlike;
}

}  // namespace

}  // namespace annal

using namespace annal;

int annal_notice_query_count(unsigned kind, const void* /*unused1*/, const void* /*unused2*/, const void* /*unused3*/,
                             const void* /*unused4*/, const void* /*unused5*/) noexcept {
  if (kind > kHighestKind) {
    return ANNAL_BAD_ARGUMENT;
  }
  return first_integer(kNoticeLog, kCount, Text(sqlite3_mprintf(kCount.sql, kNoFilter)), NegativeValue::kIsReturned);
}

int annal_notice_query(annal_row_callback callback, unsigned sort, int start, int end, unsigned kind,
                       void* context) noexcept {
  const RowRange rows(start, end);
  if (sort > kHighestSort || !rows.valid() || kind > kHighestKind) {
    return ANNAL_BAD_ARGUMENT;
  }
  const Text text(sqlite3_mprintf(kListing.sql, kNoFilter, fragment(kOrders, sort), rows.clause()));
  return list(kNoticeLog, kListing, text, callback, context);
}

int annal_notice_query_byclientTime_count(const char* from, int days, const char* to, const char* condition) noexcept {
  if (condition == nullptr) {
    const Text text(sqlite3_mprintf(kCountOfTime.sql, from, to, to, days));
    return first_integer(kNoticeLog, kCountOfTime, text, NegativeValue::kIsReturned);
  }
  const Text text(sqlite3_mprintf(kCountOfTimeWhere.sql, from, to, to, days, condition));
  return first_integer(kNoticeLog, kCountOfTimeWhere, text, NegativeValue::kIsReturned);
}

int annal_notice_query_byclientTime(annal_row_callback callback, const char* from, int days, const char* to, int start,
                                    int end, unsigned sort, const char* condition, void* context) noexcept {
  const RowRange rows(start, end);
  if (sort > kHighestSort || !rows.valid()) {
    return ANNAL_BAD_ARGUMENT;
  }
  const char* const order = fragment(kOrders, sort);
  if (condition == nullptr) {
    const Text text(sqlite3_mprintf(kListingOfTime.sql, from, to, to, days, order, rows.clause()));
    return list(kNoticeLog, kListingOfTime, text, callback, context);
  }
  const Text text(sqlite3_mprintf(kListingOfTimeWhere.sql, from, to, to, days, condition, order, rows.clause()));
  return list(kNoticeLog, kListingOfTimeWhere, text, callback, context);
}

int annal_notice_query_group_byclientTime(annal_row_callback callback, const char* from, int days, const char* to,
                                          int start, int end, unsigned sort, unsigned group, const char* condition,
                                          void* context) noexcept {
  const RowRange rows(start, end);
  if (sort > kHighestSort || !rows.valid()) {
    return ANNAL_BAD_ARGUMENT;
  }
  const char* const order = fragment(kOrders, sort);
  if (condition == nullptr) {
    const Text text(sqlite3_mprintf(kGroupsOfTime.sql, order, from, to, to, days, grouping(group), rows.clause()));
    return list(kNoticeLog, kGroupsOfTime, text, callback, context);
  }
  const Text text(
      sqlite3_mprintf(kGroupsOfTimeWhere.sql, order, from, to, to, days, condition, grouping(group), rows.clause()));
  return list(kNoticeLog, kGroupsOfTimeWhere, text, callback, context);
}
