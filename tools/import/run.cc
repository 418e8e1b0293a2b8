#include "tools/import/run.h"

#include <fmt/format.h>
#include <unistd.h>

#include "Corix_annal.h"
#include "tools/import/line_reader.h"
#include "tools/import/progress.h"
#include "tools/result.h"
#include "tools/text.h"

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
  FileImport(std::string name, const ImportRequest& request, const Log& log, const StoreLine& store)
      : name_(std::move(name)), request_(request), log_(log), store_(store), progress_(terminal_of(STDERR_FILENO)) {}

  enum class End {
    kComplete,
    kRefusedLines,
    kUnreadable,
    kStoreFailed,
  };

  End run(std::uint64_t from_line) {
    try {
      LineReader reader(name_);
      return read_lines(reader, from_line);
    } catch (const ReadFailure& failure) {
      progress_.clear();
      complain(fmt::format("{}: {}", name_, failure.what()));
      return End::kUnreadable;
    }
  }

  [[nodiscard]] std::string summary() const {
    return fmt::format("{} {} from {}, {} refused\n", request_.dry_run ? "would import" : "imported",
                       counted(stored_, log_.entries), printable(name_), counted(refused_, "lines"));
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
        progress_.clear();
        return refused_ == 0 ? End::kComplete : End::kRefusedLines;
      }
      if (reader.number() < from_line) {
        continue;
      }
      if (got == LineReader::Got::kTooLong) {
        refuse(reader.number(), fmt::format("it is longer than {} bytes", LineReader::kLongest));
      } else if (!take(line, reader.number())) {
        return End::kStoreFailed;
      }
      progress_.show(name_, reader.percent(), stored_);
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
    const Call call{log_, fmt::format("store the {}", log_.entries), Purpose::kWriting};
    int code = ANNAL_OK;
    try {
      code = store_line(line);
    } catch (const Refusal& refusal) {
      refuse(number, refusal.what());
      return true;
    }
    if (code == ANNAL_OK) {
      ++stored_;
      return true;
    }
    if (is_bad_line(code)) {
      refuse(number, code_text(code));
      return true;
    }
    progress_.clear();
    static_cast<void>(report(call, code));
    complain(fmt::format("stopped at line {0} of {1}, after {2}: import it again with --from-line {0}", number, name_,
                         counted(stored_, fmt::format("stored {}", log_.entries))));
    return false;
  }

  int store_line(std::string_view line) {
    if (line.find('\0') != std::string_view::npos) {
      throw Refusal("it holds a NUL character");
    }
    return store_(line);
  }

  void refuse(std::uint64_t number, const std::string& reason) {
    progress_.clear();
    complain_bare(fmt::format("{}:{}: {}", name_, number, reason));
    ++refused_;
  }

  std::string name_;
  const ImportRequest& request_;
  const Log& log_;
  const StoreLine& store_;
  Progress progress_;
  std::uint64_t stored_ = 0;
  std::uint64_t refused_ = 0;
};

}  // namespace

int import_files(const ImportRequest& request, const Log& log, const StoreLine& store, Program& program) {
  int status = kSuccess;
  std::uint64_t from_line = request.from_line;
  for (const std::string& file : request.files) {
    FileImport import(file, request, log, store);
    const FileImport::End end = import.run(from_line);
    program.output.write(import.summary());
    program.output.finish();
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
