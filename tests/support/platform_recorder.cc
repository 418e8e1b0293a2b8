// Interposes the platform's functions.
#include "tests/support/platform_recorder.h"

#include <map>
#include <mutex>

#include "platform/platform.h"
#include "tests/support/from_library.h"

namespace annal::test {

namespace {

struct State {
  std::mutex mutex;
  std::vector<std::string> calls;
  std::map<std::string, int, std::less<>> answers;
  std::map<std::string, std::function<void()>, std::less<>> actions;
};

State& state() {
  static State instance;
  return instance;
}

std::string written(int value) {
  return std::to_string(value);
}

std::string written(const void* pointer) {
  return pointer == nullptr ? "NULL" : "(pointer)";
}

std::string written(const char* text) {
  return text == nullptr ? "NULL" : '"' + std::string(text) + '"';
}

std::string written(char* const argv[]) {
  std::string texts = "{";
  for (; *argv != nullptr; ++argv) {
    texts += written(static_cast<const char*>(*argv)) + ", ";
  }
  return texts + "NULL}";
}

template <typename... Arguments>
std::string call_text(const char* function, Arguments... arguments) {
  std::string text = std::string(function) + "(";
  const char* separator = "";
  ((text += separator + written(arguments), separator = ", "), ...);
  return text + ")";
}

// Records a call, then passes it to the real function or returns the test's value.
template <typename... Arguments>
int pass_on(bool traced, const char* name, int (* /*interposed*/)(Arguments...), Arguments... arguments) {
  if (traced) {
    const std::lock_guard lock(state().mutex);
    if (const auto action = state().actions.find(name); action != state().actions.end()) {
      action->second();
    }
    state().calls.push_back(call_text(name, arguments...));
    const auto found = state().answers.find(name);
    if (found != state().answers.end()) {
      return found->second;
    }
  }
  return reinterpret_cast<int (*)(Arguments...)>(next_function(name))(arguments...);
}

}  // namespace

const std::vector<std::string>& PlatformRecorder::calls() {
  return state().calls;
}

std::vector<std::string> PlatformRecorder::calls_of(std::string_view function) {
  std::vector<std::string> found;
  for (const std::string& call : state().calls) {
    if (call.starts_with(std::string(function) + "(")) {
      found.push_back(call);
    }
  }
  return found;
}

void PlatformRecorder::answer(std::string_view function, int value) {
  const std::lock_guard lock(state().mutex);
  state().answers[std::string(function)] = value;
}

void PlatformRecorder::meanwhile(std::string_view function, std::function<void()> action) {
  const std::lock_guard lock(state().mutex);
  state().actions[std::string(function)] = std::move(action);
}

void PlatformRecorder::reset() {
  const std::lock_guard lock(state().mutex);
  state().calls.clear();
  state().answers.clear();
  state().actions.clear();
}

}  // namespace annal::test

using annal::test::pass_on;

int IS_IPv6_Address(const char* text) {
  return pass_on(CALLED_BY_LIBRARY(), __func__, &IS_IPv6_Address, text);
}

int Is_Valid_Source(const char* text) {
  return pass_on(CALLED_BY_LIBRARY(), __func__, &Is_Valid_Source, text);
}

int Skip_Unicode_Control_Characters(char* text) {
  return pass_on(CALLED_BY_LIBRARY(), __func__, &Skip_Unicode_Control_Characters, text);
}

int zeno_exec_v(const void* unused1, const void* unused2, const void* unused3, const char* path, char* const argv[]) {
  return pass_on(CALLED_BY_LIBRARY(), __func__, &zeno_exec_v, unused1, unused2, unused3, path, argv);
}

int SNMPTrap_Send_Alert(const char* message, int type) {
  return pass_on(CALLED_BY_LIBRARY(), __func__, &SNMPTrap_Send_Alert, message, type);
}

int SendEventToZSyslogd(int type, const char* user, const char* ip, const char* comp, const char* app_name,
                        const char* category, const char* message) {
  return pass_on(CALLED_BY_LIBRARY(), __func__, &SendEventToZSyslogd, type, user, ip, comp, app_name, category,
                 message);
}

int SendNoticeToLogEngine(int severity, int arg2, const char* arg3, const char* arg4, int arg5, const char* arg6,
                          int arg7, int arg8, int arg9, const char* user, const char* ip, const char* comp,
                          const char* arg13, const char* arg14, const char* arg15, const char* message) {
  return pass_on(CALLED_BY_LIBRARY(), __func__, &SendNoticeToLogEngine, severity, arg2, arg3, arg4, arg5, arg6, arg7,
                 arg8, arg9, user, ip, comp, arg13, arg14, arg15, message);
}

int SendConnToZSyslogd(int type, const char* user, const char* ip, const char* comp, int serv, int action,
                       const char* resource) {
  return pass_on(CALLED_BY_LIBRARY(), __func__, &SendConnToZSyslogd, type, user, ip, comp, serv, action, resource);
}
