// Where a file is: its whole path, and its folder.
#pragma once

#include <filesystem>
#include <string>

namespace annalctl {

[[nodiscard]] inline std::string folder_of(const std::string& path) {
  return std::filesystem::path(path).parent_path().string();
}

// Throws std::runtime_error if the file is named below a current folder that no longer exists.
[[nodiscard]] std::string whole_path(const std::string& file);

}  // namespace annalctl
