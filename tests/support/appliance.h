// What every test starts from: an empty private appliance, with recorders in place.
#pragma once

#include <gtest/gtest.h>

#include "tests/support/clock.h"
#include "tests/support/commands.h"
#include "tests/support/lock_holder.h"
#include "tests/support/log_file.h"
#include "tests/support/platform_recorder.h"
#include "tests/support/sqlite_trace.h"

namespace annal::test {

// Empties the appliance's folders and resets every recorder before each test. After each test it ends the commands that
// are still running, lest the next test take them for its own, and checks that the library has given back to SQLite
// whatever it took.
class ApplianceTest : public testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  SqliteTrace sqlite;
  PlatformRecorder platform;
  Commands commands;
};

// True when the appliance has this file.
bool exists(const char* path);

// Takes the folder of the logs away, so that no log can be opened.
void remove_log_folder();

}  // namespace annal::test
