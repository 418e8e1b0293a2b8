// Runs an import: reads lines, stores them in batches and tells how it went.
#include "tools/annalctl/import/run.h"

#include <fmt/format.h>
#include <unistd.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <ctime>
#include <iterator>
#include <set>
#include <utility>
#include <vector>

#include "Corix_annal.h"
#include "tools/annalctl/arguments/choice.h"
#include "tools/annalctl/arguments/number_range.h"
#include "tools/annalctl/arguments/when.h"
#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/printable.h"
#include "tools/annalctl/import/line_reader.h"
#include "tools/annalctl/import/refusals.h"
#include "tools/annalctl/import/stop.h"
#include "tools/annalctl/log/result.h"
#include "tools/annalctl/output/progress.h"

namespace annalctl {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::size_t kBatch = 1000;

bool is_bad_line(int code) {
  return code == ANNAL_TOO_LONG || code == ANNAL_BAD_ARGUMENT;
}

bool is_blank_line(std::string_view line) {
  return line.find_first_not_of(" \t\r") == std::string_view::npos;
}

// "1 notice", "2 notices"
std::string counted(std::uint64_t count, std::string_view plural) {
  return fmt::format("{} {}", count, plural.substr(0, plural.size() - (count == 1 ? 1 : 0)));
}

// Shows the rows that would be stored as 'list' would, with line numbers in place of ids.
class DryRows {
 public:
  DryRows(const ImportTarget& target, Session& session) : log_(target.store.log) {
    RowShape shape{{log_.columns.begin(), log_.columns.end()}, {}};
    shape.columns.front() = {"line", true};
    shape.columns.push_back({"level_from", false});
    table_.push_back({"Line", 0, true});
    table_.insert(table_.end(), target.table.begin() + 1, target.table.end());
    if (target.lines) {
      constexpr std::ptrdiff_t kAfterLevel = 4;
      table_.insert(table_.begin() + kAfterLevel, TableColumn{"Level by", log_.columns.size()});
    }
    shape.table = table_;
    sink_ = make_sink(session.format(), shape, session.terminal, session.output);
  }

  void add(std::uint64_t line, const Entry& entry) {
    std::vector<std::string> texts;
    texts.reserve(entry.cells.size() + 2);
    texts.push_back(std::to_string(line));
    for (const Cell& cell : entry.cells) {
      const auto* const number = std::get_if<std::int64_t>(&cell);
      const auto* const text = std::get_if<std::string>(&cell);
      texts.push_back(number != nullptr ? std::to_string(*number) : text != nullptr ? *text : "");
    }
    texts.push_back(entry.level_from.empty() ? "---" : entry.level_from);
    std::vector<const char*> values;
    values.reserve(texts.size());
    for (const std::string& text : texts) {
      values.push_back(text.c_str());
    }
    sink_->row(values);
  }

  void finish() { sink_->finish(); }

 private:
  const Log& log_;
  std::vector<TableColumn> table_;
  std::unique_ptr<RowSink> sink_;
};

// The import of one file.
class FileImport {
 public:
  // store and dry: one of them is null, and both are with --notify.
  FileImport(std::string name, const ImportRequest& request, const ImportTarget& target, LineParser& parser,
             RowStore& store, DryRows* dry, std::uint64_t refused_before)
      : name_(std::move(name)),
        request_(request),
        target_(target),
        log_(target.store.log),
        parser_(parser),
        store_(store),
        dry_(dry),
        refused_before_(refused_before),
        batch_(request.notify ? target.notify_batch : kBatch),
        progress_(terminal_of(STDERR_FILENO)) {}

  enum class End {
    kComplete,
    kRefusedLines,
    kUnreadable,
    kStopped,  // the next file is not started
  };

