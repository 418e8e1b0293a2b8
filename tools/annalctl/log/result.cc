// Turns result codes into messages.
#include "tools/annalctl/log/result.h"

#include <fmt/format.h>

#include <array>
#include <optional>

#include "Corix_annal.h"
#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/sqlite.h"
#include "tools/annalctl/log/diagnosis.h"

namespace annalctl {

namespace {

struct CodeText {
  int code;
  const char* text;
};

constexpr std::array kCodeTexts{
    CodeText{ANNAL_TOO_LONG, "a field is too long"},
    CodeText{ANNAL_BAD_ARGUMENT, "a value is out of range"},
    CodeText{ANNAL_NO_MEMORY, "out of memory"},
    CodeText{ANNAL_OPEN_FAILED, "the file could not be opened"},
    CodeText{ANNAL_TABLE_FAILED, "the table could not be created"},
    CodeText{ANNAL_EMPTY_FAILED, "the table could not be emptied"},
    CodeText{ANNAL_INSERT_FAILED, "the entry could not be stored"},
    CodeText{ANNAL_QUERY_FAILED, "the query failed"},
    CodeText{ANNAL_TRIGGER_FAILED, "the size limit could not be set or applied"},
    CodeText{ANNAL_REMOVE_TRIGGER_FAILED, "the size limit could not be removed"},
    CodeText{ANNAL_CHANGE_FAILED, "the change could not be made"},
    CodeText{ANNAL_BATCH_FAILED, "the entries could not be stored"},
};

}  // namespace

std::string code_text(int code) {
  for (const CodeText& known : kCodeTexts) {
    if (known.code == code) {
      return known.text;
    }
  }
  return "an unknown result";
}

bool check_log_exists(const Log& log) {
  const std::optional<std::string> obstacle = file_obstacle(log, Purpose::kReading);
  if (obstacle) {
    complain(fmt::format("cannot open {}: {}", log.path, *obstacle));
  }
  return !obstacle;
}

std::string failure_text(const Call& call, int code, const std::string& seen) {
  // Before looking at the log, which may fail itself.
  const std::optional<int> sqlite_code = failure_since(call.begun);
  if (const std::optional<std::string> obstacle = file_obstacle(call.log, call.purpose)) {
    return fmt::format("cannot open {}: {}", call.log.path, *obstacle);
  }
  // What a command has seen says more than SQLite's code, unless the state of the log explains it.
  const std::optional<std::string> reason =
      sqlite_code && seen.empty() ? reason_of(call.log, *sqlite_code) : std::nullopt;
  if (reason) {
    return fmt::format("cannot {}: {}", call.doing, *reason);
  }
  if (const std::optional<std::string> cause = statement_obstacle(call, code)) {
    return fmt::format("cannot {}: {}", call.doing, *cause);
  }
  if (!seen.empty()) {
    return fmt::format("cannot {}: {}", call.doing, seen);
  }
  const bool of_values = code == ANNAL_TOO_LONG || code == ANNAL_BAD_ARGUMENT || code == ANNAL_NO_MEMORY;
  const std::string advice =
      of_values ? ""
                : fmt::format(" (run 'annalctl {}{} check', which says what helps)", call.log.name, call.log.options);
  return fmt::format("cannot {}: the library answered {} ({}) on {}{}", call.doing, code, code_text(code),
                     call.log.path, advice);
}

int report(const Call& call, int code, const std::string& seen) {
  if (code == ANNAL_OK) {
    return kSuccess;
  }
  complain(failure_text(call, code, seen));
  return kFailure;
}

}  // namespace annalctl
