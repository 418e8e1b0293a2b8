// Replaces malloc, and hooks SQLite's allocator, to count and fail allocations.
#include "tests/trust/harness/faulty_memory.h"

#include <link.h>
#include <sqlite3.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace annal::test {

namespace {

sqlite3_mem_methods real;
Countdown sqlite_countdown;
std::size_t sqlite_outstanding = 0;

void* allocate(int size) {
  void* const memory = sqlite_countdown.strikes() ? nullptr : real.xMalloc(size);
  sqlite_outstanding += memory != nullptr ? 1 : 0;
  return memory;
}

void release(void* memory) {
  sqlite_outstanding -= memory != nullptr ? 1 : 0;
  real.xFree(memory);
}

void* resize(void* memory, int size) {
  return sqlite_countdown.strikes() ? nullptr : real.xRealloc(memory, size);
}

}  // namespace

void SqliteMemory::install() {
  sqlite3_mem_methods faulty;
  if (sqlite3_config(SQLITE_CONFIG_GETMALLOC, &real) != SQLITE_OK) {
    throw std::runtime_error("SQLite was in use before its memory could be replaced");
  }
  faulty = real;
  faulty.xMalloc = &allocate;
  faulty.xFree = &release;
  faulty.xRealloc = &resize;
  if (sqlite3_config(SQLITE_CONFIG_MALLOC, &faulty) != SQLITE_OK) {
    throw std::runtime_error("SQLite does not take other memory");
  }
}

Countdown& SqliteMemory::countdown() {
  return sqlite_countdown;
}

std::size_t SqliteMemory::outstanding() {
  return sqlite_outstanding;
}

namespace {

// This code runs inside malloc, so it must not allocate or call a function that might.
struct PlainState {
  struct Range {
    std::uintptr_t begin;
    std::uintptr_t end;
  };
  std::array<Range, 8> callers{};  // allocations from this code count
  std::size_t caller_count = 0;
  bool watched = false;
  Countdown countdown;
  std::array<void*, 4096> held{};
  std::size_t held_count = 0;
};
PlainState plain;

int find_callers(dl_phdr_info* info, std::size_t /*size*/, void* /*unused*/) {
  constexpr const char* kCounted[] = {"libCorix_", "/libc.so"};
  for (const char* name : kCounted) {
    if (std::strstr(info->dlpi_name, name) == nullptr || plain.caller_count == plain.callers.size()) {
      continue;
    }
    PlainState::Range& range = plain.callers[plain.caller_count++];
    range.begin = info->dlpi_addr;
    for (int i = 0; i < info->dlpi_phnum; ++i) {
      const auto& segment = info->dlpi_phdr[i];
      if (segment.p_type == PT_LOAD) {
        range.end = info->dlpi_addr + segment.p_vaddr + segment.p_memsz;
      }
    }
  }
  return 0;
}

}  // namespace

void PlainMemory::watch(bool on) {
  if (plain.caller_count == 0) {
    dl_iterate_phdr(find_callers, nullptr);
  }
  plain.watched = on;
}

Countdown& PlainMemory::countdown() {
  return plain.countdown;
}

std::size_t PlainMemory::outstanding() {
  return plain.held_count;
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)  // which bring their own

bool PlainMemory::interposed() {
  return false;
}

}  // namespace annal::test

#else

bool PlainMemory::interposed() {
  return true;
}

namespace {

bool counts(const void* caller) {
  if (!plain.watched) {
    return false;
  }
  const auto address = reinterpret_cast<std::uintptr_t>(caller);
  for (std::size_t i = 0; i < plain.caller_count; ++i) {
    if (address >= plain.callers[i].begin && address < plain.callers[i].end) {
      return true;
    }
  }
  return false;
}

void hold(void* memory) {
  if (memory != nullptr && plain.held_count < plain.held.size()) {
    plain.held[plain.held_count++] = memory;
  }
}

void let_go(const void* memory) {
  for (std::size_t i = plain.held_count; memory != nullptr && i > 0; --i) {
    if (plain.held[i - 1] == memory) {
      plain.held[i - 1] = plain.held[--plain.held_count];
      return;
    }
  }
}

template <typename Allocate>
void* allocate_for(const void* caller, Allocate allocate) {
  if (!counts(caller)) {
    return allocate();
  }
  if (plain.countdown.strikes()) {
    errno = ENOMEM;
    return nullptr;
  }
  void* const memory = allocate();
  hold(memory);
  return memory;
}

}  // namespace

}  // namespace annal::test

// libc's own allocator, by the names that it offers programs that replace malloc.
extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier): the names are libc's
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void __libc_free(void* memory);
// NOLINTEND(bugprone-reserved-identifier)

void* malloc(std::size_t size) {
  return annal::test::allocate_for(__builtin_return_address(0), [=] { return __libc_malloc(size); });
}

void* calloc(std::size_t count, std::size_t size) {
  return annal::test::allocate_for(__builtin_return_address(0), [=] { return __libc_calloc(count, size); });
}

void* realloc(void* memory, std::size_t size) {
  return annal::test::allocate_for(__builtin_return_address(0), [=] {
    annal::test::let_go(memory);
    return __libc_realloc(memory, size);
  });
}

void free(void* memory) {
  annal::test::let_go(memory);
  __libc_free(memory);
}
}

#endif
