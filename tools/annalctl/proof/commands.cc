// The commands seal and verify: options, messages and exit status.
#include "tools/annalctl/proof/commands.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/mman.h>
#include <unistd.h>
#include <CLI/CLI.hpp>

#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

#include "tools/annalctl/base/printable.h"
#include "tools/annalctl/base/standard_input.h"
#include "tools/annalctl/files/log_system.h"
#include "tools/annalctl/files/rights.h"
#include "tools/annalctl/log/place.h"
#include "tools/annalctl/log/result.h"
#include "tools/annalctl/maintenance/changes.h"
#include "tools/annalctl/output/objects.h"
#include "tools/annalctl/output/progress.h"
#include "tools/annalctl/proof/key_files.h"
#include "tools/annalctl/proof/seal.h"
#include "tools/annalctl/proof/verify.h"
#include "tools/annalctl/query/listing.h"

namespace annalctl {

namespace {

using proof::Finding;
using proof::Head;
using proof::Report;
using Json = nlohmann::ordered_json;

// For a terminal: how far work has come that goes through the ids of a log.
proof::Watch watch_of(Progress& progress, const Log& log) {
  return [&progress, &log](std::int64_t /*last_id*/, std::uint64_t entries) {
    progress.show(log.path, {}, entries, log.entries);
  };
}

void write_line(Session& session, const std::string& line) {
  session.output.write(printable(line) + "\n");
}

// Once, before the first log: each may be written by another process.
void write_titles(Session& session, std::span<const char* const> columns) {
  if (session.format() == Format::kCsv) {
    const ObjectSink titles(session, columns);
    session.view.titled = true;
  }
}

// --- seal ---

constexpr std::array kSealColumns{"log",  "file",    "new_entries", "declared_gone", "chain",  "sequence", "first",
                                  "base", "records", "hash",        "last_id",       "sealed", "key",      "signature"};

struct SealArguments {
  std::string key_file;
  std::string heads_file;
  bool new_key = false;
  bool print_head = false;
  proof::SealOptions options;
  std::optional<proof::KeyRing> keys;
};

void load_keys(SealArguments& arguments) {
  if (arguments.print_head || arguments.keys) {
    return;
  }
  const std::string file =
      arguments.key_file.empty() ? proof::usual_key_file() : std::filesystem::absolute(arguments.key_file).string();
  const bool there = access(file.c_str(), F_OK) == 0;
  try {
    arguments.keys.emplace(arguments.new_key && there ? proof::replace_key(file) : proof::load_or_create_keys(file));
  } catch (const proof::KeyFailure& failure) {
    throw Refusal(failure.what());
  }
  if (arguments.keys->created) {
    complain(fmt::format("created the signing key {} (whoever verifies needs {})", file, proof::public_file_of(file)));
  }
}

// Says of which file the head is where its name alone does not.
Head with_file(const Log& log, Head head) {
  if (has_file_of_its_own(log)) {
    head.file = log.path;
  }
  return head;
}

// A line at a time, so that a file of heads never has half of one.
void append_head(const std::string& file, const Head& head) {
  const std::string line = proof::json_of(head) + "\n";
  const int descriptor = open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  const auto got = descriptor < 0 ? -1 : write(descriptor, line.data(), line.size());
  const bool whole = got == static_cast<ssize_t>(line.size());
  const bool written = whole && (fdatasync(descriptor) == 0 || errno == EINVAL);
  const int error = got >= 0 && !whole ? ENOSPC : errno;
  if (got > 0 && !whole) {
    static_cast<void>(ftruncate(descriptor, lseek(descriptor, 0, SEEK_CUR) - got) == 0);
  }
  if (descriptor >= 0) {
    close(descriptor);
  }
  if (!written) {
    throw proof::ChainFailure(fmt::format("cannot write the head to {}: {}", file, system_message(error)));
  }
}

int print_head(const Log& log, Session& session) {
  const std::optional<proof::ChainFile> chain =
      proof::ChainFile::open(proof::chain_path(log.path), proof::Access::kRead);
  if (!chain) {
    complain(fmt::format("{} was never sealed", log.path));
    return kFailure;
  }
  session.output.write(proof::json_of(with_file(log, chain->head())) + "\n");
  return kSuccess;
}

void write_sealed(const Log& log, const proof::Sealed& sealed, Session& session) {
  for (const std::string& remark : sealed.remarks) {
    complain(fmt::format("{}: {}", log.path, remark));
  }
  if (session.for_person()) {
    write_line(session,
               fmt::format("{}: sealed {}{}", log.path, number_of(static_cast<std::int64_t>(sealed.entries), log),
                           sealed.declared > 0 ? fmt::format(", declared {} gone",
                                                             number_of(static_cast<std::int64_t>(sealed.declared), log))
                                               : ""));
    return;
  }
  // The head's own fields as well, so that the line can be kept as one.
  Json line{{"file", log.path}, {"new_entries", sealed.entries}, {"declared_gone", sealed.declared}};
  line.update(Json::parse(proof::json_of(sealed.head)));
  ObjectSink(session, kSealColumns).write(line);
}

int run_seal(const Log& log, SealArguments& arguments, Session& session) {
  const Call call{log, fmt::format("seal the {} log", log.name), Purpose::kReading};
  Progress progress(session.terminal);
  try {
    if (arguments.print_head) {
      return print_head(log, session);
    }
    if (!check_log_exists(log)) {
      return kFailure;
    }
    const proof::Sealed sealed = proof::seal(log, *arguments.keys, arguments.options, watch_of(progress, log));
    progress.clear();
    if (!arguments.heads_file.empty()) {
      append_head(arguments.heads_file, with_file(log, sealed.head));
    }
    write_sealed(log, sealed, session);
    return kSuccess;
  } catch (const ReadFailure& failure) {
    progress.clear();
    return report_failure(call, failure);
  } catch (const proof::ChainFailure& failure) {
    progress.clear();
    complain(failure.what());
  }
  return kFailure;
}

// --- verify ---

constexpr std::array kVerifyColumns{"log",    "file",       "state",    "finding", "from",  "through", "text",
                                    "sealed", "not_sealed", "redacted", "gone",    "chain", "records", "sealed_until"};

struct VerifyArguments {
  std::string public_file;
  std::vector<std::string> anchor_files;
  proof::VerifyOptions options;
};

std::string text_in(const std::string& file) {
  if (file == "-") {
    return {std::istreambuf_iterator<char>(std::cin), {}};
  }
  std::ifstream input(file, std::ios::binary);
  if (!input) {
    throw Refusal(fmt::format("cannot read {}: {}", file, system_message(errno)));
  }
  return {std::istreambuf_iterator<char>(input), {}};
}

void load_trust(VerifyArguments& arguments) {
  proof::start_hashing();
  const std::string usual = proof::public_file_of(proof::usual_key_file());
  try {
    std::vector<proof::PublicKeyLine> beside;
    if (arguments.public_file.empty()) {
      beside = proof::load_public_keys(usual);
      arguments.options.trusted = proof::trusted_keys(beside, {});
    } else {
      if (access(usual.c_str(), R_OK) == 0) {
        beside = proof::load_public_keys(usual);
      }
      arguments.options.trusted = proof::trusted_keys(proof::load_public_keys(arguments.public_file), beside);
    }
  } catch (const proof::KeyFailure& failure) {
    throw Refusal(fmt::format("{} (--public-key FILE names another file of public keys)", failure.what()));
  }
  for (const std::string& file : arguments.anchor_files) {
    try {
      const std::vector<Head> heads = proof::heads_in(text_in(file));
      arguments.options.anchors.insert(arguments.options.anchors.end(), heads.begin(), heads.end());
    } catch (const std::runtime_error& error) {
      throw Refusal(fmt::format("{}: {}", file, error.what()));
    }
  }
}

std::string entry_text(const Log& log, const Finding& finding) {
  std::string_view entries = log.entries;
  if (finding.from == finding.through) {
    entries.remove_suffix(1);
    return fmt::format("{} {}: ", entries, finding.from);
  }
  return fmt::format("{} {} to {}: ", entries, finding.from, finding.through);
}

void write_for_person(const Log& log, const Report& report, Session& session) {
  for (const Finding& finding : report.findings) {
    write_line(session,
               fmt::format("{}: {}: {}{}", log.path, proof::name_of(finding.state),
                           finding.from != 0 || finding.through != 0 ? entry_text(log, finding) : "", finding.text));
  }
  write_line(session, fmt::format("{}: {}: {} {} sealed", log.path, report.clean() ? "intact" : "NOT INTACT",
                                  number_of(static_cast<std::int64_t>(report.sealed), log),
                                  report.sealed == 1 ? "is as it was" : "are as they were"));
}

void write_for_program(const Log& log, const proof::Verified& verified, Session& session) {
  const Report& report = verified.report;
  ObjectSink sink(session, kVerifyColumns);
  for (const Finding& finding : report.findings) {
    Json line{{"log", log.name},
              {"file", log.path},
              {"state", proof::name_of(finding.state)},
              {"finding", !proof::is_remark(finding.state)}};
    if (finding.from != 0 || finding.through != 0) {
      line["from"] = finding.from;
      line["through"] = finding.through;
    }
    line["text"] = finding.text;
    sink.write(line);
  }
  sink.write({{"log", log.name},
              {"file", log.path},
              {"state", report.clean() ? "intact" : "not-intact"},
              {"finding", false},
              {"sealed", report.sealed},
              {"not_sealed", report.unsealed},
              {"redacted", report.redacted},
              {"gone", report.gone},
              {"chain", proof::hex_of(verified.head.chain)},
              {"records", verified.head.records},
              {"sealed_until", verified.head.time}});
}

void write_never_sealed(const Log& log, Session& session) {
  const std::string text = "it was never sealed ('annalctl seal')";
  if (session.for_person()) {
    write_line(session, fmt::format("{}: unknown: {}", log.path, text));
  } else {
    ObjectSink(session, kVerifyColumns)
        .write({{"log", log.name}, {"file", log.path}, {"state", "unknown"}, {"finding", false}, {"text", text}});
  }
}

int run_verify(const Log& log, const VerifyArguments& arguments, Session& session) {
  const Call call{log, fmt::format("verify the {} log", log.name), Purpose::kReading};
  Progress progress(session.terminal);
  try {
    const std::optional<proof::Verified> verified = proof::verify(log, arguments.options, watch_of(progress, log));
    progress.clear();
    if (!verified) {
      write_never_sealed(log, session);
      return kCannotVerify;
    }
    if (session.for_person()) {
      write_for_person(log, verified->report, session);
    } else {
      write_for_program(log, *verified, session);
    }
    return verified->report.clean() ? kSuccess : kFailure;
  } catch (const ReadFailure& failure) {
    progress.clear();
    static_cast<void>(report_failure(call, failure));
  } catch (const proof::ChainFailure& failure) {
    progress.clear();
    complain(failure.what());
  }
  return kCannotVerify;
}

// What a child process tells its parent.
class SharedStatus {
 public:
  SharedStatus()
      : number_(
            static_cast<int*>(mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))) {
    if (number_ == MAP_FAILED) {
      throw std::bad_alloc();
    }
    *number_ = kFailure;
  }
  ~SharedStatus() { munmap(number_, sizeof(int)); }
  SharedStatus(const SharedStatus&) = delete;
  SharedStatus& operator=(const SharedStatus&) = delete;

