// The columns that the logs of events, connections and file operations begin with, under names of their own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "tools/annalctl/log/level.h"
#include "tools/annalctl/output/output.h"
#include "tools/annalctl/output/text_table.h"

namespace annalctl {

// Where they are in a row.
enum CommonPlace : std::size_t {
  kIdPlace = 0,
  kLevelPlace = 1,
  kDatePlace = 2,
  kTimePlace = 3,
  kUserPlace = 4,
  kAddressPlace = 5,
};

inline constexpr TableColumn kIdCell{"ID", kIdPlace, true, nullptr, Room::kWhole};
inline constexpr TableColumn kDateCell{"Date", kDatePlace, false, nullptr, Room::kWhole};
inline constexpr TableColumn kTimeCell{"Time", kTimePlace, false, nullptr, Room::kWhole};
inline constexpr TableColumn kLevelCell{"Level", kLevelPlace, false, level_cell, Room::kWhole};
inline constexpr TableColumn kUserCell{"User", kUserPlace};
inline constexpr TableColumn kAddressCell{"Address", kAddressPlace};

// Of a row.
[[nodiscard]] std::optional<std::int64_t> moment_of(Row values);
[[nodiscard]] std::optional<std::string> level_of(Row values);

}  // namespace annalctl