  End run(std::uint64_t from_line) {
    End end = End::kUnreadable;
    parser_.begin_file();
    try {
      LineReader reader(name_, [this] { idle_failed_ = !store_pending() || idle_failed_; });
      end = read_lines(reader, from_line);
    } catch (const LinesFailure& failure) {
      progress_.clear();
      complain(fmt::format("{}: {}", name_, failure.what()));
    }
    if (!failed_ && !store_pending()) {
      end = End::kStopped;
    }
    progress_.clear();
    if (const std::string rest = refusals_.rest(name_); !rest.empty()) {
      print_lines(rest);
    }
    if (!failed_) {
      tell_why_stopped();
    }
    return end == End::kComplete && refusals_.count() > 0 ? End::kRefusedLines : end;
  }

  [[nodiscard]] std::string summary() const {
    std::string text =
        fmt::format("{} {} from {}, {} refused", request_.dry_run ? "would import" : "imported",
                    counted(stored_, log_.entries), printable(name_), counted(refusals_.count(), "lines"));
    if (left_out_ > 0) {
      text += fmt::format(", {} left out", left_out_);
    }
    if (known_ > 0) {
      text += fmt::format(", {} known already", known_);
    }
    if (dropped_ > 0) {
      text += fmt::format(", {} dropped by the log's limit", dropped_);
    }
    return text;
  }

  [[nodiscard]] std::uint64_t refused() const { return refusals_.count(); }

 private:
  static void print_lines(std::string_view lines) {
    while (!lines.empty()) {
      const std::size_t end = std::min(lines.find('\n'), lines.size());
      complain_bare(std::string(lines.substr(0, end)));
      lines.remove_prefix(std::min(end + 1, lines.size()));
    }
  }

  End read_lines(LineReader& reader, std::uint64_t from_line) {
    std::string line;
    for (;;) {
      const LineReader::Got got = reader.next(line);
      if (idle_failed_) {
        return End::kStopped;
      }
      if (stop_signal() != nullptr) {
        return stop_at(reader.number() + 1, fmt::format("by {}", stop_signal()));
      }
      if (got == LineReader::Got::kEnd) {
        if (parser_.unfinished()) {
          refuse(first_of_row_, "its quoted cell does not end");
        }
        return End::kComplete;
      }
      // The header is needed, whichever line is the first.
      if (reader.number() < from_line && reader.number() > 1) {
        continue;
      }
      number_ = reader.number();
      if (got == LineReader::Got::kTooLong) {
        refuse(number_, fmt::format("it is longer than {} bytes", LineReader::kLongest));
      } else if (!take(line, from_line)) {
        return End::kStopped;
      }
      if (request_.max_refused > 0 && refused_before_ + refusals_.count() >= request_.max_refused) {
        return stop_at(number_ + 1,
                       fmt::format("after {}", counted(refused_before_ + refusals_.count(), "refused lines")));
      }
      progress_.show(name_, reader.percent(), stored_, log_.entries);
    }
  }

  End stop_at(std::uint64_t line, std::string why) {
    stopped_before_ = line;
    stopped_why_ = std::move(why);
    return End::kStopped;
  }

  void tell_why_stopped() const {
    if (stopped_before_ > 0) {
      complain(fmt::format("stopped {0} at line {1} of {2}: continue with --from-line {1}", stopped_why_,
                           parser_.unfinished() ? first_of_row_ : stopped_before_, name_));
    }
  }

  // False if the import cannot continue.
  bool take(std::string_view line, std::uint64_t from_line) {
    if (number_ == 1 && line.substr(0, kByteOrderMark.size()) == kByteOrderMark) {
      line.remove_prefix(kByteOrderMark.size());
    }
    const bool begins = !parser_.unfinished();
    if (begins && is_blank_line(line)) {
      return true;
    }
    if (begins) {
      first_of_row_ = number_;
    }
    std::optional<Entry> entry;
    try {
      if (line.find('\0') != std::string_view::npos) {
        throw Refusal("it holds a NUL character");
      }
      const std::optional<ParsedLine> parsed = parser_.parse(line);
      if (!parsed || number_ < from_line) {
        return true;
      }
      entry = target_.entry_of(*parsed);
    } catch (const Refusal& refusal) {
      if (number_ >= from_line) {
        refuse(first_of_row_, refusal.what());
      }
      return true;
    }
    if (!entry) {
      ++left_out_;
      return true;
    }
    return keep(std::move(*entry));
  }

