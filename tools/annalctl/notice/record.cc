// Makes the row of a notice from JSON members.
#include "tools/annalctl/notice/record.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

#include "Corix_annal.h"
#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/import/member_values.h"
#include "tools/annalctl/notice/model.h"

namespace annalctl::notice {

namespace {

constexpr char kAppliance[] = "System";

// The library does not check the length of most of them, and reads on if one has no terminator.
constexpr std::array kTexts{
    TextField{"desc", "DESCRIPTION", "text", offsetof(NoticeRecord, desc), 2048, FieldKind::kMessage},
    text_field("serviceName", "--service", "service name", offsetof(NoticeRecord, serviceName), 1024, kAppliance),
    text_field("user", "--user", "user", offsetof(NoticeRecord, user), 64, kAppliance),
    TextField{"ip", "--ip", "address of the client", offsetof(NoticeRecord, ip), 64, FieldKind::kAddress, "127.0.0.1"},
    text_field("client", "--client", "host name of the client", offsetof(NoticeRecord, client), 64, "localhost"),
    text_field("msgCode", "--msgcode", "message code", offsetof(NoticeRecord, msgCode), 64, "0"),
    text_field("varContent", "--varcontent", "content of the variables", offsetof(NoticeRecord, varContent), 2048),
    text_field("name", "--name", "name", offsetof(NoticeRecord, name), 128),
    text_field("link_id", "--link-id", "link id", offsetof(NoticeRecord, link_id), 256),
    text_field("link_option", "--link-option", "link option", offsetof(NoticeRecord, link_option), 1024),
    text_field("title", "--title", "title", offsetof(NoticeRecord, title), 256),
};

// The values that the library takes for a column of whole numbers.
struct NumberColumn {
  std::string_view name;
  std::int64_t lowest = std::numeric_limits<std::int32_t>::min();
  std::int64_t highest = std::numeric_limits<std::int32_t>::max();
  std::int64_t absent = 0;
};

constexpr std::array kNumbers{
    NumberColumn{"severity", 0, 7, 6},
    NumberColumn{"uid", -1, std::numeric_limits<std::int32_t>::max(), -1},
    NumberColumn{"gid", -1, std::numeric_limits<std::int32_t>::max(), -1},
};

NumberColumn number_column(std::string_view name) {
  const auto* const found =
      std::find_if(kNumbers.begin(), kNumbers.end(), [name](const NumberColumn& one) { return one.name == name; });
  return found == kNumbers.end() ? NumberColumn{name} : *found;
}

std::int64_t value_from(const Member& member) {
  const std::optional<unsigned> severity = member.key == "severity" ? code_of(kSeverities, member.text) : std::nullopt;
  const NumberColumn column = number_column(member.key);
  return severity ? *severity : number_from(member, column.lowest, column.highest);
}

}  // namespace

const std::span<const TextField> kTextFields = kTexts;

Cells cells_of(const Members& members) {
  NoticeRecord record{};
  Cells cells;
  const std::int64_t now = std::time(nullptr);
  for (const Column& column : kLog.columns.subspan(1)) {
    const std::string_view name = column.name;
    cells.emplace_back(name == "time" || name == "endtime" ? now : number_column(name).absent);
  }
  for (const Member& member : members) {
    if (member.null || member.key == kLog.columns[0].name) {
      continue;  // A stored entry always gets an id of its own.
    }
    if (const TextField* field = find_field(kTextFields, member.key)) {
      set_text(&record, *field, member.text);
    } else if (Cell* const cell = cell_of(cells, kLog.columns, member.key)) {
      *cell = value_from(member);
    } else {
      throw Refusal(fmt::format("'{}' is not a column of the notice log", member.key));
    }
  }
  for (const TextField& field : kTexts) {
    *cell_of(cells, kLog.columns, field.column) = stored_text(&record, field);
  }
  keep_texts_for_none(cells, kLog.columns, members);
  return cells;
}

}  // namespace annalctl::notice
