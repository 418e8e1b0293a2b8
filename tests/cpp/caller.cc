// The header for C++ as programs use it that are compiled in any way: of any standard from C++17 on, by another
// compiler, without exceptions and RTTI. Everything is called once, with results that a mistake would change.
#include "Corix_annal.hpp"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <type_traits>
// clang 14 does not read the standard library's views.
#if __cplusplus >= 202002L && !defined(__clang__)
#include <ranges>
#define STANDARD_RANGES
#endif

namespace {

int failures = 0;

void expect(bool condition, const char* what) {
  if (!condition) {
    ++failures;
    std::fprintf(stderr, "not so: %s\n", what);
  }
}
#define EXPECT(condition) expect(static_cast<bool>(condition), #condition)

template <typename Range>
int rows_in(Range&& range) {
  int rows = 0;
  for (const auto& row : range) {
    rows += row.id() > 0 ? 1 : 0;
  }
  return rows;
}

// As the header shows it.
int errors_in_log() {
  int errors = 0;
  auto rows = annal::event::rows();
  for (const annal::event::Row& row : rows) {
    errors += row.level() == annal::Level::error ? 1 : 0;
  }
  return rows.status() ? errors : -1;  // -1: the loop ended early
}

void use_events() {
  using namespace annal::event;
  const Entry entries[] = {Entry{}.with_message("first"), Entry{}.with_message("second").with_user("o'neil")};
  int stored = 0;
  int rows = 0;
  EXPECT(create({100, 1}));
  EXPECT(add(Entry{}.with_message("third").with_level(annal::Level::error)));
  EXPECT(add_all(entries, &stored) && stored == 2);
  EXPECT(*count() == 3 && *count(Filter{}.with_user("o'n")) == 1);
  EXPECT(list(Filter{}.with_message("third"),
              [&rows](const Row& row) { rows += row.level() == annal::Level::error ? 1 : 0; }));
  EXPECT(list({}, View{}.with_sort(Sort::id, true).with_rows(0, 1), [&rows](const Row& row) {
    rows += row.message() == "second" ? 1 : 0;
    return true;
  }));
  EXPECT(rows == 2);
  EXPECT(page()->size() == 3 && rows_in(*page()) == 3 && rows_in(annal::event::rows()) == 3);
  EXPECT(errors_in_log() == 1);
  EXPECT(groups(GroupBy::level)->size() == 2);
  EXPECT(erase(NumberColumn::level, 2) && erase(TextColumn::user, "o'neil") && *count() == 1);
  EXPECT(remove_limit() && set_limit({}) && trim_to(1) && migrate() && clear() && drop());
  EXPECT(errors_in_log() == -1);
  EXPECT(count().code() == annal::Code::query_failed && count().value_or(-1) == -1);
  match_users_exactly(false);
}

// As the algorithms from before C++20 do.
void use_iterators() {
  namespace event = annal::event;
  using OfPage = annal::Page<event::Row>::iterator;
  using OfRows = annal::Rows<event::Search>::iterator;
  // Forward iterators would have to return references.
  static_assert(std::is_same_v<std::iterator_traits<OfPage>::iterator_category, std::input_iterator_tag>);
  static_assert(std::is_same_v<std::iterator_traits<OfRows>::iterator_category, std::input_iterator_tag>);
  const event::Entry entries[] = {event::Entry{}.with_user("ann"), event::Entry{}.with_user("bob")};
  EXPECT(event::create() && event::add_all(entries));
  const auto page = event::page();
  EXPECT(page->begin()->id() + std::next(page->begin())->id() == 3);
  EXPECT(std::distance(page->begin(), page->end()) == 2);
  EXPECT(std::find_if(page->begin(), page->end(), [](const event::Row& row) { return row.id() == 1; })->user() ==
         "ann");
  auto rows = event::rows();
  auto row = rows.begin();
  EXPECT(row->user() == "bob" && (++row)->user() == "ann" && ++row == rows.end());
  EXPECT(OfRows() == rows.end() && OfPage() == page->end());
  const annal::Result<int> seven = 7;
  const annal::Result<int> none = annal::Code::query_failed;
  EXPECT(seven.value_or(1) == 7 && none.value_or(1) == 1);
  EXPECT(event::drop());
}

#if defined(STANDARD_RANGES)
void use_standard_ranges() {
  namespace event = annal::event;
  namespace views = std::views;
  static_assert(std::ranges::input_range<annal::Rows<event::Search>>);
  static_assert(std::ranges::forward_range<annal::Page<event::Row>>);
  const char* names[] = {"ann", "bob", "cid"};
  const auto id = [](const event::Row& row) { return row.id(); };
  EXPECT(event::create());
  EXPECT(event::add_all(names | views::transform([](const char* name) { return event::Entry{}.with_user(name); })));
  EXPECT(std::ranges::distance(event::rows() | views::take(2)) == 2);
  EXPECT(std::ranges::max(event::rows() | views::transform(id)) == 3);
  const annal::Page<event::Row> page = *event::page();
  EXPECT(std::ranges::distance(page) == 3 && std::ranges::max(page | views::transform(id)) == 3);
  EXPECT(event::drop());
}
#endif

void use_connections() {
  using namespace annal::conn;
  const Entry entries[] = {Entry{}.with_user("ann").with_service(1), Entry{}.with_user("o'neil").with_action(2)};
  const char* names[] = {"bob"};
  int rows = 0;
  EXPECT(create());
  EXPECT(takes_entries());
  EXPECT(add(Entry{}.with_user("x'); --").with_outcome(annal::Outcome::failed)));
  EXPECT(add_all(entries) && add_all(names, [](const char* name) { return Entry{}.with_user(name); }));
  EXPECT(*count() == 4 && *count(Filter{}.with_failed_only()) == 1);
  EXPECT(list(Filter{}.with_user("o'neil"), [&rows](const Row& row) { rows += row.action() == 2 ? 1 : 0; }));
  EXPECT(rows == 1);
  EXPECT(page()->size() == 4 && rows_in(annal::conn::rows()) == 4);
  EXPECT(groups(GroupBy::outcome)->size() == 2);
  EXPECT(erase(NumberColumn::outcome, 13) && erase(TextColumn::user, "o'neil") && *count() == 2);
  EXPECT(remove_limit() && set_limit({}) && trim_by(1) && migrate() && clear() && drop());
  EXPECT(takes_entries().code() == annal::Code::batch_failed);
  match_users_exactly(false);
}

void use_notices() {
  using namespace annal::notice;
  const Entry entries[] = {Entry{}.with_message("Fan 2 failed.").with_severity(annal::Severity::error), Entry{}};
  int rows = 0;
  EXPECT(create());
  EXPECT(add(Entry{}.with_message("It's hot.").with_severity(annal::Severity::warning)));
  EXPECT(add_all(entries));
  EXPECT(*count() == 3 && *count(Filter{}.with_severity(annal::Severity::warning)) == 2);
  EXPECT(list(Filter{}.with_severity(annal::Severity::error),
              [&rows](const Row& row) { rows += row.message() == "Fan 2 failed." ? 1 : 0; }));
  EXPECT(rows == 1);
  EXPECT(page()->size() == 3 && rows_in(annal::notice::rows()) == 3);
  EXPECT(groups(GroupBy::severity)->size() == 3);
  EXPECT(erase(NumberColumn::severity, 6) && erase(TextColumn::message, "It's hot.") && *count() == 1);
  EXPECT(remove_limit() && set_limit({}) && age(1) && clear() && drop());
}

void use_file_operations() {
  using namespace annal::fileop;
  const Log log("/etc/logs/operations.db");
  const Entry entries[] = {Entry{}.with_path("/share/it's"), Entry{}.with_user("o'neil").with_size(7)};
  int rows = 0;
  EXPECT(std::strcmp(log.path(), "/etc/logs/operations.db") == 0);
  EXPECT(log.create());
  EXPECT(*log.add(Entry{}.with_action(35).with_paths("/a", "/b")) == 1);
  EXPECT(log.add_all(entries));
  EXPECT(*log.count() == 3 && *log.count(Filter{}.with_path("it's")) == 1);
  EXPECT(log.list(Filter{}.with_user("o'neil"), [&rows](const Row& row) { rows += row.size() == 7 ? 1 : 0; }));
  EXPECT(rows == 1);
  EXPECT(log.page()->size() == 3 && rows_in(log.rows()) == 3);
  EXPECT(log.erase(NumberColumn::action, 35) && log.erase(TextColumn::user, "o'neil") && *log.count() == 1);
  EXPECT(log.remove_limit() && log.set_limit({}) && log.clear() && log.drop());
}

}  // namespace

int main() {
  use_events();
  use_iterators();
#if defined(STANDARD_RANGES)
  use_standard_ranges();
#endif
  use_connections();
  use_notices();
  use_file_operations();
  EXPECT(annal::is_address("::1") && !annal::is_address("pc1"));
  EXPECT(std::strcmp(annal::name(annal::Level::warning), "warning") == 0);
  EXPECT(std::strcmp(annal::text(annal::Code::batch_failed), "a batch could not begin") == 0);
#if defined(__cpp_exceptions)
  try {
    (void)annal::event::count().value();
    EXPECT(false);
  } catch (const annal::Error& error) {
    EXPECT(error.code() == annal::Code::query_failed);
  }
#endif
  return failures;
}
