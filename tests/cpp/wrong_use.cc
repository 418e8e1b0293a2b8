// What the header for C++ promises not to compile, one use a number. USE is 0 for the right ones.
#include "Corix_annal.hpp"

using namespace annal;

void use();

void use() {
#if USE == 0
  (void)event::add(event::Entry{}.with_level(Level::warning));
  (void)event::erase(event::NumberColumn::id, 7);
  (void)event::erase(event::TextColumn::user, "ann");
  (void)event::page({}, event::View{}.with_sort(event::Sort::user));
  (void)event::groups(event::GroupBy::user, event::GroupFilter{});
  (void)event::list({}, [](const event::Row& row) { return row.id() > 7; });
  (void)static_cast<bool>(event::count());
#if defined(__cpp_exceptions)
  (void)event::count().value();
  for (const event::Row& row : event::rows().or_throw()) {
    (void)row;
  }
#endif
#elif USE == 1   // a result that nobody looks at
  event::add(event::Entry{});
#elif USE == 2   // a number in the place of a level
  (void)event::add(event::Entry{}.with_level(1));
#elif USE == 3   // a text to delete by a column of numbers
  (void)event::erase(event::NumberColumn::id, "7");
#elif USE == 4   // a number to delete by a column of texts
  (void)event::erase(event::TextColumn::user, 7);
#elif USE == 5   // an order of another log
  (void)event::page({}, event::View{}.with_sort(conn::Sort::service));
#elif USE == 6   // a filter of another log
  (void)event::count(conn::Filter{});
#elif USE == 7   // a filter that a grouping does not have
  (void)event::groups(event::GroupBy::user, event::Filter{});
#elif USE == 8   // a function for another log's rows
  (void)event::list({}, [](const conn::Row&) {});
#elif USE == 9   // a function whose answer is no yes or no
  (void)event::list({}, [](const event::Row&) { return event::Entry{}; });
#elif USE == 10  // a result in the place of its value
  int count = event::count();
  (void)count;
#elif USE == 11  // a severity for an event
  (void)event::add(event::Entry{}.with_level(Severity::error));
#elif USE == 12  // a range that is dropped at once
  event::rows();
#elif USE == 13  // a range that is read by two
  auto rows = event::rows();
  auto others = rows;
#elif USE == 14  // a null pointer to delete by a column of texts
  (void)event::erase(event::TextColumn::user, 0);
#elif USE == 15  // the value of what may have failed, in a program without exceptions
  event::count().value();
#endif
}
