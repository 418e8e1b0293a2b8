// Finds the library's address range, to tell its calls from others.
#include "tests/support/from_library.h"

#include <dlfcn.h>
#include <link.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace annal::test {

namespace {

struct Range {
  std::uintptr_t begin = 0;
  std::uintptr_t end = 0;
};

int find_library(dl_phdr_info* info, std::size_t /*size*/, void* found) {
  if (std::strstr(info->dlpi_name, "libCorix_annal.so") == nullptr) {
    return 0;
  }
  auto& range = *static_cast<Range*>(found);
  range.begin = info->dlpi_addr;
  for (int i = 0; i < info->dlpi_phnum; ++i) {
    const auto& segment = info->dlpi_phdr[i];
    if (segment.p_type == PT_LOAD) {
      range.end = info->dlpi_addr + segment.p_vaddr + segment.p_memsz;
    }
  }
  return 1;
}

}  // namespace

bool in_library(const void* code) {
  static const Range library = [] {
    Range range;
    dl_iterate_phdr(find_library, &range);
    return range;
  }();
  const auto address = reinterpret_cast<std::uintptr_t>(code);
  return address >= library.begin && address < library.end;
}

void* next_function(const char* name) {
  void* function = dlsym(RTLD_NEXT, name);
  if (function == nullptr) {
    std::fprintf(stderr, "no %s behind the recorder\n", name);
    std::abort();
  }
  return function;
}

}  // namespace annal::test