  bool keep(Entry entry) {
    if (request_.skip_known && store_.knows(entry.cells)) {
      ++known_;
      if (target_.pass_over) {
        target_.pass_over();
      }
      return true;
    }
    if (pending_.empty()) {
      first_pending_ = first_of_row_;
    }
    if (dry_ != nullptr) {
      progress_.clear();
      dry_->add(first_of_row_, entry);
    }
    pending_.push_back(std::move(entry.cells));
    return pending_.size() < batch_ || store_pending();
  }

  // False if the import cannot continue.
  bool store_pending() {
    if (pending_.empty()) {
      return true;
    }
    const std::vector<Cells> rows = std::exchange(pending_, {});
    const Call call{log_, fmt::format("store the {}", log_.entries), Purpose::kWriting};
    const Stored result = request_.dry_run  ? Stored{ANNAL_OK, rows.size()}
                          : request_.notify ? target_.notify()
                                            : store_rows(rows);
    stored_ += result.count;
    if (result.code == ANNAL_OK) {
      return true;
    }
    if (rows.size() == 1 && is_bad_line(result.code)) {
      refuse(first_pending_, code_text(result.code));
      return true;
    }
    failed_ = true;
    progress_.clear();
    if (stop_signal() != nullptr) {
      complain(fmt::format("stopped by {0} at line {1} of {2}: continue with --from-line {1}", stop_signal(),
                           first_pending_, name_));
      return false;
    }
    static_cast<void>(report(call, result.code, result.seen));
    if (result.count > 0) {
      complain(fmt::format("stopped: only {} of {} from line {} of {} on are stored", result.count,
                           counted(rows.size(), log_.entries), first_pending_, name_));
    } else {
      complain(fmt::format("stopped at line {0} of {1}, after {2}: import it again with --from-line {0}",
                           first_pending_, name_, counted(stored_, fmt::format("stored {}", log_.entries))));
    }
    return false;
  }

  [[nodiscard]] Stored store_rows(const std::vector<Cells>& rows) {
    const RowStore::Outcome outcome = store_.store(rows);
    dropped_ += outcome.dropped;
    if (outcome.stored) {
      return {ANNAL_OK, rows.size()};
    }
    return {ANNAL_INSERT_FAILED, 0,
            fmt::format("the log refuses new entries: {} (run 'annalctl {}{} check')", outcome.reason, log_.name,
                        log_.options)};
  }

  void refuse(std::uint64_t number, const std::string& reason) {
    if (const std::string told = refusals_.add(name_, number, reason); !told.empty()) {
      progress_.clear();
      complain_bare(told);
    }
  }

  std::string name_;
  const ImportRequest& request_;
  const ImportTarget& target_;
  const Log& log_;
  LineParser& parser_;
  RowStore& store_;
  DryRows* dry_;
  std::uint64_t refused_before_;
  std::size_t batch_;
  Progress progress_;
  Refusals refusals_;
  std::uint64_t number_ = 0;
  std::uint64_t first_of_row_ = 0;
  std::uint64_t stored_ = 0;
  std::uint64_t left_out_ = 0;
  std::uint64_t known_ = 0;
  std::uint64_t dropped_ = 0;
  std::vector<Cells> pending_;
  std::uint64_t first_pending_ = 0;
  std::uint64_t stopped_before_ = 0;
  std::string stopped_why_;
  bool failed_ = false;
  bool idle_failed_ = false;
};

CLI::Option* add_format(CLI::App& command, std::string& format, const char* help,
                        const std::vector<const char*>& names) {
  const std::set<std::string> known(names.begin(), names.end());
  auto* const option = command.add_option("--format", format, help)->type_name("NAME");
  option->check(CLI::IsMember(known).description(""));
  std::vector<Choice> choices;
  std::transform(names.begin(), names.end(), std::back_inserter(choices), [](const char* name) {
    return Choice{name, 0};
  });
  return offer(option, choices);
}

}  // namespace

