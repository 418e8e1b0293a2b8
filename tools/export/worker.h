// The thread of one sink: it takes the logs in turns, a page each, for as long as the receiver takes them.
#pragma once

#include <chrono>
#include <cstdint>
#include <list>
#include <optional>
#include <string>

#include "tools/export/activity.h"
#include "tools/export/configuration.h"
#include "tools/export/log_course.h"
#include "tools/export/page.h"
#include "tools/export/stop.h"

namespace exporter {

struct WorkMode {
  bool once = false;                  // ends when everything was sent that was there at the beginning
  std::chrono::seconds patience{30};  // then: how long the receiver may take nothing
};

class Worker {
 public:
  Worker(const Configuration& configuration, const ConfiguredSink& sink, const Stop& stop, WorkMode mode);

  // Until the end is requested, everything was sent, or trying again is of no use. Returns whether all went well.
  bool run();

 private:
  using Clock = std::chrono::steady_clock;

  enum class Round { kNothing, kProgress, kTrouble };
  Round take_turns();
  void advance(LogCourse& course, Round& round);
  void note_sink(const Trouble& trouble);
  void note_log(const std::string& log, const std::string& text);
  void clear_error(std::optional<Activity::Error>& error, const std::string& of);
  std::chrono::milliseconds pause(Round round);
  [[nodiscard]] bool has_drained() const;
  void tell(bool now);
  void close();

  const Configuration& configuration_;
  const ConfiguredSink& sink_;
  const Stop& stop_;
  WorkMode mode_;
  std::list<LogCourse> courses_;
  Page page_;
  bool failed_ = false;
  bool ended_ = false;  // for good
  std::chrono::milliseconds backoff_{0};
  std::optional<std::chrono::milliseconds> asked_;
  Clock::time_point progressed_ = Clock::now();
  Clock::time_point idled_ = Clock::now();
  Activity activity_;
  bool changed_ = true;
  std::int64_t sent_ = 0;  // since the activity was told
  Clock::time_point told_ = Clock::now();
};

}  // namespace exporter
