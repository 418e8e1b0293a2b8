// Shows the entries of several logs in one view.
//
// Each log is read in short transactions of its own, into a private temporary database that puts all entries in the
// order of their times. So no log is locked while the view is written. A cursor, or following, continues each log after
// the last id that was shown.
#include "tools/annalctl/all_entries.h"

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <filesystem>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/annalctl/arguments/number_range.h"
#include "tools/annalctl/arguments/when.h"
#include "tools/annalctl/base/printable.h"
#include "tools/annalctl/conn/model.h"
#include "tools/annalctl/event/model.h"
#include "tools/annalctl/fileop/model.h"
#include "tools/annalctl/files/file_state.h"
#include "tools/annalctl/files/rights.h"
#include "tools/annalctl/log/common_columns.h"
#include "tools/annalctl/log/diagnosis.h"
#include "tools/annalctl/log/level.h"
#include "tools/annalctl/log/place.h"
#include "tools/annalctl/notice/model.h"
#include "tools/annalctl/query/filter_options.h"
#include "tools/annalctl/query/interruption.h"
#include "tools/annalctl/query/listing.h"
#include "tools/annalctl/query/merge.h"
#include "tools/annalctl/query/position.h"
#include "tools/annalctl/query/view_options.h"

namespace annalctl {

namespace {

// --- the columns of the view ---

constexpr std::array kColumns{
    Column{"log", false},  Column{"id", true},        Column{"date", false},
    Column{"time", false}, Column{"level", false},    Column{"user", false},
    Column{"ip", false},   Column{"computer", false}, Column{"message", false},
};

// Where the level's name is in a row. Date and time are where most logs have them.
constexpr std::size_t kLevelName = 4;

TableCell named_level_cell(const char* name) {
  const std::string_view level = name;
  const bool bad = level == "error" || level == "critical" || level == "alert" || level == "emergency";
  return {printable(name), bad ? Style::kError : level == "warning" ? Style::kWarning : Style::kInformation};
}

constexpr std::array kTable{
    TableColumn{"Log", 0, false, nullptr, Room::kWhole},
    TableColumn{"ID", 1, true, nullptr, Room::kWhole},
    kDateCell,
    kTimeCell,
    TableColumn{"Level", kLevelName, false, named_level_cell, Room::kWhole},
    TableColumn{"User", 5},
    TableColumn{"Address", 6},
    TableColumn{"Computer", 7},
    TableColumn{"Message", 8, false, nullptr, Room::kRest},
};

constexpr std::array kEventTexts{TextFilter{"--text", {"event_desc"}, "message"},
                                 TextFilter{"--grep,-g", {"event_desc"}, "message", Match::kExpression},
                                 TextFilter{"--user", {"event_user"}, "user's name"},
                                 TextFilter{"--ip", {"event_ip"}, "address"}};
constexpr std::array kConnTexts{TextFilter{"--text", {"conn_res"}, "resource"},
                                TextFilter{"--grep,-g", {"conn_res"}, "resource", Match::kExpression},
                                TextFilter{"--user", {"conn_user"}, "user's name"},
                                TextFilter{"--ip", {"conn_ip"}, "address"}};
constexpr std::array kFileOpTexts{TextFilter{"--text", {"event_filepath"}, "path"},
                                  TextFilter{"--grep,-g", {"event_filepath"}, "path", Match::kExpression},
                                  TextFilter{"--user", {"event_user"}, "user's name"},
                                  TextFilter{"--ip", {"event_ip"}, "address"}};
constexpr std::array kNoticeTexts{TextFilter{"--text", {"\"desc\""}, "description"},
                                  TextFilter{"--grep,-g", {"\"desc\""}, "description", Match::kExpression},
                                  TextFilter{"--user", {"user"}, "user's name"}, TextFilter{"--ip", {"ip"}, "address"}};

// One log in the view.
struct Part {
  Log* log;
  // Columns that have other names in each log.
  const char* user;
  const char* address;
  const char* computer;
  const char* message;
  LogFilters filters;
};

// The level of the other logs that corresponds to a notice's severity.
constexpr char kNoticeLevel[] = "CASE WHEN severity <= 3 THEN 2 WHEN severity = 4 THEN 1 ELSE 0 END";

const std::array<Part, 4>& parts() {
  static const std::array<Part, 4> kParts{
      Part{&event::kLog,
           "event_user",
           "event_ip",
           "event_comp",
           "event_desc",
           {{"--type", "event_type", kLevels, true}, {"event_date", "event_time", nullptr}, kEventTexts, {}}},
      Part{&conn::kLog,
           "conn_user",
           "conn_ip",
           "conn_comp",
           "conn_res",
           {{"--type", "conn_type", kLevels, true}, {"conn_date", "conn_time", nullptr}, kConnTexts, {}}},
      Part{&notice::kLog,
           "user",
           "ip",
           "client",
           "\"desc\"",
           {{"--type", kNoticeLevel, kLevels, true}, {nullptr, nullptr, "time"}, kNoticeTexts, {}}},
      Part{&fileop::kLog,
           "event_user",
           "event_ip",
           "event_comp",
           "event_filepath",
           {{"--type", "event_type", kLevels, true}, {"event_date", "event_time", nullptr}, kFileOpTexts, {}}},
  };
  return kParts;
}

std::string level_name(const Log& log) {
  std::string cases = fmt::format("CASE {}", log.level);
  for (std::size_t i = 0; i < log.levels.size(); ++i) {
    cases += fmt::format(" WHEN {} THEN '{}'", i, log.levels[i]);
  }
  return cases + fmt::format(" ELSE {} END", log.level);
}

std::string columns_of(const Part& part) {
  const Log& log = *part.log;
  const std::string date =
      log.time == nullptr ? fmt::format("strftime('%Y-%m-%d', {}, 'unixepoch', 'localtime')", log.date) : log.date;
  const std::string time =
      log.time == nullptr ? fmt::format("strftime('%H:%M:%S', {}, 'unixepoch', 'localtime')", log.date) : log.time;
  return fmt::format("coalesce({0} || ' ' || {1}, ''), '{2}', {3}, {0}, {1}, {4}, {5}, {6}, {7}, {8}", date, time,
                     log.name, log.id, level_name(log), part.user, part.address, part.computer, part.message);
}

std::optional<std::string> level_in_view(Row values) {
  return kLevelName < values.size() && values[kLevelName] != nullptr ? std::optional<std::string>(values[kLevelName])
                                                                     : std::nullopt;
}

// The rows have the names of their logs and levels themselves.
constexpr EntryView kView{"", moment_of, level_in_view, kDatePlace, kTimePlace};

RowShape shape() {
  return {{kColumns.begin(), kColumns.end()}, kTable, &kView, true};
}

// --- options ---

struct Options {
  std::vector<std::string> files;
  FilterOptions filters;
  PageOptions page;
  bool oldest = false;
  bool follow = false;
  double interval = 1;
  std::string cursor;
};

// --- the view ---

// One file, and how far it has been read.
struct Source {
  const Part* part;
  std::string file;  // of a log of file operations
  std::string name;  // in a cursor
  Position last;
  std::optional<FileState> asked;
  std::string told;  // the last obstacle that was reported
};

class LogView {
 public:
  LogView(const Options& options, Session& session)
      : options_(options),
        session_(session),
        merge_(static_cast<int>(kColumns.size()) + 1),
        sink_(make_sink(session.view, shape(), session.terminal, session.output)) {
    for (const Part& part : parts()) {
      if (part.log != &fileop::kLog) {
        settle(*part.log, {}, session.place, Intent::kReading);
        sources_.push_back({&part, {}, part.log->path, {}, {}, {}});
      }
    }
    for (const std::string& file : options.files) {
      fileop::use_file((std::filesystem::path(session.place.folder) / file).string());
      sources_.push_back({&parts().back(), fileop::kLog.path, fileop::kLog.path, {}, {}, {}});
    }
  }

