// annalctl event import.
#include <zlib.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "tests/tools/annalctl.h"

namespace {

using Json = nlohmann::json;

class AnnalctlImport : public AnnalctlEventTest {
 protected:
  static Finished import(const std::string& text, std::vector<std::string> options = {}) {
    options.insert(options.begin(), {"event", "import", "-"});
    return annalctl(options, text);
  }

  static std::vector<Json> events() {
    std::vector<Json> all;
    for (const std::string& line : lines_of(annalctl({"event", "list", "--all", "--sort", "id", "--json"}).out)) {
      all.push_back(Json::parse(line));
    }
    return all;
  }
};

}  // namespace

TEST_F(AnnalctlImport, LinesOfAllFormatsMayBeMixed) {
  const Finished finished = import(
      "2024-01-01 10:00:00 remove foo:amd64 1.0 <none>\n"
      "Jun  4 15:16:01 combo sshd(pam_unix)[19939]: authentication failure; ruser= rhost=218.188.2.4  user=root\n"
      "2026-11-21T09:27:01.123456+00:00 nas kernel: eth0 up\n"
      "\r\n"
      "{\"event_type\":1,\"event_desc\":\"four\"}");
  EXPECT_EQ(finished.status, 0) << finished.err;
  EXPECT_EQ(finished.out, "imported 4 events from -, 0 lines refused\n");
  const std::vector<Json> all = events();
  ASSERT_EQ(all.size(), 4U);
  EXPECT_EQ(all[0]["event_app_name"], "dpkg");
  EXPECT_EQ(all[0]["event_category"], "remove");
  EXPECT_EQ(all[0]["event_desc"], "remove foo:amd64 1.0 <none>");
  EXPECT_EQ(all[0]["event_type"], 1);
  EXPECT_EQ(all[0]["event_time"], "10:00:00");
  EXPECT_EQ(all[1]["event_comp"], "combo");
  EXPECT_EQ(all[1]["event_app_name"], "sshd");
  EXPECT_EQ(all[1]["event_app_id"], "19939");
  EXPECT_EQ(all[1]["event_ip"], "218.188.2.4");
  EXPECT_EQ(all[1]["event_user"], "root");
  EXPECT_EQ(all[1]["event_type"], 2);
  EXPECT_EQ(all[2]["event_timet"], 1795253221);
  EXPECT_EQ(all[2]["event_desc"], "eth0 up");
  EXPECT_EQ(all[3]["event_type"], 1);
}

TEST_F(AnnalctlImport, BadLineIsReportedWithItsNumberAndTheRestIsKept) {
  const Finished finished = import("{\"event_desc\":\"one\"}\nnonsense\n\n{\"event_desc\":\"two\"}\n");
  EXPECT_EQ(finished.status, 1);
  EXPECT_EQ(finished.out, "imported 2 events from -, 1 line refused\n");
  ASSERT_EQ(lines_of(finished.err).size(), 1U) << finished.err;
  EXPECT_EQ(finished.err.rfind("-:2: ", 0), 0U) << finished.err;
}

TEST_F(AnnalctlImport, EachBadLineHasItsOwnReason) {
  struct Bad {
    std::string line;
    const char* reason;
  };
  const std::vector<Bad> bads{
      {R"({"event_desc":"x","color":"red"})", "'color' is not a column"},
      {R"({"event_desc":["x"]})", "neither a text nor a number"},
      {R"({"event_desc":)", "not JSON"},
      {R"({"event_type":7})", "event_type is '7'"},
      {R"({"event_timet":"soon"})", "event_timet is 'soon'"},
      {R"({"event_timet":9999999999})", "cannot be stored"},
      {R"({"event_ip":"here"})", "'here' is not an IPv4"},
      {R"({"event_desc":"a\u0000b"})", "NUL"},
      {R"({"event_desc":")" + std::string(2049, 'x') + "\"}", "the message is 2049 bytes long"},
      {"2024-01-01 10:00:00 hello world", "is not an action of dpkg's log"},
      {"2024-02-30 10:00:00 install x", "date and a time"},
      {"Feb 30 10:00:00 host p: x", "time that exists"},
      {std::string("Jun 14 10:00:00 h p: a\0b", 24), "NUL"},
      {std::string(2U << 20U, 'x'), "longer than 1048576 bytes"},
  };
  for (const Bad& bad : bads) {
    const Finished finished = import(bad.line + "\n");
    EXPECT_EQ(finished.status, 1) << bad.reason;
    EXPECT_NE(finished.err.find(bad.reason), std::string::npos) << finished.err;
  }
  EXPECT_EQ(count(), 0);
}

