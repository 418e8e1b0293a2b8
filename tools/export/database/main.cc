// annal-database: prints or applies the schema of the database that the entries of a fleet go to, and drops what is
// old.
#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <cstdint>
#include <ctime>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/annalctl/arguments/when.h"
#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/terminal.h"
#include "tools/annalctl/output/help_format.h"
#include "tools/annalctl/output/output.h"
#include "tools/export/database/connection.h"
#include "tools/export/database/schema.h"
#include "tools/export/database/target.h"
#include "tools/export/settings.h"
#include "tools/export/stop.h"

namespace exporter::database {

namespace {

using annalctl::complain_bare;
using annalctl::kFailure;
using annalctl::kSuccess;
using annalctl::kUsage;

constexpr const char* kDefaultConfiguration = "/etc/annal-database.toml";

// The file has the keys of a postgresql sink, for a user who owns the schema.
std::optional<Target> load_target(const std::string& file) {
  std::vector<Complaint> complaints;
  std::optional<Target> target;
  if (std::optional<Settings> settings = load_settings(file, complaints)) {
    target = read_target(*settings);
    settings->end();
  }
  for (const Complaint& complaint : complaints) {
    complain_bare(complaint.text());
  }
  return complaints.empty() ? target : std::nullopt;
}

int print_schema() {
  annalctl::Output output(stdout);
  output.write(schema_script());
  output.finish();
  return kSuccess;
}

template <typename Work>
int with_connection(const std::string& configuration, Work work) {
  const std::optional<Target> target = load_target(configuration);
  if (!target) {
    return kUsage;
  }
  const Stop stop;
  Connection connection(*target, "annal-database", stop);
  const std::vector<std::string> done = work(connection);
  annalctl::Output output(stdout);
  for (const std::string& name : done) {
    output.write(name + "\n");
  }
  output.finish();
  return kSuccess;
}

// PostgreSQL would also take '1/8/2026', which is a day of January or of August, and 'infinity'; and a wrong digit in
// the year must not drop everything.
std::string objection_to_day(const std::string& text) {
  constexpr std::string_view kForm = "2026-08-01";
  constexpr std::int64_t kSecondsInDay = 86400;
  const bool alike = text.size() == kForm.size() && text[4] == '-' && text[7] == '-';
  const std::int64_t now = std::time(nullptr);
  const auto begins = alike ? annalctl::parse_when(text, now, annalctl::DayBound::kStart) : std::nullopt;
  if (!begins) {
    return fmt::format("'{}' is no day, such as {}", text, kForm);
  }
  // In some zone it is tomorrow already.
  return *begins > now + kSecondsInDay ? fmt::format("{} is yet to come", text) : "";
}

int parse_and_start(int argc, char** argv) {
  CLI::App app("Prints or applies the schema of the database for a fleet's entries", "annal-database");
  app.formatter(std::make_shared<annalctl::HelpFormat>());
  app.set_version_flag("--version", "annal-database " ANNAL_VERSION_TEXT);
  app.require_subcommand(1);
  std::string configuration = kDefaultConfiguration;
  app.add_option("-c,--config", configuration,
                 "Read this configuration; without it " + std::string(kDefaultConfiguration))
      ->type_name("FILE");
  app.fallthrough();
  app.footer(
      "The configuration has the keys of a postgresql sink, for a user who owns the schema.\n"
      "\n"
      "Examples:\n"
      "  annal-database print | psql annal\n"
      "  annal-database apply --config /etc/annal-database.toml\n"
      "  annal-database drop-before 2026-08-01");
  CLI::App* const print = app.add_subcommand("print", "Print all migrations as a script for psql");
  CLI::App* const apply = app.add_subcommand("apply", "Apply the migrations that are missing");
  CLI::App* const drop = app.add_subcommand("drop-before", "Drop the partitions that end before a day");
  std::string day;
  drop->add_option("DAY", day, "Such as 2026-08-01")->required()->check(objection_to_day, "");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kSuccess : kUsage;
  }
  if (print->parsed()) {
    return print_schema();
  }
  if (apply->parsed()) {
    return with_connection(configuration, apply_schema);
  }
  return with_connection(configuration, [&day](Connection& connection) { return drop_before(connection, day); });
}

}  // namespace

}  // namespace exporter::database

int main(int argc, char** argv) {
  try {
    annalctl::open_missing_standard_descriptors();
    return exporter::database::parse_and_start(argc, argv);
  } catch (const std::exception& failure) {
    annalctl::complain_bare(std::string("annal-database: ") + failure.what());
    return annalctl::kFailure;
  }
}