  // The newest of all, or the oldest.
  void show_page() {
    const PageOptions::Window window = options_.page.window();
    constexpr std::int64_t kAll = std::numeric_limits<std::int64_t>::max();
    const std::int64_t needed = window.limit > kAll - window.offset ? kAll : window.limit + window.offset;
    for (Source& source : sources_) {
      read(source, [this, &source, needed](Reader& reader) {
        read_rows(reader, query_of(source, !options_.oldest), {needed, 0},
                  [this](const RowBuffer& page) { merge_.add(page); });
      });
    }
    write_page(window);
  }

  // What is new since the cursor was written, the oldest first.
  void show_since_cursor() {
    take_positions();
    for (Source& source : sources_) {
      read_news(source);
    }
    write_all();
    keep_positions();
  }

  [[noreturn]] void follow() {
    options_.cursor.empty() ? begin_with_newest() : take_positions();
    for (;; wait_for_interval(options_.interval)) {
      for (Source& source : sources_) {
        if (has_changed(source)) {
          read_news(source);
        }
      }
      const Writing writing;
      write_all();
      keep_positions();
    }
  }

  [[nodiscard]] bool failed() const {
    return std::any_of(sources_.begin(), sources_.end(), [](const Source& source) { return !source.told.empty(); });
  }

 private:
  [[nodiscard]] Query query_of(const Source& source, bool newest_first) const {
    const Log& log = *source.part->log;
    Query query;
    columns_ = columns_of(*source.part);
    query.columns = columns_.c_str();
    query.id = log.id;
    query.conditions = options_.filters.conditions(source.part->filters);
    query.sort.emplace_back(log.date);
    if (log.time != nullptr) {
      query.sort.emplace_back(log.time);
    }
    query.descending = newest_first;
    return query;
  }

