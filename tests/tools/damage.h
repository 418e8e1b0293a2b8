// Damages logs' files.
#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/appliance.h"

namespace damage {

inline std::string contents_of(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

inline void put(const std::string& path, const std::string& contents) {
  std::ofstream(path, std::ios::binary) << contents;
}

inline void overwrite(const std::string& path, std::uintmax_t place, const std::string& bytes) {
  std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
  file.seekp(static_cast<std::streamoff>(place));
  file << bytes;
}

// Leaves the log as if its writer had crashed: half changed, with a journal to roll back.
inline void cut_off_a_change(const char* path, const char* change) {
  const std::string journal = std::string(path) + "-journal";
  sqlite3* writer = nullptr;
  ASSERT_EQ(sqlite3_open(path, &writer), SQLITE_OK);
  const std::string statements = std::string("PRAGMA cache_size = 1; BEGIN; ") + change;
  ASSERT_EQ(sqlite3_exec(writer, statements.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
  const std::string half = contents_of(path);
  const std::string undoing = contents_of(journal);
  sqlite3_close(writer);
  put(path, half);
  put(journal, undoing);
}

// The names in a folder, each followed by a blank.
inline std::string names_in(const char* folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  std::string all;
  for (const std::string& name : names) {
    all += name + " ";
  }
  return all;
}

inline std::string names_in_folder() {
  return names_in("/etc/logs");
}

// The log folder with these files and nothing else.
inline void restore(std::initializer_list<std::pair<const char*, std::string>> files) {
  std::filesystem::remove_all("/etc/logs");
  std::filesystem::create_directory("/etc/logs");
  for (const auto& [path, contents] : files) {
    put(path, contents);
  }
}

// The ids of events that only one of two logs has, or that differ.
inline std::set<std::string> differing_events(const char* log, const std::string& other) {
  std::set<std::string> ids;
  for (const auto& row : annal::test::sql(
           log, "ATTACH '" + other +
                    "' AS other; SELECT event_id FROM (SELECT * FROM other.ANNAL_EVENT EXCEPT SELECT * FROM "
                    "main.ANNAL_EVENT) UNION SELECT event_id FROM (SELECT * FROM main.ANNAL_EVENT EXCEPT SELECT * FROM "
                    "other.ANNAL_EVENT);")) {
    ids.insert(row.at(0));
  }
  return ids;
}

}  // namespace damage