  int& number() { return *number_; }

 private:
  int* number_;
};

void add_to_log(CLI::App* command, const ProofCommand& proof, Session& session, const Log& log) {
  // Before the log's rights are taken on, which may not be enough for the key; and not before it is known that the log
  // may be changed, because a key is created if there is none.
  command->parse_complete_callback([prepare = proof.prepare] { when_settled(prepare); });
  command->callback([work = proof.work, &session, &log] { session.status = work(log); });
}

}  // namespace

bool has_file_of_its_own(const Log& log) {
  return std::string_view(log.name) == "fileop";
}

const char kSealNotes[] =
    "Adds a commitment to each new entry to the chain beside the log (LOG.chain) and\n"
    "signs its head. It reads the log in short turns and does not change it. Keep the\n"
    "heads elsewhere (--heads, --print-head): whoever can write the log and use the\n"
    "key can also write another chain, and only a head kept elsewhere reveals that.\n"
    "\n"
    "The key is $ANNAL_SEAL_KEY, or /etc/annal/seal.key, and is created if there is\n"
    "none. 'verify' needs its public part, which is beside it (seal.pub). If somebody\n"
    "may have used the key, delete both files, run 'annalctl seal --new-chain', and\n"
    "distribute seal.pub again: with --new-key the old key would vouch for the new.\n";

