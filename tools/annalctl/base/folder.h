// The folder of a file.
#pragma once

#include <filesystem>
#include <string>

namespace annalctl {

[[nodiscard]] inline std::string folder_of(const std::string& path) {
  return std::filesystem::path(path).parent_path().string();
}

}  // namespace annalctl
