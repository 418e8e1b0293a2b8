// Whether a disk has room for a file before it is written.
#pragma once

#include <cstdint>
#include <string>

namespace annalctl {

// Throws FileFailure unless the folder's file system has so many bytes free for this user.
void require_room(const std::string& folder, std::uint64_t bytes);

// How much of the disk a file takes, which of a sparse one is less than its size.
[[nodiscard]] std::uint64_t space_of(const std::string& path);

}  // namespace annalctl
