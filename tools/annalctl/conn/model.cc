// The connection log's columns, filters, orders and groupings.
#include "tools/annalctl/conn/model.h"

#include <array>

#include "Corix_annal.h"
#include "tools/annalctl/arguments/names.h"
#include "tools/annalctl/base/printable.h"
#include "tools/annalctl/log/common_columns.h"

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

// The places of the other columns in a row.
enum Place : std::size_t {
  kComputer = 6,
  kResource = 7,
  kService = 8,
  kAction = 9,
  kApplication = 10,
  kResult = 11,
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

TableCell service_cell(const char* number) {
  return {printable(name_of_number(Named::kService, number))};
}

TableCell action_cell(const char* number) {
  return {printable(name_of_number(Named::kAction, number))};
}

constexpr TableColumn kComputerCell{"Computer", kComputer};
constexpr TableColumn kServiceCell{"Service", kService, true, service_cell};
constexpr TableColumn kActionCell{"Action", kAction, true, action_cell};
constexpr TableColumn kResultCell{"Result", kResult, false, result_cell};
constexpr TableColumn kApplicationCell{"Application", kApplication};
constexpr TableColumn kResourceCell{"Resource", kResource, false, nullptr, Room::kRest};
constexpr TableColumn kSizeCell = size_cell(kColumns.size());

constexpr std::array kListCells{kIdCell,      kDateCell,   kTimeCell,   kLevelCell,       kUserCell,    kAddressCell,
                                kServiceCell, kActionCell, kResultCell, kApplicationCell, kResourceCell};

// There is no order by resource, so those groups come by date.
constexpr std::array kGroupingTable{
    Grouping{
        {"id", 0}, 12, {"conn_id"}, {kSizeCell, kIdCell, kDateCell, kTimeCell, kUserCell, kAddressCell, kResourceCell}},
    Grouping{{"type", 1}, 4, {"conn_type"}, {kSizeCell, kLevelCell}},
    Grouping{{"date", 2}, 0, {"conn_date"}, {kSizeCell, kDateCell}},
    Grouping{{"time", 3}, 2, {"conn_time"}, {kSizeCell, kTimeCell}},
    Grouping{{"user", 4}, 6, {"conn_user"}, {kSizeCell, kUserCell}},
    Grouping{{"ip", 5}, 8, {"conn_ip"}, {kSizeCell, kAddressCell}},
    Grouping{{"computer", 6}, 10, {"conn_comp"}, {kSizeCell, kComputerCell}},
    Grouping{{"resource", 7}, 0, {"conn_res"}, {kSizeCell, kResourceCell}},
    Grouping{{"service", 8}, 14, {"conn_serv"}, {kSizeCell, kServiceCell}},
    Grouping{{"action", 9}, 16, {"conn_action"}, {kSizeCell, kActionCell}},
    Grouping{{"app", 10}, 18, {"conn_app"}, {kSizeCell, kApplicationCell}},
    Grouping{{"result", 11}, 20, {"conn_action_result"}, {kSizeCell, kResultCell}},
};

int count_all() noexcept {
  constexpr int kAllLevels = 0;
  return annal_conn_query_count(kAllLevels);
}

int add_one() noexcept {
  ConnRecord record{};
  return annal_conn_add2(&record);
}

// A batch forwards even records that it does not store, so this one is empty.
int add_none_at_once() noexcept {
  int inserted = 0;
  return annal_conn_add_entries2(nullptr, 0, &inserted);
}

int list_some() noexcept {
  return annal_conn_query(kLog.path, nullptr, 0, 0, 1, 0, nullptr);
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
constinit const EntryView kEntry{"conn", moment_of, level_of, kDatePlace, kTimePlace};

}  // namespace annalctl::conn
