// The bytes of a syslog message.
#include "tools/export/sinks/syslog_message.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

#include "tests/export/sample_records.h"

namespace exporter::testing {

namespace {

using sinks::is_element_name;
using sinks::syslog_message;

const sinks::SyslogOrigin kOrigin{.host = "appliance1"};

// The value of the parameter "record", as a receiver reads it.
std::string record_in(const std::string& message) {
  const std::string begin = " record=\"";
  std::string value;
  for (std::size_t i = message.find(begin) + begin.size(); message.at(i) != '"'; ++i) {
    if (message[i] == '\\') {
      ++i;
    }
    value += message.at(i);
  }
  return value;
}

TEST(SyslogMessage, HasHeaderKeyRecordAndText) {
  Sample sample("notice");
  Record& record = sample.add(4711, "Fan \"2\" [left] failed.");
  record.fields = record.fields.first(2);
  EXPECT_EQ(syslog_message(kOrigin, sample.stream, record),
            "<132>1 2026-11-21T10:00:00Z appliance1 annal - notice [annal@32473 "
            "appliance=\"0123456789abcdef0123456789abcdef\" log=\"notice\" generation=\"1\" kind=\"entry\" id=\"4711\" "
            "record=\"{\\\"appliance\\\":\\\"0123456789abcdef0123456789abcdef\\\",\\\"log\\\":\\\"notice\\\","
            "\\\"generation\\\":1,\\\"kind\\\":\\\"entry\\\",\\\"id\\\":4711,\\\"date\\\":\\\"2026-11-21\\\","
            "\\\"time\\\":\\\"10:00:00\\\",\\\"timestamp\\\":1795255200,\\\"level\\\":\\\"warning\\\","
            "\\\"severity\\\":4,\\\"message\\\":\\\"Fan \\\\\\\"2\\\\\\\" [left\\] failed.\\\","
            "\\\"fields\\\":{\\\"id\\\":4711,\\\"severity\\\":4}}\"] Fan \"2\" [left] failed.");
}

TEST(SyslogMessage, HasNoControlCharacterAnywhere) {
  Sample sample;
  std::string text;
  for (char c = 1; c < ' '; ++c) {
    text += c;
  }
  text += "\x7f end";
  const std::string message = syslog_message(kOrigin, sample.stream, sample.add(1, text));
  for (const char c : message) {
    EXPECT_TRUE(static_cast<unsigned char>(c) >= ' ' && c != '\x7f') << static_cast<int>(c);
  }
  EXPECT_EQ(nlohmann::json::parse(record_in(message))["message"], text);
}

TEST(SyslogMessage, KeepsBackslashesAndBracketsInTheRecord) {
  Sample sample;
  const std::string text = R"(a \n \\ \] ] " "] b)";
  const std::string message = syslog_message(kOrigin, sample.stream, sample.add(1, text));
  EXPECT_EQ(nlohmann::json::parse(record_in(message))["message"], text);
}

TEST(SyslogMessage, SaysWhatIsMissingOfAGap) {
  Sample sample;
  const std::string message = syslog_message(kOrigin, sample.stream, sample.add_gap(5, 20));
  EXPECT_TRUE(message.starts_with("<132>1 2026-11-21T10:00:00Z appliance1 annal - event-gap ["));
  EXPECT_TRUE(message.ends_with("] 20 entries of the event log, from 5 on, were deleted before they were sent."));
}

TEST(SyslogMessage, HasNoTimeIfThereIsNoneOrItIsBeyondFourDigits) {
  Sample sample;
  Record& record = sample.add(1);
  record.seconds.reset();
  EXPECT_TRUE(syslog_message(kOrigin, sample.stream, record).starts_with("<132>1 - appliance1 "));
  record.seconds = INT64_MAX;
  EXPECT_TRUE(syslog_message(kOrigin, sample.stream, record).starts_with("<132>1 - appliance1 "));
}

TEST(SyslogMessage, TakesNoBlankOrForeignLetterIntoTheHostName) {
  Sample sample;
  const sinks::SyslogOrigin odd{.host = "my host\n", .facility = 0};
  EXPECT_TRUE(
      syslog_message(odd, sample.stream, sample.add(1)).starts_with("<4>1 2026-11-21T10:00:00Z my_host_ annal "));
  const sinks::SyslogOrigin none{.host = ""};
  EXPECT_TRUE(syslog_message(none, sample.stream, sample.add(2)).starts_with("<132>1 2026-11-21T10:00:00Z - annal "));
}

TEST(SyslogMessage, KnowsTheNamesOfStructuredData) {
  EXPECT_TRUE(is_element_name("annal@32473"));
  EXPECT_TRUE(is_element_name(std::string(32, 'a')));
  for (const std::string name : {"", "a b", "a=b", "a]", "a\"", "ü", "a\n"}) {
    EXPECT_FALSE(is_element_name(name)) << name;
  }
  EXPECT_FALSE(is_element_name(std::string(33, 'a')));
}

}  // namespace

}  // namespace exporter::testing
