// What is copied into the database, and what the database's codes mean.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "tests/export/sample_records.h"
#include "tools/export/database/connection.h"
#include "tools/export/database/schema.h"
#include "tools/export/database/tables.h"

namespace exporter::testing {

namespace {

using namespace exporter::database;

std::string line_of(const Sample& sample) {
  for (const LogTable& table : log_tables()) {
    if (table.log == sample.stream.log) {
      std::string line;
      append_entry_line(line, table, sample.stream, sample.records.back());
      return line;
    }
  }
  return {};
}

TEST(DatabaseLine, HasAValueForEachColumn) {
  Sample sample;
  sample.add(7);
  EXPECT_EQ(line_of(sample),
            "0123456789abcdef0123456789abcdef\t1\t7\t2026-11-21\t2026-11-21 10:00:00+00\t4\twarning\t1\t2026-11-21\t"
            "10:00:00\tadmin\t192.0.2.1\tdesk\tVolume 7 is nearly full.\t0\t1795255200\tA1\tStorage\tC1\tVolumes\t---\t"
            "---\t---\t\\N\tf\n");
}

TEST(DatabaseLine, HasAsManyValuesAsTheCopyHasColumns) {
  for (const LogTable& table : log_tables()) {
    Sample sample(table.log);
    sample.add(7);
    const std::string line = line_of(sample);
    const std::string copy = statements_for(table).copy;
    EXPECT_EQ(std::count(line.begin(), line.end(), '\t'), std::count(copy.begin(), copy.end(), ',')) << table.log;
    EXPECT_TRUE(line.ends_with("\t\\N\tf\n")) << line;  // no column is left for the other fields
  }
}

TEST(DatabaseLine, EscapesWhatWouldEndAValueOrALine) {
  Sample sample;
  sample.add(7, "a\tb\nc\r\\. \\N");
  EXPECT_NE(line_of(sample).find("\ta\\tb\\nc\\r\\\\. \\\\N\t"), std::string::npos) << line_of(sample);
}

TEST(DatabaseLine, KeepsWhatTheColumnsHaveNoPlaceFor) {
  Sample sample;
  sample.add(7);
  sample.set("event_type", "odd");
  sample.set("event_later", "new\tcolumn");
  EXPECT_TRUE(line_of(sample).ends_with("\t{\"event_type\":\"odd\",\"event_later\":\"new\\\\tcolumn\"}\tf\n"))
      << line_of(sample);
  EXPECT_NE(line_of(sample).find("\twarning\t\\N\t2026-11-21\t"), std::string::npos) << line_of(sample);
}

TEST(DatabaseLine, HasNoMomentBeyondTheYearsOfFourDigits) {
  Sample sample;
  sample.add(7).seconds = INT64_MAX;
  EXPECT_NE(line_of(sample).find("\t2026-11-21\t\\N\t4\t"), std::string::npos) << line_of(sample);
  sample.records.back().seconds = INT64_MIN;
  EXPECT_NE(line_of(sample).find("\t2026-11-21\t\\N\t4\t"), std::string::npos) << line_of(sample);
}

std::string side_line_of(const Sample& sample) {
  std::string line;
  for (const SideTable& table : side_tables()) {
    if (table.kind == sample.records.back().kind) {
      table.append_line(line, sample.stream, sample.records.back());
    }
  }
  return line;
}

TEST(DatabaseLine, OfAHeadHasItAsItWasSigned) {
  Sample sample;
  sample.add_head(17);
  EXPECT_EQ(
      side_line_of(sample),
      "0123456789abcdef0123456789abcdef\tevent\t1\t2026-11-21 10:00:00+00\t"
      "{\"log\":\"event\",\"chain\":\"00112233445566778899aabbccddeeff\",\"sequence\":17,\"sealed\":1795255200}\n");
}

TEST(DatabaseLine, MarksARedactionAndCountsAGap) {
  Sample sample;
  sample.add(7).kind = Kind::kRedaction;
  EXPECT_TRUE(line_of(sample).ends_with("\tt\n"));
  sample.add_gap(5, 20);
  EXPECT_EQ(side_line_of(sample), "0123456789abcdef0123456789abcdef\tevent\t1\t5\t20\t2026-11-21 10:00:00+00\n");
}

TEST(DatabaseTables, KnowAMachineId) {
  EXPECT_TRUE(is_appliance(kAppliance));
  EXPECT_FALSE(is_appliance("0123456789abcdef0123456789abcde"));
  EXPECT_FALSE(is_appliance("0123456789abcdef0123456789abcdeg"));
  EXPECT_FALSE(is_appliance("},{0123456789abcdef0123456789abc"));
}

TEST(DatabaseFailure, IsOfTheContentOrOfTheServer) {
  for (const char* const state : {"22P02", "22021", "23514", "23502", "54000", "P0001"}) {
    EXPECT_EQ(cause_of(state), Failure::Cause::kContent) << state;
  }
  for (const char* const state : {"08006", "57P01", "53100", "53300", "40P01", "40001", "55P03", "42P01", "42501",
                                  "28P01", "25006", "XX000", "57014", ""}) {
    EXPECT_EQ(cause_of(state), Failure::Cause::kServer) << state;
  }
}

TEST(DatabaseSchema, NumbersItsMigrationsFromOneOn) {
  int number = 0;
  for (const Migration& migration : migrations()) {
    EXPECT_EQ(migration.number, ++number);
    EXPECT_EQ(std::stoi(std::string(migration.name)), number);
    EXPECT_FALSE(migration.sql.empty());
  }
  EXPECT_GE(number, 2);
}

TEST(DatabaseSchema, HasEveryColumnThatIsCopied) {
  const std::string schema = schema_script();
  for (const LogTable& table : log_tables()) {
    const std::size_t begin = schema.find("CREATE TABLE annal." + std::string(table.log) + " (");
    ASSERT_NE(begin, std::string::npos);
    const std::string definition = schema.substr(begin, schema.find("PARTITION BY", begin) - begin);
    for (const Column& column : table.columns) {
      const std::string name(column.name);
      const std::string type = column.number ? "bigint" : "text";
      const std::string plain = fmt::format("\n  {} {}", name, type);
      const std::string quoted = fmt::format("\n  \"{}\" {}", name, type);
      EXPECT_TRUE(definition.find(plain) != std::string::npos || definition.find(quoted) != std::string::npos)
          << table.log << "." << name;
    }
  }
}

}  // namespace

}  // namespace exporter::testing
