// Fills the record of a file operation from options or JSON members.
#include "tools/annalctl/fileop/record.h"

#include <fmt/format.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <ctime>
#include <limits>

#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/fileop/model.h"
#include "tools/annalctl/import/member_values.h"

namespace annalctl::fileop {

namespace {

constexpr TextField kAddress =
    text_field("event_ip", "--ip", "address", offsetof(FileOpRecord, event_ip), 64, "127.0.0.1");
constexpr TextField kDescription =
    text_field("event_desc", "--description", "description", offsetof(FileOpRecord, event_desc), 1024, "");

constexpr std::array kFields{
    text_field("event_user", "--user", "user", offsetof(FileOpRecord, event_user), 64, "System"),
    kAddress,
    text_field("event_comp", "--computer", "computer", offsetof(FileOpRecord, event_comp), 64, "localhost"),
    text_field("event_duid", "--device", "device", offsetof(FileOpRecord, event_duid), 64, "localhost"),
    kDescription,
};

// The columns of whole numbers, and the values that the library takes.
struct NumberField {
  const char* column;
  std::int64_t lowest;
  std::int64_t highest;
  void (*set)(FileOpRecord& record, std::int64_t number);
};

constexpr std::array kNumbers{
    NumberField{
        "event_isFolder", 0, 2,
        [](FileOpRecord& record, std::int64_t number) { record.event_isFolder = static_cast<std::uint32_t>(number); }},
    NumberField{
        "event_action", 1, 35,
        [](FileOpRecord& record, std::int64_t number) { record.event_action = static_cast<std::uint32_t>(number); }},
    NumberField{
        "event_filesize", std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max(),
        [](FileOpRecord& record, std::int64_t number) { record.event_filesize = static_cast<std::int32_t>(number); }},
    // The library stores its own value in this one, so no other can be stored.
    NumberField{"pid", 0, 0, [](FileOpRecord& /*record*/, std::int64_t /*number*/) {}},
};

void require_address(std::string_view text) {
  std::string copy(text);
  if (pavo2log_checkip(copy.data()) != ANNAL_OK) {
    throw Refusal(fmt::format("'{}' is not an IPv4 or IPv6 address", text));
  }
}

std::string_view path_from(std::string_view text) {
  if (text.find('\0') != std::string_view::npos) {
    throw Refusal("the path holds a NUL character");
  }
  return text;
}

std::string unescaped(const std::string& text) {
  std::string single;
  for (std::size_t i = 0; i < text.size(); ++i) {
    single += text[i];
    i += text[i] == '\'' ? 1 : 0;
  }
  return single;
}

void set_member(Operation& operation, DateAndClock& time, const Member& member) {
  if (member.key == "event_id" || time.take(member) || (member.key == "sub_user" && member.text.empty())) {
    return;  // A stored entry always gets an id of its own.
  }
  for (const NumberField& field : kNumbers) {
    if (member.key == field.column) {
      return field.set(operation.record, number_from(member, field.lowest, field.highest));
    }
  }
  if (member.key == "event_type") {
    operation.record.event_type = level_from(member);
  } else if (member.key == "event_oldfilepath") {
    operation.old_path = path_from(member.text);
  } else if (member.key == "event_filepath") {
    operation.path = path_from(member.text);
  } else if (const TextField* field = find_field(kTextFields, member.key)) {
    operation.set_field(*field, member.text);
  } else {
    throw Refusal(fmt::format("'{}' cannot be stored in a log of file operations", member.key));
  }
}

}  // namespace

const std::span<const TextField> kTextFields = kFields;

void Operation::set_field(const TextField& field, std::string_view text) {
  if (field.offset == kAddress.offset && !text.empty()) {
    require_address(text);
  }
  // The library doubles the description's quotes itself.
  set_text(&record, field, field.offset == kDescription.offset ? std::string(text) : escaped(std::string(text)));
}

void Operation::set_time(std::int64_t seconds) {
  const std::time_t moment = seconds;
  constexpr int kMeansNow = 0;
  if (localtime_r(&moment, &record.event_tm) == nullptr || record.event_tm.tm_year == kMeansNow) {
    throw Refusal("the time cannot be stored: its year is 1900, or none");
  }
}

int Operation::store() {
  record.event_oldfilepath = old_path.c_str();
  record.event_filepath = path.c_str();
  const std::int64_t id = pavo2log_event_add(kLog.path, &record);
  return id < 0 ? static_cast<int>(id) : static_cast<int>(ANNAL_OK);
}

Operation operation_of(const Members& members) {
  Operation operation;
  DateAndClock time(kLog);
  for (const Member& member : members) {
    if (!member.null) {
      set_member(operation, time, member);
    }
  }
  if (operation.record.event_action == 0) {
    throw Refusal("it has no event_action");
  }
  if (!time.empty()) {
    operation.set_time(time.seconds());
  }
  return operation;
}

Cells cells_of(const Operation& operation, const Members& members) {
  const FileOpRecord& record = operation.record;
  const auto text = [&record](const TextField& field) {
    std::string stored = stored_text(&record, field);
    if (field.offset == kAddress.offset) {
      // Takes the prefix off an IPv4 address in IPv6's form.
      static_cast<void>(pavo2log_checkip(stored.data()));
      stored.resize(std::strlen(stored.c_str()));
      return stored;
    }
    return field.offset == kDescription.offset ? stored : unescaped(stored);
  };
  Cells cells{std::int64_t{record.event_type},
              Cell(),
              Cell(),
              text(kFields[0]),
              text(kFields[1]),
              operation.old_path,
              operation.path,
              std::int64_t{record.event_isFolder},
              std::int64_t{record.event_action},
              std::int64_t{record.event_filesize},
              text(kFields[2]),
              text(kFields[3]),
              text(kFields[4]),
              std::string(),
              std::int64_t{0}};
  for (const Member& member : members) {
    if (!member.null && !member.text.empty() && (member.key == "event_date" || member.key == "event_time")) {
      *cell_of(cells, kLog.columns, member.key) = member.text;
    }
  }
  keep_texts_for_none(cells, kLog.columns, members);
  return cells;
}

}  // namespace annalctl::fileop
