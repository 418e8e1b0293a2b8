// Locates each log's level and message columns, and maps stored levels to syslog severities.
#include "tools/export/source_log.h"

#include <array>
#include <optional>

#include "tools/annalctl/base/whole_number.h"
#include "tools/annalctl/conn/model.h"
#include "tools/annalctl/event/model.h"
#include "tools/annalctl/fileop/model.h"
#include "tools/annalctl/notice/model.h"

namespace exporter {

namespace {

std::size_t place_of(const annalctl::Log& log, std::string_view column) {
  std::size_t place = 0;
  while (place < log.columns.size() && column != log.columns[place].name) {
    ++place;
  }
  return place;
}

LogShape shape_of(const annalctl::Log& log, const annalctl::EntryView& entry, std::string_view message,
                  std::string_view stead) {
  return {.log = log,
          .entry = entry,
          .level = place_of(log, log.level),
          .message = place_of(log, message),
          .stead = place_of(log, stead),
          .own_severities = log.time == nullptr};
}

}  // namespace

const std::vector<LogShape>& log_shapes() {
  static const std::vector<LogShape> kShapes{
      shape_of(annalctl::event::kLog, annalctl::event::kEntry, "event_desc", "event_msgid"),
      shape_of(annalctl::conn::kLog, annalctl::conn::kEntry, "conn_res", "conn_user"),
      shape_of(annalctl::notice::kLog, annalctl::notice::kEntry, "desc", "msgCode"),
      shape_of(annalctl::fileop::kLog, annalctl::fileop::kEntry, "event_desc", "event_filepath"),
  };
  return kShapes;
}

Level level_of(const LogShape& shape, const char* stored) {
  constexpr int kInformation = 6;
  constexpr std::array kSeverities{kInformation, 4, 3};
  if (stored == nullptr) {
    return {"", kInformation};
  }
  const std::optional<std::size_t> number = annalctl::whole_number<std::size_t>(stored);
  if (!number || *number >= shape.log.levels.size()) {
    return {stored, kInformation};
  }
  return {shape.log.levels[*number], shape.own_severities ? static_cast<int>(*number) : kSeverities.at(*number)};
}

}  // namespace exporter
