// Every exported function with a good call of it: what the instruments walk through. A function that is not listed here
// is missed by a test of its own.
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

// The log that a call works on, and what it finds there.
enum class Log { kNone, kEvents, kConnections, kFileOperations, kNotices };
enum class Start {
  kAbsent,     // no file
  kFilled,     // three entries, and a trigger that keeps it at three
  kUnlimited,  // the same without a trigger
  kOld,        // as an earlier release made it: without the last columns
};

// Where a test keeps its file operations: their callers name the file.
inline constexpr const char* kFileOpLog = "/etc/logs/fileop.log";

const char* path_of(Log log);

// Brings a log into this state. Without faults only.
void set_up(Log log, Start start);

// What became of a call that met a fault.
struct Outcome {
  int result;
  std::string output;  // the rows it delivered, or the number it wrote
  Content found;
  int faults;  // that it met
};

struct Expectation {
  Content before;
  Content after;  // what the call leaves when nothing fails
  std::string output;
};

// What a function's description allows beside all or nothing.
using Allowance = bool (*)(const Outcome& outcome, const Expectation& expected);

struct Scenario {
  const char* function;
  const char* variant;  // empty where one call says all
  Log log;
  Start start;
  std::function<int(std::string& output)> call;
  int success;
  std::vector<int> failures;  // the documented codes that say that nothing was changed
  int waits;                  // how many times it may wait for a lock
  Allowance allows;
  std::vector<int> partial_failures{};  // the codes that say that a part was done, which the allowance knows
  int wait_milliseconds = 20000;        // each time
};

// True when a function's description allows what became of a call, and what it left.
bool is_described(const Scenario& scenario, const Outcome& outcome, const Expectation& expected);

void PrintTo(const Scenario& scenario, std::ostream* out);
std::string name_of(const Scenario& scenario);

const std::vector<Scenario>& scenarios();

}  // namespace annal::test
