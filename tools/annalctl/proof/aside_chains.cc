// Finds the chains that were set aside by their names, and erases salts in them.
#include "tools/annalctl/proof/aside_chains.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "tools/annalctl/base/folder.h"

namespace annalctl::proof {

namespace {

namespace fs = std::filesystem;

bool is_number(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

// "event.log.chain.1" beside "event.log.chain".
std::vector<std::string> paths_of(const Log& log) {
  const std::string chain = chain_path(log.path);
  const std::string beginning = fs::path(chain).filename().string() + ".";
  std::vector<std::string> paths;
  std::error_code problem;
  for (fs::directory_iterator file(folder_of(chain), problem), end; !problem && file != end; file.increment(problem)) {
    const std::string name = file->path().filename().string();
    if (name.starts_with(beginning) && is_number(std::string_view(name).substr(beginning.size()))) {
      paths.push_back(chain + name.substr(beginning.size() - 1));
    }
  }
  return paths;
}

}  // namespace

AsideChains::AsideChains(const Log& log) {
  for (const std::string& path : paths_of(log)) {
    try {
      std::optional<ChainFile> chain = ChainFile::open(path, Access::kWrite);
      if (!chain) {
        continue;
      }
      std::multimap<std::int64_t, std::uint64_t> positions;
      for (RecordStream records(*chain); records.next();) {
        const std::optional<Record> record = read(records.bytes());
        if (record && (record->kind == Kind::kEntry || record->kind == Kind::kRedaction) && !is_erased(record->salt)) {
          positions.emplace(record->id, records.position());
        }
      }
      asides_.push_back({std::move(*chain), std::move(positions)});
    } catch (const ChainDamage&) {
      damaged_.push_back(path);
    }
  }
}

void AsideChains::erase_salts(std::span<const std::int64_t> ids) const {
  for (const Aside& aside : asides_) {
    std::vector<std::uint64_t> positions;
    for (const std::int64_t id : ids) {
      const auto [first, last] = aside.positions.equal_range(id);
      std::transform(first, last, std::back_inserter(positions), [](const auto& one) { return one.second; });
    }
    if (!positions.empty()) {
      aside.chain.erase_salts(positions);
    }
  }
}

}  // namespace annalctl::proof
