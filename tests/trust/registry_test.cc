// The walks cover only registered functions, so every exported function must be registered.
#include <dlfcn.h>
#include <elf.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <link.h>

#include <cstring>
#include <set>
#include <string>

#include "Corix_annal.h"
#include "tests/trust/harness/scenarios.h"
#include "tests/trust/harness/shim_vfs.h"

namespace annal::test {
namespace {

template <typename Entry>
const Entry* at(const std::string& file, std::size_t offset) {
  return reinterpret_cast<const Entry*>(file.data() + offset);
}

// Reads the exported names from the library file that this process has loaded.
std::set<std::string> exported_functions() {
  Dl_info library;
  EXPECT_NE(dladdr(reinterpret_cast<void*>(&annal_checkip), &library), 0);
  const std::string file = read_file(library.dli_fname);
  const auto* header = at<ElfW(Ehdr)>(file, 0);
  const auto* sections = at<ElfW(Shdr)>(file, header->e_shoff);
  std::set<std::string> names;
  for (int i = 0; i < header->e_shnum; ++i) {
    if (sections[i].sh_type != SHT_DYNSYM) {
      continue;
    }
    const std::size_t texts = sections[sections[i].sh_link].sh_offset;
    const auto* symbols = at<ElfW(Sym)>(file, sections[i].sh_offset);
    for (std::size_t k = 0; k < sections[i].sh_size / sizeof *symbols; ++k) {
      if (ELF64_ST_TYPE(symbols[k].st_info) == STT_FUNC && symbols[k].st_shndx != SHN_UNDEF) {
        names.insert(at<char>(file, texts + symbols[k].st_name));
      }
    }
  }
  return names;
}

TEST(TrustRegistry, NamesEveryExportedFunctionAndNoOther) {
  std::set<std::string> registered;
  for (const Scenario& scenario : scenarios()) {
    registered.insert(scenario.function);
  }
  EXPECT_THAT(registered, testing::ContainerEq(exported_functions()));
}

}  // namespace
}  // namespace annal::test
