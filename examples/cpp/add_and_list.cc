// Adds an event and lists the log. Failures throw.
#include <Corix_annal.hpp>
#include <iostream>

namespace {

void add_and_list() {
  using namespace annal::event;
  const auto created = create();
  if (created.code() != annal::Code::table_failed) {  // which means that the log exists
    created.value();
  }
  add(Entry{}.with_level(annal::Level::warning).with_user("o'neil").with_message("Volume 1 is nearly full.")).value();

  const View by_id = View{}.with_sort(Sort::id).with_rows(0, 100);
  for (const Row& row : page({}, by_id).value()) {
    std::cout << row.id() << ' ' << annal::name(row.level()) << ' ' << row.user() << ' ' << row.message() << '\n';
  }
}

}  // namespace

int main() {
  try {
    add_and_list();
  } catch (const annal::Error& error) {
    std::cerr << annal::name(error.code()) << ": " << error.what() << '\n';
    return 1;
  }
  return 0;
}
