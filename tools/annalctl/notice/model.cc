// The notice log's columns, facilities, filters and orders.
#include "tools/annalctl/notice/model.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <limits>
#include <optional>
#include <string_view>

#include "Corix_annal.h"
#include "tools/annalctl/arguments/time_text.h"
#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/printable.h"
#include "tools/annalctl/base/whole_number.h"
#include "tools/annalctl/log/level.h"

namespace annalctl::notice {

namespace {

constexpr std::array kColumns{
    Column{"id", true},           Column{"severity", true},     Column{"server", true},      Column{"action", true},
    Column{"serviceName", false}, Column{"facility", true},     Column{"time", true},        Column{"endtime", true},
    Column{"user", false},        Column{"ip", false},          Column{"client", false},     Column{"desc", false},
    Column{"msgCode", false},     Column{"varNum", true},       Column{"varContent", false}, Column{"name", false},
    Column{"status", true},       Column{"uid", true},          Column{"gid", true},         Column{"link_id", false},
    Column{"link_option", false}, Column{"title", false, "''"},
};

// The places of the columns in a row.
enum Place : std::size_t {
  kId = 0,
  kSeverity = 1,
  kServer = 2,
  kAction = 3,
  kService = 4,
  kFacility = 5,
  kTime = 6,
  kEndTime = 7,
  kUser = 8,
  kAddress = 9,
  kClient = 10,
  kDescription = 11,
  kMessageCode = 12,
  kVariables = 13,
  kContent = 14,
  kName = 15,
};

// With syslog's numbers and names.
constexpr std::array kSeverityChoices{
    Choice{"emergency", 0},   Choice{"alert", 1},       Choice{"critical", 2},    Choice{"error", 3},
    Choice{"warning", 4},     Choice{"notice", 5},      Choice{"information", 6}, Choice{"debug", 7},
    Choice{"info", 6, false}, Choice{"warn", 4, false}, Choice{"0", 0, false},    Choice{"1", 1, false},
    Choice{"2", 2, false},    Choice{"3", 3, false},    Choice{"4", 4, false},    Choice{"5", 5, false},
    Choice{"6", 6, false},    Choice{"7", 7, false},
};

constexpr std::array kSortTable{
    Sort{{"time", 0}, {"time"}},
    Sort{{"severity", 4}, {"severity"}},
    Sort{{"user", 6}, {"user"}},
    Sort{{"ip", 8}, {"ip"}},
    Sort{{"client", 10}, {"client"}},
    Sort{{"id", 12}, {"id"}},
    Sort{{"server", 14}, {"server"}},
    Sort{{"action", 16}, {"action"}},
    Sort{{"service", 18}, {"serviceName"}},
    Sort{{"facility", 20}, {"facility"}},
    Sort{{"msgcode", 22}, {"msgCode"}},
};

int count_all() noexcept {
  return annal_notice_query_count(0, nullptr, nullptr, nullptr, nullptr, nullptr);
}

// Used by notices, but in none of the library's lists.
constexpr int kBackgroundTask = 99;

std::string display_name(int facility) {
  std::array<char, 64> name{};
  static_cast<void>(Get_Facility_String_By_Facility(facility, name.data(), static_cast<int>(name.size() - 1)));
  return name.data();
}

TableCell severity_cell(const char* code) {
  const std::optional<unsigned> severity = code_of(kSeverities, code);
  Style style = Style::kPlain;
  if (severity) {
    constexpr unsigned kError = 3;
    constexpr unsigned kWarning = 4;
    style = *severity <= kError ? Style::kError : *severity == kWarning ? Style::kWarning : Style::kInformation;
  }
  return {printable(name_of(kSeverities, code)), style};
}

TableCell facility_cell(const char* number) {
  const std::optional<std::int64_t> facility = whole_number<std::int64_t>(number);
  const bool known = facility && *facility >= 0 && *facility <= kBackgroundTask;
  const std::string name = known ? display_name(static_cast<int>(*facility)) : "";
  return {printable(name.empty() ? number : name)};
}

TableCell time_cell(const char* stored) {
  const std::optional<std::int64_t> seconds = whole_number<std::int64_t>(stored);
  const std::time_t moment = seconds.value_or(0);
  std::tm local{};
  if (!seconds || localtime_r(&moment, &local) == nullptr) {
    return {printable(stored)};
  }
  return {fmt::format("{:%Y-%m-%d %H:%M:%S}", local)};
}

constexpr TableColumn kIdCell{"ID", kId, true, nullptr, Room::kWhole};
constexpr TableColumn kSeverityCell{"Severity", kSeverity, false, severity_cell, Room::kWhole};
constexpr TableColumn kServerCell{"Server", kServer, true};
constexpr TableColumn kActionCell{"Action", kAction, true};
constexpr TableColumn kServiceCell{"Service", kService};
constexpr TableColumn kFacilityCell{"Facility", kFacility, false, facility_cell};
constexpr TableColumn kTimeCell{"Time", kTime, false, time_cell, Room::kWhole};
constexpr TableColumn kEndTimeCell{"End", kEndTime, false, time_cell};
constexpr TableColumn kUserCell{"User", kUser};
constexpr TableColumn kAddressCell{"Address", kAddress};
constexpr TableColumn kClientCell{"Client", kClient};
constexpr TableColumn kDescriptionCell{"Description", kDescription, false, nullptr, Room::kRest};
constexpr TableColumn kMessageCodeCell{"Code", kMessageCode};
constexpr TableColumn kVariablesCell{"Variables", kVariables, true};
constexpr TableColumn kContentCell{"Content", kContent};
constexpr TableColumn kNameCell{"Name", kName};
constexpr TableColumn kSizeCell = size_cell(kColumns.size());

constexpr std::array kListCells{kIdCell,       kTimeCell, kSeverityCell, kServiceCell,
                                kFacilityCell, kUserCell, kAddressCell,  kDescriptionCell};

constexpr std::array kGroupingTable{
    Grouping{{"id", 0}, kByGroups, {"id"}, {kSizeCell, kIdCell, kTimeCell, kSeverityCell, kDescriptionCell}},
    Grouping{{"severity", 1}, kByGroups, {"severity"}, {kSizeCell, kSeverityCell}},
    Grouping{{"server", 2}, kByGroups, {"server"}, {kSizeCell, kServerCell}},
    Grouping{{"action", 3}, kByGroups, {"action"}, {kSizeCell, kActionCell}},
    Grouping{{"service", 4}, kByGroups, {"serviceName"}, {kSizeCell, kServiceCell}},
    Grouping{{"facility", 5}, kByGroups, {"facility"}, {kSizeCell, kFacilityCell}},
    Grouping{{"time", 6}, kByGroups, {"time"}, {kSizeCell, kTimeCell}},
    Grouping{{"endtime", 7}, kByGroups, {"endtime"}, {kSizeCell, kEndTimeCell}},
    Grouping{{"user", 8}, kByGroups, {"user"}, {kSizeCell, kUserCell}},
    Grouping{{"ip", 9}, kByGroups, {"ip"}, {kSizeCell, kAddressCell}},
    Grouping{{"client", 10}, kByGroups, {"client"}, {kSizeCell, kClientCell}},
    Grouping{{"description", 11}, kByGroups, {"desc"}, {kSizeCell, kDescriptionCell}},
    Grouping{{"msgcode", 12}, kByGroups, {"msgCode"}, {kSizeCell, kMessageCodeCell}},
    Grouping{{"varnum", 13}, kByGroups, {"varNum"}, {kSizeCell, kVariablesCell}},
    Grouping{{"varcontent", 14}, kByGroups, {"varContent"}, {kSizeCell, kContentCell}},
    Grouping{{"likeness", 15},
             kByGroups,
             {"facility", "name", "desc"},
             {kSizeCell, kFacilityCell, kNameCell, kDescriptionCell}},
};

int add_one() noexcept {
  NoticeRecord record{};
  return annal_notice_add(&record);
}

int list_some() noexcept {
  return annal_notice_query(nullptr, 0, 0, 1, 0, nullptr);
}

std::optional<std::int64_t> moment_of(Row values) {
  return number_in(values, kTime);
}

std::optional<std::string> level_of(Row values) {
  return kSeverity < values.size() && values[kSeverity] != nullptr
             ? std::optional(name_of(kSeverityChoices, values[kSeverity]))
             : std::nullopt;
}
constexpr std::array kSeverityNames{"emergency", "alert",  "critical",    "error",
                                    "warning",   "notice", "information", "debug"};

using Use = int (*)() noexcept;
constexpr std::array<Use, 3> kUses{add_one, count_all, list_some};

}  // namespace

Log kLog{
    .name = "notice",
    .entries = "notices",
    .path = "/etc/logs/notice.log",
    .table = "ANNAL_NOTICE",
    .columns = kColumns,
    .earliest_columns = 21,
    .id = "id",
    .level = "severity",
    .date = "time",
    .time = nullptr,
    .levels = kSeverityNames,
    .usual_limit = 10000,
    .count = count_all,
    .create_redirected = annal_notice_create_tbl,
    .uses = kUses,
};

std::vector<Facility> facilities() {
  std::vector<Facility> all;
  for (const NoticeFacility* listed = notice_facility_list; listed->name != nullptr; ++listed) {
    all.push_back({listed->number, listed->name});
  }
  all.push_back({kBackgroundTask, display_name(kBackgroundTask)});
  return all;
}

int facility_of(const std::string& text) {
  if (const std::optional<std::int64_t> number = whole_number<std::int64_t>(text)) {
    if (*number < std::numeric_limits<int>::min() || *number > std::numeric_limits<int>::max()) {
      throw Refusal(fmt::format("'{}' is not a whole number of 32 bits", text));
    }
    return static_cast<int>(*number);
  }
  // Facility 0 has no name, but an empty text does not mean facility 0.
  const std::vector<Facility> all = facilities();
  const auto found = std::find_if(all.begin(), all.end(), [&text](const Facility& facility) {
    return !text.empty() && same_letters(facility.name, text);
  });
  if (found == all.end()) {
    throw Refusal(fmt::format("'{}' is not a facility: 'annalctl facilities' lists them", text));
  }
  return found->number;
}

std::int64_t seconds_of(const std::string& text) {
  std::optional<std::int64_t> seconds = whole_number<std::int64_t>(text);
  if (!seconds) {
    seconds = parse_time(text);
  }
  if (!seconds) {
    throw Refusal(fmt::format("'{}' is not a time: write it as '2026-11-21 10:00:00' or '1795255200'", text));
  }
  return *seconds;
}

constinit const std::span<const Choice> kSeverities = kSeverityChoices;
constinit const std::span<const Sort> kSorts = kSortTable;
constinit const std::span<const Grouping> kGroupings = kGroupingTable;
constinit const std::span<const TableColumn> kListTable = kListCells;
constinit const EntryView kEntry{"notice", moment_of, level_of, kTime, kTime};

}  // namespace annalctl::notice
