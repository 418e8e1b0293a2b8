#include "tools/annalctl/import/run.h"

#include <fmt/format.h>
#include <unistd.h>

#include <utility>

#include "Corix_annal.h"
#include "tools/annalctl/arguments/number_range.h"
#include "tools/annalctl/base/printable.h"
#include "tools/annalctl/import/line_reader.h"
#include "tools/annalctl/log/result.h"
#include "tools/annalctl/output/progress.h"

namespace annalctl {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

bool is_bad_line(int code) {
  return code == ANNAL_TOO_LONG || code == ANNAL_BAD_ARGUMENT;
}

bool is_blank_line(std::string_view line) {
  return line.find_first_not_of(" \t\r") == std::string_view::npos;
}

// The import of one file.
class FileImport {
 public:
  FileImport(std::string name, const ImportRequest& request, const Log& log, const LineStore& lines)
      : name_(std::move(name)), request_(request), log_(log), lines_(lines), progress_(terminal_of(STDERR_FILENO)) {}

  enum class End {
    kComplete,
    kRefusedLines,
    kUnreadable,
    kStoreFailed,
  };

  End run(std::uint64_t from_line) {
    End end = End::kUnreadable;
    try {
      LineReader reader(name_);
      end = read_lines(reader, from_line);
    } catch (const ReadFailure& failure) {
      progress_.clear();
      complain(fmt::format("{}: {}", name_, failure.what()));
    }
    if (end != End::kStoreFailed && pending_ > 0 && !store_pending()) {
      end = End::kStoreFailed;
    }
    progress_.clear();
    return end == End::kComplete && refused_ > 0 ? End::kRefusedLines : end;
  }

  [[nodiscard]] std::string summary() const {
    std::string text = fmt::format("{} {} from {}, {} refused", request_.dry_run ? "would import" : "imported",
                                   counted(stored_, log_.entries), printable(name_), counted(refused_, "lines"));
    if (left_out_ > 0) {
      text += fmt::format(", {} left out", left_out_);
    }
    return text + "\n";
  }

 private:
  static std::string counted(std::uint64_t count, std::string_view plural) {
    return fmt::format("{} {}", count, plural.substr(0, plural.size() - (count == 1 ? 1 : 0)));
  }

  End read_lines(LineReader& reader, std::uint64_t from_line) {
    std::string line;
    for (;;) {
      const LineReader::Got got = reader.next(line);
      if (got == LineReader::Got::kEnd) {
        return End::kComplete;
      }
      if (reader.number() < from_line) {
        continue;
      }
      if (got == LineReader::Got::kTooLong) {
        refuse(reader.number(), fmt::format("it is longer than {} bytes", LineReader::kLongest));
      } else if (!take(line, reader.number())) {
        return End::kStoreFailed;
      }
      progress_.show(name_, reader.percent(), stored_, log_.entries);
    }
  }

  // False when the import cannot go on.
  bool take(std::string_view line, std::uint64_t number) {
    if (number == 1 && line.substr(0, kByteOrderMark.size()) == kByteOrderMark) {
      line.remove_prefix(kByteOrderMark.size());
    }
    if (is_blank_line(line)) {
      return true;
    }
    try {
      require_text(line);
      if (!lines_.take(line)) {
        ++left_out_;
        return true;
      }
    } catch (const Refusal& refusal) {
      refuse(number, refusal.what());
      return true;
    }
    if (pending_ == 0) {
      first_pending_ = number;
    }
    ++pending_;
    return pending_ < lines_.batch || store_pending();
  }

  // False when the import cannot go on.
  bool store_pending() {
    const std::size_t entries = std::exchange(pending_, 0);
    const Call call{log_, fmt::format("store the {}", log_.entries), Purpose::kWriting};
    const Stored result = request_.dry_run ? Stored{ANNAL_OK, entries} : lines_.store();
    stored_ += result.count;
    if (result.code == ANNAL_OK) {
      return true;
    }
    if (entries == 1 && is_bad_line(result.code)) {
      refuse(first_pending_, code_text(result.code));
      return true;
    }
    progress_.clear();
    static_cast<void>(report(call, result.code, result.seen));
    if (result.count > 0) {
      complain(fmt::format("stopped: only {} of {} from line {} of {} on are stored", result.count,
                           counted(entries, log_.entries), first_pending_, name_));
    } else {
      complain(fmt::format("stopped at line {0} of {1}, after {2}: import it again with --from-line {0}",
                           first_pending_, name_, counted(stored_, fmt::format("stored {}", log_.entries))));
    }
    return false;
  }

  static void require_text(std::string_view line) {
    if (line.find('\0') != std::string_view::npos) {
      throw Refusal("it holds a NUL character");
    }
  }

  void refuse(std::uint64_t number, const std::string& reason) {
    progress_.clear();
    complain_bare(fmt::format("{}:{}: {}", name_, number, reason));
    ++refused_;
  }

  std::string name_;
  const ImportRequest& request_;
  const Log& log_;
  const LineStore& lines_;
  Progress progress_;
  std::uint64_t stored_ = 0;
  std::uint64_t refused_ = 0;
  std::uint64_t left_out_ = 0;
  std::size_t pending_ = 0;
  std::uint64_t first_pending_ = 0;
};

}  // namespace

void add_import_options(CLI::App& command, ImportRequest& request) {
  command.add_option("FILE", request.files, "Files to read, also gzipped ones; '-' is standard input")->required();
  command.add_option("--from-line", request.from_line, "Leave out the lines before this one in the first file")
      ->type_name("N")
      ->check(at_least(1));
  command.add_flag("--dry-run", request.dry_run, "Only say what would be stored");
}

int import_files(const ImportRequest& request, const Log& log, const LineStore& lines, Session& session) {
  int status = kSuccess;
  std::uint64_t from_line = request.from_line;
  for (const std::string& file : request.files) {
    FileImport import(file, request, log, lines);
    const FileImport::End end = import.run(from_line);
    session.output.write(import.summary());
    session.output.finish();
    if (end != FileImport::End::kComplete) {
      status = kFailure;
    }
    if (end == FileImport::End::kStoreFailed) {
      break;  // The next file would meet the same failure.
    }
    from_line = 1;
  }
  return status;
}

}  // namespace annalctl
