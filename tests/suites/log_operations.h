// What the operations on every log's table have in common: a log lists its operations, and the tests of
// log_operations.cc hold for each. Add that file to the log's test program.
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

// What the operations of one log are tested on.
struct TestedLog {
  const char* path;
  const char* table;
  const char* trigger;
  int (*create)(int limit, int batch);
  const char* entry;  // the statement that stores the one entry the table has
};

// One operation that runs one statement.
struct Operation {
  const char* name;
  int (*call)();
  Calls work;        // what it asks of SQLite between opening and closing
  bool waits;        // for a locked file
  bool builds_text;  // from its arguments
  int failure;
  int success = ANNAL_OK;
  std::optional<int> without_table{};  // where that is not the failure
  const TestedLog* log = nullptr;      // filled in by tested()
};

void PrintTo(const Operation& operation, std::ostream* out);
std::string name_of(const testing::TestParamInfo<Operation>& tested);

// Which operations a suite is about.
enum class Which { kAll, kBuildText, kWait, kDoNotWait };

// These operations of a log, for INSTANTIATE_TEST_SUITE_P.
std::vector<Operation> tested(const TestedLog& log, std::vector<Operation> operations, Which which);

class EveryOperation : public ApplianceTest, public testing::WithParamInterface<Operation> {
 protected:
  void SetUp() override;
};
class EveryBuiltOperation : public EveryOperation {};
class EveryWaitingOperation : public EveryOperation {};
class EveryNonwaitingOperation : public EveryOperation {};

// What the library asks of SQLite in one connection to a file.
Calls connection(const char* path, const Calls& work, bool waits);

void append(Calls& calls, const Calls& more);

// A file that is no database in the place of a log.
void put_garbage(const char* path);

// The schema of a file and every row of a table, to see that nothing has changed.
Rows content(const char* path, const char* table);

std::chrono::steady_clock::duration time_of(const std::function<void()>& call);

}  // namespace annal::test