TEST_F(AnnalctlImport, JsonListOutputIsImportedUnchanged) {
  ASSERT_EQ(annalctl({"event", "add", "quote \" back \\ ü", "--ip", "10.1.2.3", "--user", "o'neil", "--client-agent",
                      std::string(255, 'z')})
                .status,
            0);
  ASSERT_EQ(annalctl({"event", "add", "plain", "--type", "error", "--time", "2026-01-02 03:04:05"}).status, 0);
  const std::string listed = annalctl({"event", "list", "--all", "--json"}).out;
  std::vector<Json> before = events();
  ASSERT_EQ(annalctl({"event", "flush"}).status, 0);
  ASSERT_EQ(import(listed).status, 0);
  std::vector<Json> after = events();
  ASSERT_EQ(after.size(), 2U);
  for (std::size_t i = 0; i < 2; ++i) {
    before[i].erase("event_id");
    after[i].erase("event_id");
    EXPECT_EQ(before[i], after[i]);
  }
}

TEST_F(AnnalctlImport, DateAndTimeStandInForAMissingTimeStamp) {
  ASSERT_EQ(import(R"({"event_desc":"x","event_date":"2025-03-04","event_time":"05:06:07","event_timet":null})").status,
            0);
  const std::vector<Json> all = events();
  ASSERT_EQ(all.size(), 1U);
  EXPECT_EQ(all[0]["event_date"], "2025-03-04");
  EXPECT_EQ(all[0]["event_time"], "05:06:07");
}

TEST_F(AnnalctlImport, TypeOverridesTheLevelOfTheLines) {
  ASSERT_EQ(import("2024-01-01 10:00:00 install a b c\nJun 14 15:16:01 h p: fatal\n", {"--type", "warn"}).status, 0);
  EXPECT_EQ(count({"--type", "warning"}), 2);
}

TEST_F(AnnalctlImport, DryRunStoresNothingAndNeedsNoLog) {
  static_cast<void>(std::remove("/etc/logs/event.log"));
  const Finished finished = import("{\"event_desc\":\"one\"}\nnonsense\n", {"--dry-run"});
  EXPECT_EQ(finished.status, 1);
  EXPECT_TRUE(finished.out.ends_with("\nwould import 1 event from -, 1 line refused\n")) << finished.out;
  EXPECT_NE(access("/etc/logs/event.log", F_OK), 0);
}

TEST_F(AnnalctlImport, NamedFormatRefusesLinesOfAnother) {
  EXPECT_EQ(import("{\"event_desc\":\"one\"}\n", {"--format", "syslog"}).status, 1);
  EXPECT_EQ(count(), 0);
}

TEST_F(AnnalctlImport, GzippedFileIsReadLikeAPlainOne) {
  const std::string path = testing::TempDir() + "annalctl_import.gz";
  gzFile file = gzopen(path.c_str(), "wb");
  ASSERT_NE(file, nullptr);
  ASSERT_GT(gzputs(file, "{\"event_desc\":\"one\"}\n{\"event_desc\":\"two\"}\n"), 0);
  ASSERT_EQ(gzclose(file), Z_OK);
  EXPECT_EQ(annalctl({"event", "import", path}).status, 0);
  EXPECT_EQ(count(), 2);
  static_cast<void>(std::remove(path.c_str()));
}

TEST_F(AnnalctlImport, UnreadableFileDoesNotKeepTheOthersOut) {
  const std::string path = testing::TempDir() + "annalctl_import.jsonl";
  std::ofstream(path) << "{\"event_desc\":\"one\"}\n";
  const Finished finished = annalctl({"event", "import", "/nonexistent/file", path});
  EXPECT_EQ(finished.status, 1);
  EXPECT_NE(finished.err.find("/nonexistent/file: cannot open it"), std::string::npos) << finished.err;
  EXPECT_EQ(count(), 1);
  static_cast<void>(std::remove(path.c_str()));
}

TEST_F(AnnalctlImport, StoreFailureStopsAndSaysWhereToContinue) {
  static_cast<void>(std::remove("/etc/logs/event.log"));
  const std::ofstream empty("/etc/logs/event.log");
  const Finished finished = import("\n{\"event_desc\":\"one\"}\n{\"event_desc\":\"two\"}\n");
  EXPECT_EQ(finished.status, 1);
  EXPECT_NE(finished.err.find("stopped at line 2 of -, after 0 stored events"), std::string::npos) << finished.err;
  EXPECT_NE(finished.err.find("--from-line 2"), std::string::npos) << finished.err;
}

TEST_F(AnnalctlImport, FromLineSkipsStoredLines) {
  ASSERT_EQ(import("{\"event_desc\":\"one\"}\n{\"event_desc\":\"two\"}\n", {"--from-line", "2"}).status, 0);
  const std::vector<Json> all = events();
  ASSERT_EQ(all.size(), 1U);
  EXPECT_EQ(all[0]["event_desc"], "two");
}
