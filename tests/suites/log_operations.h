// Tests common to the operations on every log's table. A log lists its operations; log_operations.cc tests each. Link
// that file into the log's test program.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "Corix_annal.h"
#include "tests/support/appliance.h"

namespace annal::test {

// The log on which its operations are tested.
struct TestedLog {
  const char* path;
  const char* table;
  const char* trigger;
  int (*create)(int limit, int batch);
  const char* entry;  // the statement that inserts the table's only entry
};

// An operation that runs one statement.
struct Operation {
  const char* name;
  int (*call)();
  Calls work;        // its SQLite calls between opening and closing
  bool waits;        // whether it waits for a lock
  bool builds_text;  // whether it builds its text from arguments
  int failure;
  int success = ANNAL_OK;
  std::optional<int> without_table{};  // if it differs from the failure
  const TestedLog* log = nullptr;      // set by tested()
};

void PrintTo(const Operation& operation, std::ostream* out);
std::string name_of(const testing::TestParamInfo<Operation>& tested);

// The operations of a suite.
enum class Which { kAll, kBuildText, kWait, kDoNotWait };

// A log's operations of this kind, for INSTANTIATE_TEST_SUITE_P.
std::vector<Operation> tested(const TestedLog& log, std::vector<Operation> operations, Which which);

class EveryOperation : public ApplianceTest, public testing::WithParamInterface<Operation> {
 protected:
  void SetUp() override;
};
class EveryBuiltOperation : public EveryOperation {};
class EveryWaitingOperation : public EveryOperation {};
class EveryNonwaitingOperation : public EveryOperation {};

// The SQLite calls of one connection to a file.
Calls connection(const char* path, const Calls& work, bool waits);

void append(Calls& calls, const Calls& more);

// A non-database file in a log's place.
void put_garbage(const char* path);

// A file's schema and every row of a table, to detect changes.
Rows content(const char* path, const char* table);

std::chrono::steady_clock::duration time_of(const std::function<void()>& call);

}  // namespace annal::test
