// Fills an event's record from options, JSON members or a parsed line.
#include "tools/annalctl/event/record.h"

#include <fmt/format.h>

#include <array>
#include <cstddef>
#include <ctime>

#include "tools/annalctl/arguments/time_text.h"
#include "tools/annalctl/arguments/when.h"
#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/whole_number.h"
#include "tools/annalctl/event/model.h"
#include "tools/annalctl/import/member_values.h"

namespace annalctl::event {

namespace {

constexpr char kAbsent[] = "---";
constexpr char kHostName[] = "localhost";

constexpr TextField kUser = text_field("event_user", "--user", "user", offsetof(EventRecord, event_user), 64, kAbsent);
constexpr TextField kAddress{"event_ip",          "--ip", "address", offsetof(EventRecord, event_ip), 64,
                             FieldKind::kAddress, kAbsent};
constexpr TextField kComputer{"event_comp", "--computer",     "computer", offsetof(EventRecord, event_comp),
                              64,           FieldKind::kText, kHostName};
constexpr TextField kMessage{"event_desc", "MESSAGE",          "message", offsetof(EventRecord, event_desc),
                             2048,         FieldKind::kMessage};
constexpr TextField kMessageId =
    text_field("event_msgid", "--msgid", "message id", offsetof(EventRecord, event_msgid), 64, kAbsent);
constexpr TextField kAppId =
    text_field("event_app_id", "--app-id", "application id", offsetof(EventRecord, event_app_id), 64, kAbsent);
constexpr TextField kApp =
    text_field("event_app_name", "--app", "application", offsetof(EventRecord, event_app_name), 128, kAbsent);
constexpr TextField kCategory =
    text_field("event_category", "--category", "category", offsetof(EventRecord, event_category), 128, kAbsent);
constexpr TextField kClientApp = text_field("event_client_app", "--client-app", "client application",
                                            offsetof(EventRecord, event_client_app), 128, kAbsent);
constexpr TextField kAgent = text_field("event_client_agent", "--client-agent", "client agent",
                                        offsetof(EventRecord, event_client_agent), 255, kAbsent);

// The library would replace an identifier that is too long, and does not check the client fields. So both are checked
// here.
constexpr std::array kFields{
    kUser,
    kAddress,
    kComputer,
    kMessage,
    kMessageId,
    kAppId,
    kApp,
    text_field("event_category_id", "--category-id", "category id", offsetof(EventRecord, event_category_id), 64,
               kAbsent),
    kCategory,
    text_field("event_client_id", "--client-id", "client id", offsetof(EventRecord, event_client_id), 64, kAbsent),
    kClientApp,
    kAgent,
};

// The parts of an object's time, collected member by member.
struct TimeParts {
  std::optional<std::int64_t> stamp;
  DateAndClock local{kLog};
};

// False for a member that is not part of the time.
bool set_time(TimeParts& time, const Member& member) {
  if (member.key != "event_timet") {
    return time.local.take(member);
  }
  time.stamp = whole_number<std::int64_t>(member.text);
  if (!time.stamp) {
    throw Refusal(fmt::format("event_timet is '{}', and not a whole number of seconds", member.text));
  }
  return true;
}

std::int64_t time_from(const TimeParts& parts) {
  if (parts.stamp && *parts.stamp != 0) {
    return storable_time(*parts.stamp);
  }
  return parts.local.empty() ? 0 : storable_time(parts.local.seconds());
}

void set_member(EventRecord& record, TimeParts& time, const Member& member) {
  if (member.key == "event_id" || set_time(time, member)) {
    return;  // A stored entry always gets an id of its own.
  }
  if (member.key == "event_type") {
    record.event_type = static_cast<std::int32_t>(level_from(member));
  } else if (const TextField* field = find_field(kTextFields, member.key)) {
    set_text(&record, *field, member.text);
  } else {
    throw Refusal(fmt::format("'{}' is not a column of the event log", member.key));
  }
}

}  // namespace

const std::span<const TextField> kTextFields = kFields;

EventRecord record_of(const LogLine& line) {
  EventRecord record{};
  record.event_type = static_cast<std::int32_t>(line.severity);
  record.event_timet = storable_time(line.time);
  set_text(&record, kComputer, line.host);
  set_text(&record, kApp, line.program);
  set_text(&record, kAppId, line.process);
  set_text(&record, kCategory, line.category);
  set_text(&record, kMessage, line.text);
  set_text(&record, kAddress, line.address);
  // These were found in the text and also stay there, so one that does not fit is simply left out.
  if (line.user.size() <= kUser.bound) {
    set_text(&record, kUser, line.user);
  }
  if (line.agent.size() <= kAgent.bound) {
    set_text(&record, kAgent, line.agent);
  }
  return record;
}

EventRecord record_of(const Members& members) {
  EventRecord record{};
  TimeParts time;
  for (const Member& member : members) {
    if (!member.null) {
      set_member(record, time, member);
    }
  }
  record.event_timet = time_from(time);
  return record;
}

Cells cells_of(const EventRecord& record) {
  const std::int64_t seconds = record.event_timet != 0 ? record.event_timet : std::time(nullptr);
  Cells cells{std::int64_t{record.event_type}, Cell(), Cell()};
  // For other years SQLite computes another local time.
  constexpr std::int64_t kBegin2038 = 2145916800;
  constexpr std::int64_t kDay = 86400;
  if (seconds > kDay && seconds < kBegin2038 - kDay) {
    const DateAndTime when = date_and_time(seconds);
    cells[1] = when.date;
    cells[2] = when.time;
  }
  for (const TextField& field : kFields) {
    if (field.offset == kAppId.offset) {
      cells.emplace_back(seconds);
    }
    cells.emplace_back(stored_text(&record, field));
  }
  // An event with neither an address nor a client comes from the appliance itself.
  const auto begins_absent = [](const Cell& cell) { return std::get<std::string>(cell).starts_with(kAbsent); };
  Cell& client = *cell_of(cells, kLog.columns, kClientApp.column);
  if (begins_absent(*cell_of(cells, kLog.columns, kAddress.column)) && begins_absent(client)) {
    client = std::string(kHostName);
  }
  return cells;
}

Cells cells_of(const EventRecord& record, const Members& members) {
  Cells cells = cells_of(record);
  TimeParts time;
  for (const Member& member : members) {
    if (!member.null) {
      static_cast<void>(set_time(time, member));
    }
  }
  if (time.local.complete()) {
    static_cast<void>(time.local.seconds());  // throws if it is not a time
    *cell_of(cells, kLog.columns, kLog.date) = std::string(time.local.date());
    *cell_of(cells, kLog.columns, kLog.time) = std::string(time.local.clock());
    if (time.stamp) {
      *cell_of(cells, kLog.columns, "event_timet") = *time.stamp;
    }
  }
  keep_texts_for_none(cells, kLog.columns, members);
  return cells;
}

}  // namespace annalctl::event
