// Replaces the trigger that limits a log.
#include "tools/annalctl/maintenance/limit.h"

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <array>
#include <memory>
#include <optional>
#include <string>

#include "Corix_annal.h"
#include "tools/annalctl/arguments/number_range.h"
#include "tools/annalctl/log/limits.h"
#include "tools/annalctl/log/result.h"
#include "tools/annalctl/maintenance/change.h"
#include "tools/annalctl/maintenance/facts.h"
#include "tools/annalctl/query/listing.h"
#include "tools/annalctl/rescue/blueprint.h"

namespace annalctl {

namespace {

struct LimitArguments {
  int limit = 0;
  int batch = 0;
  bool dry_run = false;
};

// The library's trigger, word for word: other programs read it from the file.
std::string trigger_text(const Log& log, const RowLimit& limit) {
  const std::optional<Blueprint> blueprint = blueprint_of(log, limit.limit, limit.batch);
  if (blueprint) {
    for (const SchemaObject& made : blueprint->objects) {
      if (made.type == "trigger") {
        return made.text;
      }
    }
  }
  throw ReadFailure(ANNAL_TRIGGER_FAILED, ReadFailure::Clock::now(), "the library's trigger could not be created");
}

void replace(Reader& reader, const Log& log, const RowLimit& limit) {
  const std::string text = trigger_text(log, limit);
  Change change(reader);
  reader.run(fmt::format("DROP TRIGGER IF EXISTS main.{}", trigger_of(log)));
  reader.run(text);
  change.finish();
}

std::string text_of(const std::optional<RowLimit>& limit) {
  return limit ? fmt::format("{}, {} at once", limit->limit, limit->batch) : "none";
}

void write(const Log& log, const std::optional<RowLimit>& before, const RowLimit& now, bool dry_run, Session& session) {
  if (session.format() == Format::kTable) {
    session.output.write(fmt::format("{}: the limit {} {} (before: {})\n", log.path, dry_run ? "would be" : "is",
                                     text_of(now), text_of(before)));
    return;
  }
  const RowShape shape{{{"limit", true}, {"batch", true}, {"limit_before", true}, {"batch_before", true}}, {}};
  const std::unique_ptr<RowSink> sink = make_sink(session.format(), shape, session.terminal, session.output);
  const std::array numbers{fmt::to_string(now.limit), fmt::to_string(now.batch),
                           fmt::to_string(before.value_or(RowLimit()).limit),
                           fmt::to_string(before.value_or(RowLimit()).batch)};
  sink->row(std::array{numbers[0].c_str(), numbers[1].c_str(), before ? numbers[2].c_str() : nullptr,
                       before ? numbers[3].c_str() : nullptr});
  sink->finish();
}

int run_limit(const Log& log, const LimitArguments& arguments, Session& session) {
  require_some_left(arguments.limit, arguments.batch);
  if (!check_log_exists(log)) {
    return kFailure;
  }
  const RowLimit limit{arguments.limit, arguments.batch > 0 ? arguments.batch : usual_batch(arguments.limit)};
  const Call call{log, fmt::format("set the limit of the {} log", log.name), Purpose::kWriting};
  try {
    Reader reader(log);
    // Fails for a log without its table, before anything is changed.
    static_cast<void>(reader.prepare(fmt::format("SELECT 1 FROM {}", reader.table())));
    const std::optional<RowLimit> before = row_limit_of(reader, log);
    if (!arguments.dry_run) {
      replace(reader, log, limit);
    }
    write(log, before, limit, arguments.dry_run, session);
  } catch (const ReadFailure& failure) {
    return report_failure(call, failure);
  }
  return kSuccess;
}

}  // namespace

void add_limit_command(CLI::App& commands, Session& session, const Log& log) {
  CLI::App* const command = commands.add_subcommand("limit", "Change how many entries the log keeps");
  const auto arguments = std::make_shared<LimitArguments>();
  command->footer(
      fmt::format("The limit takes effect when new {1} are stored: each one deletes a batch of the\n"
                  "oldest until the log is within its limit. 'keep' and 'delete' delete at once.\n"
                  "\n"
                  "Examples:\n"
                  "  annalctl {0}{2} limit 50000\n"
                  "  annalctl {0}{2} limit 50000 --batch 500",
                  log.name, log.entries, log.options));
  command->add_option("N", arguments->limit, fmt::format("Keep at most N {}", log.entries))
      ->required()
      ->check(at_least(1));
  command
      ->add_option("--batch", arguments->batch,
                   "Delete the oldest N at once when the log is full; default: 1 % of the limit")
      ->type_name("N")
      ->check(at_least(1));
  command->add_flag("--dry-run", arguments->dry_run, "Only show the old and the new limit");
  command->callback([arguments, &session, &log] { session.status = run_limit(log, *arguments, session); });
}

}  // namespace annalctl
