// The connection log's columns, filters, orders and groupings.
#include "tools/annalctl/conn/model.h"

#include <array>

#include "Corix_annal.h"
#include "tools/annalctl/base/printable.h"
#include "tools/annalctl/log/level.h"

namespace annalctl::conn {

namespace {

constexpr std::array kColumns{
    Column{"conn_id", true},
    Column{"conn_type", true},
    Column{"conn_date", false},
    Column{"conn_time", false},
    Column{"conn_user", false},
    Column{"conn_ip", false},
    Column{"conn_comp", false},
    Column{"conn_res", false},
    Column{"conn_serv", true},
    Column{"conn_action", true},
    Column{"conn_app", false, "''"},
    Column{"conn_action_result", true, "0"},
    Column{"conn_client_id", false, "'---'"},
    Column{"conn_client_app", false, "'---'"},
    Column{"conn_client_agent", false, "'---'"},
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
  kResource = 7,
  kService = 8,
  kAction = 9,
  kApplication = 10,
  kResult = 11,
  kSize = kColumns.size(),  // of a group
};

constexpr std::array kSortTable{
    Sort{{"date", 0}, {"conn_date", "conn_time"}},
    Sort{{"time", 2}, {"conn_time", "conn_date"}},
    Sort{{"type", 4}, {"conn_type"}},
    Sort{{"user", 6}, {"conn_user"}},
    Sort{{"ip", 8}, {"conn_ip"}},
    Sort{{"computer", 10}, {"conn_comp"}},
    Sort{{"id", 12}, {"conn_id"}},
    Sort{{"service", 14}, {"conn_serv"}},
    Sort{{"action", 16}, {"conn_action"}},
    Sort{{"app", 18}, {"conn_app"}},
    Sort{{"result", 20}, {"conn_action_result"}},
};

constexpr std::array kResults{Choice{"ok", kSucceeded}, Choice{"failed", kFailed}};

TableCell result_cell(const char* code) {
  const std::string name = name_of(kResults, code);
  return {name == code ? printable(name) : name, name == "failed" ? Style::kWarning : Style::kPlain};
}

constexpr TableColumn kIdCell{"ID", kId, true, nullptr, Room::kWhole};
constexpr TableColumn kDateCell{"Date", kDate, false, nullptr, Room::kWhole};
constexpr TableColumn kTimeCell{"Time", kTime, false, nullptr, Room::kWhole};
constexpr TableColumn kLevelCell{"Level", kType, false, level_cell, Room::kWhole};
constexpr TableColumn kUserCell{"User", kUser};
constexpr TableColumn kAddressCell{"Address", kAddress};
constexpr TableColumn kComputerCell{"Computer", kComputer};
constexpr TableColumn kServiceCell{"Service", kService, true};
constexpr TableColumn kActionCell{"Action", kAction, true};
constexpr TableColumn kResultCell{"Result", kResult, false, result_cell};
constexpr TableColumn kApplicationCell{"Application", kApplication};
constexpr TableColumn kResourceCell{"Resource", kResource, false, nullptr, Room::kRest};
constexpr TableColumn kSizeCell{"Count", kSize, true, nullptr, Room::kWhole};

constexpr std::array kListCells{kIdCell,      kDateCell,   kTimeCell,   kLevelCell,       kUserCell,    kAddressCell,
                                kServiceCell, kActionCell, kResultCell, kApplicationCell, kResourceCell};

constexpr std::array kByIdCells{kSizeCell, kIdCell, kDateCell, kTimeCell, kUserCell, kAddressCell, kResourceCell};
constexpr std::array kByTypeCells{kSizeCell, kLevelCell};
constexpr std::array kByDateCells{kSizeCell, kDateCell};
constexpr std::array kByTimeCells{kSizeCell, kTimeCell};
constexpr std::array kByUserCells{kSizeCell, kUserCell};
constexpr std::array kByAddressCells{kSizeCell, kAddressCell};
constexpr std::array kByComputerCells{kSizeCell, kComputerCell};
constexpr std::array kByResourceCells{kSizeCell, kResourceCell};
constexpr std::array kByServiceCells{kSizeCell, kServiceCell};
constexpr std::array kByActionCells{kSizeCell, kActionCell};
constexpr std::array kByApplicationCells{kSizeCell, kApplicationCell};
constexpr std::array kByResultCells{kSizeCell, kResultCell};

// There is no order by resource, so those groups stand by date.
constexpr std::array kGroupingTable{
    Grouping{{"id", 0}, 12, {"conn_id"}, kByIdCells},
    Grouping{{"type", 1}, 4, {"conn_type"}, kByTypeCells},
    Grouping{{"date", 2}, 0, {"conn_date"}, kByDateCells},
    Grouping{{"time", 3}, 2, {"conn_time"}, kByTimeCells},
    Grouping{{"user", 4}, 6, {"conn_user"}, kByUserCells},
    Grouping{{"ip", 5}, 8, {"conn_ip"}, kByAddressCells},
    Grouping{{"computer", 6}, 10, {"conn_comp"}, kByComputerCells},
    Grouping{{"resource", 7}, 0, {"conn_res"}, kByResourceCells},
    Grouping{{"service", 8}, 14, {"conn_serv"}, kByServiceCells},
    Grouping{{"action", 9}, 16, {"conn_action"}, kByActionCells},
    Grouping{{"app", 10}, 18, {"conn_app"}, kByApplicationCells},
    Grouping{{"result", 11}, 20, {"conn_action_result"}, kByResultCells},
};

int count_all() noexcept {
  constexpr int kAllLevels = 0;
  return annal_conn_query_count(kAllLevels);
}

int add_one() noexcept {
  ConnRecord record{};
  return annal_conn_add2(&record);
}

// Of a batch's records even one that is not stored goes on to other programs.
int add_none_at_once() noexcept {
  int inserted = 0;
  return annal_conn_add_entries2(nullptr, 0, &inserted);
}

int list_some() noexcept {
  return annal_conn_query(kLog.path, nullptr, 0, 0, 1, 0, nullptr);
}

std::optional<std::int64_t> moment_of(Row values) {
  return moment_of_texts(values, kDate, kTime);
}

std::optional<std::string> level_of(Row values) {
  return level_name(values, kType);
}

using Use = int (*)() noexcept;
constexpr std::array<Use, 4> kUses{add_one, add_none_at_once, count_all, list_some};

}  // namespace

Log kLog{
    .name = "conn",
    .entries = "connections",
    .path = "/etc/logs/conn.log",
    .table = "ANNAL_CONN",
    .columns = kColumns,
    .earliest_columns = 10,
    .id = "conn_id",
    .level = "conn_type",
    .date = "conn_date",
    .time = "conn_time",
    .levels = kLevelNames,
    .usual_limit = 10000,
    .count = count_all,
    .create_redirected = annal_conn_create_tbl,
    .uses = kUses,
};

constinit const std::span<const Sort> kSorts = kSortTable;
constinit const std::span<const Grouping> kGroupings = kGroupingTable;
constinit const std::span<const TableColumn> kListTable = kListCells;
constinit const EntryView kEntry{"conn", moment_of, level_of, kDate, kTime};

}  // namespace annalctl::conn
