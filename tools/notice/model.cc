#include "tools/notice/model.h"

#include <array>

#include "Corix_annal.h"

namespace annalctl::notice {

namespace {

constexpr std::array kColumns{
    Column{"id", true},           Column{"severity", true}, Column{"server", true},      Column{"action", true},
    Column{"serviceName", false}, Column{"facility", true}, Column{"time", true},        Column{"endtime", true},
    Column{"user", false},        Column{"ip", false},      Column{"client", false},     Column{"desc", false},
    Column{"msgCode", false},     Column{"varNum", true},   Column{"varContent", false}, Column{"name", false},
    Column{"status", true},       Column{"uid", true},      Column{"gid", true},         Column{"link_id", false},
    Column{"link_option", false}, Column{"title", false},
};

// The library counts no notices by itself, and reads the value of any expression it is given for a column.
int count_all() noexcept {
  return annal_notice_table_check_column("COUNT(*)");
}

// In no list that the library hands out, though notices have it.
constexpr int kBackgroundTask = 99;

std::string display_name(int facility) {
  std::array<char, 64> name{};
  static_cast<void>(Get_Facility_String_By_Facility(facility, name.data(), static_cast<int>(name.size() - 1)));
  return name.data();
}

}  // namespace

const Log kLog{
    .name = "notice",
    .entries = "notices",
    .path = "/etc/logs/notice.log",
    .table = "ANNAL_NOTICE",
    .columns = kColumns,
    .count = count_all,
};

std::vector<Facility> facilities() {
  std::vector<Facility> all;
  for (const NoticeFacility* listed = notice_facility_list; listed->name != nullptr; ++listed) {
    all.push_back({listed->number, listed->name});
  }
  all.push_back({kBackgroundTask, display_name(kBackgroundTask)});
  return all;
}

}  // namespace annalctl::notice
