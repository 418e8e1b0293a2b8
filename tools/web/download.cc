// Merges the logs by time, newest first, into CSV or JSON Lines, and notes at the end what could not be read.
#include "tools/web/download.h"

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <chrono>
#include <climits>
#include <cstdio>
#include <ctime>
#include <limits>
#include <memory>

#include "tools/annalctl/base/whole_number.h"
#include "tools/annalctl/output/output.h"
#include "tools/web/limits.h"
#include "tools/web/reading_turn.h"
#include "tools/web/response.h"
#include "tools/web/wall_clock.h"
#include "tools/web/writers_first.h"

namespace annal_web {

struct DownloadForm {
  const char* ending;  // of its address
  const char* type;
  annalctl::Format format;
  bool for_spreadsheet;
};

namespace {

using annalctl::Format;
using annalctl::IdRanges;
using annalctl::ReadFailure;
using annalctl::Row;
using annalctl::RowBuffer;
using annalctl::RowSink;
using annalctl::RowStream;

constexpr std::array kForms{
    DownloadForm{".csv", "text/csv; charset=utf-8; header=present", Format::kCsv, false},
    DownloadForm{"-for-spreadsheet.csv", "text/csv; charset=utf-8; header=present", Format::kCsv, true},
    DownloadForm{".jsonl", "application/jsonl; charset=utf-8", Format::kJson, false},
};

// Of the view of all logs.
constexpr std::array kColumnsOfAll{
    annalctl::Column{"log", false},     annalctl::Column{"id", true},        annalctl::Column{"date", false},
    annalctl::Column{"time", false},    annalctl::Column{"level", false},    annalctl::Column{"user", false},
    annalctl::Column{"ip", false},      annalctl::Column{"computer", false}, annalctl::Column{"application", false},
    annalctl::Column{"message", false},
};

// A text with an apostrophe wherever a spreadsheet may take what a stranger has written for a formula: at its
// beginning, and, because some spreadsheets divide the file at semicolons or tabs, whatever stands in quotes, after
// each of these.
std::string without_formulas(std::string_view text) {
  constexpr std::string_view kDividers = ";\t\r\n";
  constexpr std::string_view kDropped = " \"\t\r\n";  // by some, in front of a formula
  constexpr std::array<std::string_view, 8> kFormulas{"=", "+", "-", "@", "＝", "＋", "－", "＠"};
  std::string safe;
  std::size_t cell = 0;
  for (std::size_t start = 0; start < text.size();) {
    if (cell <= start) {  // else only what is dropped lies between
      cell = std::min(text.find_first_not_of(kDropped, start), text.size());
    }
    const bool formula = std::any_of(kFormulas.begin(), kFormulas.end(),
                                     [&](std::string_view one) { return text.substr(cell).starts_with(one); });
    const std::size_t end = std::min(text.find_first_of(kDividers, start), text.size() - 1) + 1;
    safe.append(formula ? "'" : "").append(text, start, end - start);
    start = end;
  }
  return safe;
}

// A spreadsheet calculates a cell that begins like a formula. An apostrophe in front makes it a text; it changes the
// text, so only who asks for it gets it.
class ForSpreadsheet : public RowSink {
 public:
  explicit ForSpreadsheet(std::unique_ptr<RowSink> sink) : sink_(std::move(sink)) {}

  void row(Row values) override {
    texts_.clear();
    texts_.reserve(values.size());
    std::vector<const char*> safe(values.begin(), values.end());
    for (const char*& value : safe) {
      if (value == nullptr || std::string_view(value) == "---" || annalctl::whole_number<std::int64_t>(value)) {
        continue;
      }
      value = texts_.emplace_back(without_formulas(value)).c_str();
    }
    sink_->row(safe);
  }
  void finish() override { sink_->finish(); }

