// Tests every operation that a log lists: its statement, its result codes and its wait for a lock.
#include "tests/suites/log_operations.h"

#include <cstdio>
#include <fstream>
#include <ostream>

namespace annal::test {

using namespace std::chrono_literals;

void PrintTo(const Operation& operation, std::ostream* out) {
  *out << operation.name;
}

std::string name_of(const testing::TestParamInfo<Operation>& tested) {
  return tested.param.name;
}

std::vector<Operation> tested(const TestedLog& log, std::vector<Operation> operations, Which which) {
  std::erase_if(operations, [which](const Operation& operation) {
    switch (which) {
      case Which::kBuildText:
        return !operation.builds_text;
      case Which::kWait:
        return !operation.waits;
      case Which::kDoNotWait:
        return operation.waits;
      default:
        return false;
    }
  });
  for (Operation& operation : operations) {
    operation.log = &log;
  }
  return operations;
}

Calls connection(const char* path, const Calls& work, bool waits) {
  Calls calls = {std::string("open ") + path};
  if (waits) {
    calls.emplace_back("busy_timeout 20000");
  }
  append(calls, work);
  calls.emplace_back("close");
  return calls;
}

void append(Calls& calls, const Calls& more) {
  calls.insert(calls.end(), more.begin(), more.end());
}

void put_garbage(const char* path) {
  std::ofstream(path, std::ios::trunc) << std::string(4096, 'x');
}

Rows content(const char* path, const char* table) {
  Rows all = sql(path, "SELECT type, name, tbl_name, sql FROM sqlite_master ORDER BY name;");
  for (const Row& row : sql(path, std::string("SELECT * FROM ") + table + " ORDER BY rowid;")) {
    all.push_back(row);
  }
  return all;
}

std::chrono::steady_clock::duration time_of(const std::function<void()>& call) {
  const auto begin = std::chrono::steady_clock::now();
  call();
  return std::chrono::steady_clock::now() - begin;
}

namespace {

Rows content_of(const TestedLog* log) {
  return content(log->path, log->table);
}

bool creates_trigger(const Operation& operation) {
  return operation.work.front().starts_with("exec CREATE TRIGGER");
}

}  // namespace

void EveryOperation::SetUp() {
  ApplianceTest::SetUp();
  const TestedLog& log = *GetParam().log;
  ASSERT_EQ(log.create(0, 0), ANNAL_OK);
  sql(log.path, log.entry);
  if (creates_trigger(GetParam())) {
    sql(log.path, std::string("DROP TRIGGER ") + log.trigger + ";");
  }
  sqlite.reset();
}

TEST_P(EveryOperation, RunsExactlyItsStatement) {
  EXPECT_EQ(GetParam().call(), GetParam().success);
  EXPECT_EQ(sqlite.calls(), connection(GetParam().log->path, GetParam().work, GetParam().waits));
}

TEST_P(EveryOperation, FailsWithoutTheFolder) {
  remove_log_folder();
  EXPECT_EQ(GetParam().call(), ANNAL_OPEN_FAILED);
}

TEST_P(EveryOperation, ClosesTheHandleOfAFailedOpen) {
  const Rows before = content_of(GetParam().log);
  sqlite.fail("open");
  EXPECT_EQ(GetParam().call(), ANNAL_OPEN_FAILED);
  EXPECT_EQ(sqlite.calls(), connection(GetParam().log->path, {}, false));
  EXPECT_EQ(content_of(GetParam().log), before);
}

TEST_P(EveryOperation, ReturnsItsCodeForAFailedStatement) {
  const Rows before = content_of(GetParam().log);
  sqlite.fail(GetParam().work.front().starts_with("exec") ? "exec" : "prepare");
  EXPECT_EQ(GetParam().call(), GetParam().failure);
  EXPECT_EQ(sqlite.calls(), connection(GetParam().log->path, {GetParam().work.front()}, GetParam().waits));
  EXPECT_EQ(content_of(GetParam().log), before);
}

TEST_P(EveryOperation, ReturnsItsCodeWithoutTheTable) {
  sql(GetParam().log->path, std::string("DROP TABLE ") + GetParam().log->table + ";");
  EXPECT_EQ(GetParam().call(), GetParam().without_table.value_or(GetParam().failure));
}

TEST_P(EveryOperation, ReturnsItsCodeForANonDatabaseFile) {
  put_garbage(GetParam().log->path);
  EXPECT_EQ(GetParam().call(), GetParam().failure);
}

TEST_P(EveryOperation, ReturnsItsCodeForAMissingFile) {
  std::remove(GetParam().log->path);
  EXPECT_EQ(GetParam().call(), GetParam().without_table.value_or(GetParam().failure));
}

TEST_P(EveryBuiltOperation, OpensNothingIfItsStatementCannotBeBuilt) {
  std::remove(GetParam().log->path);
  sqlite.fail("mprintf");
  EXPECT_EQ(GetParam().call(), ANNAL_NO_MEMORY);
  EXPECT_EQ(sqlite.calls(), Calls());
  EXPECT_FALSE(exists(GetParam().log->path));
}

TEST_P(EveryWaitingOperation, WaitsForALock) {
  const LockHolder lock(GetParam().log->path, 200ms);
  EXPECT_EQ(GetParam().call(), GetParam().success);
}

TEST_P(EveryNonwaitingOperation, FailsAtOnceIfTheFileIsLocked) {
  const Rows before = content_of(GetParam().log);
  {
    const LockHolder lock(GetParam().log->path);
    EXPECT_LT(time_of([] { EXPECT_EQ(GetParam().call(), GetParam().failure); }), 5s);
  }
  EXPECT_EQ(content_of(GetParam().log), before);
}

}  // namespace annal::test
