// Fills a connection's record from options, JSON members or a parsed line.
#include "tools/annalctl/conn/record.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>

#include "tools/annalctl/arguments/time_text.h"
#include "tools/annalctl/arguments/when.h"
#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/conn/model.h"
#include "tools/annalctl/import/member_values.h"

namespace annalctl::conn {

namespace {

constexpr char kUnknown[] = "---";  // for a name: the library replaces an empty one by its own

// With the values that a batch stores for missing texts. All connections are stored in batches here.
constexpr TextField kUser = text_field("conn_user", "--user", "user", offsetof(ConnRecord, conn_user), 64, "System");
constexpr TextField kAddress{"conn_ip",           "--ip",     "address", offsetof(ConnRecord, conn_ip), 64,
                             FieldKind::kAddress, "127.0.0.1"};
constexpr TextField kComputer =
    text_field("conn_comp", "--computer", "computer", offsetof(ConnRecord, conn_comp), 64, "localhost");
constexpr TextField kResource{"conn_res", "RESOURCE",         "resource", offsetof(ConnRecord, conn_res),
                              1024,       FieldKind::kMessage};
constexpr TextField kApp =
    text_field("conn_app", "--app", "application", offsetof(ConnRecord, conn_app), 256, kUnknown);
constexpr TextField kClientApp = text_field("conn_client_app", "--client-app", "client application",
                                            offsetof(ConnRecord, conn_client_app), 128, kUnknown);

// The library does not check the client fields, and reads on into the next one if one is too long.
constexpr std::array kFields{
    kUser,
    kAddress,
    kComputer,
    kResource,
    kApp,
    text_field("conn_client_id", "--client-id", "client id", offsetof(ConnRecord, conn_client_id), 64, kUnknown),
    kClientApp,
    text_field("conn_client_agent", "--client-agent", "client agent", offsetof(ConnRecord, conn_client_agent), 256,
               kUnknown),
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

// Set by the log itself.
constexpr std::array<std::string_view, 3> kGiven{"conn_id", "conn_date", "conn_time"};

std::int32_t result_from(const Member& member) {
  const auto result = static_cast<std::int32_t>(number_from(member, kSucceeded, kFailed));
  if (result != kSucceeded && result != kFailed) {
    throw Refusal(fmt::format("conn_action_result is '{}', and neither {} nor {}", member.text,
                              static_cast<int>(kSucceeded), static_cast<int>(kFailed)));
  }
  return result;
}

void set_member(ConnRecord& record, const Member& member) {
  if (std::find(kGiven.begin(), kGiven.end(), member.key) != kGiven.end()) {
    return;
  }
  for (const NumberField& field : kNumbers) {
    if (field.column == member.key) {
      record.*field.number = static_cast<std::int32_t>(number_from(member, 0, field.most));
      return;
    }
  }
  if (member.key == "conn_type") {
    record.conn_type = static_cast<std::int32_t>(level_from(member));
  } else if (member.key == "conn_action_result") {
    record.conn_action_result = result_from(member);
  } else if (const TextField* field = find_field(kTextFields, member.key)) {
    set_text(&record, *field, member.text);
  } else {
    throw Refusal(fmt::format("'{}' is not a column of the connection log", member.key));
  }
}

}  // namespace

const std::span<const TextField> kTextFields = kFields;

ConnRecord record_of(const LogLine& line, const LogIn& log_in) {
  if (log_in.address == kUnknown) {
    throw Refusal("it does not say from where somebody wanted to log in");
  }
  ConnRecord record{};
  record.conn_type = static_cast<std::int32_t>(log_in.accepted ? Severity::kInformation : Severity::kWarning);
  record.conn_action_result = log_in.accepted ? kSucceeded : kFailed;
  set_text(&record, kUser, log_in.user.empty() ? kUnknown : log_in.user);
  set_text(&record, kAddress, log_in.address);
  set_text(&record, kComputer, kUnknown);
  set_text(&record, kApp, line.program);
  set_text(&record, kResource, line.host.empty() ? line.text : fmt::format("{}: {}", line.host, line.text));
  return record;
}

void put_time_into_resource(ConnRecord& record, std::int64_t time) {
  const DateAndTime when = date_and_time(time);
  set_text(&record, kResource, fmt::format("{} {} {}", when.date, when.time, record.conn_res));
}

ConnRecord record_of(const Members& members) {
  ConnRecord record{};
  for (const Member& member : members) {
    if (!member.null) {
      set_member(record, member);
    }
  }
  return record;
}

Cells cells_of(const ConnRecord& record) {
  Cells cells{std::int64_t{record.conn_type}, Cell(), Cell()};
  for (const TextField& field : kFields) {
    if (field.offset == kApp.offset) {
      cells.emplace_back(std::int64_t{record.conn_serv});
      cells.emplace_back(std::int64_t{record.conn_action});
    }
    // The library replaces an empty resource before it drops control characters.
    const bool none = field.offset == kResource.offset && record.conn_res[0] == '\0';
    cells.emplace_back(none ? std::string(kUnknown) : stored_text(&record, field));
    if (field.offset == kApp.offset) {
      cells.emplace_back(std::int64_t{record.conn_action_result});
    }
  }
  // An entry from the appliance's own address, without a client, is the appliance's own.
  Cell& client = *cell_of(cells, kLog.columns, kClientApp.column);
  if (std::get<std::string>(*cell_of(cells, kLog.columns, kAddress.column)).starts_with(kAddress.absent) &&
      std::get<std::string>(client).starts_with(kUnknown)) {
    client = kComputer.absent;
  }
  return cells;
}

void set_time(Cells& cells, std::int64_t time) {
  const DateAndTime when = date_and_time(time);
  *cell_of(cells, kLog.columns, kLog.date) = when.date;
  *cell_of(cells, kLog.columns, kLog.time) = when.time;
}

Cells cells_of(const ConnRecord& record, const Members& members) {
  Cells cells = cells_of(record);
  DateAndClock local(kLog);
  for (const Member& member : members) {
    local.take(member);
  }
  if (!local.empty()) {
    static_cast<void>(local.seconds());  // throws if it is not a time
    *cell_of(cells, kLog.columns, kLog.date) = std::string(local.date());
    *cell_of(cells, kLog.columns, kLog.time) = std::string(local.clock());
  }
  keep_texts_for_none(cells, kLog.columns, members);
  return cells;
}

}  // namespace annalctl::conn