const char* const kImportNotes =
    "Entries are stored 1,000 at a time, or when a pipe has nothing more to read. A\n"
    "power cut loses at most the last 1,000 lines, and none that the last line of\n"
    "output counts. Ctrl-C and SIGTERM store what was read and say how to continue.\n"
    "\n"
    "A line that cannot be stored unchanged - unknown, or with a text that is too\n"
    "long - is reported with its number and left out; the others are stored, and the\n"
    "exit status is 1. Texts are never cut. Blank lines do not count. A TAB or line\n"
    "end in a text becomes a blank where the log drops control characters.\n";

std::string format_notes() {
  std::string text = "Formats, told apart line by line unless --format names one:\n";
  for (const LineFormat& format : kLineFormats) {
    text += fmt::format("  {:<10} {}\n", format.name, format.sample);
  }
  text += fmt::format("  {:<10} what 'journalctl -o json' writes\n", "journal");
  return text;
}

std::string field_notes() {
  return "Names for the groups of --pattern and the columns of a foreign CSV file:\n"
         "  time, host, program, pid, category, user, ip, level, priority (a syslog's),\n"
         "  status (of an HTTP answer), agent, message\n"
         "An entry without a time gets the time of the import.\n";
}

void add_import_options(CLI::App& command, ImportRequest& request, bool lines, bool consumers) {
  command
      .add_option("FILE", request.files,
                  "Files to read, '-' for standard input; also\ncompressed ones (gzip, bzip2, xz, zstd)")
      ->required();
  command.add_option("--from-line", request.from_line, "Skip the lines before this one in the\nfirst file")
      ->type_name("N")
      ->check(at_least(1));
  command.add_option("--max-refused", request.max_refused, "Stop after N refused lines")
      ->type_name("N")
      ->check(at_least(1));
  command.add_flag("--skip-known", request.skip_known, "Skip entries that the log already has");
  command.add_flag("--dry-run", request.dry_run, "Only show what would be stored");
  if (consumers) {
    command.add_flag("--notify", request.notify,
                     "Hand each entry to the log's other consumers;\nwithout it nothing is sent or started");
  }
  if (!lines) {
    add_format(command, request.lines.format, "Format: auto, jsonl, csv; default: auto", {"auto", "jsonl", "csv"});
    return;
  }
  std::vector<const char*> names{"auto", "jsonl", "csv", "journal"};
  for (const LineFormat& format : kLineFormats) {
    names.push_back(format.name);
  }
  auto* const format = add_format(command, request.lines.format, "Format of the lines, as below; default: auto", names);
  command
      .add_option("--pattern", request.lines.pattern,
                  "A regular expression (RE2) with named groups,\nin place of a format")
      ->type_name("REGEX")
      ->excludes(format);
  command
      .add_option("--time-format", request.lines.time_format,
                  "Form of the times of --pattern and CSV, as\nstrptime takes it; without it the usual ones")
      ->type_name("FORMAT");
}

int import_files(const ImportRequest& request, const ImportTarget& target, Session& session) {
  LineParser parser(request.lines, target.store.log.columns, target.lines, std::time(nullptr));
  if (!request.dry_run && !check_log_exists(target.store.log)) {
    return kFailure;
  }
  catch_stop_signals();
  RowStore store(target.store);
  std::optional<DryRows> dry;
  if (request.dry_run) {
    dry.emplace(target, session);
  }
  int status = kSuccess;
  std::uint64_t from_line = request.from_line;
  std::uint64_t refused = 0;
  for (const std::string& file : request.files) {
    FileImport import(file, request, target, parser, store, dry ? &*dry : nullptr, refused);
    const FileImport::End end = import.run(from_line);
    if (dry) {
      dry->finish();
    }
    if (dry && session.format() != Format::kTable) {
      session.output.finish();
      complain_bare(import.summary());  // Standard output is for rows only.
    } else {
      session.output.write(import.summary() + "\n");
      session.output.finish();
    }
    if (end != FileImport::End::kComplete) {
      status = kFailure;
    }
    if (end == FileImport::End::kStopped) {
      break;  // The next file would fail the same way.
    }
    from_line = 1;
    refused += import.refused();
  }
  return status;
}

}  // namespace annalctl
