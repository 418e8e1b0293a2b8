// Every exported function with a valid call. The tests walk through this list; TrustRegistry fails if a function is
// missing.
#pragma once

#include <cstddef>
#include <cstring>
#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

#include "Corix_annal.h"
#include "tests/trust/harness/log_state.h"

namespace annal::test {

// ---- entries that the calls store ----

inline constexpr int kTimeOfEntries = 1768474800;  // 2026-01-15 11:00:00 UTC

template <std::size_t size>
void put(char (&field)[size], const char* text) {
  std::strncpy(field, text, size - 1);
}

template <typename Record>
Record an_event(const char* text) {
  Record record{};
  record.event_type = 1;
  put(record.event_user, "anna");
  put(record.event_ip, "10.0.0.5");
  put(record.event_desc, text);
  if constexpr (requires { record.event_timet; }) {
    record.event_timet = kTimeOfEntries;
  }
  return record;
}

template <typename Record>
Record a_connection(const char* resource) {
  Record record{};
  record.conn_type = 1;
  put(record.conn_user, "anna");
  put(record.conn_ip, "10.0.0.5");
  put(record.conn_res, resource);
  record.conn_serv = 2;
  record.conn_action = 9;
  return record;
}

inline FileOpRecord a_file_operation(const char* path) {
  FileOpRecord record{};
  record.event_type = 1;
  record.event_tm.tm_year = 126;
  record.event_tm.tm_mday = 15;
  record.event_tm.tm_hour = 12;
  put(record.event_user, "anna");
  put(record.event_ip, "10.0.0.5");
  record.event_filepath = path;
  record.event_action = 3;
  return record;
}

inline NoticeRecord a_notice(const char* text) {
  NoticeRecord record{};
  record.severity = 4;
  put(record.user, "anna");
  put(record.ip, "10.0.0.5");
  put(record.desc, text);
  return record;
}

// ---- calls ----

// The log that a call works on, and its initial state.
enum class Log { kNone, kEvents, kConnections, kFileOperations, kNotices };
enum class Start {
  kAbsent,     // no file
  kFilled,     // three entries, and a trigger that keeps it at three
  kUnlimited,  // the same without a trigger
  kOld,        // of an earlier release: without the last columns
};

// The tests' file-operation log; its callers name the file.
inline constexpr const char* kFileOpLog = "/etc/logs/fileop.log";

const char* path_of(Log log);

// Puts a log into this state. Only without faults.
void set_up(Log log, Start start);

// The outcome of a call that met a fault.
struct Outcome {
  int result;
  std::string output;  // the rows it delivered, or the number it stored
  Content found;
  int faults;  // number of faults
};

struct Expectation {
  Content before;
  Content after;  // the log's content if nothing fails
  std::string output;
};

// What a function's documentation allows besides all or nothing.
using Allowance = bool (*)(const Outcome& outcome, const Expectation& expected);

struct Scenario {
  const char* function;
  const char* variant;  // empty if there is only one call
  Log log;
  Start start;
  std::function<int(std::string& output)> call;
  int success;
  std::vector<int> failures;  // documented codes that mean that nothing changed
  int waits;                  // the maximum number of waits for a lock
  Allowance allows;
  std::vector<int> partial_failures{};  // codes for a partial change; the allowance checks these
  int wait_milliseconds = 20000;        // each time
};

// True if a function's documentation allows a call's outcome and the log's content after it.
bool is_described(const Scenario& scenario, const Outcome& outcome, const Expectation& expected);

void PrintTo(const Scenario& scenario, std::ostream* out);
std::string name_of(const Scenario& scenario);

const std::vector<Scenario>& scenarios();

}  // namespace annal::test