  // A missing log has no entries. Any other obstacle is reported once.
  template <typename Work>
  void read(Source& source, Work work) {
    if (!source.file.empty()) {
      fileop::use_file(source.file);
    }
    const Log& log = *source.part->log;
    std::error_code unknown;
    if (!std::filesystem::exists(log.path, unknown) && !unknown) {
      return;
    }
    const Call call{log, fmt::format("list the {}", log.entries), Purpose::kReading};
    try {
      take_rights_where_it_is(log);
      if (const auto obstacle = file_obstacle(log, Purpose::kReading)) {
        return tell(source, fmt::format("cannot open {}: {}", log.path, *obstacle));
      }
      Reader reader(log);
      work(reader);
      source.told.clear();
    } catch (const ReadFailure& failure) {
      tell(source, failure_text(call, failure));
    } catch (const RightsFailure& failure) {
      tell(source, failure.what());
    }
  }

  static void tell(Source& source, const std::string& obstacle) {
    if (source.told != obstacle) {
      complain(obstacle);
      source.told = obstacle;
    }
    source.asked.reset();
  }

  void read_news(Source& source) {
    read(source, [this, &source](Reader& reader) {
      const Log& log = *source.part->log;
      const Query query = query_of(source, false);
      RowStream stream(reader, query, IdRanges::Direction::kRising,
                       {last_id_read(reader, log, source.last), reader.highest_id()});
      RowBuffer page;
      std::int64_t last = 0;
      while (stream.next(page)) {
        merge_.add(page);
        last = page.id(page.size() - 1);
      }
      if (last != 0) {
        source.last = position_of(reader, log, last);
      }
    });
  }

  [[nodiscard]] static bool has_changed(Source& source) {
    const FileState now = state_of(source.part->log == &fileop::kLog ? source.file.c_str() : source.part->log->path);
    const bool changed = !source.asked || *source.asked != now;
    source.asked = now;
    return changed;
  }

  // The positions are those of the newest entries, shown or not.
  void begin_with_newest() {
    for (Source& source : sources_) {
      read(source, [&source](Reader& reader) {
        const std::int64_t highest = reader.highest_id();
        if (highest > 0) {
          source.last = position_of(reader, *source.part->log, highest);
        }
      });
    }
    const PageOptions::Window window{options_.page.limit_given ? options_.page.limit : kNewest, 0};
    for (Source& source : sources_) {
      read(source, [this, &source, window](Reader& reader) {
        Query query = query_of(source, true);
        query.conditions.push_back({"t.rowid <= ?", {source.last.id}});
        read_rows(reader, query, window, [this](const RowBuffer& page) { merge_.add(page); });
      });
    }
    merge_.keep_newest(window.limit);
    const Writing writing;
    write_all();
  }

