// The base of the tests that run one log's way to a sink in the test's own process.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/export/export_test.h"
#include "tests/export/fake_sink.h"
#include "tools/export/log_course.h"

namespace annal::test {

using exporter::LogCourse;
using exporter::Outcome;
using Step = LogCourse::Step;
using Keys = std::vector<std::string>;

class ExportCourse : public ExportTest {
 protected:
  // One run of the program: from the saved state until the log has nothing more, or the sink takes nothing.
  static constexpr int kMostSteps = 1000;
  LogCourse::Result run(FakeSink& sink, std::size_t batch = 1000, const std::string& name = "central") {
    const LogCourse::Owner owner{.folder = folder,
                                 .appliance = appliance,
                                 .sink = name,
                                 .batch = batch,
                                 .saves_at_close = false,
                                 .sealing = sealing};
    LogCourse course(owner, log);
    LogCourse::Result result{.step = Step::kProgress};
    for (int i = 0; i < kMostSteps && result.step == Step::kProgress; ++i) {
      result = course.advance(sink, stop, page);
    }
    EXPECT_NE(result.step, Step::kProgress) << "it does not come to an end";
    return result;
  }

  Keys sent_now(std::size_t batch = 1000, const std::string& name = "central") {
    FakeSink sink;
    run(sink, batch, name);
    return sink.keys;
  }

  static void create_again() {
    ASSERT_TRUE(std::filesystem::remove(kEventLog));
    ASSERT_EQ(annal_event_create_tbl(0, 0), ANNAL_OK);
  }

  const std::string appliance = kAppliance;
  const exporter::SourceLog log{&exporter::log_shapes().front(), kEventLog};
  exporter::Sealing* sealing = nullptr;
  exporter::Stop stop;
  exporter::Page page;
};

}  // namespace annal::test
