#include "tools/annalctl/conn/record.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>

#include "tools/annalctl/arguments/when.h"
#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/whole_number.h"
#include "tools/annalctl/conn/model.h"
#include "tools/annalctl/log/level.h"

namespace annalctl::conn {

namespace {

constexpr std::string_view kUnknown = "---";  // for a name: an empty one would become the appliance's own

constexpr TextField kUser{"conn_user", "--user", "user", offsetof(ConnRecord, conn_user), 64};
constexpr TextField kAddress{"conn_ip", "--ip", "address", offsetof(ConnRecord, conn_ip), 64, FieldKind::kAddress};
constexpr TextField kComputer{"conn_comp", "--computer", "computer", offsetof(ConnRecord, conn_comp), 64};
constexpr TextField kResource{"conn_res", "resource", "resource", offsetof(ConnRecord, conn_res), 1024};
constexpr TextField kApp{"conn_app", "--app", "application", offsetof(ConnRecord, conn_app), 256};

// The library does not look at the client fields, and reads a longer one on into the next.
constexpr std::array kFields{
    kUser,
    kAddress,
    kComputer,
    kResource,
    kApp,
    TextField{"conn_client_id", "--client-id", "client id", offsetof(ConnRecord, conn_client_id), 64},
    TextField{"conn_client_app", "--client-app", "client application", offsetof(ConnRecord, conn_client_app), 128},
    TextField{"conn_client_agent", "--client-agent", "client agent", offsetof(ConnRecord, conn_client_agent), 256},
};

struct NumberField {
  std::string_view column;
  std::int32_t ConnRecord::*number;
  int most;
};

constexpr std::array kNumbers{
    NumberField{"conn_serv", &ConnRecord::conn_serv, kHighestService},
    NumberField{"conn_action", &ConnRecord::conn_action, kHighestAction},
};

// What the log gives an entry itself.
constexpr std::array<std::string_view, 3> kGiven{"conn_id", "conn_date", "conn_time"};

std::int32_t number_from(const JsonMember& member, int most) {
  const std::string_view text = member.text;
  const auto number = whole_number<std::int32_t>(text);
  if (!number || *number < 0 || *number > most) {
    throw Refusal(fmt::format("{} is '{}', and not a number from 0 to {}", member.key, text, most));
  }
  return *number;
}

std::int32_t level_from(const JsonMember& member) {
  const std::optional<unsigned> level = code_of(kLevels, member.text);
  if (!level) {
    throw Refusal(fmt::format("conn_type is '{}', and not one of {} or 0, 1, 2", member.text, names_of(kLevels)));
  }
  return static_cast<std::int32_t>(*level);
}

std::int32_t result_from(const JsonMember& member) {
  const std::int32_t result = number_from(member, kFailed);
  if (result != kSucceeded && result != kFailed) {
    throw Refusal(fmt::format("conn_action_result is '{}', and neither {} nor {}", member.text,
                              static_cast<int>(kSucceeded), static_cast<int>(kFailed)));
  }
  return result;
}

void set_member(ConnRecord& record, const JsonMember& member) {
  if (std::find(kGiven.begin(), kGiven.end(), member.key) != kGiven.end()) {
    return;
  }
  for (const NumberField& field : kNumbers) {
    if (field.column == member.key) {
      record.*field.number = number_from(member, field.most);
      return;
    }
  }
  if (member.key == "conn_type") {
    record.conn_type = level_from(member);
  } else if (member.key == "conn_action_result") {
    record.conn_action_result = result_from(member);
  } else if (const TextField* field = find_field(kTextFields, member.key)) {
    set_text(&record, *field, member.text);
  } else {
    throw Refusal(fmt::format("'{}' is no column of the connection log", member.key));
  }
}

}  // namespace

const std::span<const TextField> kTextFields = kFields;

ConnRecord record_of(const LogLine& line, const LogIn& log_in) {
  if (log_in.address.empty() || log_in.address == kUnknown) {
    throw Refusal("it does not say from where somebody wanted to log in");
  }
  ConnRecord record{};
  record.conn_type = static_cast<std::int32_t>(log_in.accepted ? Severity::kInformation : Severity::kWarning);
  record.conn_action_result = log_in.accepted ? kSucceeded : kFailed;
  const DateAndTime when = date_and_time(line.time);
  set_text(&record, kUser, log_in.user.empty() ? kUnknown : log_in.user);
  set_text(&record, kAddress, log_in.address);
  set_text(&record, kComputer, kUnknown);
  set_text(&record, kApp, line.program);
  set_text(&record, kResource, fmt::format("{} {} {}: {}", when.date, when.time, line.host, line.text));
  return record;
}

ConnRecord record_of(const std::vector<JsonMember>& members) {
  ConnRecord record{};
  for (const JsonMember& member : members) {
    if (!member.null) {
      set_member(record, member);
    }
  }
  return record;
}

}  // namespace annalctl::conn
