// The redact command: options, key, dry run, messages and the list of tombstones.
#include "tools/annalctl/proof/redact_command.h"

#include <fmt/format.h>
#include <unistd.h>
#include <CLI/CLI.hpp>

#include <array>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "tools/annalctl/arguments/when.h"
#include "tools/annalctl/base/whole_number.h"
#include "tools/annalctl/log/result.h"
#include "tools/annalctl/maintenance/changes.h"
#include "tools/annalctl/output/help_format.h"
#include "tools/annalctl/output/objects.h"
#include "tools/annalctl/output/progress.h"
#include "tools/annalctl/proof/key_files.h"
#include "tools/annalctl/proof/redaction.h"
#include "tools/annalctl/proof/seal.h"
#include "tools/annalctl/query/filter_options.h"
#include "tools/annalctl/query/listing.h"

namespace annalctl {

namespace {

constexpr char kNotes[] =
    "Replaces what is about a person in the matching entries by '[redacted]': {0}.\n"
    "No byte of it is left in the log's file, its journal or its chain; copies that\n"
    "were made elsewhere keep theirs. A sealed entry gets a tombstone in the chain,\n"
    "which 'verify' compares it with from then on. The log stays in use meanwhile; one\n"
    "of up to 8 MiB is also written again, which locks it for a moment, and a larger\n"
    "one with --rewrite, or where programs do not overwrite what they free.\n"
    "\n";

struct Arguments {
  FilterOptions filters;
  std::string ids;
  std::string key_file;
  bool all = false;
  bool dry_run = false;
  bool list = false;
  std::uint64_t from = 0;
  proof::RedactionOptions options;
  std::optional<proof::KeyRing> keys;
  std::string why_no_keys;
};

std::string key_file_of(const Arguments& arguments) {
  return arguments.key_file.empty() ? proof::usual_key_file() : std::filesystem::absolute(arguments.key_file).string();
}

// Before the log's rights are taken on. A log without a chain needs none.
void load_keys(Arguments& arguments) {
  proof::start_hashing();
  try {
    arguments.keys.emplace(proof::load_keys(key_file_of(arguments)));
  } catch (const proof::KeyFailure& failure) {
    arguments.why_no_keys = failure.what();
  }
}

bool has_chain(const Log& log) {
  return access(proof::chain_path(log.path).c_str(), F_OK) == 0;
}

void say_redacted(const Log& log, const Arguments& arguments, const proof::Redacted& done, Session& session) {
  if (!session.for_person()) {
    write_number(session.format(), arguments.dry_run ? "would_redact" : "redacted", done.entries, session.output);
    return;
  }
  session.output.write(
      fmt::format("{} {}\n", arguments.dry_run ? "would redact" : "redacted", number_of(done.entries, log)));
  if (!arguments.dry_run && done.entries > done.tombstones) {
    complain(has_chain(log)
                 ? fmt::format("{} of them had not been sealed, and have no tombstone", done.entries - done.tombstones)
                 : fmt::format("{} was never sealed, and so there are no tombstones", log.path));
  }
  if (done.changed > 0) {
    complain(fmt::format("{} of them had been changed since they were sealed, and 'annalctl verify' goes on to say so",
                         done.changed));
  }
  for (const std::string& chain : done.unreadable_chains) {
    complain(fmt::format("{} is damaged, and may still help to guess what was redacted (delete it)", chain));
  }
}

int list_tombstones(const Log& log, const Arguments& arguments, Session& session) {
  const std::optional<proof::ChainFile> chain =
      proof::ChainFile::open(proof::chain_path(log.path), proof::Access::kRead);
  if (!chain) {
    complain(fmt::format("{} was never sealed, and so has no tombstones", log.path));
    return kFailure;
  }
  const std::string name = proof::hex_of(chain->head().chain);
  const std::vector<proof::Tombstone> tombstones = proof::tombstones_from(*chain, arguments.from);
  if (session.for_person()) {
    for (const proof::Tombstone& tombstone : tombstones) {
      session.output.write(fmt::format("{} {}: redacted {}\n", log.name, tombstone.id,
                                       plain_text(tombstone.time, session.view.zone).value_or("")));
    }
    return kSuccess;
  }
  ObjectSink sink(session, std::array{"log", "chain", "position", "id", "redacted"});
  for (const proof::Tombstone& tombstone : tombstones) {
    sink.write({{"log", log.name},
                {"chain", name},
                {"position", tombstone.position},
                {"id", tombstone.id},
                {"redacted", tombstone.time}});
  }
  return kSuccess;
}

Query query_of(const QueryCommands& queries, const Arguments& arguments) {
  Query query;
  query.id = queries.id;
  query.conditions = arguments.filters.conditions(queries.filters);
  if (!arguments.ids.empty()) {
    const auto id = whole_number<std::int64_t>(arguments.ids);
    if (!id) {
      throw Refusal(fmt::format("--id: '{}' is no whole number", arguments.ids));
    }
    query.conditions.push_back(equals(queries.id, *id));
  }
  if (query.conditions.empty() && !arguments.all) {
    throw Refusal("it says nothing about which are to be redacted (--all means all)");
  }
  return query;
}

// Only a sealed entry gets a tombstone, by which whoever has received the entry hears of its redaction.
void seal_what_is_new(const Log& log, const proof::KeyRing& keys) {
  try {
    static_cast<void>(proof::seal(log, keys, {}, [](std::int64_t, std::uint64_t) {}));
  } catch (const proof::ChainFailure& failure) {
    complain(failure.what());
  }
}

int redact_matching(const QueryCommands& queries, Arguments& arguments, Session& session) {
  const Log& log = queries.log;
  const Query query = query_of(queries, arguments);
  if (!check_log_exists(log)) {
    return kFailure;
  }
  if (has_chain(log) && !arguments.keys && !arguments.dry_run) {
    throw proof::ChainFailure(
        fmt::format("{} has a chain, and the tombstones cannot be signed: {}", log.path, arguments.why_no_keys));
  }
  const Call call{log, fmt::format("redact the {}", log.entries), Purpose::kWriting};
  proof::Redacted done;
  Progress progress(session.terminal);
  try {
    if (arguments.dry_run) {
      done.entries = proof::count_personal(log, query, arguments.options);
    } else {
      if (has_chain(log)) {
        seal_what_is_new(log, *arguments.keys);
      }
      proof::redact(log, query, arguments.options, has_chain(log) ? &*arguments.keys : nullptr, done,
                    [&] { progress.show(log.path, {}, static_cast<std::uint64_t>(done.entries), log.entries); });
    }
  } catch (const ReadFailure& failure) {
    progress.clear();
    if (done.entries > 0) {
      say_redacted(log, arguments, done, session);
      session.output.finish();
    }
    return report_failure(call, failure);
  }
  progress.clear();
  say_redacted(log, arguments, done, session);
  return kSuccess;
}

int run_redact(const QueryCommands& queries, Arguments& arguments, Session& session) {
  try {
    return arguments.list ? list_tombstones(queries.log, arguments, session)
                          : redact_matching(queries, arguments, session);
  } catch (const proof::ChainFailure& failure) {
    complain(failure.what());
  }
  return kFailure;
}

}  // namespace

void add_redact_command(CLI::App& commands, Session& session, const QueryCommands& queries,
                        std::span<const char* const> personal) {
  const Log& log = queries.log;
  CLI::App* const command =
      commands.add_subcommand("redact", fmt::format("Take what is personal out of {}, for good", log.entries));
  const auto arguments = std::make_shared<Arguments>();
  arguments->options.personal = personal;
  command->footer(wrapped(fmt::format(fmt::runtime(kNotes), fmt::join(personal, ", "))) + kFilterNotes + kWhenForms +
                  fmt::format("\nExamples:\n"
                              "  annalctl {0}{1} redact --exact-user ann --dry-run\n"
                              "  annalctl {0}{1} redact --exact-user ann\n"
                              "  annalctl {0}{1} redact --list --json",
                              log.name, log.options));
  arguments->filters.add_options(*command, queries.filters, log.entries);
  command->add_option("--id", arguments->ids, "The one with this id")->type_name("N");
  command->add_flag("--all", arguments->all, fmt::format("All {}", log.entries));
  command->add_flag("--dry-run", arguments->dry_run, "Only say how many would be redacted");
  command->add_flag("--rewrite", arguments->options.rewrite, "Write the whole file again, however long that locks it");
  command->add_option("--key", arguments->key_file, "The file of the signing key")->type_name("FILE");
  auto* const list = command->add_flag("--list", arguments->list, "List the tombstones in the chain instead");
  command->add_option("--from-position", arguments->from, "Of the list: only from this position in the chain on")
      ->type_name("N")
      ->needs(list);
  command->parse_complete_callback([arguments] { load_keys(*arguments); });
  command->callback([arguments, &queries, &session] { session.status = run_redact(queries, *arguments, session); });
}

}  // namespace annalctl
