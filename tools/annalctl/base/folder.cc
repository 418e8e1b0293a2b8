// Makes paths whole.
#include "tools/annalctl/base/folder.h"

#include <fmt/format.h>

#include <stdexcept>
#include <system_error>

namespace annalctl {

std::string whole_path(const std::string& file) {
  std::error_code unknown;
  std::filesystem::path path = std::filesystem::absolute(file, unknown);
  if (unknown) {
    throw std::runtime_error(fmt::format(
        "cannot find {}: the current folder was deleted or cannot be reached (name the file with its whole path)",
        file));
  }
  return path.string();
}

}  // namespace annalctl
