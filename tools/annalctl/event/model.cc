// The event log's columns, filters, orders and groupings.
#include "tools/annalctl/event/model.h"

#include <array>

#include "Corix_annal.h"
#include "tools/annalctl/log/common_columns.h"

namespace annalctl::event {

namespace {

constexpr std::array kColumns{
    Column{"event_id", true},
    Column{"event_type", true},
    Column{"event_date", false},
    Column{"event_time", false},
    Column{"event_user", false},
    Column{"event_ip", false},
    Column{"event_comp", false},
    Column{"event_desc", false},
    Column{"event_msgid", false, "'0'"},
    Column{"event_timet", true, "0"},
    Column{"event_app_id", false, "'---'"},
    Column{"event_app_name", false, "'---'"},
    Column{"event_category_id", false, "'---'"},
    Column{"event_category", false, "'---'"},
    Column{"event_client_id", false, "'---'"},
    Column{"event_client_app", false, "'---'"},
    Column{"event_client_agent", false, "'---'"},
};

// The places of the other columns in a row.
enum Place : std::size_t {
  kComputer = 6,
  kMessage = 7,
  kTimestampPlace = 9,
  kApplication = 11,
};

constexpr std::array kSortTable{
    Sort{{"date", 0}, {"event_date", "event_time"}},
    Sort{{"time", 2}, {"event_time", "event_date"}},
    Sort{{"type", 4}, {"event_type"}},
    Sort{{"user", 6}, {"event_user"}},
    Sort{{"ip", 8}, {"event_ip"}},
    Sort{{"computer", 10}, {"event_comp"}},
    Sort{{"id", 12}, {"event_id"}},
    Sort{{"msgid", 14}, {"event_msgid"}},
    Sort{{"timestamp", 16}, {"event_timet"}},
    Sort{{"app-id", 18}, {"event_app_id"}},
    Sort{{"app", 20}, {"event_app_name"}},
    Sort{{"category-id", 22}, {"event_category_id"}},
    Sort{{"category", 24}, {"event_category"}},
};

constexpr TableColumn kComputerCell{"Computer", kComputer};
constexpr TableColumn kApplicationCell{"Application", kApplication};
constexpr TableColumn kMessageCell{"Message", kMessage, false, nullptr, Room::kRest};
constexpr TableColumn kSizeCell = size_cell(kColumns.size());

constexpr std::array kListCells{kIdCell,      kDateCell,     kTimeCell,        kLevelCell,  kUserCell,
                                kAddressCell, kComputerCell, kApplicationCell, kMessageCell};

// There is no order by message, so those groups come by level.
constexpr std::array kGroupingTable{
    Grouping{{"id", 0}, 12, {"event_id"}, {kSizeCell, kIdCell, kLevelCell, kDateCell, kTimeCell, kMessageCell}},
    Grouping{{"type", 1}, 4, {"event_type"}, {kSizeCell, kLevelCell}},
    Grouping{{"date", 2}, 0, {"event_type", "event_date"}, {kSizeCell, kLevelCell, kDateCell}},
    Grouping{{"time", 3}, 2, {"event_type", "event_time"}, {kSizeCell, kLevelCell, kTimeCell}},
    Grouping{{"user", 4}, 6, {"event_type", "event_user"}, {kSizeCell, kLevelCell, kUserCell}},
    Grouping{{"ip", 5}, 8, {"event_type", "event_ip"}, {kSizeCell, kLevelCell, kAddressCell}},
    Grouping{{"computer", 6}, 10, {"event_type", "event_comp"}, {kSizeCell, kLevelCell, kComputerCell}},
    Grouping{{"message", 7}, 4, {"event_type", "event_desc"}, {kSizeCell, kLevelCell, kMessageCell}},
};

int count_all() noexcept {
  constexpr unsigned kAllLevels = 0;
  return annal_event_query_count(kAllLevels);
}

int add_one() noexcept {
  EventRecord record{};
  return annal_event_add_msgid_ex3(&record);
}

int list_some() noexcept {
  return annal_event_query(nullptr, 0, 0, 1, 0, nullptr);
}

std::optional<std::int64_t> moment_of_event(Row values) {
  // The text is the local time where the event was stored.
  if (const auto stamp = number_in(values, kTimestampPlace); stamp.value_or(0) != 0) {
    return stamp;
  }
  return moment_of(values);
}

using Use = int (*)() noexcept;
constexpr std::array<Use, 3> kUses{add_one, count_all, list_some};

}  // namespace

Log kLog{
    .name = "event",
    .entries = "events",
    .path = "/etc/logs/event.log",
    .table = "ANNAL_EVENT",
    .columns = kColumns,
    .earliest_columns = 8,
    .id = "event_id",
    .level = "event_type",
    .date = "event_date",
    .time = "event_time",
    .levels = kLevelNames,
    .usual_limit = 100000,
    .count = count_all,
    .create_redirected = annal_event_create_tbl,
    .uses = kUses,
};

constinit const std::span<const Sort> kSorts = kSortTable;
constinit const std::span<const Grouping> kGroupings = kGroupingTable;
constinit const std::span<const TableColumn> kListTable = kListCells;
constinit const EntryView kEntry{"event", moment_of_event, level_of, kDatePlace, kTimePlace};

}  // namespace annalctl::event
