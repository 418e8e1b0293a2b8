// The columns, filters and orders of a file-operation log, and the file that is in use.
#include "tools/annalctl/fileop/model.h"

#include <fmt/format.h>

#include <array>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "Corix_annal.h"
#include "tools/annalctl/arguments/names.h"
#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/folder.h"
#include "tools/annalctl/base/printable.h"
#include "tools/annalctl/log/common_columns.h"

namespace annalctl::fileop {

namespace {

constexpr std::array kColumns{
    Column{"event_id", true},           Column{"event_type", true},
    Column{"event_date", false},        Column{"event_time", false},
    Column{"event_user", false},        Column{"event_ip", false},
    Column{"event_oldfilepath", false}, Column{"event_filepath", false},
    Column{"event_isFolder", true},     Column{"event_action", true},
    Column{"event_filesize", true},     Column{"event_comp", false},
    Column{"event_duid", false},        Column{"event_desc", false},
    Column{"sub_user", false},          Column{"pid", true},
};

constexpr std::array kSortTable{
    Sort{{"date", 0}, {"event_date", "event_time"}},
    Sort{{"time", 2}, {"event_time", "event_date"}},
    Sort{{"type", 4}, {"event_type"}},
    Sort{{"user", 6}, {"event_user"}},
    Sort{{"ip", 8}, {"event_ip"}},
    Sort{{"computer", 10}, {"event_comp"}},
    Sort{{"id", 12}, {"event_id"}},
    Sort{{"folder", 14}, {"event_isFolder"}},
    Sort{{"action", 16}, {"event_action"}},
    Sort{{"size", 18}, {"event_filesize"}},
};

// The places of the other columns in a row.
enum Place : std::size_t {
  kOldPath = 6,
  kPath = 7,
  kAction = 9,
  kFileSize = 10,
  kComputer = 11,
  kDescription = 13,
};

TableCell action_cell(const char* number) {
  return {printable(name_of_number(Named::kOperation, number))};
}

constexpr TableColumn kActionCell{"Action", kAction, true, action_cell};
constexpr TableColumn kPathCell{"Path", kPath, false, nullptr, Room::kRest};
constexpr TableColumn kSizeCell = size_cell(kColumns.size());

constexpr std::array kListCells{
    kIdCell,
    kDateCell,
    kTimeCell,
    kLevelCell,
    kUserCell,
    kAddressCell,
    kActionCell,
    TableColumn{"Size", kFileSize, true},
    kPathCell,
    TableColumn{"Old path", kOldPath},
    TableColumn{"Description", kDescription},
};

// There is no order by path, so those groups stand by date.
constexpr std::array kGroupingTable{
    Grouping{{"type", 0}, 4, {"event_type"}, {kSizeCell, kLevelCell}},
    Grouping{{"date", 1}, 0, {"event_date"}, {kSizeCell, kDateCell}},
    Grouping{{"user", 2}, 6, {"event_user"}, {kSizeCell, kUserCell}},
    Grouping{{"ip", 3}, 8, {"event_ip"}, {kSizeCell, kAddressCell}},
    Grouping{{"computer", 4}, 10, {"event_comp"}, {kSizeCell, TableColumn{"Computer", kComputer}}},
    Grouping{{"action", 5}, 16, {"event_action"}, {kSizeCell, kActionCell}},
    Grouping{{"path", 6}, 0, {"event_filepath"}, {kSizeCell, kPathCell}},
};

std::string& named_file() {
  static std::string file;
  return file;
}

int count_all() noexcept {
  constexpr unsigned kAllLevels = 0;
  return pavo2log_event_query_count(kLog.path, kAllLevels, nullptr, nullptr, nullptr, nullptr);
}

// The library creates nothing at a path that exists, and below this one there can be no file.
int create_redirected(int limit, int batch) noexcept {
  return pavo2log_event_create_tbl("/dev/null/fileop", limit, batch);
}

int add_one() noexcept {
  FileOpRecord record{};
  record.event_action = 1;
  return static_cast<int>(pavo2log_event_add(kLog.path, &record));
}

int list_some() noexcept {
  return pavo2log_event_query(kLog.path, nullptr, 0, 0, 1, 0, nullptr);
}

using Use = int (*)() noexcept;
constexpr std::array<Use, 3> kUses{add_one, count_all, list_some};

}  // namespace

Log kLog{
    .name = "fileop",
    .entries = "file operations",
    .path = "",
    .table = "PAVO2LOG_EVENT",
    .columns = kColumns,
    .earliest_columns = 16,
    .id = "event_id",
    .level = "event_type",
    .date = "event_date",
    .time = "event_time",
    .levels = kLevelNames,
    .usual_limit = 100000,
    .count = count_all,
    .create_redirected = create_redirected,
    .uses = kUses,
    .options = " --db FILE",
    .migrates = false,
};

constinit const std::span<const Sort> kSorts = kSortTable;
constinit const std::span<const Grouping> kGroupings = kGroupingTable;
constinit const std::span<const TableColumn> kListTable = kListCells;
constinit const EntryView kEntry{"fileop", moment_of, level_of, kDatePlace, kTimePlace};

void use_file(const std::string& file) {
  if (file.empty()) {
    throw Refusal("--db needs the name of a file");
  }
  // Diagnoses also look at the folder, which a bare name does not show.
  named_file() = whole_path(file);
  kLog.path = named_file().c_str();
}

std::string escaped(const std::string& text) {
  std::string doubled;
  for (const char c : text) {
    doubled.append(c == '\'' ? 2 : 1, c);
  }
  return doubled;
}

}  // namespace annalctl::fileop
