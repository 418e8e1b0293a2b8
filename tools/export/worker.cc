// Runs a sink's loop: takes turns, backs off with jitter while the receiver fails, and saves its activity.
#include "tools/export/worker.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <random>

#include "tools/export/report.h"

namespace exporter {

namespace {

constexpr std::chrono::seconds kFirstBackoff{1};
constexpr std::chrono::seconds kLongestBackoff{60};
constexpr std::chrono::seconds kTellEvery{5};
constexpr std::chrono::seconds kIdleEvery{60};

// Appliances that lost the same receiver are not to come back to it all at once.
std::chrono::milliseconds spread(std::chrono::milliseconds time) {
  thread_local std::minstd_rand random{std::random_device{}()};
  constexpr double kLeast = 0.5;
  return std::chrono::milliseconds(static_cast<std::int64_t>(static_cast<double>(time.count()) *
                                                             std::uniform_real_distribution(kLeast, 1.0)(random)));
}

}  // namespace

Worker::Worker(const Configuration& configuration, const ConfiguredSink& sink, const Stop& stop, WorkMode mode)
    : configuration_(configuration), sink_(sink), stop_(stop), mode_(mode) {
  activity_.process = getpid();
  for (const SourceLog& log : configuration.logs) {
    if (!sink.logs.empty() && std::find(sink.logs.begin(), sink.logs.end(), log.name()) == sink.logs.end()) {
      continue;
    }
    try {
      const LogCourse::Owner owner{.folder = configuration.state_folder,
                                   .appliance = configuration.appliance,
                                   .sink = sink.name,
                                   .batch = sink.batch,
                                   .saves_at_close = sink.sink->acknowledges_at_close(),
                                   .sealing = configuration.sealing.get()};
      courses_.emplace_back(owner, log);
    } catch (const StateFailure& failure) {
      note_log(log.name(), failure.what());
      failed_ = true;
    }
  }
}

void Worker::note_sink(const Trouble& trouble) {
  if (!activity_.error || !activity_.error->lasting || activity_.error->text != trouble.reason) {
    report(fmt::format("sink {}: {}", sink_.name, trouble.reason));
  }
  activity_.error = {.text = trouble.reason, .time = std::time(nullptr), .lasting = true};
  asked_ = trouble.wait;
  ended_ = ended_ || trouble.final;
  changed_ = true;
}

void Worker::note_log(const std::string& log, const std::string& text) {
  Activity::Error& error = activity_.log_errors[log];
  if (!error.lasting || error.text != text) {
    report(fmt::format("sink {}: {}", sink_.name, text));
  }
  error = {.text = text, .time = std::time(nullptr), .lasting = true};
  changed_ = true;
}

void Worker::clear_error(std::optional<Activity::Error>& error, const std::string& of) {
  if (error && error->lasting) {
    report(fmt::format("{}: works again", of));
    error->lasting = false;
    changed_ = true;
  }
}

void Worker::advance(LogCourse& course, Round& round) {
  try {
    LogCourse::Result result = course.advance(*sink_.sink, stop_, page_);
    const auto error = activity_.log_errors.find(course.name());
    if (error != activity_.log_errors.end() && error->second.lasting) {
      report(fmt::format("sink {}: the {} log works again", sink_.name, course.name()));
      error->second.lasting = false;
      changed_ = true;
    }
    sent_ += result.sent;
    if (result.sent > 0 || result.step == LogCourse::Step::kProgress) {
      progressed_ = Clock::now();
      backoff_ = {};
      changed_ = true;
      if (!result.trouble) {
        clear_error(activity_.error, "sink " + sink_.name);
      }
    }
    if (result.trouble) {
      note_sink(*result.trouble);
      round = Round::kTrouble;
    } else if (result.step == LogCourse::Step::kProgress && round == Round::kNothing) {
      round = Round::kProgress;
    }
  } catch (const ReadTrouble& trouble) {
    note_log(course.name(), trouble.what());
  } catch (const StateFailure& failure) {
    note_sink({.reason = failure.what()});
    round = Round::kTrouble;
  }
}

Worker::Round Worker::take_turns() {
  Round round = Round::kNothing;
  for (LogCourse& course : courses_) {
    if (round == Round::kTrouble || stop_.requested()) {
      break;
    }
    advance(course, round);
  }
  return round;
}

std::chrono::milliseconds Worker::pause(Round round) {
  if (round == Round::kProgress) {
    return {};
  }
  if (round == Round::kNothing) {
    return configuration_.interval;
  }
  if (asked_) {
    return *asked_;
  }
  backoff_ = std::clamp<std::chrono::milliseconds>(backoff_ * 2, kFirstBackoff, kLongestBackoff);
  return spread(backoff_);
}

bool Worker::has_drained() const {
  return std::all_of(courses_.begin(), courses_.end(), [](const LogCourse& course) { return course.has_drained(); });
}

void Worker::tell(bool now) {
  const auto passed = Clock::now() - told_;
  if (!now && (!changed_ || passed < kTellEvery)) {
    return;
  }
  const double seconds = std::chrono::duration<double>(passed).count();
  activity_.rate = seconds > 0 ? static_cast<double>(sent_) / seconds : 0;
  activity_.updated = std::time(nullptr);
  save_activity(configuration_.state_folder, sink_.name, activity_);
  // A rate is told once more when it has become 0.
  changed_ = sent_ > 0;
  sent_ = 0;
  told_ = Clock::now();
}

void Worker::close() {
  if (std::optional<Trouble> trouble = sink_.sink->close()) {
    note_sink(*trouble);
    failed_ = true;
    return;
  }
  if (!sink_.sink->acknowledges_at_close()) {
    return;
  }
  for (LogCourse& course : courses_) {
    try {
      course.save();
    } catch (const StateFailure& failure) {
      note_log(course.name(), failure.what());
      failed_ = true;
    }
  }
}

bool Worker::run() {
  tell(true);
  while (!stop_.requested()) {
    const Round round = take_turns();
    if (ended_ || (mode_.once && has_drained())) {
      break;
    }
    if (mode_.once && Clock::now() - progressed_ > mode_.patience) {
      report(fmt::format("sink {}: nothing was taken for {} seconds", sink_.name, mode_.patience.count()));
      failed_ = true;
      break;
    }
    if (round == Round::kNothing && Clock::now() - idled_ > kIdleEvery) {
      idled_ = Clock::now();
      if (const std::optional<Trouble> trouble = sink_.sink->idle(stop_)) {
        note_sink(*trouble);
      }
    }
    tell(false);
    stop_.wait(pause(round));
  }
  const bool ended_by_itself = ended_;
  if (!ended_by_itself) {
    close();
  }
  tell(true);
  return !failed_ && !ended_by_itself;
}

}  // namespace exporter
