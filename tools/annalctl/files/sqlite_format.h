// Constants of SQLite's file format.
#pragma once

#include <sys/types.h>

#include <string_view>

namespace annalctl {

// The first bytes of a database, including the terminator.
constexpr std::string_view kFileMagic("SQLite format 3\0", 16);

// The bytes that are reserved for locks.
constexpr off_t kPendingByte = 0x40000000;
constexpr off_t kReservedByte = kPendingByte + 1;
constexpr off_t kSharedFirst = kPendingByte + 2;
constexpr off_t kSharedSize = 510;
constexpr off_t kLockBytes = 2 + kSharedSize;  // all of them, from the pending byte on

}  // namespace annalctl
