// Prints facts about logs as a page, JSON, CSV or metrics.
#include "tools/annalctl/maintenance/info.h"

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <array>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "tools/annalctl/base/byte_text.h"
#include "tools/annalctl/base/printable.h"
#include "tools/annalctl/maintenance/prometheus.h"
#include "tools/annalctl/output/objects.h"

namespace annalctl {

namespace {

std::string levels_text(const LogFacts& facts) {
  std::string text;
  for (const auto& [level, count] : facts.levels) {
    if (count > 0) {
      text += fmt::format("{}{} {}", text.empty() ? "" : ", ", count, level);
    }
  }
  return text;
}

std::string page_of(const LogFacts& facts) {
  std::string page = fmt::format("{}  {}\n", facts.log, printable(facts.file));
  const auto line = [&page](const char* name, const std::string& text) {
    page += fmt::format("  {:<10} {}\n", name, printable(text));
  };
  if (!facts.failure.empty()) {
    line("failure", facts.failure);
    return page;
  }
  const std::string levels = levels_text(facts);
  line("entries", fmt::format("{}{}{}", facts.entries, levels.empty() ? "" : ": ", levels));
  if (facts.entries > 0) {
    line("oldest", facts.oldest);
    line("newest", facts.newest);
  }
  line("size", fmt::format("{}, {} in use", bytes_text(facts.size), bytes_text(facts.in_use)));
  line("disk", fmt::format("{} free", bytes_text(facts.disk_free)));
  line("limit", facts.limit ? fmt::format("{}, the oldest {} go at once", facts.limit->limit, facts.limit->batch)
                            : std::string("none"));
  line("integrity", facts.suspicion.empty() ? "nothing seen ('check' looks at all of it)" : facts.suspicion);
  return page;
}

constexpr std::array kColumns{"log",  "file",   "failure",   "entries", "oldest", "newest",
                              "size", "in_use", "disk_free", "limit",   "batch",  "suspicion"};

}  // namespace

const char* const kInfoNotes =
    "The size in use is what a compact file would take; the log reuses the rest of\n"
    "it. Takes a few milliseconds for each log, and changes nothing.\n"
    "\n"
    "--prometheus is for the textfile folder of a node exporter:\n"
    "  annalctl info --prometheus > logs.prom.new && mv logs.prom.new logs.prom\n"
    "It succeeds even if a log cannot be read; annal_log_up shows that.\n";

void add_info_options(CLI::App& command, InfoOptions& options) {
  command.add_flag("--prometheus", options.prometheus, "Write it in Prometheus' text format");
}

int write_info(const std::vector<LogFacts>& all, const InfoOptions& options, Session& session) {
  if (options.prometheus) {
    session.output.write(prometheus_text(all));
    return kSuccess;
  }
  int status = kSuccess;
  for (const LogFacts& facts : all) {
    status = facts.failure.empty() ? status : static_cast<int>(kFailure);
  }
  if (session.for_person()) {
    for (const LogFacts& facts : all) {
      session.output.write(page_of(facts));
    }
    return status;
  }
  ObjectSink sink(session, kColumns);
  for (const LogFacts& facts : all) {
    sink.write(json_of(facts));
  }
  return status;
}

void add_info_command(CLI::App& commands, Session& session, const Log& log) {
  CLI::App* const command = commands.add_subcommand("info", "Show what the log holds, its size and its limit");
  const auto options = std::make_shared<InfoOptions>();
  command->footer(kInfoNotes + fmt::format("\nExamples:\n  annalctl {0}{1} info\n  annalctl {0}{1} info --json",
                                           log.name, log.options));
  add_info_options(*command, *options);
  command->callback([options, &session, &log] { session.status = write_info({facts_of(log)}, *options, session); });
}

}  // namespace annalctl
