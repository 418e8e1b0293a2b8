#include "Corix_annal.h"
#include "common/fragment.h"
#include "common/paths.h"
#include "common/row_range.h"
#include "common/store.h"

namespace annal {

namespace {

// The columns are named instead of "*", so that a migrated table with its columns in another place lists the same.
constexpr char kColumns[] =
    "event_id, event_type, event_date, event_time, event_user, event_ip, event_comp, event_desc, event_msgid, "
    "event_timet, event_app_id, event_app_name, event_category_id, event_category, event_client_id, "
    "event_client_app, event_client_agent";

// Formats: the columns where there are any, then the clauses in the order of SQL. The blanks are part of the
// statements as other programs' traces know them.
constexpr Statement kListing{"SELECT %s  FROM ANNAL_EVENT %s %s %s;", Wait::kBusyTimeout, ANNAL_QUERY_FAILED};
constexpr Statement kGroups{"SELECT %s  , COUNT(*) FROM ANNAL_EVENT %s %s %s %s;", Wait::kBusyTimeout,
                            ANNAL_QUERY_FAILED};
constexpr Statement kCount{"SELECT COUNT(*) FROM ANNAL_EVENT %s;", Wait::kBusyTimeout, ANNAL_QUERY_FAILED};

// A caller's type is one more than the stored one: 0 means all.
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
};

// Accepted up to here, sorted only as far as there are orders: the codes between belong to the extended listing, and
// callers pass them to either.
constexpr unsigned kHighestSort = 25;

constexpr const char* kGroupings[] = {
    "GROUP BY event_id",
    "GROUP BY event_type",
    "GROUP BY event_type,event_date",
    "GROUP BY event_type,event_time",
    "GROUP BY event_type,event_user",
    "GROUP BY event_type,event_ip",
    "GROUP BY event_type,event_comp",
    "GROUP BY event_type,event_desc",
    "GROUP BY event_type,event_desc",  // 8 and 9 were never given a grouping of their own
    "GROUP BY event_type,event_desc",
};
constexpr unsigned kHighestGroup = 9;

}  // namespace

}  // namespace annal

using namespace annal;

int annal_event_query(annal_row_callback callback, unsigned sort, int start, int end, unsigned type,
                      void* context) noexcept {
  const RowRange rows(start, end);
  if (sort > kHighestSort || !rows.valid() || type > kHighestType) {
    return ANNAL_BAD_ARGUMENT;
  }
  const Text text(
      sqlite3_mprintf(kListing.text, kColumns, fragment(kTypes, type), fragment(kOrders, sort), rows.clause()));
  return list(kEventLog, kListing, text, callback, context);
}

int annal_event_query_group(annal_row_callback callback, unsigned sort, int start, int end, unsigned type,
                            unsigned group, void* context) noexcept {
  const RowRange rows(start, end);
  if (sort > kHighestSort || !rows.valid() || type > kHighestType || group > kHighestGroup) {
    return ANNAL_BAD_ARGUMENT;
  }
  const Text text(sqlite3_mprintf(kGroups.text, kColumns, fragment(kTypes, type), fragment(kGroupings, group),
                                  fragment(kOrders, sort), rows.clause()));
  return list(kEventLog, kGroups, text, callback, context);
}

int annal_event_query_count(unsigned type) noexcept {
  if (type > kHighestType) {
    return ANNAL_BAD_ARGUMENT;
  }
  return first_integer(kEventLog, kCount, Text(sqlite3_mprintf(kCount.text, fragment(kTypes, type))), Negative::kFails);
}
