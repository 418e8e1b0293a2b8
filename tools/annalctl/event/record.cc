#include "tools/annalctl/event/record.h"

#include <fmt/format.h>

#include <array>
#include <cstddef>

#include "tools/annalctl/arguments/time_text.h"
#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/whole_number.h"
#include "tools/annalctl/event/model.h"
#include "tools/annalctl/log/level.h"

namespace annalctl::event {

namespace {

constexpr TextField kUser{"event_user", "--user", "user", offsetof(EventRecord, event_user), 64};
constexpr TextField kAddress{"event_ip", "--ip", "address", offsetof(EventRecord, event_ip), 64, FieldKind::kAddress};
constexpr TextField kComputer{"event_comp", "--computer", "computer", offsetof(EventRecord, event_comp), 64};
constexpr TextField kMessage{"event_desc", "message", "message", offsetof(EventRecord, event_desc), 2048};
constexpr TextField kAppId{"event_app_id", "--app-id", "application id", offsetof(EventRecord, event_app_id), 64};
constexpr TextField kApp{"event_app_name", "--app", "application", offsetof(EventRecord, event_app_name), 128};
constexpr TextField kCategory{"event_category", "--category", "category", offsetof(EventRecord, event_category), 128};

// The library replaces an identifier that is too long and does not look at the client fields; neither would be what
// was asked for.
constexpr std::array kFields{
    kUser,
    kAddress,
    kComputer,
    kMessage,
    TextField{"event_msgid", "--msgid", "message id", offsetof(EventRecord, event_msgid), 64},
    kAppId,
    kApp,
    TextField{"event_category_id", "--category-id", "category id", offsetof(EventRecord, event_category_id), 64},
    kCategory,
    TextField{"event_client_id", "--client-id", "client id", offsetof(EventRecord, event_client_id), 64},
    TextField{"event_client_app", "--client-app", "client application", offsetof(EventRecord, event_client_app), 128},
    TextField{"event_client_agent", "--client-agent", "client agent", offsetof(EventRecord, event_client_agent), 255},
};

// What an object says about the time, until all of it is known.
struct TimeParts {
  std::optional<std::int64_t> stamp;
  std::string_view date;
  std::string_view clock;
};

std::int32_t level_from(std::string_view text) {
  const std::optional<unsigned> level = code_of(kLevels, text);
  if (!level) {
    throw Refusal(fmt::format("event_type is '{}', and not one of {} or 0, 1, 2", text, names_of(kLevels)));
  }
  return static_cast<std::int32_t>(*level);
}

std::int64_t stamp_from(std::string_view text) {
  const auto stamp = whole_number<std::int64_t>(text);
  if (!stamp) {
    throw Refusal(fmt::format("event_timet is '{}', and not a whole number of seconds", text));
  }
  return *stamp;
}

std::int64_t time_from(const TimeParts& parts) {
  if (parts.stamp && *parts.stamp != 0) {
    return storable_time(*parts.stamp);
  }
  if (parts.date.empty() && parts.clock.empty()) {
    return 0;
  }
  const std::string joined = fmt::format("{} {}", parts.date, parts.clock);
  const std::optional<std::int64_t> seconds = parse_time(joined);
  if (!seconds) {
    throw Refusal(fmt::format("event_date and event_time are '{}', and not a date and a time", joined));
  }
  return storable_time(*seconds);
}

void set_member(EventRecord& record, TimeParts& time, const JsonMember& member) {
  if (member.key == "event_id") {
    return;  // A stored entry always gets an id of its own.
  }
  if (member.key == "event_type") {
    record.event_type = level_from(member.text);
  } else if (member.key == "event_timet") {
    time.stamp = stamp_from(member.text);
  } else if (member.key == "event_date") {
    time.date = member.text;
  } else if (member.key == "event_time") {
    time.clock = member.text;
  } else if (const TextField* field = find_field(kTextFields, member.key)) {
    set_text(&record, *field, member.text);
  } else {
    throw Refusal(fmt::format("'{}' is no column of the event log", member.key));
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
  // The user was picked out of the text, where it stays: one that does not fit costs nothing.
  if (line.user.size() <= kUser.bound) {
    set_text(&record, kUser, line.user);
  }
  return record;
}

EventRecord record_of(const std::vector<JsonMember>& members) {
  EventRecord record{};
  TimeParts time;
  for (const JsonMember& member : members) {
    if (!member.null) {
      set_member(record, time, member);
    }
  }
  record.event_timet = time_from(time);
  return record;
}

}  // namespace annalctl::event
