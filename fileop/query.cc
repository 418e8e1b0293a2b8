// The file-operation log's queries: by type, or by a filter record whose conditions are joined with AND. The caller's
// texts go into the statement unescaped, and a filter that exceeds its buffer is refused, never cut.
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <initializer_list>
#include <string_view>

#include "Corix_annal.h"
#include "common/decimal.h"
#include "common/fragment.h"
#include "common/local_time.h"
#include "common/record.h"
#include "common/row_range.h"
#include "common/store.h"

namespace annal {

namespace {

// Formats: WHERE, ORDER BY and LIMIT, each of which may be empty. The blanks are part of the statements: other programs
// recognize them in traces.
constexpr Statement kListing{"SELECT * FROM PAVO2LOG_EVENT %s %s %s;", Wait::kBusyTimeout, ANNAL_QUERY_FAILED};
constexpr Statement kCount{"SELECT COUNT(*) FROM PAVO2LOG_EVENT %s;", Wait::kBusyTimeout, ANNAL_QUERY_FAILED};

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
    "ORDER BY event_isFolder",
    "ORDER BY event_isFolder DESC",
    "ORDER BY event_action",
    "ORDER BY event_action DESC",
    "ORDER BY event_filesize",
    "ORDER BY event_filesize DESC",
};
// The last two codes are accepted but do not sort.
constexpr unsigned kHighestSort = 21;

// The only order in which the two listings differ. A search begins with the operation stored last, which is not always
// the latest: callers may set the time, and clocks may be set back.
constexpr unsigned kNewestFirst = 1;
constexpr char kLastStoredFirst[] = "ORDER BY event_id DESC";

const char* filtered_order(unsigned sort) noexcept {
  return sort == kNewestFirst ? kLastStoredFirst : fragment(kOrders, sort);
}

constexpr FieldBound kFilterBounds[] = {
    {offsetof(FileOpFilter, date_from), 10, nullptr},    {offsetof(FileOpFilter, date_to), 10, nullptr},
    {offsetof(FileOpFilter, event_user), 64, nullptr},   {offsetof(FileOpFilter, event_ip), 64, nullptr},
    {offsetof(FileOpFilter, event_comp), 64, nullptr},   {offsetof(FileOpFilter, event_duid), 64, nullptr},
    {offsetof(FileOpFilter, event_desc), 1024, nullptr},
};

// The conditions of a filter in sequence, each with "AND " in front. A condition that does not fit is never cut: a
// listing with half a condition would show rows that the caller excluded.
class Conditions {
 public:
  explicit Conditions(const FileOpFilter& filter) noexcept {
    if (filter.event_isFolder > 0) {
      add("AND event_isFolder = ", Decimal(filter.event_isFolder).text(), " ");
    }
    // A caller may look for empty files, so 0 is a condition here.
    if (filter.event_filesize >= 0) {
      add("AND event_filesize = ", Decimal(filter.event_filesize).text(), " ");
    }
    if (filter.event_action > 0) {
      add("AND event_action = ", Decimal(filter.event_action).text(), " ");
    }
    if (given(filter.event_user)) {
      add("AND event_user LIKE '%", filter.event_user, "%' ");
    }
    if (given(filter.event_ip)) {
      add("AND event_ip LIKE '%", filter.event_ip, "%' ");
    }
    // An empty path is a condition too: the operation must have a path.
    if (filter.event_oldfilepath != nullptr) {
      add("AND event_oldfilepath LIKE '%", filter.event_oldfilepath, "%' ");
    }
    if (filter.event_filepath != nullptr) {
      add("AND event_filepath LIKE '%", filter.event_filepath, "%' ");
    }
    if (given(filter.event_comp)) {
      add("AND event_comp LIKE '%", filter.event_comp, "%' ");
    }
    // Compares with the computer's text, not its own; callers fill the field only to request the comparison.
    if (given(filter.event_duid)) {
      add("AND event_duid = '", filter.event_comp, "' ");
    }
    if (given(filter.event_desc)) {
      add("AND event_desc LIKE '%", filter.event_desc, "%' ");
    }
    if (given(filter.date_from) || given(filter.date_to)) {
      Today today;
      add("AND event_date >= '", given(filter.date_from) ? filter.date_from : today.text(), "' AND event_date <= '",
          given(filter.date_to) ? filter.date_to : today.text(), "' ");
    }
    text_[length_] = '\0';
  }

  // False if the conditions do not fit; then do not use the text.
  [[nodiscard]] bool fit() const noexcept { return fit_; }
  [[nodiscard]] bool any() const noexcept { return length_ > 0; }
  [[nodiscard]] const char* text() const noexcept { return text_; }
  [[nodiscard]] const char* without_first_and() const noexcept { return text_ + (sizeof "AND " - 1); }

