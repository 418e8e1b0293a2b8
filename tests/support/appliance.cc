#include "tests/support/appliance.h"

#include <filesystem>

#include "tests/support/namespace.h"

namespace annal::test {

namespace fs = std::filesystem;

namespace {

void empty_folders() {
  constexpr int kAttempts = 100;
  fs::remove_all(kLogFolder);
  fs::create_directory(kLogFolder);
  for (const char* folder : kCommandFolders) {
    // A command that the test before left behind may still be writing: what comes up meanwhile goes too.
    for (int attempt = 0; attempt < kAttempts && !fs::is_empty(folder); ++attempt) {
      for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        std::error_code filled_again;
        fs::remove_all(entry.path(), filled_again);
      }
    }
  }
}

}  // namespace

void ApplianceTest::SetUp() {
  ASSERT_TRUE(inside_private_appliance());
  empty_folders();
  Clock::run();
  SqliteTrace::reset();
  PlatformRecorder::reset();
  Commands::reset();
}

void ApplianceTest::TearDown() {
  EXPECT_EQ(SqliteTrace::open_connections(), 0U);
  EXPECT_EQ(SqliteTrace::live_statements(), 0U);
  EXPECT_EQ(SqliteTrace::live_texts(), 0U);
}

void remove_log_folder() {
  fs::remove_all(kLogFolder);
}

bool exists(const char* path) {
  std::error_code unreadable;
  return fs::exists(fs::symlink_status(path, unreadable));
}

}  // namespace annal::test