const char kVerifyNotes[] =
    "Compares each log with its chain, and the chain with heads that were kept\n"
    "elsewhere (--anchor). Without those, a log and a chain that were replaced\n"
    "together go unnoticed.\n"
    "\n"
    "Findings about entries are: changed, moved (to another id), inserted, deleted,\n"
    "truncated (deleted from the end), returned (declared deleted, and there again),\n"
    "and undecided (the oldest are gone although the log is not full). Findings about\n"
    "log and chain are: log-missing, log-recreated, chain-missing, chain-cut,\n"
    "chain-rewritten, chain-unsigned, chain-replaced, chain-of-another-log, and\n"
    "rolled-back. All else is information: not-sealed, never-sealed, expired and gone\n"
    "(deleted by the log's limit or by annalctl), redacted, unfinished (redact again),\n"
    "continued, anchor-too-old, head-unreadable.\n"
    "\n"
    "After a finding, copy log and chain, and look for the cause. If missing entries\n"
    "may be gone, 'annalctl seal --accept' declares it; if the log itself was replaced\n"
    "or restored, 'annalctl seal --new-chain' begins another chain.\n"
    "/usr/share/doc/annalctl/proof.md.gz says more about each.\n"
    "\n"
    "Exit status: 0 intact, 1 there are findings, 2 it cannot be told.\n";