  static constexpr std::size_t kRoom = 2048;  // including the terminator

 private:
  // Computed only on demand: the local date costs more than all other conditions together. It replaces at most one of
  // the two dates.
  class Today {
   public:
    [[nodiscard]] const char* text() noexcept {
      const std::tm now = local_time();
      (void)std::snprintf(text_, sizeof text_, "%04d-%02d-%02d", now.tm_year + 1900, now.tm_mon + 1, now.tm_mday);
      return text_;
    }

   private:
    char text_[sizeof "-2147483648-2147483648-2147483648"] = "";
  };

  static bool given(const char* text) noexcept { return *text != '\0'; }

  template <typename... Pieces>
  void add(const Pieces&... pieces) noexcept {
    add_all({std::string_view(pieces)...});
  }

  void add_all(std::initializer_list<std::string_view> pieces) noexcept {
    std::size_t length = length_;
    for (const std::string_view piece : pieces) {
      length += piece.size();
    }
    if (length >= kRoom) {
      fit_ = false;
      return;
    }
    for (const std::string_view piece : pieces) {
      std::memcpy(text_ + length_, piece.data(), piece.size());
      length_ += piece.size();
    }
  }

  char text_[kRoom];
  std::size_t length_ = 0;
  bool fit_ = true;
};

// The complete WHERE clause of a filter's statement.
class Where {
 public:
  Where(unsigned type, const Conditions& conditions) noexcept {
    const char* of_type = fragment(kTypes, type);
    if (!conditions.any()) {
      stpcpy(text_, of_type);
    } else if (*of_type != '\0') {
      stpcpy(stpcpy(stpcpy(text_, of_type), " "), conditions.text());
    } else {
      stpcpy(stpcpy(text_, "WHERE "), conditions.without_first_and());
    }
  }

  [[nodiscard]] const char* text() const noexcept { return text_; }

 private:
  char text_[sizeof "WHERE event_type = 2 " + Conditions::kRoom];
};

int list_operations(const char* path, annal_row_callback callback, const char* where, const char* order,
                    const RowRange& rows, void* context) noexcept {
  return list(path, kListing, Text(sqlite3_mprintf(kListing.sql, where, order, rows.clause())), callback, context);
}

int count_operations(const char* path, const char* where) noexcept {
  return first_integer(path, kCount, Text(sqlite3_mprintf(kCount.sql, where)), NegativeValue::kIsReturned);
}

bool acceptable(FileOpFilter* filter) noexcept {
  return filter != nullptr && filter->event_type <= kHighestType && within_bounds(filter, kFilterBounds);
}

}  // namespace

}  // namespace annal

using namespace annal;

int pavo2log_event_query_count(const char* path, unsigned type, const void* /*unused1*/, const void* /*unused2*/,
                               const void* /*unused3*/, const void* /*unused4*/) noexcept {
  if (path == nullptr || type > kHighestType) {
    return ANNAL_BAD_ARGUMENT;
  }
  return count_operations(path, fragment(kTypes, type));
}

int pavo2log_event_query_count_by(const char* path, FileOpFilter* filter, const void* /*unused1*/,
                                  const void* /*unused2*/, const void* /*unused3*/, const void* /*unused4*/) noexcept {
  if (path == nullptr || !acceptable(filter)) {
    return ANNAL_BAD_ARGUMENT;
  }
  const Conditions conditions(*filter);
  return conditions.fit() ? count_operations(path, Where(filter->event_type, conditions).text()) : ANNAL_BAD_ARGUMENT;
}

int pavo2log_event_query(const char* path, annal_row_callback callback, unsigned sort, int start, int end,
                         unsigned type, void* context) noexcept {
  const RowRange rows(start, end);
  if (path == nullptr || sort > kHighestSort || !rows.valid() || type > kHighestType) {
    return ANNAL_BAD_ARGUMENT;
  }
  return list_operations(path, callback, fragment(kTypes, type), fragment(kOrders, sort), rows, context);
}

int pavo2log_event_query_by(const char* path, annal_row_callback callback, FileOpFilter* filter, unsigned sort,
                            int start, int end, void* context) noexcept {
  const RowRange rows(start, end);
  if (path == nullptr || !acceptable(filter) || sort > kHighestSort || !rows.valid()) {
    return ANNAL_BAD_ARGUMENT;
  }
  const Conditions conditions(*filter);
  if (!conditions.fit()) {
    return ANNAL_BAD_ARGUMENT;
  }
  const Where where(filter->event_type, conditions);
  return list_operations(path, callback, where.text(), filtered_order(sort), rows, context);
}
