// Checks that a disk has room for a file before writing it.
#pragma once

#include <cstdint>
#include <string>

namespace annalctl {

// Throws FileFailure unless the folder's file system has enough bytes free for this user.
void require_room(const std::string& folder, std::uint64_t bytes);

// How much of the disk a file takes: for a sparse one, less than its size.
[[nodiscard]] std::uint64_t space_of(const std::string& path);

}  // namespace annalctl
