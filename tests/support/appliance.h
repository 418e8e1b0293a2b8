// The base of every fixture: an empty private appliance with recorders installed.
#pragma once

#include <gtest/gtest.h>

#include "tests/support/clock.h"
#include "tests/support/commands.h"
#include "tests/support/lock_holder.h"
#include "tests/support/log_file.h"
#include "tests/support/platform_recorder.h"
#include "tests/support/sqlite_trace.h"

namespace annal::test {

// Before each test it empties the appliance's folders and resets every recorder. After each test it kills commands that
// are still running, so that the next test does not see them, and checks that the library has freed all its SQLite
// memory.
class ApplianceTest : public testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  SqliteTrace sqlite;
  PlatformRecorder platform;
  Commands commands;
};

// True if the file exists on the appliance.
bool exists(const char* path);

// Removes the log folder, so that no log can be opened.
void remove_log_folder();

}  // namespace annal::test
