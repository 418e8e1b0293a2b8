// Runs annalctl's importers on any lines: every non-blank line must be imported, reported or skipped, and imported
// records must be within their bounds.
#include <zlib.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "Corix_annal.h"
#include "tests/fuzz/captured.h"
#include "tests/fuzz/fuzz.h"
#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/conn/commands.h"
#include "tools/annalctl/conn/record.h"
#include "tools/annalctl/event/commands.h"
#include "tools/annalctl/event/record.h"
#include "tools/annalctl/fileop/commands.h"
#include "tools/annalctl/fileop/record.h"
#include "tools/annalctl/import/formats.h"
#include "tools/annalctl/import/json_lines.h"

namespace {

using annal::fuzz::Captured;
using annal::fuzz::Input;
using annal::fuzz::require;

constexpr const char* kFile = "/etc/logs/import";
constexpr std::int64_t kNow = 1795255200;

// ---- the parsers alone ----

template <typename Record>
void require_bounds(const Record& record, std::span<const annalctl::TextField> fields) {
  for (const annalctl::TextField& field : fields) {
    const char* const text = reinterpret_cast<const char*>(&record) + field.offset;
    require(strnlen(text, field.bound + 1) <= field.bound, field.column);
  }
}

void require_time(std::int64_t seconds) {
  // Only years with four digits.
  require(seconds > -100'000'000'000 && seconds < 300'000'000'000, "a time that no line can say");
}

void parse_event(const std::string& line, annalctl::LineFormat format) {
  EventRecord record{};
  if (format == annalctl::LineFormat::kJsonLines) {
    record = annalctl::event::record_of(annalctl::parse_json_line(line));
  } else {
    const annalctl::LogLine parsed =
        format == annalctl::LineFormat::kDpkg ? annalctl::parse_dpkg(line) : annalctl::parse_syslog(line, kNow);
    require_time(parsed.time);
    record = annalctl::event::record_of(parsed);
  }
  require_bounds(record, annalctl::event::kTextFields);
  require(record.event_type >= 0 && record.event_type <= 2, "the type of an imported event");
}

void parse_connection(const std::string& line, bool json) {
  ConnRecord record{};
  if (json) {
    record = annalctl::conn::record_of(annalctl::parse_json_line(line));
  } else {
    const annalctl::LogLine parsed = annalctl::parse_syslog(line, kNow);
    const std::optional<annalctl::LogIn> log_in = annalctl::log_in_of(parsed);
    if (!log_in) {
      return;
    }
    record = annalctl::conn::record_of(parsed, *log_in);
  }
  require_bounds(record, annalctl::conn::kTextFields);
  require(record.conn_serv >= 0 && record.conn_serv <= 12 && record.conn_action >= 0 && record.conn_action <= 36 &&
              (record.conn_action_result == 0 || record.conn_action_result == 13),
          "the numbers of an imported connection");
}

void parse_operation(const std::string& line) {
  const annalctl::fileop::Operation operation = annalctl::fileop::operation_of(annalctl::parse_json_line(line));
  require_bounds(operation.record, annalctl::fileop::kTextFields);
  require(operation.record.event_action >= 1 && operation.record.event_action <= 35, "the action of an operation");
}

// A parser may throw only a refusal.
template <typename Parse>
void try_parsing(const Parse& parse) {
  try {
    parse();
  } catch (const annalctl::Refusal& refusal) {
    require(*refusal.what() != '\0', "a refusal without a reason");
  }
}

void parse_lines(Input& input) {
  while (!input.empty()) {
    const std::string line = input.line();
    static_cast<void>(annalctl::looks_like(line));
    for (const auto format :
         {annalctl::LineFormat::kDpkg, annalctl::LineFormat::kSyslog, annalctl::LineFormat::kJsonLines}) {
      try_parsing([&] { parse_event(line, format); });
    }
    try_parsing([&] { parse_connection(line, true); });
    try_parsing([&] { parse_connection(line, false); });
    try_parsing([&] { parse_operation(line); });
  }
}

// ---- whole files ----

struct Import {
  void (*add)(CLI::App& commands, annalctl::Session& program);
  std::vector<const char*> formats;  // besides none
  const char* log;
  const char* table;
};

const Import& import_into(unsigned log) {
  static const std::array kImports{
      Import{&annalctl::event::add_import, {"auto", "dpkg", "syslog", "jsonl"}, annal::fuzz::kEventLog, "ANNAL_EVENT"},
      Import{&annalctl::conn::add_import, {"auto", "sshd", "jsonl"}, annal::fuzz::kConnLog, "ANNAL_CONN"},
  };
  return kImports.at(log);
}

bool is_blank(std::string_view line) {
  return line.find_first_not_of(" \t\r") == std::string_view::npos;
}

// The non-blank lines.
std::uint64_t count_lines(std::string_view text) {
  constexpr std::string_view kMark = "\xEF\xBB\xBF";
  if (text.starts_with(kMark)) {
    text.remove_prefix(kMark.size());
  }
  std::uint64_t count = 0;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    count += is_blank(text.substr(0, end)) ? 0 : 1;
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  return count;
}

void write_file(const std::string& text) {
  std::ofstream(kFile, std::ios::binary | std::ios::trunc) << text;
}

void write_zipped(const std::string& text) {
  auto* const file = gzopen(kFile, "wb1");
  require(
      file != nullptr && gzwrite(file, text.data(), static_cast<unsigned>(text.size())) >= 0 && gzclose(file) == Z_OK,
      "a file to import");
}

struct Summary {
  std::uint64_t imported = 0;
  std::uint64_t refused = 0;
  std::uint64_t left_out = 0;
};

std::uint64_t number_after(const std::string& text, std::string_view mark) {
  const std::size_t place = text.find(mark);
  return place == std::string::npos ? 0 : std::strtoull(text.c_str() + place + mark.size(), nullptr, 10);
}

Summary summary_of(const std::string& text, bool dry) {
  Summary summary{number_after(text, dry ? "would import " : "imported "),
                  number_after(text, std::string(kFile) + ", "), number_after(text, "refused, ")};
  return summary;
}

// Each refused line is reported with its number, in ascending order.
void require_reported(const std::string& errors, std::uint64_t refused) {
  std::uint64_t reported = 0;
  std::uint64_t previous = 0;
  Input lines(reinterpret_cast<const std::uint8_t*>(errors.data()), errors.size());
  while (!lines.empty()) {
    const std::string line = lines.line();
    const std::string begin = std::string(kFile) + ":";
    require(line.starts_with(begin), "a complaint without its line: " + line);
    const std::uint64_t number = std::strtoull(line.c_str() + begin.size(), nullptr, 10);
    require(number > previous, "a complaint out of order");
    previous = number;
    ++reported;
  }
  require(reported == refused, "another number of complaints than of refused lines");
}

void import_file(Input& input) {
  const Import& import = import_into(input.below(2));
  const bool dry = input.flag();
  const unsigned format = input.below(static_cast<unsigned>(import.formats.size()) + 1);
  enum Wrapping : unsigned { kPlain, kZipped, kDamaged, kWrappings };
  const unsigned wrapping = input.below(kWrappings);
  const unsigned damage = input.below(64);
  const unsigned filler = input.below(16);
  std::string text = input.bytes(std::string::npos);
  if (filler == 1) {  // a line near the length limit
    text = std::string((std::size_t{1} << 20U) - damage % 2, 'x') + text;
  }
  if (wrapping == kPlain) {
    write_file(text);
  } else {
    write_zipped(text);
  }
  if (wrapping == kDamaged) {
    std::ifstream file(kFile, std::ios::binary);
    std::string zipped(std::istreambuf_iterator<char>(file), {});
    zipped.resize(zipped.size() - std::min<std::size_t>(zipped.size(), damage));
    write_file(zipped);
  }

  std::vector<std::string> arguments{kFile};
  if (dry) {
    arguments.emplace_back("--dry-run");
  }
  if (format > 0) {
    arguments.insert(arguments.end(), {import.formats[format - 1], "--format"});
  }
  arguments.emplace_back("import");  // CLI11 reads them from the back

  Captured errors(stderr);
  Captured output(stdout);
  annalctl::Session program;
  CLI::App app;
  import.add(app, program);
  bool usable = true;
  try {
    app.parse(arguments);
  } catch (const CLI::Error&) {
    usable = false;
  }
  const std::string said = output.restore();
  const std::string complained = errors.restore();
  require(usable, "the command line");

  const Summary summary = summary_of(said, dry);
  const bool whole_file = wrapping != kDamaged && !(wrapping == kPlain && text.starts_with("\x1F\x8B"));
  if (whole_file) {
    require(summary.imported + summary.refused + summary.left_out == count_lines(text), "a line that is lost: " + said);
    require_reported(complained, summary.refused);
    require(program.status == (summary.refused > 0 ? annalctl::kFailure : annalctl::kSuccess), "the exit status");
  }
  const annal::fuzz::Rows expected{{std::to_string(dry ? 0 : summary.imported)}};
  require(annal::fuzz::rows(import.log, std::string("SELECT COUNT(*) FROM ") + import.table) == expected,
          "another number of entries than imported");
}

const annal::fuzz::Files& empty_logs() {
  static const annal::fuzz::Files logs = [] {
    require(annal_event_create_tbl(0, 0) == ANNAL_OK && annal_conn_create_tbl(0, 0) == ANNAL_OK, "new logs");
    return annal::fuzz::files();
  }();
  return logs;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  if (input.byte() % 4 != 0) {
    parse_lines(input);
    return 0;
  }
  annal::fuzz::put_back(empty_logs());
  const annal::fuzz::LeakCheck leak_check;
  import_file(input);
  return 0;
}
