/*
 * Corix_annal.hpp - the log library of the appliance for programs in C++17 and later.
 *
 * Nothing is to be linked for it but the library (-lCorix_annal), and it needs neither exceptions nor RTTI. What a call
 * does, waits for and starts is in Corix_annal.h; this header says only what is different here.
 *
 *   namespace    the log                     its functions
 *   event        /etc/logs/event.log         create drop clear add add_all list page rows count groups erase trim ...
 *   conn         /etc/logs/conn.log          the same; add and add_all look at the log first and bind every value
 *   notice       /etc/logs/notice.log        the same
 *   fileop       a file that you name        the same, as members of fileop::Log
 *
 * Conventions, which hold for every function unless its own text says otherwise:
 *
 *  - Results. A function returns a Result: a value, or the Code of a failure. Test it with "if (result)", and ask it
 *    for code(), text() and *result. Who prefers exceptions calls value(), which throws Error for a failure; without
 *    exceptions there is no value(). The compiler warns about an unused Result.
 *
 *  - Texts are std::string_views, which are read during the call only. A text that is left out is not there: no
 *    condition of a filter, an empty field of an entry. A text that is longer than its field, or has a zero byte in it,
 *    is refused with Code::too_long or Code::bad_argument before anything is opened, and is never cut. So is an address
 *    that is none, and a number out of its range.
 *
 *  - Quotes. No text of an entry, a filter or a deletion has a meaning to SQL: what the library puts into a statement
 *    as it is has its single quotes doubled here. (Doubled ones count for the length of a field. In a filter's texts,
 *    "%" and "_" keep LIKE's meaning.)
 *
 *  - Rows. list() calls a function for each row while the log is locked for writers, as Corix_annal.h says under "Slow
 *    callbacks". rows() is a range that copies a page of rows, releases the log, and only then hands them out: a loop
 *    over it may sleep for as long as it likes. page() copies the rows that it is asked for. A row's texts are valid as
 *    long as the row: in a function during its call, in a range until the iterator is moved on, in a page as long as
 *    the page.
 *
 *  - What is not here is called as in C: the polling clients' queries, the notification commands, the catalog, single
 *    columns. docs/languages.md lists every such function, with the reason.
 *
 *  - Memory that cannot be had is Code::no_memory. The range and the pages allocate with malloc.
 *
 *  - Threads. As in Corix_annal.h. An object of this header is for one thread at a time.
 */
#ifndef CORIX_ANNAL_HPP
#define CORIX_ANNAL_HPP

#include <dlfcn.h>

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iterator>
#include <memory>
#include <new>
#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>

#if defined(__cpp_exceptions)
#include <exception>
#endif

#include "Corix_annal.h"
#include "Corix_annal_text.h"

extern "C" struct sqlite3;

// Programs whose files are compiled with and without exceptions have a class of each kind.
#if defined(__cpp_exceptions)
#define ANNAL_HPP_VERSION v2
#else
#define ANNAL_HPP_VERSION v2_without_exceptions
#endif