 private:
  std::unique_ptr<RowSink> sink_;
  std::vector<std::string> texts_;
};

std::string level_of(const Part& part) {
  std::string cases = fmt::format("CASE {}", part.log->level);
  for (std::size_t i = 0; i < part.log->levels.size(); ++i) {
    cases += fmt::format(" WHEN {} THEN '{}'", i, part.log->levels[i]);
  }
  return cases + fmt::format(" ELSE {} END", part.log->level);
}

// In front stand the date and the time by which logs are brought together.
std::string columns_of(const Part& part, bool alone) {
  const annalctl::Log& log = *part.log;
  const std::string times = fmt::format("{}, {}", log.date, log.time == nullptr ? "NULL" : log.time);
  if (alone) {
    return times + ", t.*";
  }
  const std::string date =
      log.time == nullptr ? fmt::format("strftime('%Y-%m-%d', {}, 'unixepoch', 'localtime')", log.date) : log.date;
  const std::string time =
      log.time == nullptr ? fmt::format("strftime('%H:%M:%S', {}, 'unixepoch', 'localtime')", log.date) : log.time;
  return fmt::format("{}, '{}', {}, {}, {}, {}, {}, {}, {}, {}, {}", times, log.name, log.id, date, time,
                     level_of(part), part.user, part.address, part.computer, part.application, part.message);
}

constexpr std::size_t kTimeColumns = 2;

// The entries of one log, one at a time, from the one that was added last on.
class Source {
 public:
  Source(OpenLog& log, bool alone) : log_(log), pause_(log), columns_(columns_of(*log.part, alone)) {
    query_.columns = columns_.c_str();
    query_.conditions = log.conditions;
    annalctl::Reader& reader = *log.reader;
    const std::int64_t highest = patiently([&reader] { return reader.highest_id(); });
    patiently([this, &reader, highest] {
      stream_.emplace(reader, query_, IdRanges::Direction::kFalling, IdRanges::Bounds{.through = highest});
    });
    read_on();
  }
  Source(const Source&) = delete;
  Source& operator=(const Source&) = delete;

  [[nodiscard]] bool ended() const { return ended_; }
  [[nodiscard]] std::int64_t wall() const { return wall_; }
  [[nodiscard]] Row row() const { return Row(values_).subspan(kTimeColumns); }
  [[nodiscard]] OpenLog& log() { return log_; }

  void advance() {
    ++next_;
    next_ < page_.size() ? take() : read_on();
  }

 private:
  void read_on() {
    next_ = 0;
    pause_.before_turn();
    constexpr std::chrono::milliseconds kLongestWait{30000};
    const ReadingTurn turn(kLongestWait);
    ended_ = !patiently([this] { return stream_->next(page_); });
    log_.reader->require_released();
    if (!ended_) {
      take();
    }
  }

  void take() {
    values_ = page_.values(next_);
    const auto text = [this](std::size_t place) { return values_[place] == nullptr ? "" : values_[place]; };
    wall_ = log_.part->log->time != nullptr ? wall_seconds(text(0), text(1))
                                            : wall_seconds(annalctl::whole_number<std::int64_t>(text(0)).value_or(-1));
  }

  OpenLog& log_;
  WritersFirst pause_;
  std::string columns_;
  annalctl::Query query_;
  std::optional<RowStream> stream_;
  RowBuffer page_;
  std::size_t next_ = 0;
  bool ended_ = false;
  std::vector<const char*> values_;
  std::int64_t wall_ = kNoTime;
};

annalctl::RowShape shape_of(const Selection& selection) {
  if (selection.alone()) {
    const Part& part = *selection.parts.front();
    return {{part.log->columns.begin(), part.log->columns.end()}, {}, part.entry};
  }
  return {{kColumnsOfAll.begin(), kColumnsOfAll.end()}, {}};
}

class Download {
 public:
  Download(const DownloadForm& form, const Selection& selection) : form_(form), selection_(selection) {
    if (form.for_spreadsheet) {
      output_.write("\xEF\xBB\xBF");  // without it some spreadsheets read the texts in an older encoding
    }
    sink_ = make_sink(form.format, shape_of(selection), {}, output_);
    if (form.for_spreadsheet) {
      sink_ = std::make_unique<ForSpreadsheet>(std::move(sink_));
    }
  }