  void write_page(PageOptions::Window window) {
    bool more = false;
    std::int64_t written = 0;
    merge_.read(options_.oldest ? Merge::Order::kOldestFirst : Merge::Order::kNewestFirst, window.limit, window.offset,
                [this, &more, &written](const RowBuffer& rows) {
                  for (std::size_t row = 0; row < rows.size() && !more; ++row) {
                    more = options_.page.bounded() && written == options_.page.limit;
                    if (!more) {
                      sink_->row(rows.values(row));
                      ++written;
                    }
                  }
                });
    finish();
    if (more && !options_.page.limit_given) {
      complain(fmt::format("these are {} rows, and there are more: see --all, --limit and --offset", written));
    }
  }

  void write_all() {
    merge_.read(Merge::Order::kOldestFirst, std::numeric_limits<std::int64_t>::max(), 0, [this](const RowBuffer& rows) {
      for (std::size_t row = 0; row < rows.size(); ++row) {
        sink_->row(rows.values(row));
      }
    });
    merge_.clear();
    finish();
  }

  void finish() {
    sink_->finish();
    session_.output.finish();
  }

  void take_positions() {
    const Positions positions = read_cursor(options_.cursor);
    for (Source& source : sources_) {
      const auto known = positions.find(source.name);
      source.last = known == positions.end() ? Position() : known->second;
    }
  }

  // Only after all output was written: an interrupted run shows entries twice rather than never.
  void keep_positions() const {
    if (options_.cursor.empty()) {
      return;
    }
    Positions positions;
    for (const Source& source : sources_) {
      if (source.last.id != 0) {
        positions[source.name] = source.last;
      }
    }
    write_cursor(options_.cursor, positions);
  }

  static constexpr std::int64_t kNewest = 10;

  const Options& options_;
  Session& session_;
  Merge merge_;
  std::unique_ptr<RowSink> sink_;
  std::vector<Source> sources_;
  mutable std::string columns_;  // of the query that runs
};

int run_log(const Options& options, Session& session) {
  LogView view(options, session);
  try {
    if (options.follow) {
      end_when_interrupted();
      view.follow();
    }
    options.cursor.empty() ? view.show_page() : view.show_since_cursor();
  } catch (const CursorFailure& failure) {
    complain(failure.what());
    return kFailure;
  }
  return view.failed() ? kFailure : kSuccess;
}

}  // namespace

void add_log_of_all(CLI::App& app, Session& session) {
  CLI::App* const command = app.add_subcommand("log", "Show the entries of all logs in one view, by their times");
  const auto options = std::make_shared<Options>();
  command->footer(std::string("Events, connections and notices, and the file operations of the named files.\n"
                              "The newest come first; with -f and --cursor the oldest. A missing log counts as\n"
                              "empty. For notices, --type means the level that corresponds to their severity.\n"
                              "\n"
                              "--cursor shows what is new since the last run with the same file, and everything\n"
                              "the first time. The file is written after the output, so an interrupted run can\n"
                              "simply be repeated. A recreated log is shown from its first entry.\n"
                              "\n") +
                  kFilterNotes + kWhenForms +
                  "\nExamples:\n"
                  "  annalctl log --since today\n"
                  "  annalctl log -f --type warning --type error\n"
                  "  annalctl log --user admin --db operations.db\n"
                  "  annalctl log --cursor /var/lib/report/cursor --json");
  command->add_option("--db", options->files, "A log of file operations too")
      ->type_name("FILE")
      ->allow_extra_args(false);
  options->filters.add_options(*command, parts().front().filters, "entries");
  add_page_options(*command, options->page);
  add_view_options(*command, session);
  auto* const oldest = command->add_flag("--oldest", options->oldest, "The oldest first");
  auto* const cursor = command->add_option("--cursor", options->cursor, "Show what is new since this file was written")
                           ->type_name("FILE")
                           ->excludes(oldest);
  auto* const follow = command->add_flag("-f,--follow", options->follow, "Then show each new one")->excludes(oldest);
  command->add_option("--interval", options->interval, "Look for new ones every N seconds; default: 1")
      ->type_name("SECONDS")
      ->check(CLI::Range(kShortestInterval, kLongestInterval))
      ->needs(follow);
  for (const char* paging : {"--limit", "--offset", "--all"}) {
    if (CLI::Option* const option = command->get_option_no_throw(paging)) {
      cursor->excludes(option);
    }
  }
  command->fallthrough();
  command->callback([options, &session] { session.status = run_log(*options, session); });
}

}  // namespace annalctl
