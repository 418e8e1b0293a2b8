#include "tools/event/model.h"

#include <array>

#include "Corix_annal.h"
#include "tools/level.h"

namespace annalctl::event {

namespace {

constexpr std::array kColumns{
    Column{"event_id", true},           Column{"event_type", true},          Column{"event_date", false},
    Column{"event_time", false},        Column{"event_user", false},         Column{"event_ip", false},
    Column{"event_comp", false},        Column{"event_desc", false},         Column{"event_msgid", false},
    Column{"event_timet", true},        Column{"event_app_id", false},       Column{"event_app_name", false},
    Column{"event_category_id", false}, Column{"event_category", false},     Column{"event_client_id", false},
    Column{"event_client_app", false},  Column{"event_client_agent", false},
};

// Where those columns are in a row.
enum Place : std::size_t {
  kId = 0,
  kType = 1,
  kDate = 2,
  kTime = 3,
  kUser = 4,
  kAddress = 5,
  kComputer = 6,
  kMessage = 7,
  kApplication = 11,
  kSize = kColumns.size(),  // of a group
};

constexpr std::array kSortChoices{
    Choice{"date", 0},       Choice{"time", 2},      Choice{"type", 4}, Choice{"user", 6},
    Choice{"ip", 8},         Choice{"computer", 10}, Choice{"id", 12},  Choice{"msgid", 14},
    Choice{"timestamp", 16}, Choice{"app-id", 18},   Choice{"app", 20}, Choice{"category-id", 22},
    Choice{"category", 24},
};

constexpr TableColumn kIdCell{"ID", kId, true};
constexpr TableColumn kDateCell{"Date", kDate};
constexpr TableColumn kTimeCell{"Time", kTime};
constexpr TableColumn kLevelCell{"Level", kType, false, level_cell};
constexpr TableColumn kUserCell{"User", kUser};
constexpr TableColumn kAddressCell{"Address", kAddress};
constexpr TableColumn kComputerCell{"Computer", kComputer};
constexpr TableColumn kApplicationCell{"Application", kApplication};
constexpr TableColumn kMessageCell{"Message", kMessage};
constexpr TableColumn kSizeCell{"Count", kSize, true};

constexpr std::array kListCells{kIdCell,      kDateCell,     kTimeCell,        kLevelCell,  kUserCell,
                                kAddressCell, kComputerCell, kApplicationCell, kMessageCell};

constexpr std::array kByIdCells{kSizeCell, kIdCell, kLevelCell, kDateCell, kTimeCell, kMessageCell};
constexpr std::array kByTypeCells{kSizeCell, kLevelCell};
constexpr std::array kByDateCells{kSizeCell, kLevelCell, kDateCell};
constexpr std::array kByTimeCells{kSizeCell, kLevelCell, kTimeCell};
constexpr std::array kByUserCells{kSizeCell, kLevelCell, kUserCell};
constexpr std::array kByAddressCells{kSizeCell, kLevelCell, kAddressCell};
constexpr std::array kByComputerCells{kSizeCell, kLevelCell, kComputerCell};
constexpr std::array kByMessageCells{kSizeCell, kLevelCell, kMessageCell};

// There is no order by message, so those groups stand by level.
constexpr std::array kGroupingTable{
    Grouping{{"id", 0}, 12, kByIdCells},
    Grouping{{"type", 1}, 4, kByTypeCells},
    Grouping{{"date", 2}, 0, kByDateCells},
    Grouping{{"time", 3}, 2, kByTimeCells},
    Grouping{{"user", 4}, 6, kByUserCells},
    Grouping{{"ip", 5}, 8, kByAddressCells},
    Grouping{{"computer", 6}, 10, kByComputerCells},
    Grouping{{"message", 7}, 4, kByMessageCells},
};

int count_all() noexcept {
  constexpr unsigned kAllLevels = 0;
  return annal_event_query_count(kAllLevels);
}

}  // namespace

const Log kLog{
    .name = "event",
    .entries = "events",
    .path = "/etc/logs/event.log",
    .table = "ANNAL_EVENT",
    .columns = kColumns,
    .first_columns = 8,
    .usual_limit = 100000,
    .count = count_all,
    .create_anywhere = annal_event_create_tbl,
};

constinit const std::span<const Choice> kSorts = kSortChoices;
constinit const std::span<const Grouping> kGroupings = kGroupingTable;
constinit const std::span<const TableColumn> kListTable = kListCells;

}  // namespace annalctl::event