  void write(std::vector<OpenLog>& logs) {
    for (OpenLog& log : logs) {
      if (log.readable()) {
        attempt(log, [this, &log] { sources_.push_back(std::make_unique<Source>(log, selection_.alone())); });
      } else if (!log.missing) {
        missing_.push_back(log.obstacle);
      }
    }
    while (Source* const newest = take_newest()) {
      sink_->row(newest->row());
      if (!attempt(newest->log(), [newest] { newest->advance(); })) {
        std::erase_if(sources_, [newest](const auto& one) { return one.get() == newest; });
      }
      constexpr std::size_t kBatch = 256;
      if (++written_ % kBatch == 0) {
        output_.finish();
        went_on(kDownloadLimits);
      }
    }
    sink_->finish();
    output_.finish();
    tell_what_is_missing();
  }

 private:
  template <typename Work>
  bool attempt(OpenLog& log, Work work) {
    try {
      work();
      return true;
    } catch (const ReadFailure& failure) {
      give_up(log, "list", failure);
      missing_.push_back(log.obstacle);
      return false;
    }
  }

  Source* take_newest() {
    Source* newest = nullptr;
    for (const auto& source : sources_) {
      if (!source->ended() && (newest == nullptr || source->wall() > newest->wall())) {
        newest = source.get();
      }
    }
    return newest;
  }

  // The answer has begun as a success, so what it lacks stands at its end.
  void tell_what_is_missing() {
    for (const std::string& why : missing_) {
      const annalctl::Column column{"incomplete", false};
      const annalctl::RowShape shape{{column}, {}};
      const std::string text = form_.format == Format::kCsv ? "incomplete: " + why : why;
      const char* const value = text.c_str();
      if (form_.format == Format::kCsv) {
        output_.write("\r\n");
      }
      make_sink(form_.format, shape, {}, output_)->row(Row(&value, 1));
    }
    output_.finish();
  }

  const DownloadForm& form_;
  const Selection& selection_;
  annalctl::Output output_{stdout};
  std::unique_ptr<RowSink> sink_;
  std::vector<std::unique_ptr<Source>> sources_;
  std::vector<std::string> missing_;
  std::size_t written_ = 0;
};

// "nas1-event-2026-11-23-0945.csv", so that files of several appliances and days can lie in one folder.
std::string name_for_reader(const DownloadForm& form, const Selection& selection) {
  std::array<char, HOST_NAME_MAX + 1> host{};
  std::string name = gethostname(host.data(), host.size() - 1) == 0 ? host.data() : "logs";
  std::replace_if(
      name.begin(), name.end(),
      [](unsigned char c) { return std::isalnum(c) == 0 && c != '.' && c != '_' && c != '-'; }, '-');
  return fmt::format("{}-{}-{:%F-%H%M}{}", name, selection.alone() ? selection.parts.front()->log->name : "all",
                     fmt::localtime(std::time(nullptr)), form.ending);
}

}  // namespace

const DownloadForm* download_form(const std::string& file) {
  const auto* const form = std::find_if(kForms.begin(), kForms.end(), [&file](const DownloadForm& one) {
    return file == std::string("entries") + one.ending;
  });
  return form == kForms.end() ? nullptr : form;
}

void send_download(const DownloadForm& form, const Selection& selection, std::vector<OpenLog>& logs, bool head) {
  if (selection.alone() && !logs.front().readable()) {
    constexpr int kNotFound = 404;
    constexpr int kUnavailable = 503;
    throw Refused(logs.front().missing ? kNotFound : kUnavailable, sentence_about(logs.front()));
  }
  send_head_of_download(form.type, name_for_reader(form, selection));
  if (!head) {
    Download(form, selection).write(logs);
  }
}

}  // namespace annal_web
