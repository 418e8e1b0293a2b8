// Hands notices to the device's notification command.
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "Corix_annal.h"
#include "common/argument_vector.h"
#include "common/client_details.h"
#include "common/detached.h"
#include "common/not_cancelled.h"
#include "platform/platform.h"

namespace annal {

namespace {

constexpr char kNotify[] = "/usr/local/sbin/notify";
constexpr char kSendToUsers[] = "send2";
constexpr char kLogTool[] = "/sbin/log_tool";

constexpr int kNotRun = -1;  // the value that zeno_exec_v returns

// Notices of these types are for users, not for the event log: without the command they are dropped.
constexpr bool only_for_users(int type) noexcept {
  return type == 2 || type == 3;
}

// A level in the terms of the two commands.
struct Level {
  const char* word;   // for the notification command
  const char* digit;  // for the event log's tool: the event type
};

constexpr Level kError{"error", "2"};
constexpr Level kWarning{"warn", "1"};
constexpr Level kInformation{"info", "0"};

constexpr const Level& level_of(int level) noexcept {
  switch (level) {
    case 1:
      return kError;
    case 2:
      return kWarning;
    default:
      return kInformation;
  }
}

void add_option(ArgumentVector& arguments, const char* option, const char* text) noexcept {
  if (text != nullptr) {
    arguments.add(option);
    arguments.add(text);
  }
}

void format_option(ArgumentVector& arguments, const char* option, const char* text) noexcept {
  if (text != nullptr) {
    arguments.format("--%s=%s", option, text);
  }
}

// The commands expect UTF-8 texts, whatever locale the web server has set. The setting stays, because callers rely on
// it for the programs that they run next.
int run_in_utf8(const char* path, const ArgumentVector& arguments) noexcept {
  if (!arguments.complete()) {
    return kNotRun;
  }
  const NotCancelled not_cancelled;
  setenv("LC_ALL", "en_US.UTF-8", 1);  // NOLINT(concurrency-mt-unsafe): callers keep the environment still
  return zeno_exec_v(nullptr, nullptr, nullptr, path, arguments.argv()) == kNotRun ? kNotRun : ANNAL_OK;
}

// The size of a catalog message's vector, including the closing null pointer.
constexpr std::size_t kCatalogMessageEntries = 23;
constexpr LaunchOptions kCatalogMessage{
    .first_child = LaunchOptions::FirstChild::kClosesStreams,
    .session = LaunchOptions::Session::kInherited,
    .streams = LaunchOptions::Streams::kSeparate,
    .script = LaunchOptions::Script::kRun,
    .status_without_command = 1,
};
constexpr int kNotStarted = 1;

// Callers count levels as the catalog does, the command in the opposite direction; 2 is the same in both.
constexpr int reversed_level(int level) noexcept {
  constexpr int kSame = 2;
  constexpr unsigned kReversed = 5;
  return level == kSame ? level : static_cast<int>(static_cast<unsigned>(level) ^ kReversed);
}

bool is_message(const CatalogEntry* entry) noexcept {
  return entry != nullptr && entry->app_id != nullptr && entry->category_id != nullptr && entry->msg_no != nullptr &&
         entry->msg_template != nullptr;
}

}  // namespace

}  // namespace annal

using namespace annal;

// NOLINTNEXTLINE(cert-dcl50-cpp): called from C
int annal_notice_send(const char* app_id, int level, int type, const char* category_id, const char* msg_no,
                      const char* ip, const char* user, const char* comp, const char* message, const char* param,
                      ...) noexcept {
  ArgumentVector arguments;
  if (access(kNotify, F_OK) != 0) {
    if (only_for_users(type)) {
      return ANNAL_OK;
    }
    arguments.add(kLogTool);
    arguments.add("-a");
    arguments.add(message);
    arguments.add("-t");
    arguments.add(level_of(level).digit);
    add_option(arguments, "-p", ip);
    add_option(arguments, "-u", user);
    add_option(arguments, "-m", comp);
    return run_in_utf8(kLogTool, arguments);
  }
  char type_text[sizeof "-2147483648"];  // not in the vector's text area, whose room is for the options
  (void)std::snprintf(type_text, sizeof type_text, "%d", type);
  arguments.add(kNotify);
  arguments.add(kSendToUsers);
  arguments.add("-A");
  arguments.add(app_id);
  arguments.add("-C");
  arguments.add(category_id);
  arguments.add("-M");
  arguments.add(msg_no);
  arguments.add("-l");
  arguments.add(level_of(level).word);
  arguments.add("-t");
  arguments.add(type_text);
  add_option(arguments, "-p", ip);
  add_option(arguments, "-u", user);
  format_option(arguments, "comp", comp);
  add_client_details(arguments, Key::kOption, {});
  arguments.add(message);
  va_list further;
  va_start(further, param);
  for (const char* text = param; text != nullptr; text = va_arg(further, const char*)) {
    arguments.add(text);
  }
  va_end(further);
  return run_in_utf8(kNotify, arguments);
}

// NOLINTNEXTLINE(cert-dcl50-cpp): called from C
int notify_send(const char* ip, const char* user, const char* comp, const char* client_id, const char* client_app,
                const char* client_agent, const CatalogEntry* entry, int type, int level, ...) noexcept {
  if (!is_message(entry)) {
    return ANNAL_BAD_ARGUMENT;
  }
  ArgumentVector arguments(kCatalogMessageEntries);
  arguments.add(kNotify);
  arguments.add(kSendToUsers);
  format_option(arguments, "ip", ip);
  format_option(arguments, "user", user);
  format_option(arguments, "comp", comp);
  add_client_details(arguments, Key::kOption, {client_id, client_app, client_agent});
  arguments.format("-t%d", type);
  arguments.format("-l%d", reversed_level(level));
  arguments.format("-A%s", entry->app_id);
  arguments.format("-C%s", entry->category_id);
  arguments.format("-M%s", entry->msg_no);
  arguments.add(entry->msg_template);
  va_list further;
  va_start(further, level);
  // A full vector ends the list, even without a terminating null pointer.
  while (!arguments.full()) {
    const char* const text = va_arg(further, const char*);
    if (text == nullptr) {
      break;
    }
    arguments.format("%s", text);
  }
  va_end(further);
  return run_detached(arguments, kCatalogMessage) ? static_cast<int>(ANNAL_OK) : kNotStarted;
}
