// Sends stored events to the notification centre, SNMP, the log centre, syslog, the notice engine and the
// recorder.
#include "event/forwarding.h"

#include <sys/stat.h>

#include <cstdio>
#include <iterator>
#include <string_view>

#include "common/argument_vector.h"
#include "common/client_details.h"
#include "common/command_input.h"
#include "common/decimal.h"
#include "common/detached.h"
#include "common/held_sigpipe.h"
#include "common/kept_errno.h"
#include "common/not_cancelled.h"
#include "common/record.h"
#include "common/recorder.h"
#include "platform/platform.h"

namespace annal {

namespace {

// The notification centre's numbers for the levels; any other level is 0.
constexpr char kNotificationLevels[] = {'1', '2', '4'};
constexpr char kNotificationCentre[] = "/usr/local/sbin/evsh -0 nc.send_message >/dev/null 2>&1";

constexpr std::size_t kLogCentreEntries = 15;
constexpr LaunchOptions kLogCentre{
    .first_child = LaunchOptions::FirstChild::kClosesStreams,
    .session = LaunchOptions::Session::kInherited,
    .streams = LaunchOptions::Streams::kSeparate,
    .script = LaunchOptions::Script::kRun,
    .status_without_command = 1,
};

constexpr int kWarning = 1;
constexpr int kError = 2;

void add_unless_empty(ArgumentVector& arguments, std::string_view name, const char* text) noexcept {
  if (*text != '\0') {
    arguments.join(name, text);
  }
}

// Writes one object without a trailing newline. Other bytes need no escape: a stored message has no control characters.
void write_notification(CommandInput& input, char level, const char* message) noexcept {
  input.put(R"({"type":1,"level":)");
  input.put(level);
  input.put(R"(,"message":")");
  for (; *message != '\0'; ++message) {
    if (*message == '\\' || *message == '"') {
      input.put('\\');
    }
    input.put(*message);
  }
  input.put("\"}");
}

// The notice engine's own numbers, defined there.
void send_to_notice_engine(const EventRecord& record) noexcept {
  SendNoticeToLogEngine(ChangeLogTypeToNoticeSeverity(record.event_type), 0, nullptr, "", 8, "", 0, -1, 0,
                        record.event_user, record.event_ip, record.event_comp, nullptr, nullptr, nullptr,
                        record.event_desc);
}

}  // namespace

void forward(const EventRecord& record) noexcept {
  const NotCancelled not_cancelled;  // every consumer gets a stored entry
  annal_report_event(static_cast<unsigned>(record.event_type), record.event_desc);
  SNMPTrap_Send_Alert(record.event_desc, record.event_type);
  SendEventToLumod(&record);
  SendEventToZSyslogd(record.event_type, record.event_user, record.event_ip, record.event_comp, record.event_app_name,
                      record.event_category, record.event_desc);
  if (record.event_type == kWarning || record.event_type == kError) {
    send_to_notice_engine(record);
  }
  send_event_log_to_orca(&record, static_cast<unsigned long>(record.event_timet));
}

}  // namespace annal

using namespace annal;

int annal_report_event(unsigned type, const char* message) noexcept {
  const KeptErrno kept;
  const NotCancelled not_cancelled;
  // Close-on-exec, so that a command that another thread starts meanwhile does not inherit the pipe: this command would
  // then never see the end of its input.
  std::FILE* const command = popen(kNotificationCentre, "we");  // NOLINT(cert-env33-c): the text is constant
  if (command == nullptr) {
    return ANNAL_OK;
  }
  HeldSigpipe held;  // only now: the command must inherit the caller's own signal mask
  {
    CommandInput input(fileno(command), held);
    const char level = type < std::size(kNotificationLevels) ? kNotificationLevels[type] : '0';
    write_notification(input, level, message != nullptr ? message : "");
  }
  pclose(command);
  return ANNAL_OK;
}

void SendEventToLumod(const EventRecord* record) noexcept {
  if (record == nullptr || record->event_desc[0] == '\0') {
    return;
  }
  EventRecord room;
  const EventRecord& event = terminated<kEventTextsEnd>(*record, room);
  ArgumentVector arguments(kLogCentreEntries);
  // Copied although both outlive the vector: the room they take decides where later texts are cut.
  arguments.join("/usr/local/sbin/evsh");
  arguments.join("lumo.add_local_event_log");
  constexpr unsigned kTypeBits = 31;
  arguments.join("level=",
                 Decimal(static_cast<int>(1U << (static_cast<unsigned>(event.event_type) & kTypeBits))).text());
  if (event.event_timet != 0) {
    arguments.join("timestamp=", Decimal(static_cast<int>(event.event_timet)).text());
  }
  add_unless_empty(arguments, "user=", event.event_user);
  add_unless_empty(arguments, "ip=", event.event_ip);
  add_unless_empty(arguments, "computer=", event.event_comp);
  add_unless_empty(arguments, "application=", event.event_app_name);
  add_unless_empty(arguments, "category=", event.event_category);
  add_unless_empty(arguments, "message=", event.event_desc);
  add_client_details(arguments, Key::kPlain,
                     {unless_empty(event.event_client_id), unless_empty(event.event_client_app),
                      unless_empty(event.event_client_agent)});
  run_detached(arguments, kLogCentre);
}

int send_event_log_to_orca(const EventRecord* record, unsigned long timestamp) noexcept {
  const KeptErrno kept;
  struct stat installed;
  if (record == nullptr || stat(kRecorderInstalled, &installed) != 0) {
    return ANNAL_OK;
  }
  EventRecord room;
  const EventRecord& event = terminated<kEventTextsEnd>(*record, room);
  ArgumentVector arguments;
  arguments.add("/sbin/orcapro_log_tool");
  arguments.add("-t");
  arguments.format("%d", event.event_type);
  arguments.add("-l");  // the tool's letter for the time stamp
  arguments.format("%lu", timestamp);
  arguments.add("-u");
  arguments.add(event.event_user);
  arguments.add("-p");
  arguments.add(event.event_ip);
  arguments.add("-m");
  arguments.add(event.event_comp);
  arguments.add("-a");
  arguments.add(event.event_desc);
  run_detached(arguments, kRecorder);
  return ANNAL_OK;
}