ProofCommand add_seal_options(CLI::App& command, Session& session) {
  const auto arguments = std::make_shared<SealArguments>();
  command.add_option("--key", arguments->key_file, "The file of the signing key")->type_name("FILE");
  command.add_option("--heads", arguments->heads_file, "Append the head to this file, a line of JSON")
      ->type_name("FILE");
  auto* const head =
      command.add_flag("--print-head", arguments->print_head, "Only print the last head, a line of JSON");
  command.add_flag("--new-key", arguments->new_key, "Replace the key: the old one vouches for it and is overwritten")
      ->excludes(head);
  command.add_flag("--new-chain", arguments->options.new_chain, "Set the chain aside, and begin another")
      ->excludes(head);
  command
      .add_flag("--accept", arguments->options.accept_missing,
                "Declare that sealed entries which are missing may be gone")
      ->excludes(head);
  return {[arguments, &session] {
            proof::start_hashing();
            load_keys(*arguments);
            if (!arguments->print_head) {
              write_titles(session, kSealColumns);
            }
          },
          [arguments, &session](const Log& log) { return run_seal(log, *arguments, session); }};
}

ProofCommand add_verify_options(CLI::App& command, Session& session) {
  const auto arguments = std::make_shared<VerifyArguments>();
  command.add_option("--public-key", arguments->public_file, "The public keys that are trusted (a copy of seal.pub)")
      ->type_name("FILE");
  command.add_option("--anchor", arguments->anchor_files, "Heads that were kept elsewhere; '-': standard input")
      ->type_name("FILE")
      ->allow_extra_args(false);
  return {[arguments, &session] {
            load_trust(*arguments);
            write_titles(session, kVerifyColumns);
          },
          [arguments, &session](const Log& log) { return run_verify(log, *arguments, session); },
          [arguments](const Log& log) { return !proof::anchors_of(log, arguments->options.anchors, nullptr).empty(); }};
}

void add_seal_command(CLI::App& commands, Session& session, const Log& log) {
  CLI::App* const command =
      commands.add_subcommand("seal", "Commit to the new entries, so that none can be changed unseen");
  command->footer(kSealNotes + fmt::format("\nExample:\n  annalctl {}{} seal", log.name, log.options));
  add_to_log(command, add_seal_options(*command, session), session, log);
}

void add_verify_command(CLI::App& commands, Session& session, const Log& log) {
  CLI::App* const command = commands.add_subcommand("verify", "Tell whether the entries are as they were sealed");
  command->footer(kVerifyNotes + fmt::format("\nExample:\n  annalctl {}{} verify", log.name, log.options));
  add_to_log(command, add_verify_options(*command, session), session, log);
}

int status_with_rights(const Log& log, Session& session, const LogWork& work) {
  session.output.finish();
  if (logs_are_read_only()) {
    return work(log);
  }
  SharedStatus status;
  try {
    static_cast<void>(with_rights_for(log, [&status, &log, &session, &work] {
      status.number() = work(log);
      session.output.finish();
      return true;
    }));
    return status.number();
  } catch (const RightsFailure& failure) {
    complain(failure.what());
  }
  return kFailure;
}

}  // namespace annalctl
