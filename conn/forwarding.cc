// Sends stored connections to the log centre, to syslog and to the recorder.
#include "conn/forwarding.h"

#include <sys/stat.h>

#include <cstdint>
#include <ctime>

#include "common/argument_vector.h"
#include "common/client_details.h"
#include "common/decimal.h"
#include "common/detached.h"
#include "common/kept_errno.h"
#include "common/not_cancelled.h"
#include "common/recorder.h"
#include "platform/platform.h"

namespace annal {

namespace {

constexpr std::size_t kLogCentreEntries = 15;
constexpr LaunchOptions kLogCentre{
    .first_child = LaunchOptions::FirstChild::kKeepsStreams,
    .session = LaunchOptions::Session::kInherited,
    .streams = LaunchOptions::Streams::kSeparate,
    .script = LaunchOptions::Script::kRun,
    .status_without_command = 1,
};

// The actions that the recorder receives.
constexpr unsigned kFirstRecorded = 9;
constexpr unsigned kLastRecorded = 11;

// The log centre takes bit sets: number 1 is the lowest bit; a number below 1 gives the empty set.
std::uint64_t bit_of(int number) noexcept {
  constexpr unsigned kBits = 63;
  return number > 0 ? std::uint64_t{1} << (static_cast<unsigned>(number - 1) & kBits) : 0;
}

// The log centre has always received the action before the service, although the record has them the other way round.
void send_to_log_centre(const ConnRecord& record) noexcept {
  ArgumentVector arguments(kLogCentreEntries);
  arguments.add("/usr/local/sbin/evsh");
  arguments.add("lumo.add_local_access_log");
  constexpr unsigned kTypeBits = 31;
  arguments.join("level=",
                 Decimal(static_cast<int>(1U << (static_cast<unsigned>(record.conn_type) & kTypeBits))).text());
  arguments.join("ip=", record.conn_ip);
  arguments.join("user=", record.conn_user);
  arguments.join("computer=", record.conn_comp);
  arguments.join("resource=", record.conn_res);
  arguments.join("action=", Decimal(bit_of(record.conn_action)).text());
  arguments.join("service=", Decimal(bit_of(record.conn_serv)).text());
  arguments.join("application=", record.conn_app);
  arguments.join("action_result=", Decimal(bit_of(record.conn_action_result)).text());
  add_client_details(arguments, Key::kPlain,
                     {unless_empty(record.conn_client_id), unless_empty(record.conn_client_app),
                      unless_empty(record.conn_client_agent)});
  run_detached(arguments, kLogCentre);
}

// The recorder's tool has always received this for a missing text.
constexpr const char* or_null_text(const char* text) noexcept {
  return text != nullptr ? text : "(null)";
}

}  // namespace

void forward(const ConnRecord& record) noexcept {
  const NotCancelled not_cancelled;  // every consumer gets a stored entry
  send_to_log_centre(record);
  SendConnToZSyslogd(record.conn_type, record.conn_user, record.conn_ip, record.conn_comp, record.conn_serv,
                     record.conn_action, record.conn_res);
  send_conn_log_to_orca(record.conn_type, record.conn_user, record.conn_ip, record.conn_comp, record.conn_serv,
                        record.conn_action, record.conn_res);
}

}  // namespace annal

using namespace annal;

int send_conn_log_to_orca(int type, const char* user, const char* ip, const char* comp, int serv, int action,
                          const char* res) noexcept {
  const KeptErrno kept;
  struct stat installed;
  if (static_cast<unsigned>(action) < kFirstRecorded || static_cast<unsigned>(action) > kLastRecorded ||
      stat(kRecorderInstalled, &installed) != 0) {
    return ANNAL_OK;
  }
  ArgumentVector arguments;
  arguments.add(kRecorderInstalled);
  arguments.add("-t");
  arguments.format("%d", type);
  arguments.add("-l");  // the tool's letter for the time
  arguments.format("%llu", static_cast<unsigned long long>(std::time(nullptr)));
  arguments.add("-u");
  arguments.add(or_null_text(user));
  arguments.add("-p");
  arguments.add(or_null_text(ip));
  arguments.add("-m");
  arguments.add(or_null_text(comp));
  arguments.add("-s");
  arguments.format("%d", serv);
  arguments.add("-c");
  arguments.format("%d", action);
  arguments.add("-a");
  arguments.add(or_null_text(res));
  run_detached(arguments, kRecorder);
  return ANNAL_OK;
}
