// Prints facts about logs as a page, JSON, CSV or metrics.
#include "tools/annalctl/maintenance/info.h"

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <memory>
#include <string>

#include "tools/annalctl/base/byte_text.h"
#include "tools/annalctl/base/printable.h"
#include "tools/annalctl/maintenance/prometheus.h"

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

void write_csv(const std::vector<LogFacts>& all, Session& session) {
  const RowShape shape{{{"log", false},
                        {"file", false},
                        {"failure", false},
                        {"entries", true},
                        {"oldest", false},
                        {"newest", false},
                        {"size", true},
                        {"in_use", true},
                        {"disk_free", true},
                        {"limit", true},
                        {"batch", true},
                        {"suspicion", false}},
                       {}};
  const std::unique_ptr<RowSink> sink = make_sink(session.format(), shape, session.terminal, session.output);
  for (const LogFacts& facts : all) {
    const nlohmann::ordered_json json = json_of(facts);
    std::vector<std::string> texts(shape.columns.size());
    std::vector<const char*> row;
    for (std::size_t i = 0; i < texts.size(); ++i) {
      const char* const name = shape.columns[i].name;
      const bool known = json.contains(name) && !json[name].is_null();
      texts[i] = !known ? "" : json[name].is_string() ? json[name].get<std::string>() : json[name].dump();
      row.push_back(known ? texts[i].c_str() : nullptr);
    }
    sink->row(row);
  }
  sink->finish();
}

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
  switch (session.format()) {
    case Format::kTable:
    case Format::kFull:
      for (const LogFacts& facts : all) {
        session.output.write(page_of(facts));
      }
      break;
    case Format::kJson:
      for (const LogFacts& facts : all) {
        session.output.write(
            json_of(facts).dump(-1, ' ', session.terminal.present, nlohmann::ordered_json::error_handler_t::replace) +
            "\n");
      }
      break;
    case Format::kCsv:
      write_csv(all, session);
      break;
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
