// The base of the exporter's fixtures: a private appliance, and a folder for states that lasts as long as the test.
#pragma once

#include <stdlib.h>  // NOLINT(modernize-deprecated-headers): mkdtemp

#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "Corix_annal.h"
#include "tests/support/appliance.h"
#include "tools/annalctl/proof/hashing.h"

namespace annal::test {

inline constexpr char kAppliance[] = "0123456789abcdef0123456789abcdef";
inline constexpr char kOtherAppliance[] = "fedcba9876543210fedcba9876543210";
inline constexpr char kEventLog[] = "/etc/logs/event.log";

inline void add_event(const std::string& text) {
  EventRecord record{};
  std::strncpy(record.event_desc, text.c_str(), sizeof record.event_desc - 1);
  ASSERT_EQ(annal_event_add_msgid_ex3(&record), ANNAL_OK);
}

inline void add_events(int count) {
  for (int i = 1; i <= count; ++i) {
    add_event("event " + std::to_string(i));
  }
}

inline std::string content_of(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  std::ostringstream content;
  content << stream.rdbuf();
  return content.str();
}

inline void write_file(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

class ExportTest : public ApplianceTest {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    std::string name = testing::TempDir() + "export.XXXXXX";
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    folder = name;
    annalctl::proof::start_hashing();
    ASSERT_EQ(annal_event_create_tbl(0, 0), ANNAL_OK);
  }
  void TearDown() override {
    std::filesystem::remove_all(folder);
    ApplianceTest::TearDown();
  }

  std::string folder;
};

}  // namespace annal::test