namespace annal {
inline namespace ANNAL_HPP_VERSION {

// ---- results ----

// The codes of annal_result.
enum class Code : int {
  ok = ANNAL_OK,
  too_long = ANNAL_TOO_LONG,
  bad_argument = ANNAL_BAD_ARGUMENT,
  no_memory = ANNAL_NO_MEMORY,
  open_failed = ANNAL_OPEN_FAILED,
  table_failed = ANNAL_TABLE_FAILED,
  empty_failed = ANNAL_EMPTY_FAILED,
  insert_failed = ANNAL_INSERT_FAILED,
  query_failed = ANNAL_QUERY_FAILED,
  trigger_failed = ANNAL_TRIGGER_FAILED,
  remove_trigger_failed = ANNAL_REMOVE_TRIGGER_FAILED,
  change_failed = ANNAL_CHANGE_FAILED,
  batch_failed = ANNAL_BATCH_FAILED
};

// "storing a new entry failed"
[[nodiscard]] inline const char* text(Code code) noexcept {
  return annal_result_text(static_cast<int>(code));
}
// "ANNAL_INSERT_FAILED"
[[nodiscard]] inline const char* name(Code code) noexcept {
  return annal_result_name(static_cast<int>(code));
}

#if defined(__cpp_exceptions)
// What value() throws.
class Error : public std::exception {
 public:
  explicit Error(Code code) noexcept : code_(code) {}
  [[nodiscard]] Code code() const noexcept { return code_; }
  [[nodiscard]] const char* what() const noexcept override { return text(code_); }

 private:
  Code code_;
};
#endif

// A value, or the code of a failure. The value of a failure is a default one: 0, or an empty page.
template <typename T>
class [[nodiscard]] Result {
 public:
  Result(T value) noexcept : value_(std::move(value)) {}
  Result(Code failure) noexcept : code_(failure) {}

  explicit operator bool() const noexcept { return ok(); }
  [[nodiscard]] bool ok() const noexcept { return code_ == Code::ok; }
  [[nodiscard]] Code code() const noexcept { return code_; }
  [[nodiscard]] const char* text() const noexcept { return annal::text(code_); }

  const T& operator*() const& noexcept { return value_; }
  T& operator*() & noexcept { return value_; }
  T operator*() && noexcept { return std::move(value_); }  // by value, so that a loop over it keeps it
  const T* operator->() const noexcept { return &value_; }
  T* operator->() noexcept { return &value_; }
  [[nodiscard]] T value_or(T other) const& noexcept { return ok() ? value_ : std::move(other); }
  [[nodiscard]] T value_or(T other) && noexcept { return ok() ? std::move(value_) : std::move(other); }

#if defined(__cpp_exceptions)
  const T& value() const& {
    if (!ok()) {
      throw Error(code_);
    }
    return value_;
  }
  T value() && {
    if (!ok()) {
      throw Error(code_);
    }
    return std::move(value_);
  }
#endif

 private:
  Code code_ = Code::ok;
  T value_{};
};

template <>
class [[nodiscard]] Result<void> {
 public:
  Result() noexcept = default;
  Result(Code code) noexcept : code_(code) {}

  explicit operator bool() const noexcept { return ok(); }
  [[nodiscard]] bool ok() const noexcept { return code_ == Code::ok; }
  [[nodiscard]] Code code() const noexcept { return code_; }
  [[nodiscard]] const char* text() const noexcept { return annal::text(code_); }

#if defined(__cpp_exceptions)
  void value() const {
    if (!ok()) {
      throw Error(code_);
    }
  }
#endif

 private:
  Code code_ = Code::ok;
};

// ---- what all logs share ----

// The level of an event, a connection or a file operation.
enum class Level : int { information = ANNAL_INFORMATION, warning = ANNAL_WARNING, error = ANNAL_ERROR };

// The severity of a notice.
enum class Severity : int {
  emergency = ANNAL_SEVERITY_EMERGENCY,
  alert = ANNAL_SEVERITY_ALERT,
  critical = ANNAL_SEVERITY_CRITICAL,
  error = ANNAL_SEVERITY_ERROR,
  warning = ANNAL_SEVERITY_WARNING,
  notice = ANNAL_SEVERITY_NOTICE,
  informational = ANNAL_SEVERITY_INFORMATIONAL,
  debug = ANNAL_SEVERITY_DEBUG
};

// How a connection's action ended.
enum class Outcome : int { succeeded = ANNAL_ACTION_SUCCEEDED, failed = ANNAL_ACTION_FAILED };

[[nodiscard]] inline const char* name(Level level) noexcept {
  return annal_level_name(static_cast<int>(level));
}
[[nodiscard]] inline const char* name(Severity severity) noexcept {
  return annal_severity_name(static_cast<int>(severity));
}
[[nodiscard]] inline const char* name(Outcome outcome) noexcept {
  return annal_action_result_name(static_cast<int>(outcome));
}

// The severity of a notice about an event of this level, as a filter of notices wants it.
[[nodiscard]] inline Severity severity_of(Level level) noexcept {
  return static_cast<Severity>(ChangeLogTypeToNoticeSeverity(static_cast<int>(level)));
}

// How many entries a log keeps, and how many of the oldest go at once when there are more. 0 is the log's own default.
struct Limit {
  int rows = 0;
  int drop = 0;
};

// Local dates as "2026-01-31" and times as "23:59:59", all included. A date without its partner is open at the other
// end. Times need a date: the period is then from one date and time to the other.
struct Period {
  std::string_view date_from{};
  std::string_view date_to{};
  std::string_view time_from{};
  std::string_view time_to{};
};

// The order of a listing, and which of its rows: a number of them from a start on. The first row is 0.
template <typename Sort>
struct View {
  Sort sort{};
  bool descending = false;
  int first = 0;
  int count = -1;  // all

  View& with_sort(Sort value, bool falling = false) noexcept {
    sort = value;
    descending = falling;
    return *this;
  }
  View& with_rows(int from, int rows) noexcept {
    first = from;
    count = rows;
    return *this;
  }
};

// Whether the library takes a text for an IPv4 or IPv6 address.
[[nodiscard]] inline bool is_address(std::string_view text) noexcept {
  char copy[65];
  if (text.empty() || text.size() >= sizeof copy || text.find('\0') != std::string_view::npos) {
    return false;
  }
  std::memcpy(copy, text.data(), text.size());
  copy[text.size()] = '\0';
  return annal_checkip(copy) == ANNAL_OK;
}

// ---- how it is done; nothing in here is for callers ----
namespace detail {

inline Result<void> result_of(int code) noexcept {
  return static_cast<Code>(code);
}
inline Result<int> count_of(int count) noexcept {
  if (count < 0) {
    return static_cast<Code>(count);
  }
  return count;
}

struct Free {
  void operator()(void* memory) const noexcept { std::free(memory); }
};

// Zero-terminated copies of texts, for one call.
class Texts {
 public:
  Texts() noexcept = default;
  Texts(const Texts&) = delete;
  Texts& operator=(const Texts&) = delete;
  ~Texts() {
    while (blocks_ != nullptr) {
      std::free(std::exchange(blocks_, blocks_->next));
    }
  }

  [[nodiscard]] Code code() const noexcept { return code_; }
  void fail(Code code) noexcept {
    if (code_ == Code::ok) {
      code_ = code;
    }
  }

  // A null pointer for a text that is not there.
  const char* copy(std::string_view text) noexcept { return copy(text, text.size(), false); }

  // With its quotes doubled, to stand between quotes.
  const char* quoted(std::string_view text) noexcept {
    std::size_t length = text.size();
    for (const char letter : text) {
      length += letter == '\'' ? 1 : 0;
    }
    return copy(text, length, length != text.size());
  }

 private:
  struct Block {
    Block* next;
  };
  static constexpr std::size_t kRoom = 512;

  const char* copy(std::string_view text, std::size_t length, bool doubling) noexcept {
    if (text.data() == nullptr) {
      return nullptr;
    }
    if (std::memchr(text.data(), '\0', text.size()) != nullptr) {
      fail(Code::bad_argument);
      return nullptr;
    }
    char* const place = take(length + 1);
    if (place == nullptr) {
      fail(Code::no_memory);
      return nullptr;
    }
    if (doubling) {
      char* to = place;
      for (const char letter : text) {
        *to++ = letter;
        if (letter == '\'') {
          *to++ = letter;
        }
      }
    } else {
      std::memcpy(place, text.data(), text.size());
    }
    place[length] = '\0';
    return place;
  }

  char* take(std::size_t size) noexcept {
    if (size <= kRoom - used_) {
      return room_ + std::exchange(used_, used_ + size);
    }
    void* const memory = std::malloc(sizeof(Block) + size);
    if (memory == nullptr) {
      return nullptr;
    }
    blocks_ = ::new (memory) Block{blocks_};
    return static_cast<char*>(memory) + sizeof(Block);
  }

  Block* blocks_ = nullptr;
  std::size_t used_ = 0;
  Code code_ = Code::ok;
  char room_[kRoom];
};

// Fills the fields of a zeroed record, and remembers the first that does not fit.
class Fields {
 public:
  [[nodiscard]] Code code() const noexcept { return code_; }
  void require(bool fits, Code otherwise = Code::bad_argument) noexcept {
    if (!fits && code_ == Code::ok) {
      code_ = otherwise;
    }
  }

  template <std::size_t kSize>
  void put(char (&field)[kSize], std::string_view text) noexcept {
    if (text.empty()) {
      return;
    }
    if (text.size() >= kSize) {
      require(false, Code::too_long);
    } else if (std::memchr(text.data(), '\0', text.size()) != nullptr) {
      require(false);
    } else {
      std::memcpy(field, text.data(), text.size());
    }
  }

  template <std::size_t kSize>
  void put_quoted(char (&field)[kSize], std::string_view text) noexcept {
    Texts texts;
    const char* const quoted = texts.quoted(text);
    require(texts.code() == Code::ok, texts.code());
    put(field, quoted != nullptr ? std::string_view(quoted) : std::string_view());
  }

  template <std::size_t kSize>
  void put_address(char (&field)[kSize], std::string_view text, int (*check)(char*)) noexcept {
    put(field, text);
    if (!text.empty() && code_ == Code::ok) {
      require(check(field) == ANNAL_OK && std::strchr(field, '\'') == nullptr);
    }
  }

 private:
  Code code_ = Code::ok;
};

constexpr bool is_level(Level level) noexcept {
  return level == Level::information || level == Level::warning || level == Level::error;
}

// As the queries take it: one more than the stored level, or 0 for any.
inline int level_filter(const std::optional<Level>& level) noexcept {
  if (!level) {
    return 0;
  }
  return is_level(*level) ? static_cast<int>(*level) + 1 : INT_MAX;  // which the library refuses
}

// A period as the queries take it: either no date or both, either no time or both.
struct Dates {
  Dates(const Period& period, Texts& texts) noexcept {
    const bool dates = period.date_from.data() != nullptr || period.date_to.data() != nullptr;
    const bool times = period.time_from.data() != nullptr || period.time_to.data() != nullptr;
    if (dates) {
      from = given(texts.copy(period.date_from), "0000-01-01");
      to = given(texts.copy(period.date_to), "9999-12-31");
    }
    if (times) {
      time_from = given(texts.copy(period.time_from), "00:00:00");
      time_to = given(texts.copy(period.time_to), "23:59:59");
    }
    if (times && !dates) {
      texts.fail(Code::bad_argument);
    }
  }
  static const char* given(const char* text, const char* otherwise) noexcept {
    return text != nullptr ? text : otherwise;
  }

  const char* from = nullptr;
  const char* to = nullptr;
  const char* time_from = nullptr;
  const char* time_to = nullptr;
};

// The rows of a view as the queries take them.
struct Range {
  template <typename Sort>
  explicit Range(const View<Sort>& view) noexcept
      : sort(static_cast<unsigned>(view.sort) + (view.descending ? ANNAL_DESCENDING : 0U)), start(view.first) {
    if (view.count == 0) {
      start = end = 1;  // None, where 0 and 0 would be all.
    } else if (view.count > 0) {
      end = view.first > INT_MAX - view.count ? INT_MAX : view.first + view.count;
    } else {
      end = view.first != 0 ? INT_MAX : 0;
    }
    if (view.count < -1 || view.first < 0) {
      start = -1;  // which the library refuses
    }
  }

  unsigned sort;
  int start;
  int end = 0;
};

// Rows that are copied out of the log. They stay where they are until the store is cleared.
class Store {
 public:
  struct Row {
    Row* next;
    int columns;

    [[nodiscard]] const char** values() noexcept { return reinterpret_cast<const char**>(this + 1); }
  };

  Store() noexcept = default;
  Store(Store&& other) noexcept
      : blocks_(std::exchange(other.blocks_, nullptr)),
        current_(std::exchange(other.current_, nullptr)),
        first_(std::exchange(other.first_, nullptr)),
        last_(std::exchange(other.last_, nullptr)),
        size_(std::exchange(other.size_, 0)),
        bytes_(std::exchange(other.bytes_, 0)) {}
  Store& operator=(Store&& other) noexcept {
    Store moved(std::move(other));
    std::swap(blocks_, moved.blocks_);
    std::swap(current_, moved.current_);
    std::swap(first_, moved.first_);
    std::swap(last_, moved.last_);
    std::swap(size_, moved.size_);
    std::swap(bytes_, moved.bytes_);
    return *this;
  }
  ~Store() {
    while (blocks_ != nullptr) {
      std::free(std::exchange(blocks_, blocks_->next));
    }
  }

  [[nodiscard]] Row* first() const noexcept { return first_; }
  [[nodiscard]] std::size_t size() const noexcept { return size_; }
  [[nodiscard]] std::size_t bytes() const noexcept { return bytes_; }

  // Keeps the memory for the next rows.
  void clear() noexcept {
    current_ = blocks_;
    if (current_ != nullptr) {
      current_->used = 0;
    }
    first_ = last_ = nullptr;
    size_ = bytes_ = 0;
  }

  // False if there is no memory for it.
  bool keep(int columns, const char* const* values) noexcept {
    const std::size_t head = sizeof(Row) + static_cast<std::size_t>(columns) * sizeof(char*);
    while (current_ == nullptr || !copy(columns, values, head)) {
      if (!next_block(size_of(columns, values, head))) {
        return false;
      }
    }
    return true;
  }

 private:
  struct Block {
    Block* next;
    std::size_t room;
    std::size_t used;

    [[nodiscard]] char* bytes() noexcept { return reinterpret_cast<char*>(this + 1); }
  };
  static constexpr std::size_t kBlock = (std::size_t{64} << 10U) - sizeof(Block);

  static std::size_t size_of(int columns, const char* const* values, std::size_t head) noexcept {
    std::size_t size = head;
    for (int i = 0; i < columns; ++i) {
      size += values[i] != nullptr ? std::strlen(values[i]) + 1 : 0;
    }
    return size;
  }

  // False when the rest of the block is too small for the row.
  bool copy(int columns, const char* const* values, std::size_t head) noexcept {
    char* const begin = current_->bytes() + current_->used;
    const std::size_t room = current_->room - current_->used;
    std::size_t used = head;
    if (room < head) {
      return false;
    }
    Row* const row = ::new (static_cast<void*>(begin)) Row{nullptr, columns};
    const char** const kept = row->values();
    for (int i = 0; i < columns; ++i) {
      kept[i] = nullptr;
      if (values[i] != nullptr) {
        const std::size_t size = std::strlen(values[i]) + 1;
        if (size > room - used) {
          return false;
        }
        std::memcpy(begin + used, values[i], size);
        kept[i] = begin + used;
        used += size;
      }
    }
    constexpr std::size_t kAlignment = alignof(std::max_align_t);
    const std::size_t aligned = (used + kAlignment - 1) / kAlignment * kAlignment;
    current_->used += aligned < room ? aligned : room;
    bytes_ += used;
    ++size_;
    (last_ != nullptr ? last_->next : first_) = row;
    last_ = row;
    return true;
  }

  bool next_block(std::size_t size) noexcept {
    Block* const next = current_ != nullptr ? current_->next : nullptr;
    if (next != nullptr && next->room >= size) {
      next->used = 0;
      current_ = next;
      return true;
    }
    const std::size_t room = size > kBlock ? size : kBlock;
    void* const memory = std::malloc(sizeof(Block) + room);
    if (memory == nullptr) {
      return false;
    }
    Block* const block = ::new (memory) Block{next, room, 0};
    (current_ != nullptr ? current_->next : blocks_) = block;
    current_ = block;
    return true;
  }

  Block* blocks_ = nullptr;
  Block* current_ = nullptr;
  Row* first_ = nullptr;
  Row* last_ = nullptr;
  std::size_t size_ = 0;
  std::size_t bytes_ = 0;
};

}  // namespace detail

// ---- rows ----

// A row of a listing, column by column. The rows of each log, below, name their columns.
class RowOfTexts {
 public:
  RowOfTexts(const char* const* values, int columns) noexcept : values_(values), columns_(columns) {}

  [[nodiscard]] int columns() const noexcept { return columns_; }
  // Empty, with a null pointer in it, for NULL and for a column that is not there.
  [[nodiscard]] std::string_view operator[](int column) const noexcept {
    const char* const value = c_str(column);
    return value != nullptr ? std::string_view(value) : std::string_view();
  }
  [[nodiscard]] const char* c_str(int column) const noexcept {
    return column >= 0 && column < columns_ ? values_[column] : nullptr;
  }
  // 0 for a text that is not a number.
  [[nodiscard]] std::int64_t number(int column) const noexcept {
    const char* const value = c_str(column);
    return value != nullptr ? std::strtoll(value, nullptr, 10) : 0;
  }

 private:
  const char* const* values_;
  int columns_;
};

// A row of a grouping: one entry of the group, and how many there are.
template <typename Row>
class Group : public Row {
 public:
  using Row::Row;
  [[nodiscard]] std::int64_t count() const noexcept { return this->number(this->columns() - 1); }
};

namespace detail {

// What an iterator's -> returns, since a row exists only while it is looked at.
template <typename Row>
class Arrow {
 public:
  explicit Arrow(Row row) noexcept : row_(row) {}
  const Row* operator->() const noexcept { return &row_; }

 private:
  Row row_;
};

}  // namespace detail

// Rows that were copied: a forward range.
template <typename Row>
class Page {
 public:
  class iterator {
   public:
    // Until C++20 a forward iterator had to return references.
    using iterator_category = std::input_iterator_tag;
    using iterator_concept = std::forward_iterator_tag;
    using value_type = Row;
    using difference_type = std::ptrdiff_t;
    using pointer = detail::Arrow<Row>;
    using reference = Row;

    iterator() noexcept = default;
    explicit iterator(detail::Store::Row* row) noexcept : row_(row) {}
    Row operator*() const noexcept { return Row(row_->values(), row_->columns); }
    pointer operator->() const noexcept { return pointer(**this); }
    iterator& operator++() noexcept {
      row_ = row_->next;
      return *this;
    }
    iterator operator++(int) noexcept {  // NOLINT(cert-dcl21-cpp): what C++20's iterators are asked for
      const iterator before = *this;
      ++*this;
      return before;
    }
    friend bool operator==(const iterator& left, const iterator& right) noexcept { return left.row_ == right.row_; }
    friend bool operator!=(const iterator& left, const iterator& right) noexcept { return left.row_ != right.row_; }

   private:
    detail::Store::Row* row_ = nullptr;
  };
  using const_iterator = iterator;

  Page() noexcept = default;
  explicit Page(detail::Store rows) noexcept : rows_(std::move(rows)) {}

  [[nodiscard]] iterator begin() const noexcept { return iterator(rows_.first()); }
  [[nodiscard]] iterator end() const noexcept { return iterator(); }
  [[nodiscard]] std::size_t size() const noexcept { return rows_.size(); }
  [[nodiscard]] bool empty() const noexcept { return rows_.size() == 0; }

 private:
  detail::Store rows_;
};

namespace detail {

// What a listing's callback is told: whom to call, and what became of that.
template <typename Row, typename Visitor>
struct Visit {
  static_assert(std::is_invocable_v<Visitor&, const Row&>, "list() calls its function with a row of this log");
  using Answer = std::invoke_result_t<Visitor&, const Row&>;
  static_assert(std::is_void_v<Answer> || std::is_convertible_v<Answer, bool>,
                "the function returns nothing, or false for no further rows");

  static int row(void* context, int columns, char** values, char** /*names*/) {
    auto& visit = *static_cast<Visit*>(context);
#if defined(__cpp_exceptions)
    try {
      return visit.hand_over(Row(values, columns));
    } catch (...) {
      visit.thrown = std::current_exception();
      return 1;
    }
#else
    return visit.hand_over(Row(values, columns));
#endif
  }

  int hand_over(const Row& row) {
    if constexpr (std::is_void_v<Answer>) {
      visitor(row);
      return 0;
    } else {
      stopped = !static_cast<bool>(visitor(row));
      return stopped ? 1 : 0;
    }
  }

  Result<void> result(int code) const {
#if defined(__cpp_exceptions)
    if (thrown) {
      std::rethrow_exception(thrown);
    }
#endif
    return stopped ? Code::ok : static_cast<Code>(code);
  }

  Visitor& visitor;
  bool stopped = false;
#if defined(__cpp_exceptions)
  std::exception_ptr thrown{};
#endif
};

template <typename Row, typename Query, typename Sort, typename Visitor>
Result<void> list(const Query& query, const View<Sort>& view, Visitor&& visitor) {
  if (query.code() != Code::ok) {
    return query.code();
  }
  using Function = std::remove_reference_t<Visitor>;
  Visit<Row, Function> visit{visitor};
  const Range range(view);
  return visit.result(query.list(&Visit<Row, Function>::row, range.sort, range.start, range.end, &visit));
}

template <typename Row, typename Query, typename Sort>
Result<Page<Row>> page(const Query& query, const View<Sort>& view) noexcept {
  if (query.code() != Code::ok) {
    return query.code();
  }
  struct RowCopier {
    Store rows{};
    bool memory = true;
    static int row(void* context, int columns, char** values, char** /*names*/) {
      auto& copier = *static_cast<RowCopier*>(context);
      copier.memory = copier.rows.keep(columns, values);
      return copier.memory ? 0 : 1;
    }
  };
  RowCopier copier;
  const Range range(view);
  const int code = query.list(&RowCopier::row, range.sort, range.start, range.end, &copier);
  if (!copier.memory) {
    return Code::no_memory;
  }
  if (code != ANNAL_OK) {
    return static_cast<Code>(code);
  }
  return Page<Row>(std::move(copier.rows));
}

template <typename Query>
Result<int> count(const Query& query) noexcept {
  return query.code() == Code::ok ? count_of(query.count()) : Result<int>(query.code());
}

// Every entry by itself, up to the first that cannot be stored.
template <typename Entries, typename Add>
Result<void> add_each(const Entries& entries, int* stored, const Add& add) {
  Result<void> result;
  int number = 0;
  for (const auto& entry : entries) {
    result = add(entry);
    if (!result) {
      break;
    }
    ++number;
  }
  if (stored != nullptr) {
    *stored = number;
  }
  return result;
}

}  // namespace detail

/*
 * A range of rows, by falling id: the newest first. It reads a page at a time, in calls of its own, and releases the
 * log before it hands out the first of them: no writer waits for the loop. The first page has kFirstRows rows, each
 * further one twice as many up to kMostRows, because SQLite reads what a page skips; kBytes end a page earlier. What is
 * deleted or added meanwhile makes it neither skip nor repeat an entry that stays; entries that are added after the
 * first page are not shown.
 *
 * ```cpp
 * int errors_in_log() {
 *   int errors = 0;
 *   auto rows = annal::event::rows();
 *   for (const annal::event::Row& row : rows) {
 *     errors += row.level() == annal::Level::error ? 1 : 0;
 *   }
 *   return rows.status() ? errors : -1;  // -1: the loop ended early
 * }
 * ```
 *
 * It is read once: begin() continues where the last iterator was. Moving the range invalidates its iterators, and a row
 * is valid until its iterator moves on. A failure ends the range, and status() has its code; after or_throw() it is
 * thrown as an Error instead.
 */
template <typename Query>
class Rows {
 public:
  using Row = typename Query::Row;
  static constexpr int kFirstRows = 500;
  static constexpr int kMostRows = 16 * kFirstRows;
  static constexpr std::size_t kBytes = std::size_t{4} << 20U;

  struct sentinel {};
  class iterator {
   public:
    using iterator_category = std::input_iterator_tag;
    using value_type = Row;
    using difference_type = std::ptrdiff_t;
    using pointer = detail::Arrow<Row>;
    using reference = Row;

    iterator() noexcept = default;
    explicit iterator(Rows* rows) noexcept : rows_(rows) {}
    Row operator*() const noexcept { return Row(rows_->row_->values(), rows_->row_->columns); }
    pointer operator->() const noexcept { return pointer(**this); }
    iterator& operator++() {
      rows_->advance();
      return *this;
    }
    void operator++(int) { ++*this; }
    friend bool operator==(const iterator& left, sentinel /*end*/) noexcept { return left.at_end(); }
    friend bool operator!=(const iterator& left, sentinel /*end*/) noexcept { return !left.at_end(); }
    friend bool operator==(sentinel /*end*/, const iterator& right) noexcept { return right.at_end(); }
    friend bool operator!=(sentinel /*end*/, const iterator& right) noexcept { return !right.at_end(); }

   private:
    [[nodiscard]] bool at_end() const noexcept { return rows_ == nullptr || rows_->row_ == nullptr; }

    Rows* rows_ = nullptr;
  };

  // Its texts are copied: the range may outlive what the filter's were taken from.
  template <typename... Arguments>
  explicit Rows(const Arguments&... arguments) noexcept
      : query_(::new (std::nothrow) Query(arguments...)), code_(query_ != nullptr ? query_->code() : Code::no_memory) {}

  [[nodiscard]] iterator begin() {
    if (row_ == nullptr && !ended_) {
      fetch();
    }
    return iterator(this);
  }
  [[nodiscard]] sentinel end() const noexcept { return {}; }

  // Code::ok as long as nothing has failed.
  [[nodiscard]] Result<void> status() const noexcept { return code_; }

#if defined(__cpp_exceptions)
  // From here on a failure is thrown.
  Rows& or_throw() & noexcept {
    throwing_ = true;
    return *this;
  }
  Rows or_throw() && noexcept {
    throwing_ = true;
    return std::move(*this);
  }
#endif

 private:
  // What one page's callback works on.
  struct Reading {
    detail::Store* rows;
    std::int64_t last;
    int seen = 0;
    bool gap;  // until a row is there that was seen before
    bool full = false;
    bool memory = true;

    static int row(void* context, int columns, char** values, char** /*names*/) {
      auto& reading = *static_cast<Reading*>(context);
      const std::int64_t id = columns > 0 && values[0] != nullptr ? std::strtoll(values[0], nullptr, 10) : 0;
      if (reading.seen++ == 0 && id >= reading.last) {
        reading.gap = false;
      }
      if (reading.gap || id >= reading.last) {
        return 0;
      }
      reading.last = id;
      reading.memory = reading.rows->keep(columns, values);
      reading.full = reading.rows->bytes() >= kBytes;
      return !reading.memory || reading.full ? 1 : 0;
    }
  };

  void advance() {
    row_ = row_->next;
    if (row_ == nullptr && !ended_) {
      fetch();
    }
  }

  // Reads pages until one has a row, or there are none left.
  void fetch() {
    while (code_ == Code::ok && !ended_ && row_ == nullptr) {
      rows_.clear();
      Reading reading{&rows_, last_, 0, start_ > 0};
      const int code = query_->list(&Reading::row, kNewestIdFirst, start_, start_ + page_, &reading);
      if (!reading.memory) {
        code_ = Code::no_memory;
      } else if (code != ANNAL_OK && !reading.full) {
        code_ = static_cast<Code>(code);
      } else if (reading.gap) {
        start_ = start_ > page_ ? start_ - page_ : 0;
      } else {
        last_ = reading.last;
        row_ = rows_.first();
        ended_ = reading.seen < page_ && !reading.full;
        start_ += reading.seen > 0 ? reading.seen - 1 : 0;
        page_ = page_ < kMostRows ? 2 * page_ : kMostRows;
      }
    }
    ended_ = ended_ || code_ != Code::ok;
#if defined(__cpp_exceptions)
    if (throwing_ && code_ != Code::ok) {
      throw Error(code_);
    }
#endif
  }

  static constexpr unsigned kNewestIdFirst = 13;  // in every log

  std::unique_ptr<Query> query_;
  detail::Store rows_;
  detail::Store::Row* row_ = nullptr;
  std::int64_t last_ = INT64_MAX;
  int start_ = 0;
  int page_ = kFirstRows;
  Code code_;
  bool ended_ = false;
  bool throwing_ = false;
};

// ---- the event log ----
namespace event {

// An event to store. What is left out gets the library's defaults.
struct Entry {
  Level level = Level::information;
  std::string_view message{};       // up to 2048 bytes
  std::string_view user{};          // 64
  std::string_view address{};       // IPv4 or IPv6
  std::string_view computer{};      // 64
  std::string_view message_id{};    // 64
  std::int64_t time = 0;            // seconds since 1970; 0 is now
  std::string_view app_id{};        // 64
  std::string_view app{};           // 128
  std::string_view category_id{};   // 64
  std::string_view category{};      // 128
  std::string_view client_id{};     // 64
  std::string_view client_app{};    // 128
  std::string_view client_agent{};  // 255

  Entry& with_level(Level value) noexcept { return level = value, *this; }
  Entry& with_message(std::string_view value) noexcept { return message = value, *this; }
  Entry& with_user(std::string_view value) noexcept { return user = value, *this; }
  Entry& with_address(std::string_view value) noexcept { return address = value, *this; }
  Entry& with_computer(std::string_view value) noexcept { return computer = value, *this; }
  Entry& with_message_id(std::string_view value) noexcept { return message_id = value, *this; }
  Entry& with_time(std::int64_t value) noexcept { return time = value, *this; }
  Entry& with_app(std::string_view value, std::string_view id = {}) noexcept { return app = value, app_id = id, *this; }
  Entry& with_category(std::string_view value, std::string_view id = {}) noexcept {
    return category = value, category_id = id, *this;
  }
  Entry& with_client(std::string_view id, std::string_view application, std::string_view agent) noexcept {
    return client_id = id, client_app = application, client_agent = agent, *this;
  }
};

// Which events. Texts are contained in their column; the user can be the whole one (match_users_exactly).
struct Filter {
  std::optional<Level> level{};
  Period period{};
  std::string_view user{};
  std::string_view address{};
  std::string_view computer{};
  std::string_view message{};
  std::string_view app_id{};
  std::string_view app{};
  std::string_view category_id{};
  std::string_view category{};
  std::string_view client_id{};
  std::string_view client_app{};
  std::string_view client_agent{};

  Filter& with_level(Level value) noexcept { return level = value, *this; }
  Filter& with_dates(std::string_view from, std::string_view to) noexcept {
    return period.date_from = from, period.date_to = to, *this;
  }
  Filter& with_times(std::string_view from, std::string_view to) noexcept {
    return period.time_from = from, period.time_to = to, *this;
  }
  Filter& with_user(std::string_view value) noexcept { return user = value, *this; }
  Filter& with_address(std::string_view value) noexcept { return address = value, *this; }
  Filter& with_computer(std::string_view value) noexcept { return computer = value, *this; }
  Filter& with_message(std::string_view value) noexcept { return message = value, *this; }
  Filter& with_app_id(std::string_view value) noexcept { return app_id = value, *this; }
  Filter& with_app(std::string_view value) noexcept { return app = value, *this; }
  Filter& with_category_id(std::string_view value) noexcept { return category_id = value, *this; }
  Filter& with_category(std::string_view value) noexcept { return category = value, *this; }
  Filter& with_client_id(std::string_view value) noexcept { return client_id = value, *this; }
  Filter& with_client_app(std::string_view value) noexcept { return client_app = value, *this; }
  Filter& with_client_agent(std::string_view value) noexcept { return client_agent = value, *this; }
};

// Which events are grouped: these filters alone.
struct GroupFilter {
  std::optional<Level> level{};
  Period period{};
  std::string_view user{};
  std::string_view address{};
  std::string_view computer{};
  std::string_view message{};
};

enum class Sort : unsigned {
  date = ANNAL_EVENT_SORT_DATE,
  time = ANNAL_EVENT_SORT_TIME,
  level = ANNAL_EVENT_SORT_TYPE,
  user = ANNAL_EVENT_SORT_USER,
  address = ANNAL_EVENT_SORT_IP,
  computer = ANNAL_EVENT_SORT_COMP,
  id = ANNAL_EVENT_SORT_ID,
  message_id = ANNAL_EVENT_SORT_MSGID,
  time_stamp = ANNAL_EVENT_SORT_TIMET,
  app_id = ANNAL_EVENT_SORT_APP_ID,
  app = ANNAL_EVENT_SORT_APP_NAME,
  category_id = ANNAL_EVENT_SORT_CATEGORY_ID,
  category = ANNAL_EVENT_SORT_CATEGORY
};
using View = annal::View<Sort>;

// What the events of a group share; all but by_id group by level, too.
enum class GroupBy : unsigned {
  id = ANNAL_EVENT_GROUP_ID,
  level = ANNAL_EVENT_GROUP_TYPE,
  date = ANNAL_EVENT_GROUP_DATE,
  time = ANNAL_EVENT_GROUP_TIME,
  user = ANNAL_EVENT_GROUP_USER,
  address = ANNAL_EVENT_GROUP_IP,
  computer = ANNAL_EVENT_GROUP_COMP,
  message = ANNAL_EVENT_GROUP_DESC
};

// The columns to delete by, those of numbers and those of texts.
enum class NumberColumn : unsigned {
  id = ANNAL_EVENT_DEL_ID,
  level = ANNAL_EVENT_DEL_TYPE,
  time_stamp = ANNAL_EVENT_DEL_TIMET
};
enum class TextColumn : unsigned {
  date = ANNAL_EVENT_DEL_DATE,
  time = ANNAL_EVENT_DEL_TIME,
  user = ANNAL_EVENT_DEL_USER,
  address = ANNAL_EVENT_DEL_IP,
  computer = ANNAL_EVENT_DEL_COMP,
  message = ANNAL_EVENT_DEL_DESC,
  message_id = ANNAL_EVENT_DEL_MSGID
};

class Row : public RowOfTexts {
 public:
  using RowOfTexts::RowOfTexts;
  [[nodiscard]] std::int64_t id() const noexcept { return number(0); }
  [[nodiscard]] Level level() const noexcept { return static_cast<Level>(number(1)); }
  [[nodiscard]] std::string_view date() const noexcept { return (*this)[2]; }
  [[nodiscard]] std::string_view time() const noexcept { return (*this)[3]; }
  [[nodiscard]] std::string_view user() const noexcept { return (*this)[4]; }
  [[nodiscard]] std::string_view address() const noexcept { return (*this)[5]; }
  [[nodiscard]] std::string_view computer() const noexcept { return (*this)[6]; }
  [[nodiscard]] std::string_view message() const noexcept { return (*this)[7]; }
  [[nodiscard]] std::string_view message_id() const noexcept { return (*this)[8]; }
  [[nodiscard]] std::int64_t time_stamp() const noexcept { return number(9); }
  [[nodiscard]] std::string_view app_id() const noexcept { return (*this)[10]; }
  [[nodiscard]] std::string_view app() const noexcept { return (*this)[11]; }
  [[nodiscard]] std::string_view category_id() const noexcept { return (*this)[12]; }
  [[nodiscard]] std::string_view category() const noexcept { return (*this)[13]; }
  [[nodiscard]] std::string_view client_id() const noexcept { return (*this)[14]; }
  [[nodiscard]] std::string_view client_app() const noexcept { return (*this)[15]; }
  [[nodiscard]] std::string_view client_agent() const noexcept { return (*this)[16]; }
};

// A filter as the library takes it.
class Search {
 public:
  using Row = event::Row;

  explicit Search(const Filter& filter) noexcept
      : dates_(filter.period, texts_),
        type_(static_cast<unsigned>(detail::level_filter(filter.level))),
        user_(texts_.copy(filter.user)),
        ip_(texts_.copy(filter.address)),
        comp_(texts_.copy(filter.computer)),
        desc_(texts_.copy(filter.message)),
        app_id_(texts_.copy(filter.app_id)),
        app_name_(texts_.copy(filter.app)),
        category_id_(texts_.copy(filter.category_id)),
        category_(texts_.copy(filter.category)),
        client_id_(texts_.copy(filter.client_id)),
        client_app_(texts_.copy(filter.client_app)),
        client_agent_(texts_.copy(filter.client_agent)) {
    // Without a filter before them, some of the later ones do not go together (Corix_annal.h). This one all events
    // pass.
    const bool later = app_id_ != nullptr || app_name_ != nullptr || category_id_ != nullptr || category_ != nullptr;
    if (later && desc_ == nullptr) {
      desc_ = "";
    }
  }

  [[nodiscard]] Code code() const noexcept { return texts_.code(); }
  int list(annal_row_callback callback, unsigned sort, int start, int end, void* context) const noexcept {
    return annal_event_query_ex3(callback, sort, start, end, type_, dates_.from, dates_.to, user_, ip_, comp_, desc_,
                                 context, dates_.time_from, dates_.time_to, app_id_, app_name_, category_id_, category_,
                                 client_id_, client_app_, client_agent_);
  }
  [[nodiscard]] int count() const noexcept {
    return annal_event_query_count_ex3(type_, dates_.from, dates_.to, user_, ip_, comp_, desc_, dates_.time_from,
                                       dates_.time_to, app_id_, app_name_, category_id_, category_, client_id_,
                                       client_app_, client_agent_);
  }

 private:
  detail::Texts texts_;
  detail::Dates dates_;
  unsigned type_;
  const char* user_;
  const char* ip_;
  const char* comp_;
  const char* desc_;
  const char* app_id_;
  const char* app_name_;
  const char* category_id_;
  const char* category_;
  const char* client_id_;
  const char* client_app_;
  const char* client_agent_;
};

// A grouping as the library takes it.
class GroupSearch {
 public:
  GroupSearch(GroupBy by, const GroupFilter& filter) noexcept
      : dates_(filter.period, texts_),
        type_(static_cast<unsigned>(detail::level_filter(filter.level))),
        by_(static_cast<unsigned>(by)),
        user_(texts_.copy(filter.user)),
        ip_(texts_.copy(filter.address)),
        comp_(texts_.copy(filter.computer)),
        desc_(texts_.copy(filter.message)) {}

  [[nodiscard]] Code code() const noexcept { return texts_.code(); }
  int list(annal_row_callback callback, unsigned sort, int start, int end, void* context) const noexcept {
    return annal_event_query_group_ex(callback, sort, start, end, type_, dates_.from, dates_.to, user_, ip_, comp_,
                                      desc_, by_, context, dates_.time_from, dates_.time_to);
  }

 private:
  detail::Texts texts_;
  detail::Dates dates_;
  unsigned type_;
  unsigned by_;
  const char* user_;
  const char* ip_;
  const char* comp_;
  const char* desc_;
};

inline Result<void> create(Limit limit = {}) noexcept {
  return detail::result_of(annal_event_create_tbl(limit.rows, limit.drop));
}
inline Result<void> drop() noexcept {
  return detail::result_of(annal_event_remove_tbl());
}
inline Result<void> clear() noexcept {
  return detail::result_of(annal_event_flush_tbl());
}
inline Result<void> set_limit(Limit limit) noexcept {
  return detail::result_of(annal_event_add_trigger_logfull(limit.rows, limit.drop));
}
inline Result<void> remove_limit() noexcept {
  return detail::result_of(annal_event_remove_trigger_logfull());
}
// Keeps only the newest entries.
inline Result<void> trim_to(int rows) noexcept {
  return rows > 0 ? detail::result_of(annal_event_del_logfull_over_size(rows)) : Code::bad_argument;
}
inline Result<void> migrate() noexcept {
  return detail::result_of(annal_event_modify_tbl());
}
// For the whole process.
inline void match_users_exactly(bool exactly) noexcept {
  (void)annal_event_enable_name_matching(exactly ? 1 : 0);
}

inline Result<void> add(const Entry& entry) noexcept {
  EventRecord record{};
  detail::Fields fields;
  fields.require(detail::is_level(entry.level));
  record.event_type = static_cast<std::int32_t>(entry.level);
  record.event_timet = entry.time;
  fields.put(record.event_user, entry.user);
  fields.put_address(record.event_ip, entry.address, annal_checkip);
  fields.put(record.event_comp, entry.computer);
  fields.put(record.event_desc, entry.message);
  fields.put(record.event_msgid, entry.message_id);
  fields.put(record.event_app_id, entry.app_id);
  fields.put(record.event_app_name, entry.app);
  fields.put(record.event_category_id, entry.category_id);
  fields.put(record.event_category, entry.category);
  fields.put(record.event_client_id, entry.client_id);
  fields.put(record.event_client_app, entry.client_app);
  fields.put(record.event_client_agent, entry.client_agent);
  return fields.code() == Code::ok ? detail::result_of(annal_event_add_msgid_ex3(&record)) : fields.code();
}

// Each by itself, up to the first that cannot be stored. stored: gets the number of those before it.
template <typename Entries>
Result<void> add_all(const Entries& entries, int* stored = nullptr) {
  return detail::add_each(entries, stored, [](const Entry& entry) noexcept { return add(entry); });
}

inline Result<void> erase(NumberColumn column, int value) noexcept {
  return detail::result_of(annal_event_del(static_cast<unsigned>(column), &value));
}
Result<void> erase(TextColumn column, std::nullptr_t value) = delete;  // also a 0
inline Result<void> erase(TextColumn column, std::string_view value) noexcept {
  detail::Texts texts;
  const char* const quoted = texts.quoted(value);
  return texts.code() == Code::ok ? detail::result_of(annal_event_del(static_cast<unsigned>(column), quoted))
                                  : texts.code();
}

inline Result<int> count(const Filter& filter = {}) noexcept {
  return detail::count(Search(filter));
}
// Calls visitor(row) for each row. One that returns false ends the listing, with success; one that throws ends it, too,
// and what it has thrown leaves list().
template <typename Visitor>
Result<void> list(const Filter& filter, const View& view, Visitor&& visitor) {
  return detail::list<Row>(Search(filter), view, visitor);
}
template <typename Visitor>
Result<void> list(const Filter& filter, Visitor&& visitor) {
  return detail::list<Row>(Search(filter), View{}, visitor);
}
inline Result<Page<Row>> page(const Filter& filter = {}, const View& view = {}) noexcept {
  return detail::page<Row>(Search(filter), view);
}
[[nodiscard]] inline Rows<Search> rows(const Filter& filter = {}) noexcept {
  return Rows<Search>(filter);
}
// One event of each group; its count() is the size of the group. A View's sort goes up to Sort::time_stamp.
inline Result<Page<Group<Row>>> groups(GroupBy by, const GroupFilter& filter = {}, const View& view = {}) noexcept {
  return detail::page<Group<Row>>(GroupSearch(by, filter), view);
}

}  // namespace event

// ---- the connection log ----
namespace conn {

// A connection to store, which the log stamps with the current time. What is left out gets the library's defaults for
// batches: user "System", address "127.0.0.1", computer "localhost".
struct Entry {
  Level level = Level::information;
  std::string_view user{};      // up to 64 bytes
  std::string_view address{};   // IPv4 or IPv6
  std::string_view computer{};  // 64
  std::string_view resource{};  // 1024
  int service = 0;              // 0 to 12
  int action = 0;               // 0 to 36
  std::string_view app{};       // 256
  Outcome outcome = Outcome::succeeded;
  std::string_view client_id{};     // 64
  std::string_view client_app{};    // 128
  std::string_view client_agent{};  // 256

  Entry& with_level(Level value) noexcept { return level = value, *this; }
  Entry& with_user(std::string_view value) noexcept { return user = value, *this; }
  Entry& with_address(std::string_view value) noexcept { return address = value, *this; }
  Entry& with_computer(std::string_view value) noexcept { return computer = value, *this; }
  Entry& with_resource(std::string_view value) noexcept { return resource = value, *this; }
  Entry& with_service(int value) noexcept { return service = value, *this; }
  Entry& with_action(int value) noexcept { return action = value, *this; }
  Entry& with_app(std::string_view value) noexcept { return app = value, *this; }
  Entry& with_outcome(Outcome value) noexcept { return outcome = value, *this; }
  Entry& with_client(std::string_view id, std::string_view application, std::string_view agent) noexcept {
    return client_id = id, client_app = application, client_agent = agent, *this;
  }
};

// Which connections. Texts are contained in their column; the user can be the whole one (match_users_exactly).
struct Filter {
  std::optional<Level> level{};
  Period period{};
  std::string_view user{};
  std::string_view address{};
  std::string_view computer{};
  std::string_view resource{};
  int service = 0;  // 0 is any
  int action = 0;   // 0 is any
  std::string_view app{};
  bool failed_only = false;
  std::string_view client_id{};
  std::string_view client_app{};
  std::string_view client_agent{};

  Filter& with_level(Level value) noexcept { return level = value, *this; }
  Filter& with_dates(std::string_view from, std::string_view to) noexcept {
    return period.date_from = from, period.date_to = to, *this;
  }
  Filter& with_times(std::string_view from, std::string_view to) noexcept {
    return period.time_from = from, period.time_to = to, *this;
  }
  Filter& with_user(std::string_view value) noexcept { return user = value, *this; }
  Filter& with_address(std::string_view value) noexcept { return address = value, *this; }
  Filter& with_computer(std::string_view value) noexcept { return computer = value, *this; }
  Filter& with_resource(std::string_view value) noexcept { return resource = value, *this; }
  Filter& with_service(int value) noexcept { return service = value, *this; }
  Filter& with_action(int value) noexcept { return action = value, *this; }
  Filter& with_app(std::string_view value) noexcept { return app = value, *this; }
  Filter& with_failed_only() noexcept { return failed_only = true, *this; }
  Filter& with_client_id(std::string_view value) noexcept { return client_id = value, *this; }
  Filter& with_client_app(std::string_view value) noexcept { return client_app = value, *this; }
  Filter& with_client_agent(std::string_view value) noexcept { return client_agent = value, *this; }
};

// Which connections are grouped: these filters alone.
struct GroupFilter {
  std::optional<Level> level{};
  Period period{};
  std::string_view user{};
  std::string_view address{};
  std::string_view computer{};
  std::string_view resource{};
  int service = 0;
  int action = 0;
  std::string_view app{};
  bool failed_only = false;
};

enum class Sort : unsigned {
  date = ANNAL_CONN_SORT_DATE,
  time = ANNAL_CONN_SORT_TIME,
  level = ANNAL_CONN_SORT_TYPE,
  user = ANNAL_CONN_SORT_USER,
  address = ANNAL_CONN_SORT_IP,
  computer = ANNAL_CONN_SORT_COMP,
  id = ANNAL_CONN_SORT_ID,
  service = ANNAL_CONN_SORT_SERV,
  action = ANNAL_CONN_SORT_ACTION,
  app = ANNAL_CONN_SORT_APP,
  outcome = ANNAL_CONN_SORT_ACTION_RESULT
};
using View = annal::View<Sort>;

enum class GroupBy : unsigned {
  id = ANNAL_CONN_GROUP_ID,
  level = ANNAL_CONN_GROUP_TYPE,
  date = ANNAL_CONN_GROUP_DATE,
  time = ANNAL_CONN_GROUP_TIME,
  user = ANNAL_CONN_GROUP_USER,
  address = ANNAL_CONN_GROUP_IP,
  computer = ANNAL_CONN_GROUP_COMP,
  resource = ANNAL_CONN_GROUP_RES,
  service = ANNAL_CONN_GROUP_SERV,
  action = ANNAL_CONN_GROUP_ACTION,
  app = ANNAL_CONN_GROUP_APP,
  outcome = ANNAL_CONN_GROUP_ACTION_RESULT
};

enum class NumberColumn : unsigned {
  id = ANNAL_CONN_DEL_ID,
  level = ANNAL_CONN_DEL_TYPE,
  service = ANNAL_CONN_DEL_SERV,
  action = ANNAL_CONN_DEL_ACTION,
  outcome = ANNAL_CONN_DEL_ACTION_RESULT
};
enum class TextColumn : unsigned {
  date = ANNAL_CONN_DEL_DATE,
  time = ANNAL_CONN_DEL_TIME,
  user = ANNAL_CONN_DEL_USER,
  address = ANNAL_CONN_DEL_IP,
  computer = ANNAL_CONN_DEL_COMP,
  resource = ANNAL_CONN_DEL_RES,
  app = ANNAL_CONN_DEL_APP
};

class Row : public RowOfTexts {
 public:
  using RowOfTexts::RowOfTexts;
  [[nodiscard]] std::int64_t id() const noexcept { return number(0); }
  [[nodiscard]] Level level() const noexcept { return static_cast<Level>(number(1)); }
  [[nodiscard]] std::string_view date() const noexcept { return (*this)[2]; }
  [[nodiscard]] std::string_view time() const noexcept { return (*this)[3]; }
  [[nodiscard]] std::string_view user() const noexcept { return (*this)[4]; }
  [[nodiscard]] std::string_view address() const noexcept { return (*this)[5]; }
  [[nodiscard]] std::string_view computer() const noexcept { return (*this)[6]; }
  [[nodiscard]] std::string_view resource() const noexcept { return (*this)[7]; }
  [[nodiscard]] std::int64_t service() const noexcept { return number(8); }
  [[nodiscard]] std::int64_t action() const noexcept { return number(9); }
  [[nodiscard]] std::string_view app() const noexcept { return (*this)[10]; }
  [[nodiscard]] Outcome outcome() const noexcept { return static_cast<Outcome>(number(11)); }
  [[nodiscard]] std::string_view client_id() const noexcept { return (*this)[12]; }
  [[nodiscard]] std::string_view client_app() const noexcept { return (*this)[13]; }
  [[nodiscard]] std::string_view client_agent() const noexcept { return (*this)[14]; }
};

// A filter as the library takes it.
class Search {
 public:
  using Row = conn::Row;

  explicit Search(const Filter& filter) noexcept
      : dates_(filter.period, texts_),
        type_(detail::level_filter(filter.level)),
        user_(texts_.copy(filter.user)),
        ip_(texts_.copy(filter.address)),
        comp_(texts_.copy(filter.computer)),
        res_(texts_.copy(filter.resource)),
        serv_(filter.service),
        action_(filter.action),
        app_(texts_.copy(filter.app)),
        result_(filter.failed_only ? ANNAL_ACTION_FAILED : 0),
        client_id_(texts_.copy(filter.client_id)),
        client_app_(texts_.copy(filter.client_app)),
        client_agent_(texts_.copy(filter.client_agent)) {}

  [[nodiscard]] Code code() const noexcept { return texts_.code(); }
  int list(annal_row_callback callback, unsigned sort, int start, int end, void* context) const noexcept {
    return annal_conn_query_ex3(nullptr, callback, static_cast<int>(sort), start, end, type_, dates_.from, dates_.to,
                                user_, ip_, comp_, res_, serv_, action_, context, dates_.time_from, dates_.time_to,
                                app_, result_, client_id_, client_app_, client_agent_);
  }
  [[nodiscard]] int count() const noexcept {
    return annal_conn_query_count_ex3(type_, dates_.from, dates_.to, user_, ip_, comp_, res_, serv_, action_,
                                      dates_.time_from, dates_.time_to, app_, result_, client_id_, client_app_,
                                      client_agent_);
  }

 private:
  detail::Texts texts_;
  detail::Dates dates_;
  int type_;
  const char* user_;
  const char* ip_;
  const char* comp_;
  const char* res_;
  int serv_;
  int action_;
  const char* app_;
  int result_;
  const char* client_id_;
  const char* client_app_;
  const char* client_agent_;
};

// A grouping as the library takes it.
class GroupSearch {
 public:
  GroupSearch(GroupBy by, const GroupFilter& filter) noexcept
      : dates_(filter.period, texts_),
        type_(detail::level_filter(filter.level)),
        by_(static_cast<unsigned>(by)),
        user_(texts_.copy(filter.user)),
        ip_(texts_.copy(filter.address)),
        comp_(texts_.copy(filter.computer)),
        res_(texts_.copy(filter.resource)),
        serv_(filter.service),
        action_(filter.action),
        app_(texts_.copy(filter.app)),
        result_(filter.failed_only ? ANNAL_ACTION_FAILED : 0) {}

  [[nodiscard]] Code code() const noexcept { return texts_.code(); }
  int list(annal_row_callback callback, unsigned sort, int start, int end, void* context) const noexcept {
    return annal_conn_query_group_ex2(nullptr, callback, static_cast<int>(sort), start, end, type_, dates_.from,
                                      dates_.to, user_, ip_, comp_, res_, serv_, action_, by_, context,
                                      dates_.time_from, dates_.time_to, app_, result_);
  }

 private:
  detail::Texts texts_;
  detail::Dates dates_;
  int type_;
  unsigned by_;
  const char* user_;
  const char* ip_;
  const char* comp_;
  const char* res_;
  int serv_;
  int action_;
  const char* app_;
  int result_;
};

inline Result<void> create(Limit limit = {}) noexcept {
  return detail::result_of(annal_conn_create_tbl(limit.rows, limit.drop));
}
inline Result<void> drop() noexcept {
  return detail::result_of(annal_conn_remove_tbl());
}
inline Result<void> clear() noexcept {
  return detail::result_of(annal_conn_flush_tbl());
}
inline Result<void> set_limit(Limit limit) noexcept {
  return detail::result_of(annal_conn_add_trigger_logfull(limit.rows, limit.drop));
}
inline Result<void> remove_limit() noexcept {
  return detail::result_of(annal_conn_remove_trigger_logfull());
}
// Deletes the oldest entries.
inline Result<void> trim_by(int rows) noexcept {
  return rows >= 0 ? detail::result_of(annal_conn_del_full(rows)) : Code::bad_argument;
}
inline Result<void> migrate() noexcept {
  return detail::result_of(annal_conn_modify_tbl());
}
// For the whole process.
inline void match_users_exactly(bool exactly) noexcept {
  (void)annal_conn_enable_name_matching(exactly ? 1 : 0);
}

}  // namespace conn

namespace detail {

// SQLite as the library itself has it, without linking it. A second copy would give away the locks of the first.
template <typename Function>
Function* sqlite_function(const char* name) noexcept {
  void* address = ::dlsym(RTLD_DEFAULT, name);
  if (address == nullptr) {
    // The library was loaded by a program that keeps its names to itself.
    if (void* const handle = ::dlopen("libCorix_annal.so.2", RTLD_LAZY | RTLD_NOLOAD)) {
      address = ::dlsym(handle, name);
      (void)::dlclose(handle);
    }
  }
  return reinterpret_cast<Function*>(address);
}

// The rules by which a batch's callers look at the log first are in Corix_annal.h, beside annal_conn_add_entries2.
inline Code conn_log_takes_entries() noexcept {
  static constexpr char kTrial[] =
      "BEGIN IMMEDIATE; "
      "INSERT INTO ANNAL_CONN (conn_type, conn_date, conn_time, conn_user, conn_ip, conn_comp, conn_res, conn_serv, "
      "conn_action, conn_app, conn_action_result, conn_client_id, conn_client_app, conn_client_agent) "
      "SELECT 0, strftime('%Y-%m-%d', CURRENT_TIMESTAMP, 'LOCALTIME'), strftime('%H:%M:%S', CURRENT_TIMESTAMP, "
      "'LOCALTIME'), '---', '---', '---', '---', 0, 0, '---', 0, '---', '---', '---' FROM (VALUES (1), (2)); "
      "ROLLBACK;";
  constexpr int kNoMemory = 7;
  constexpr int kCannotOpen = 14;
  constexpr int kForWriting = 2;
  constexpr int kWaitMilliseconds = 20000;
  auto* const open = sqlite_function<int(const char*, ::sqlite3**, int, const char*)>("sqlite3_open_v2");
  auto* const wait = sqlite_function<int(::sqlite3*, int)>("sqlite3_busy_timeout");
  auto* const run = sqlite_function<int(::sqlite3*, const char*, annal_row_callback, void*, char**)>("sqlite3_exec");
  auto* const close = sqlite_function<int(::sqlite3*)>("sqlite3_close");
  if (open == nullptr || wait == nullptr || run == nullptr || close == nullptr) {
    return Code::batch_failed;
  }
  ::sqlite3* log = nullptr;
  int code = open(annal_log_path(ANNAL_CONN_LOG), &log, kForWriting, nullptr);
  if (code == 0) {
    (void)wait(log, kWaitMilliseconds);
    code = run(log, kTrial, nullptr, nullptr, nullptr);
  }
  (void)close(log);  // which also undoes a trial that failed half-way
  switch (code) {
    case 0:
      return Code::ok;
    case kNoMemory:
      return Code::no_memory;
    case kCannotOpen:
      return Code::open_failed;
    default:
      return Code::batch_failed;
  }
}

inline Code fill(ConnRecord& record, const conn::Entry& entry) noexcept {
  constexpr int kHighestService = 12;
  constexpr int kHighestAction = 36;
  Fields fields;
  fields.require(is_level(entry.level));
  fields.require(entry.service >= 0 && entry.service <= kHighestService);
  fields.require(entry.action >= 0 && entry.action <= kHighestAction);
  fields.require(entry.outcome == Outcome::succeeded || entry.outcome == Outcome::failed);
  record.conn_type = static_cast<std::int32_t>(entry.level);
  record.conn_serv = entry.service;
  record.conn_action = entry.action;
  record.conn_action_result = static_cast<std::int32_t>(entry.outcome);
  fields.put(record.conn_user, entry.user);
  fields.put_address(record.conn_ip, entry.address, annal_checkip);
  fields.put(record.conn_comp, entry.computer);
  fields.put(record.conn_res, entry.resource);
  fields.put(record.conn_app, entry.app);
  fields.put(record.conn_client_id, entry.client_id);
  fields.put(record.conn_client_app, entry.client_app);
  fields.put(record.conn_client_agent, entry.client_agent);
  return fields.code();
}

// A batch that deletes nothing: it is begun only for a log that takes it.
inline Code add_batch(ConnRecord* records, int count, int& stored) noexcept {
  stored = 0;
  if (const Code refusal = conn_log_takes_entries(); refusal != Code::ok) {
    return refusal;
  }
  const int code = annal_conn_add_entries2(records, count, &stored);
  if (code != ANNAL_OK) {
    stored = 0;
    return static_cast<Code>(code);
  }
  return stored == count ? Code::ok : Code::insert_failed;
}

}  // namespace detail

namespace conn {

/*
 * Stores one connection, in the way for names that came from the network: every value is bound.
 *
 * It looks first whether the log takes entries, because the library deletes a log that it cannot prepare a batch for
 * (annal_conn_add_entries2). Code::open_failed: there is no log, or it cannot be opened. Code::batch_failed: the log is
 * damaged, locked for longer than 20 s, of another layout, or refuses rows; nothing is stored and nothing is changed.
 * Code::insert_failed: the log refused the row after all.
 */
inline Result<void> add(const Entry& entry) noexcept {
  ConnRecord record{};
  int stored = 0;
  const Code code = detail::fill(record, entry);
  return code == Code::ok ? detail::add_batch(&record, 1, stored) : code;
}

/*
 * Stores a range of connections in one transaction, in the same way. It is given Entries, or anything from which
 * make(element) makes one.
 *
 * An entry that does not fit refuses the whole range, with nothing stored. stored: gets the number of entries that are
 * in the log. It is less than all only with a failure: Code::insert_failed, when the log refused some of them, as
 * beside a writer that keeps the lock. Takes 2008 bytes of memory for each.
 */
template <
    typename Entries, typename Make,
    typename = std::enable_if_t<std::is_invocable_r_v<Entry, Make, decltype(*std::begin(std::declval<Entries&>()))>>>
Result<void> add_all(const Entries& entries, const Make& make, int* stored = nullptr) {
  std::unique_ptr<ConnRecord[], detail::Free> records;
  int count = 0;
  int room = 0;
  if (stored != nullptr) {
    *stored = 0;
  }
  for (const auto& element : entries) {
    if (count == room) {
      constexpr int kFirstRoom = 16;
      constexpr int kMost = INT_MAX / static_cast<int>(2 * sizeof(ConnRecord));
      if (room > kMost) {
        return Code::no_memory;
      }
      room = room > 0 ? 2 * room : kFirstRoom;
      void* const larger = std::realloc(records.get(), static_cast<std::size_t>(room) * sizeof(ConnRecord));
      if (larger == nullptr) {
        return Code::no_memory;
      }
      (void)records.release();
      records.reset(static_cast<ConnRecord*>(larger));
    }
    ConnRecord& record = *::new (static_cast<void*>(&records[static_cast<std::size_t>(count)])) ConnRecord{};
    if (const Code code = detail::fill(record, make(element)); code != Code::ok) {
      return code;
    }
    ++count;
  }
  int inserted = 0;
  const Code code = count > 0 ? detail::add_batch(records.get(), count, inserted) : Code::ok;
  if (stored != nullptr) {
    *stored = inserted;
  }
  return code;
}
template <typename Entries>
Result<void> add_all(const Entries& entries, int* stored = nullptr) {
  return add_all(
      entries, [](const Entry& entry) noexcept -> const Entry& { return entry; }, stored);
}

// Whether add() would be taken by the log as it is now.
inline Result<void> takes_entries() noexcept {
  return detail::conn_log_takes_entries();
}

inline Result<void> erase(NumberColumn column, int value) noexcept {
  return detail::result_of(annal_conn_del(static_cast<unsigned>(column), &value));
}
Result<void> erase(TextColumn column, std::nullptr_t value) = delete;  // also a 0
inline Result<void> erase(TextColumn column, std::string_view value) noexcept {
  detail::Texts texts;
  const char* const quoted = texts.quoted(value);
  return texts.code() == Code::ok ? detail::result_of(annal_conn_del(static_cast<unsigned>(column), quoted))
                                  : texts.code();
}

inline Result<int> count(const Filter& filter = {}) noexcept {
  return detail::count(Search(filter));
}
// As event::list, page, rows and groups.
template <typename Visitor>
Result<void> list(const Filter& filter, const View& view, Visitor&& visitor) {
  return detail::list<Row>(Search(filter), view, visitor);
}
template <typename Visitor>
Result<void> list(const Filter& filter, Visitor&& visitor) {
  return detail::list<Row>(Search(filter), View{}, visitor);
}
inline Result<Page<Row>> page(const Filter& filter = {}, const View& view = {}) noexcept {
  return detail::page<Row>(Search(filter), view);
}
[[nodiscard]] inline Rows<Search> rows(const Filter& filter = {}) noexcept {
  return Rows<Search>(filter);
}
inline Result<Page<Group<Row>>> groups(GroupBy by, const GroupFilter& filter = {}, const View& view = {}) noexcept {
  return detail::page<Group<Row>>(GroupSearch(by, filter), view);
}

}  // namespace conn

// ---- the notices ----
namespace notice {

// A notice to store, which the log stamps with the current time. The numbers of which nothing is said have the meaning
// that callers give them.
struct Entry {
  Severity severity = Severity::informational;
  std::string_view message{};  // up to 2048 bytes
  std::string_view title{};    // 256
  std::string_view name{};     // 128
  std::string_view user{};     // 64
  std::string_view address{};  // IPv4 or IPv6
  std::string_view client{};   // 64
  std::string_view service{};  // 1024
  int facility = 0;            // as in notice_facility_list
  int server = 0;
  int action = 0;
  int status = 0;
  std::string_view message_code{};  // 64
  int variable_count = 0;
  std::string_view variables{};    // 2048
  int uid = -1;                    // none
  int gid = -1;                    // none
  std::string_view link_id{};      // 256
  std::string_view link_option{};  // 1024

  Entry& with_severity(Severity value) noexcept { return severity = value, *this; }
  Entry& with_message(std::string_view value) noexcept { return message = value, *this; }
  Entry& with_title(std::string_view value) noexcept { return title = value, *this; }
  Entry& with_name(std::string_view value) noexcept { return name = value, *this; }
  Entry& with_user(std::string_view value) noexcept { return user = value, *this; }
  Entry& with_address(std::string_view value) noexcept { return address = value, *this; }
  Entry& with_client(std::string_view value) noexcept { return client = value, *this; }
  Entry& with_service(std::string_view value) noexcept { return service = value, *this; }
  Entry& with_facility(int value) noexcept { return facility = value, *this; }
};

// Which notices.
struct Filter {
  std::optional<std::int64_t> from{};  // seconds since 1970, included
  std::optional<std::int64_t> to{};    // likewise
  std::optional<Severity> severity{};  // this or a more severe one
  std::optional<int> facility{};

  Filter& with_times(std::int64_t first, std::int64_t last) noexcept { return from = first, to = last, *this; }
  Filter& with_severity(Severity least) noexcept { return severity = least, *this; }
  Filter& with_facility(int value) noexcept { return facility = value, *this; }
};

enum class Sort : unsigned {
  time = ANNAL_NOTICE_SORT_TIME,
  severity = ANNAL_NOTICE_SORT_SEVERITY,
  user = ANNAL_NOTICE_SORT_USER,
  address = ANNAL_NOTICE_SORT_IP,
  client = ANNAL_NOTICE_SORT_CLIENT,
  id = ANNAL_NOTICE_SORT_ID,
  server = ANNAL_NOTICE_SORT_SERVER,
  action = ANNAL_NOTICE_SORT_ACTION,
  service = ANNAL_NOTICE_SORT_SERVICENAME,
  facility = ANNAL_NOTICE_SORT_FACILITY,
  message_code = ANNAL_NOTICE_SORT_MSGCODE
};
using View = annal::View<Sort>;

enum class GroupBy : unsigned {
  id = ANNAL_NOTICE_GROUP_ID,
  severity = ANNAL_NOTICE_GROUP_SEVERITY,
  server = ANNAL_NOTICE_GROUP_SERVER,
  action = ANNAL_NOTICE_GROUP_ACTION,
  service = ANNAL_NOTICE_GROUP_SERVICENAME,
  facility = ANNAL_NOTICE_GROUP_FACILITY,
  time = ANNAL_NOTICE_GROUP_TIME,
  end_time = ANNAL_NOTICE_GROUP_ENDTIME,
  user = ANNAL_NOTICE_GROUP_USER,
  address = ANNAL_NOTICE_GROUP_IP,
  message = ANNAL_NOTICE_GROUP_DESC,
  message_code = ANNAL_NOTICE_GROUP_MSGCODE,
  variable_count = ANNAL_NOTICE_GROUP_VARNUM,
  variables = ANNAL_NOTICE_GROUP_VARCONTENT,
  alike = ANNAL_NOTICE_GROUP_ALIKE  // facility, name and message together
};

enum class NumberColumn : unsigned {
  id = ANNAL_NOTICE_DEL_ID,
  severity = ANNAL_NOTICE_DEL_SEVERITY,
  server = ANNAL_NOTICE_DEL_SERVER,
  action = ANNAL_NOTICE_DEL_ACTION,
  facility = ANNAL_NOTICE_DEL_FACILITY,
  end_time = ANNAL_NOTICE_DEL_ENDTIME,
  variable_count = ANNAL_NOTICE_DEL_VARNUM,
  status = ANNAL_NOTICE_DEL_STATUS,
  uid = ANNAL_NOTICE_DEL_UID,
  gid = ANNAL_NOTICE_DEL_GID
};
enum class TextColumn : unsigned {
  service = ANNAL_NOTICE_DEL_SERVICENAME,
  user = ANNAL_NOTICE_DEL_USER,
  address = ANNAL_NOTICE_DEL_IP,
  message = ANNAL_NOTICE_DEL_DESC,
  message_code = ANNAL_NOTICE_DEL_MSGCODE,
  variables = ANNAL_NOTICE_DEL_VARCONTENT,
  name = ANNAL_NOTICE_DEL_NAME
};

class Row : public RowOfTexts {
 public:
  using RowOfTexts::RowOfTexts;
  [[nodiscard]] std::int64_t id() const noexcept { return number(0); }
  [[nodiscard]] Severity severity() const noexcept { return static_cast<Severity>(number(1)); }
  [[nodiscard]] std::int64_t server() const noexcept { return number(2); }
  [[nodiscard]] std::int64_t action() const noexcept { return number(3); }
  [[nodiscard]] std::string_view service() const noexcept { return (*this)[4]; }
  [[nodiscard]] std::int64_t facility() const noexcept { return number(5); }
  [[nodiscard]] std::int64_t time() const noexcept { return number(6); }
  [[nodiscard]] std::int64_t end_time() const noexcept { return number(7); }
  [[nodiscard]] std::string_view user() const noexcept { return (*this)[8]; }
  [[nodiscard]] std::string_view address() const noexcept { return (*this)[9]; }
  [[nodiscard]] std::string_view client() const noexcept { return (*this)[10]; }
  [[nodiscard]] std::string_view message() const noexcept { return (*this)[11]; }
  [[nodiscard]] std::string_view message_code() const noexcept { return (*this)[12]; }
  [[nodiscard]] std::int64_t variable_count() const noexcept { return number(13); }
  [[nodiscard]] std::string_view variables() const noexcept { return (*this)[14]; }
  [[nodiscard]] std::string_view name() const noexcept { return (*this)[15]; }
  [[nodiscard]] std::int64_t status() const noexcept { return number(16); }
  [[nodiscard]] std::int64_t uid() const noexcept { return number(17); }
  [[nodiscard]] std::int64_t gid() const noexcept { return number(18); }
  [[nodiscard]] std::string_view link_id() const noexcept { return (*this)[19]; }
  [[nodiscard]] std::string_view link_option() const noexcept { return (*this)[20]; }
  [[nodiscard]] std::string_view title() const noexcept { return (*this)[21]; }
};

// A filter as the library takes it: numbers only, in texts of its own.
class Search {
 public:
  using Row = notice::Row;

  explicit Search(const Filter& filter) noexcept
      : filtered_(filter.from || filter.to || filter.severity || filter.facility) {
    // The log's times are numbers of 32 bits.
    (void)std::snprintf(from_, sizeof from_, "%lld", static_cast<long long>(filter.from.value_or(INT32_MIN)));
    (void)std::snprintf(to_, sizeof to_, "%lld", static_cast<long long>(within(filter.to.value_or(INT32_MAX))));
    int length = 0;
    if (filter.severity) {
      length = std::snprintf(condition_, sizeof condition_, "severity <= %d", static_cast<int>(*filter.severity));
    }
    if (filter.facility) {
      (void)std::snprintf(condition_ + length, sizeof condition_ - static_cast<std::size_t>(length), "%sfacility = %d",
                          length > 0 ? " and " : "", *filter.facility);
    }
  }

  [[nodiscard]] static Code code() noexcept { return Code::ok; }
  int list(annal_row_callback callback, unsigned sort, int start, int end, void* context) const noexcept {
    return filtered_
               ? annal_notice_query_byclientTime(callback, from_, kDays, to_, start, end, sort, condition(), context)
               : annal_notice_query(callback, sort, start, end, 0, context);
  }
  int list_groups(annal_row_callback callback, unsigned sort, int start, int end, unsigned by,
                  void* context) const noexcept {
    return annal_notice_query_group_byclientTime(callback, from_, kDays, to_, start, end, sort, by, condition(),
                                                 context);
  }
  [[nodiscard]] int count() const noexcept {
    return filtered_ ? annal_notice_query_byclientTime_count(from_, kDays, to_, condition())
                     : annal_notice_query_count(0, nullptr, nullptr, nullptr, nullptr, nullptr);
  }

 private:
  static constexpr int kDays = 50000;  // more than there are between two such times
  static constexpr std::int64_t within(std::int64_t time) noexcept { return time < INT32_MAX ? time : INT32_MAX; }
  [[nodiscard]] const char* condition() const noexcept { return condition_[0] != '\0' ? condition_ : nullptr; }

  bool filtered_;
  char from_[24];
  char to_[24];
  char condition_[64] = "";
};

// A grouping as the library takes it.
class GroupSearch {
 public:
  GroupSearch(GroupBy by, const Filter& filter) noexcept : search_(filter), by_(static_cast<unsigned>(by)) {}
  [[nodiscard]] static Code code() noexcept { return Search::code(); }
  int list(annal_row_callback callback, unsigned sort, int start, int end, void* context) const noexcept {
    return search_.list_groups(callback, sort, start, end, by_, context);
  }

 private:
  Search search_;
  unsigned by_;
};

inline Result<void> create(Limit limit = {}) noexcept {
  return detail::result_of(annal_notice_create_tbl(limit.rows, limit.drop));
}
inline Result<void> drop() noexcept {
  return detail::result_of(annal_notice_remove_tbl());
}
inline Result<void> clear() noexcept {
  return detail::result_of(annal_notice_flush_tbl());
}
inline Result<void> set_limit(Limit limit) noexcept {
  return detail::result_of(annal_notice_add_trigger_logfull(limit.rows, limit.drop));
}
inline Result<void> remove_limit() noexcept {
  return detail::result_of(annal_notice_remove_trigger_logfull());
}
// Deletes the entries that are older than a number of days.
inline Result<void> age(int days) noexcept {
  return detail::result_of(AnnalNoticeDellogByClientTime(days));
}

inline Result<void> add(const Entry& entry) noexcept {
  NoticeRecord record{};
  detail::Fields fields;
  fields.require(entry.severity >= Severity::emergency && entry.severity <= Severity::debug);
  record.severity = static_cast<std::uint32_t>(entry.severity);
  record.server = entry.server;
  record.action = entry.action;
  record.facility = entry.facility;
  record.varNum = entry.variable_count;
  record.status = entry.status;
  record.uid = entry.uid;
  record.gid = entry.gid;
  fields.put(record.serviceName, entry.service);
  fields.put(record.user, entry.user);
  fields.put_address(record.ip, entry.address, annal_checkip);
  fields.put(record.client, entry.client);
  fields.put(record.desc, entry.message);
  fields.put(record.msgCode, entry.message_code);
  fields.put(record.varContent, entry.variables);
  fields.put(record.name, entry.name);
  fields.put(record.link_id, entry.link_id);
  fields.put(record.link_option, entry.link_option);
  fields.put(record.title, entry.title);
  return fields.code() == Code::ok ? detail::result_of(annal_notice_add(&record)) : fields.code();
}

// Each by itself, up to the first that cannot be stored. stored: gets the number of those before it.
template <typename Entries>
Result<void> add_all(const Entries& entries, int* stored = nullptr) {
  return detail::add_each(entries, stored, [](const Entry& entry) noexcept { return add(entry); });
}

inline Result<void> erase(NumberColumn column, int value) noexcept {
  return detail::result_of(annal_notice_del(static_cast<unsigned>(column), &value));
}
Result<void> erase(TextColumn column, std::nullptr_t value) = delete;  // also a 0
inline Result<void> erase(TextColumn column, std::string_view value) noexcept {
  detail::Texts texts;
  const char* const copy = texts.copy(value);  // The library doubles its quotes itself.
  return texts.code() == Code::ok ? detail::result_of(annal_notice_del(static_cast<unsigned>(column), copy))
                                  : texts.code();
}

inline Result<int> count(const Filter& filter = {}) noexcept {
  return detail::count(Search(filter));
}
// As event::list, page, rows and groups.
template <typename Visitor>
Result<void> list(const Filter& filter, const View& view, Visitor&& visitor) {
  return detail::list<Row>(Search(filter), view, visitor);
}
template <typename Visitor>
Result<void> list(const Filter& filter, Visitor&& visitor) {
  return detail::list<Row>(Search(filter), View{}, visitor);
}
inline Result<Page<Row>> page(const Filter& filter = {}, const View& view = {}) noexcept {
  return detail::page<Row>(Search(filter), view);
}
[[nodiscard]] inline Rows<Search> rows(const Filter& filter = {}) noexcept {
  return Rows<Search>(filter);
}
inline Result<Page<Group<Row>>> groups(GroupBy by, const Filter& filter = {}, const View& view = {}) noexcept {
  return detail::page<Group<Row>>(GroupSearch(by, filter), view);
}

}  // namespace notice

// ---- the logs of file operations ----
namespace fileop {

// A file operation to store.
struct Entry {
  Level level = Level::information;
  std::int64_t time = 0;        // seconds since 1970; 0 is now
  std::string_view user{};      // up to 64 bytes
  std::string_view address{};   // IPv4 or IPv6
  std::string_view old_path{};  // of any length
  std::string_view path{};      // of any length
  int folder = 0;               // 0 to 2, as the file manager defines it
  int action = 1;               // 1 to 35, as the file manager defines it
  std::int32_t size = 0;
  std::string_view computer{};  // 64
  std::string_view device{};    // 64
  std::string_view message{};   // 1024

  Entry& with_level(Level value) noexcept { return level = value, *this; }
  Entry& with_time(std::int64_t value) noexcept { return time = value, *this; }
  Entry& with_user(std::string_view value) noexcept { return user = value, *this; }
  Entry& with_address(std::string_view value) noexcept { return address = value, *this; }
  Entry& with_paths(std::string_view old_one, std::string_view value) noexcept {
    return old_path = old_one, path = value, *this;
  }
  Entry& with_path(std::string_view value) noexcept { return path = value, *this; }
  Entry& with_folder(int value) noexcept { return folder = value, *this; }
  Entry& with_action(int value) noexcept { return action = value, *this; }
  Entry& with_size(std::int32_t value) noexcept { return size = value, *this; }
  Entry& with_computer(std::string_view value) noexcept { return computer = value, *this; }
  Entry& with_device(std::string_view value) noexcept { return device = value, *this; }
  Entry& with_message(std::string_view value) noexcept { return message = value, *this; }
};

// Which file operations. Texts are contained in their column. A date without its partner ends or begins today.
struct Filter {
  std::optional<Level> level{};
  std::string_view date_from{};
  std::string_view date_to{};
  std::string_view user{};
  std::string_view address{};
  std::string_view old_path{};
  std::string_view path{};
  int folder = 0;  // 0 is any
  int action = 0;  // 0 is any
  std::optional<std::int32_t> size{};
  std::string_view computer{};
  std::string_view message{};

  Filter& with_level(Level value) noexcept { return level = value, *this; }
  Filter& with_dates(std::string_view from, std::string_view to) noexcept {
    return date_from = from, date_to = to, *this;
  }
  Filter& with_user(std::string_view value) noexcept { return user = value, *this; }
  Filter& with_address(std::string_view value) noexcept { return address = value, *this; }
  Filter& with_old_path(std::string_view value) noexcept { return old_path = value, *this; }
  Filter& with_path(std::string_view value) noexcept { return path = value, *this; }
  Filter& with_folder(int value) noexcept { return folder = value, *this; }
  Filter& with_action(int value) noexcept { return action = value, *this; }
  Filter& with_size(std::int32_t value) noexcept { return size = value, *this; }
  Filter& with_computer(std::string_view value) noexcept { return computer = value, *this; }
  Filter& with_message(std::string_view value) noexcept { return message = value, *this; }
};

// By falling date, what is searched for is listed by falling id instead.
enum class Sort : unsigned {
  date = ANNAL_FILEOP_SORT_DATE,
  time = ANNAL_FILEOP_SORT_TIME,
  level = ANNAL_FILEOP_SORT_TYPE,
  user = ANNAL_FILEOP_SORT_USER,
  address = ANNAL_FILEOP_SORT_IP,
  computer = ANNAL_FILEOP_SORT_COMP,
  id = ANNAL_FILEOP_SORT_ID,
  folder = ANNAL_FILEOP_SORT_ISFOLDER,
  action = ANNAL_FILEOP_SORT_ACTION,
  size = ANNAL_FILEOP_SORT_FILESIZE
};
using View = annal::View<Sort>;

enum class NumberColumn : unsigned {
  id = ANNAL_FILEOP_DEL_ID,
  level = ANNAL_FILEOP_DEL_TYPE,
  folder = ANNAL_FILEOP_DEL_ISFOLDER,
  action = ANNAL_FILEOP_DEL_ACTION,
  size = ANNAL_FILEOP_DEL_FILESIZE
};
enum class TextColumn : unsigned {
  date = ANNAL_FILEOP_DEL_DATE,
  time = ANNAL_FILEOP_DEL_TIME,
  user = ANNAL_FILEOP_DEL_USER,
  address = ANNAL_FILEOP_DEL_IP,
  computer = ANNAL_FILEOP_DEL_COMP,
  device = ANNAL_FILEOP_DEL_DUID,
  message = ANNAL_FILEOP_DEL_DESC,
  path = ANNAL_FILEOP_DEL_FILEPATH
};

class Row : public RowOfTexts {
 public:
  using RowOfTexts::RowOfTexts;
  [[nodiscard]] std::int64_t id() const noexcept { return number(0); }
  [[nodiscard]] Level level() const noexcept { return static_cast<Level>(number(1)); }
  [[nodiscard]] std::string_view date() const noexcept { return (*this)[2]; }
  [[nodiscard]] std::string_view time() const noexcept { return (*this)[3]; }
  [[nodiscard]] std::string_view user() const noexcept { return (*this)[4]; }
  [[nodiscard]] std::string_view address() const noexcept { return (*this)[5]; }
  [[nodiscard]] std::string_view old_path() const noexcept { return (*this)[6]; }
  [[nodiscard]] std::string_view path() const noexcept { return (*this)[7]; }
  [[nodiscard]] std::int64_t folder() const noexcept { return number(8); }
  [[nodiscard]] std::int64_t action() const noexcept { return number(9); }
  [[nodiscard]] std::int64_t size() const noexcept { return number(10); }
  [[nodiscard]] std::string_view computer() const noexcept { return (*this)[11]; }
  [[nodiscard]] std::string_view device() const noexcept { return (*this)[12]; }
  [[nodiscard]] std::string_view message() const noexcept { return (*this)[13]; }
};

// A filter as the library takes it.
class Search {
 public:
  using Row = fileop::Row;

  Search(std::string_view path, const Filter& filter) noexcept : path_(texts_.copy(path)) {
    detail::Fields fields;
    filter_.event_type = static_cast<std::uint32_t>(detail::level_filter(filter.level));
    fields.put_quoted(filter_.date_from, filter.date_from);
    fields.put_quoted(filter_.date_to, filter.date_to);
    fields.put_quoted(filter_.event_user, filter.user);
    fields.put_quoted(filter_.event_ip, filter.address);
    fields.put_quoted(filter_.event_comp, filter.computer);
    fields.put_quoted(filter_.event_desc, filter.message);
    filter_.event_oldfilepath = texts_.quoted(filter.old_path);
    filter_.event_filepath = texts_.quoted(filter.path);
    filter_.event_isFolder = filter.folder;
    filter_.event_action = filter.action;
    filter_.event_filesize = filter.size.value_or(-1);
    fields.require(filter.folder >= 0 && filter.action >= 0 && filter.size.value_or(0) >= 0);
    if (fields.code() != Code::ok) {
      texts_.fail(fields.code());
    }
    filtered_ = filter_.date_from[0] != '\0' || filter_.date_to[0] != '\0' || filter_.event_user[0] != '\0' ||
                filter_.event_ip[0] != '\0' || filter_.event_comp[0] != '\0' || filter_.event_desc[0] != '\0' ||
                filter_.event_oldfilepath != nullptr || filter_.event_filepath != nullptr ||
                filter_.event_isFolder > 0 || filter_.event_action > 0 || filter_.event_filesize >= 0;
  }

  [[nodiscard]] Code code() const noexcept { return texts_.code(); }
  int list(annal_row_callback callback, unsigned sort, int start, int end, void* context) const noexcept {
    FileOpFilter filter = filter_;
    return filtered_ ? pavo2log_event_query_by(path_, callback, &filter, sort, start, end, context)
                     : pavo2log_event_query(path_, callback, sort, start, end, filter.event_type, context);
  }
  [[nodiscard]] int count() const noexcept {
    FileOpFilter filter = filter_;
    return filtered_ ? pavo2log_event_query_count_by(path_, &filter, nullptr, nullptr, nullptr, nullptr)
                     : pavo2log_event_query_count(path_, filter.event_type, nullptr, nullptr, nullptr, nullptr);
  }

 private:
  detail::Texts texts_;
  const char* path_;
  FileOpFilter filter_{};
  bool filtered_ = false;
};

// The log in a file. Call it with no more rights than those have who may write the file, its folder or one above it.
class Log {
 public:
  // path: zero-terminated, and to outlive the object. Begin one that comes from elsewhere with "/" or "./".
  explicit Log(const char* path) noexcept : path_(path) {}

  [[nodiscard]] const char* path() const noexcept { return path_; }

  Result<void> create(Limit limit = {}) const noexcept {
    return detail::result_of(pavo2log_event_create_tbl(path_, limit.rows, limit.drop));
  }
  Result<void> drop() const noexcept { return detail::result_of(pavo2log_event_remove_tbl(path_)); }
  Result<void> clear() const noexcept { return detail::result_of(pavo2log_event_flush_tbl(path_)); }
  Result<void> set_limit(Limit limit) const noexcept {
    return detail::result_of(pavo2log_event_add_trigger_logfull(path_, limit.rows, limit.drop));
  }
  Result<void> remove_limit() const noexcept { return detail::result_of(pavo2log_event_remove_trigger_logfull(path_)); }

  // The id of the new entry.
  Result<std::int64_t> add(const Entry& entry) const noexcept {
    FileOpRecord record{};
    detail::Fields fields;
    detail::Texts texts;
    fields.require(detail::is_level(entry.level));
    fields.require(entry.folder >= 0 && entry.action >= 0);
    record.event_type = static_cast<std::uint32_t>(entry.level);
    record.event_isFolder = static_cast<std::uint32_t>(entry.folder);
    record.event_action = static_cast<std::uint32_t>(entry.action);
    record.event_filesize = entry.size;
    record.event_oldfilepath = texts.copy(entry.old_path);
    record.event_filepath = texts.copy(entry.path);
    fields.put_quoted(record.event_user, entry.user);
    fields.put_address(record.event_ip, entry.address, pavo2log_checkip);
    fields.put_quoted(record.event_comp, entry.computer);
    fields.put_quoted(record.event_duid, entry.device);
    fields.put(record.event_desc, entry.message);
    fields.require(texts.code() == Code::ok, texts.code());
    if (entry.time != 0) {
      const auto time = static_cast<std::time_t>(entry.time);
      fields.require(::localtime_r(&time, &record.event_tm) != nullptr);
    }
    if (fields.code() != Code::ok) {
      return fields.code();
    }
    const std::int64_t id = pavo2log_event_add(path_, &record);
    return id >= 0 ? Result<std::int64_t>(id) : Result<std::int64_t>(static_cast<Code>(id));
  }

  // Each by itself, up to the first that cannot be stored. stored: gets the number of those before it.
  template <typename Entries>
  Result<void> add_all(const Entries& entries, int* stored = nullptr) const {
    return detail::add_each(entries, stored,
                            [this](const Entry& entry) noexcept { return Result<void>(add(entry).code()); });
  }

  Result<void> erase(NumberColumn column, int value) const noexcept {
    return detail::result_of(pavo2log_event_del(path_, static_cast<unsigned>(column), &value));
  }
  Result<void> erase(TextColumn column, std::nullptr_t value) const = delete;  // also a 0
  Result<void> erase(TextColumn column, std::string_view value) const noexcept {
    detail::Texts texts;
    const char* const quoted = texts.quoted(value);
    return texts.code() == Code::ok
               ? detail::result_of(pavo2log_event_del(path_, static_cast<unsigned>(column), quoted))
               : texts.code();
  }

  Result<int> count(const Filter& filter = {}) const noexcept { return detail::count(Search(path_, filter)); }
  // As event::list, page and rows.
  template <typename Visitor>
  Result<void> list(const Filter& filter, const View& view, Visitor&& visitor) const {
    return detail::list<Row>(Search(path_, filter), view, visitor);
  }
  template <typename Visitor>
  Result<void> list(const Filter& filter, Visitor&& visitor) const {
    return detail::list<Row>(Search(path_, filter), View{}, visitor);
  }
  Result<Page<Row>> page(const Filter& filter = {}, const View& view = {}) const noexcept {
    return detail::page<Row>(Search(path_, filter), view);
  }
  [[nodiscard]] Rows<Search> rows(const Filter& filter = {}) const noexcept {
    return Rows<Search>(std::string_view(path_), filter);
  }

 private:
  const char* path_;
};

}  // namespace fileop

}  // namespace ANNAL_HPP_VERSION
}  // namespace annal

#undef ANNAL_HPP_VERSION

#endif /* CORIX_ANNAL_HPP */
