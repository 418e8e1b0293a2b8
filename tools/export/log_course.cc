// Delivers a log page by page and saves the position; starts a new generation when the log was created again.
#include "tools/export/log_course.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <utility>

#include "tools/export/report.h"
#include "tools/export/sealing.h"

namespace exporter {

LogCourse::LogCourse(const Owner& owner, const SourceLog& log)
    : owner_(owner), log_(log), reader_(log), news_(log_, reader_) {
  std::optional<State> state = load_state(owner.folder, owner.appliance, owner.sink, log.name());
  if (state) {
    state_ = std::move(*state);
    saved_highest_ = state_.highest;
    return;
  }
  state_ = {.appliance = owner.appliance, .sink = owner.sink, .log = log.name(), .generation = 0};
}

// The number is one that no other sink uses for another log: receivers may get entries from several sinks.
void LogCourse::begin_generation(const LogFile& file) {
  std::int64_t generation = state_.generation + 1;
  for (const State& other : states_of_others(owner_.folder, state_)) {
    if (other.generation > state_.generation && reader_.is_log_of(other)) {
      generation = other.generation;
      break;
    }
    generation = std::max(generation, other.generation + 1);
  }
  if (state_.generation > 0) {
    report(fmt::format("sink {}: {} was created again: its entries are sent from the first one on, as generation {}",
                       owner_.sink, log_.path, generation));
    state_.seal = news_.mark_behind_all(state_.seal);
  }
  state_.generation = generation;
  state_.position = 0;
  state_.highest = 0;
  state_.file = file;
  state_.anchors.clear();
}

void LogCourse::save() {
  save_state(owner_.folder, state_);
  saved_highest_ = state_.highest;
}

void LogCourse::save_if_owed() {
  if (!owner_.saves_at_close) {
    save();
  }
}

// Moves the position past records that are done with, and returns how many entries were sent.
std::int64_t LogCourse::move(std::span<const Record> done, std::size_t refused) {
  std::int64_t entries = -static_cast<std::int64_t>(refused);
  const Record* last = nullptr;
  for (const Record& record : done) {
    if (record.kind == Kind::kGap) {
      state_.missing += record.count;
    } else if (record.kind == Kind::kEntry) {
      ++entries;
      last = &record;
    } else {
      continue;
    }
    state_.position = last_id(record);
  }
  if (last != nullptr) {
    state_.add_anchor({last->id, digest_of(*last, *log_.shape)});
  }
  state_.refused += static_cast<std::int64_t>(refused);
  entries = std::max<std::int64_t>(entries, 0);  // what was refused may have been no entry
  state_.sent += entries;
  return entries;
}

// news: where the records come from, if they are not the log's next ones.
LogCourse::Result LogCourse::hand_over(Sink& sink, const Stop& stop, Page& page, const ChainNews* news) {
  const Stream stream{.appliance = state_.appliance, .log = state_.log, .generation = state_.generation};
  const std::span<const Record> records = page.records();
  std::size_t moved = 0;
  Result result{.step = Step::kProgress};
  const auto move_to = [&](std::size_t acknowledged, std::size_t refused) {
    const State before = state_;
    result.sent += move(records.first(std::min(acknowledged, records.size())).subspan(moved), refused);
    if (news != nullptr) {
      state_.seal = news->mark_after(acknowledged);
    }
    try {
      save_if_owed();
    } catch (const StateFailure&) {
      // What was acknowledged is sent again, and the receiver knows it.
      state_ = before;
      throw;
    }
    moved = acknowledged;
  };
  const std::function<void(std::size_t)> so_far = [&move_to](std::size_t acknowledged) { move_to(acknowledged, 0); };
  const Batch batch{.stream = stream, .records = records, .acknowledged_so_far = &so_far};
  Outcome outcome = sink.deliver(batch, stop);
  result.trouble = std::move(outcome.trouble);
  if (!outcome.refused.empty()) {
    set_aside(owner_.folder, state_, batch, outcome.refused);
    report(fmt::format("sink {}: {} of the {} log refused for good, the first because of: {} (see {})", owner_.sink,
                       outcome.refused.size(), state_.log, outcome.refused.front().reason,
                       set_aside_path(owner_.folder, owner_.sink, state_.log)));
  }
  if (outcome.acknowledged > moved) {
    move_to(outcome.acknowledged, outcome.refused.size());
  } else if (saved_highest_ != state_.highest) {
    // If the log is created again meanwhile, this is how many entries were not sent.
    save_if_owed();
  }
  if (outcome.acknowledged < records.size()) {
    result.step = Step::kTrouble;
  }
  return result;
}

LogCourse::Result LogCourse::advance(Sink& sink, const Stop& stop, Page& page) {
  const bool may_have_changed = reader_.may_have_changed();
  if (owner_.sealing != nullptr) {
    owner_.sealing->seal(log_, may_have_changed);
  }
  if (state_.generation > 0 && news_.may_be_there(state_)) {
    news_.read(state_, page);
    if (!page.empty()) {
      return hand_over(sink, stop, page, &news_);
    }
    state_.seal = news_.mark_after(0);
  }
  if (!due_ && !may_have_changed) {
    return {};
  }
  due_ = true;
  const Reading reading = reader_.read(state_, owner_.batch, page);
  if (!reading.there) {
    reader_.close();
    due_ = false;
    drained_ = true;
    return {};
  }
  if (state_.generation == 0) {
    begin_generation(reading.file);
    return {.step = Step::kProgress};
  }
  if (reading.another) {
    if (state_.highest > state_.position) {
      page.clear();
      page.add_gap(state_.position + 1, state_.highest - state_.position);
      return hand_over(sink, stop, page);
    }
    begin_generation(reading.file);
    goal_.reset();
    save_if_owed();
    return {.step = Step::kProgress};
  }
  goal_ = goal_.value_or(reading.highest);
  state_.highest = reading.highest;
  state_.file = reading.file;
  if (page.empty()) {
    reader_.close();
    due_ = false;
    drained_ = true;
    return {};
  }
  Result result = hand_over(sink, stop, page);
  drained_ = drained_ || state_.position >= *goal_;
  return result;
}

}  // namespace exporter
