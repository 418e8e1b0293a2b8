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
#include "tools/annalctl/conn/model.h"
#include "tools/annalctl/conn/record.h"
#include "tools/annalctl/event/commands.h"
#include "tools/annalctl/event/model.h"
#include "tools/annalctl/event/record.h"
#include "tools/annalctl/fileop/commands.h"
#include "tools/annalctl/fileop/model.h"
#include "tools/annalctl/fileop/record.h"
#include "tools/annalctl/import/formats.h"
#include "tools/annalctl/import/json_lines.h"
#include "tools/annalctl/import/line_parser.h"
#include "tools/annalctl/notice/model.h"
#include "tools/annalctl/notice/record.h"

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

// A parser may throw only a refusal.
template <typename Take>
void try_taking(const Take& take) {
  try {
    take();
  } catch (const annalctl::Refusal& refusal) {
    require(*refusal.what() != '\0', "a refusal without a reason");
  }
}

void require_cells(const annalctl::Cells& cells, const annalctl::Log& log) {
  require(cells.size() + 1 == log.columns.size(), "a value for each column");
}

void take_event(const annalctl::ParsedLine& parsed) {
  EventRecord record{};
  if (const auto* const members = std::get_if<annalctl::Members>(&parsed)) {
    record = annalctl::event::record_of(*members);
    require_cells(annalctl::event::cells_of(record, *members), annalctl::event::kLog);
  } else {
    const auto& line = std::get<annalctl::LogLine>(parsed);
    record = annalctl::event::record_of(line);
    require(!line.level_from.empty(), "what the level comes from");
    require_cells(annalctl::event::cells_of(record), annalctl::event::kLog);
  }
  require_bounds(record, annalctl::event::kTextFields);
  require(record.event_type >= 0 && record.event_type <= 2, "the type of an imported event");
}

void take_connection(const annalctl::ParsedLine& parsed) {
  ConnRecord record{};
  if (const auto* const members = std::get_if<annalctl::Members>(&parsed)) {
    record = annalctl::conn::record_of(*members);
    require_cells(annalctl::conn::cells_of(record, *members), annalctl::conn::kLog);
  } else {
    const auto& line = std::get<annalctl::LogLine>(parsed);
    const std::optional<annalctl::LogIn> log_in = annalctl::log_in_of(line);
    if (!log_in) {
      return;
    }
    record = annalctl::conn::record_of(line, *log_in);
    require_cells(annalctl::conn::cells_of(record), annalctl::conn::kLog);
  }
  require_bounds(record, annalctl::conn::kTextFields);
  require(record.conn_serv >= 0 && record.conn_serv <= 12 && record.conn_action >= 0 && record.conn_action <= 36 &&
              (record.conn_action_result == 0 || record.conn_action_result == 13),
          "the numbers of an imported connection");
}

void take_members(const annalctl::Members& members) {
  try_taking([&] { require_cells(annalctl::notice::cells_of(members), annalctl::notice::kLog); });
  const annalctl::fileop::Operation operation = annalctl::fileop::operation_of(members);
  require_cells(annalctl::fileop::cells_of(operation, members), annalctl::fileop::kLog);
  require_bounds(operation.record, annalctl::fileop::kTextFields);
  require(operation.record.event_action >= 1 && operation.record.event_action <= 35, "the action of an operation");
}

// Other programs' lines in every format, and each log's own columns, also as rows of CSV and by a pattern.
void parse_lines(Input& input) {
  static const std::array kPatterns{"", "(?P<time>\\S+ \\S+) (?P<level>\\w+) (?P<ip>\\S+) (?P<message>.*)",
                                    "^(?P<priority>\\d*),(?P<status>\\d*),(?P<user>[^,]*)"};
  annalctl::LineOptions options;
  options.pattern = kPatterns.at(input.below(kPatterns.size()));
  const std::array kOrders{"", "%Y %j %T", "%s %z"};
  options.time_format = kOrders.at(input.below(kOrders.size()));
  annalctl::LineParser of_events(options, annalctl::event::kLog.columns, true, kNow);
  annalctl::LineParser of_operations({}, annalctl::fileop::kLog.columns, false, kNow);
  of_events.begin_file();
  of_operations.begin_file();
  while (!input.empty()) {
    const std::string line = input.line();
    static_cast<void>(annalctl::looks_like(line));
    for (const annalctl::LineFormat& format : annalctl::kLineFormats) {
      try_taking([&] {
        const annalctl::LogLine parsed = annalctl::parse_line(format, line, kNow);
        require_time(parsed.time);
        take_event(parsed);
        take_connection(parsed);
      });
    }
    try_taking([&] {
      if (const std::optional<annalctl::ParsedLine> parsed = of_events.parse(line)) {
        take_event(*parsed);
        take_connection(*parsed);
      }
    });
    try_taking([&] {
      if (const std::optional<annalctl::ParsedLine> parsed = of_operations.parse(line)) {
        take_members(std::get<annalctl::Members>(*parsed));
      }
    });
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
  static const std::vector<const char*> kFormats{"auto",   "jsonl",  "csv",   "journal", "dpkg",  "syslog5424",
                                                 "syslog", "apache", "nginx", "access",  "dmesg", "audit"};
  static const std::array kImports{
      Import{&annalctl::event::add_import, kFormats, annal::fuzz::kEventLog, "ANNAL_EVENT"},
      Import{&annalctl::conn::add_import, kFormats, annal::fuzz::kConnLog, "ANNAL_CONN"},
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
  // A row that is shown may hold the same words.
  const std::string_view begin = dry ? "would import " : "imported ";
  const std::size_t line = text.rfind(begin);
  const std::string last = line == std::string::npos ? "" : text.substr(line);
  return {number_after(last, begin), number_after(last, std::string(kFile) + ", "), number_after(last, "refused, ")};
}

// The first refused line of each kind is reported with its number, in ascending order, and then how many more there
// are.
void require_reported(const std::string& errors, std::uint64_t refused) {
  std::uint64_t reported = 0;
  std::uint64_t previous = 0;
  Input lines(reinterpret_cast<const std::uint8_t*>(errors.data()), errors.size());
  while (!lines.empty()) {
    const std::string line = lines.line();
    const std::string begin = std::string(kFile) + ":";
    require(line.starts_with(begin), "a complaint without its file: " + line);
    std::string rest = line.substr(begin.size());
    if (rest.starts_with(' ')) {
      rest.erase(std::remove(rest.begin(), rest.end(), ','), rest.end());
      require(rest.find(" more like line ") != std::string::npos, "a complaint without its line: " + line);
      reported += std::strtoull(rest.c_str(), nullptr, 10);
      continue;
    }
    const std::uint64_t number = std::strtoull(rest.c_str(), nullptr, 10);
    require(number > previous, "a complaint out of order");
    previous = number;
    ++reported;
  }
  require(reported == refused, "another number of complaints than of refused lines");
}

// A row of CSV may take several lines, and its header is no entry.
bool may_be_csv(const std::string& text, const char* format) {
  const std::string first = text.substr(0, text.find('\n'));
  return std::string_view(format) == "csv" ||
         (std::string_view(format) == "auto" && first.find(',') != std::string::npos);
}

bool may_be_compressed(const std::string& text) {
  return !text.empty() && std::string_view("\x1F\x42\xFD\x28\x5D").find(text.front()) != std::string_view::npos;
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
  const bool whole_file = wrapping != kDamaged && !may_be_compressed(text);
  if (whole_file && !may_be_csv(text, format > 0 ? import.formats[format - 1] : "auto")) {
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
