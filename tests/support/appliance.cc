// Empties the appliance before each test, and checks after it that nothing is left.
#include "tests/support/appliance.h"

#include <filesystem>

#include "appliance/namespace.h"

namespace annal::test {

namespace fs = std::filesystem;

namespace {

// A test may leave a folder that an ordinary user may not enter or empty.
void remove_regardless_of_rights(const fs::path& path) {
  if (fs::is_directory(fs::symlink_status(path))) {
    std::error_code of_another_user;
    fs::permissions(path, fs::perms::owner_all, fs::perm_options::add, of_another_user);
    for (const fs::directory_entry& entry : fs::directory_iterator(path)) {
      remove_regardless_of_rights(entry.path());
    }
  }
  fs::remove(path);
}

void empty_folders() {
  remove_regardless_of_rights(appliance::kLogFolder);
  fs::create_directory(appliance::kLogFolder);
  for (const char* folder : appliance::kCommandFolders) {
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
      remove_regardless_of_rights(entry.path());
    }
  }
}

}  // namespace

void ApplianceTest::SetUp() {
  ASSERT_TRUE(appliance::inside_private_appliance() && appliance::is_supervised());
  empty_folders();
  Clock::run();
  SqliteTrace::reset();
  PlatformRecorder::reset();
  Commands::reset();
}

void ApplianceTest::TearDown() {
  EXPECT_TRUE(appliance::kill_strays())
      << "commands that do not end, or a kernel that does not list the children of a process";
  EXPECT_EQ(SqliteTrace::open_connections(), 0U);
  EXPECT_EQ(SqliteTrace::live_statements(), 0U);
  EXPECT_EQ(SqliteTrace::live_texts(), 0U);
}

void remove_log_folder() {
  fs::remove_all(appliance::kLogFolder);
}

bool exists(const char* path) {
  std::error_code unreadable;
  return fs::exists(fs::symlink_status(path, unreadable));
}

}  // namespace annal::test
