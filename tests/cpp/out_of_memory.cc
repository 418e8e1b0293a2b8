// Every allocation of a call of the header for C++ fails once, the first, the second and so on until the call is done
// without it: the call answers a code or works, gives everything back, and leaves the log as it was.
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "Corix_annal.hpp"

// glibc's own, under the names that it has for programs that bring a malloc.
extern "C" {
void* __libc_malloc(std::size_t size);                 // NOLINT(bugprone-reserved-identifier,cert-dcl51-cpp)
void* __libc_realloc(void* memory, std::size_t size);  // NOLINT(bugprone-reserved-identifier,cert-dcl51-cpp)
void __libc_free(void* memory);                        // NOLINT(bugprone-reserved-identifier,cert-dcl51-cpp)
}

namespace {

long until_failure = -1;  // below 0 none fails
long outstanding = 0;

bool fails() {
  return until_failure >= 0 && until_failure-- == 0;
}

}  // namespace

extern "C" void* malloc(std::size_t size) noexcept {
  void* const memory = fails() ? nullptr : __libc_malloc(size);
  outstanding += memory != nullptr ? 1 : 0;
  return memory;
}

extern "C" void* realloc(void* old_memory, std::size_t size) noexcept {
  void* const memory = fails() ? nullptr : __libc_realloc(old_memory, size);
  outstanding += memory != nullptr && old_memory == nullptr ? 1 : 0;
  return memory;
}

extern "C" void free(void* memory) noexcept {
  outstanding -= memory != nullptr ? 1 : 0;
  __libc_free(memory);
}

namespace {

using annal::Code;

constexpr int kEntries = 40;      // of more than a block that rows are kept in
constexpr int kConnections = 17;  // more than there is room for at first
const std::string long_text(2000, 'x');

int failures = 0;

void expect(bool condition, const char* what, long allocation) {
  if (!condition) {
    ++failures;
    std::fprintf(stderr, "not so: %s, where allocation %ld fails\n", what, allocation);
  }
}

constexpr long kAll = 100000;
constexpr long kOfTheHeader = 10;  // before it hands the batch to the library

// call: its code. most: how many allocations fail.
template <typename Call>
void walk(const char* what, const Call& call, long most = kAll) {
  (void)call();  // What is allocated once for the process is, now.
  bool out_of_memory = false;
  for (long allocation = 0; allocation < most; ++allocation) {
    const long before = outstanding;
    until_failure = allocation;
    const Code code = call();
    const bool done = until_failure >= 0;
    until_failure = -1;
    expect(outstanding == before, what, allocation);
    expect(done ? code == Code::ok : true, what, allocation);
    out_of_memory = out_of_memory || code == Code::no_memory;
    if (done) {
      break;
    }
  }
  expect(out_of_memory, what, -1);
  expect(annal::event::count().value_or(0) == kEntries, what, -2);
}

Code read_range() {
  int rows = 0;
  auto range = annal::event::rows(annal::event::Filter{}.with_message(long_text));
  for (const annal::event::Row& row : range) {
    rows += row.message() == long_text ? 1 : 0;
  }
  expect(!range.status() || rows == kEntries, "a range that ends with success is whole", rows);
  return range.status().code();
}

Code read_page() {
  const annal::Result<annal::Page<annal::event::Row>> page = annal::event::page();
  expect(page->size() == (page ? kEntries : 0), "a page is whole or empty", static_cast<long>(page->size()));
  return page.code();
}

Code count_found() {
  const annal::Result<int> count = annal::event::count(annal::event::Filter{}.with_message(long_text));
  expect(!count || *count == kEntries, "a count is right", *count);
  return count.code();
}

Code add_connections() {
  static const std::vector<annal::conn::Entry> entries(kConnections);  // made before anything fails
  int stored = -1;
  const annal::Result<void> added = annal::conn::add_all(entries, &stored);
  expect(!added || stored == kConnections, "all of a range are stored", stored);
  return added.code();
}

}  // namespace

int main() {
  const std::vector<annal::event::Entry> entries(kEntries, annal::event::Entry{}.with_message(long_text));
  if (!annal::event::create() || !annal::conn::create() || !annal::event::add_all(entries)) {
    return 1;
  }
  walk("reading a range", read_range);
  walk("reading a page", read_page);
  walk("counting with a long text", count_found);
  walk("adding a range of connections", add_connections, kOfTheHeader);
  return failures == 0 ? 0 : 1;
}
