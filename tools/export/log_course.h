// The way of one log's entries to one sink.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "tools/export/chain_news.h"
#include "tools/export/log_reader.h"
#include "tools/export/page.h"
#include "tools/export/set_aside.h"
#include "tools/export/sink.h"
#include "tools/export/source_log.h"
#include "tools/export/state.h"

namespace exporter {

class Sealing;

class LogCourse {
 public:
  // Of the sink and its state.
  struct Owner {
    const std::string& folder;
    const std::string& appliance;
    const std::string& sink;
    std::size_t batch;
    bool saves_at_close;
    Sealing* sealing = nullptr;  // null: another program seals
  };
  // Throws StateFailure.
  LogCourse(const Owner& owner, const SourceLog& log);
  ~LogCourse() = default;
  LogCourse(const LogCourse&) = delete;
  LogCourse& operator=(const LogCourse&) = delete;

  enum class Step {
    kNothing,   // there is nothing to do, for now
    kProgress,  // something was sent, and there may be more
    kTrouble,   // the sink took nothing more
  };
  struct Result {
    Step step = Step::kNothing;
    std::optional<Trouble> trouble{};
    std::int64_t sent = 0;  // entries that were acknowledged
  };
  // Sends a page, of entries or of what the chain has. Throws ReadTrouble if the log cannot be read, and StateFailure
  // if the position cannot be saved.
  Result advance(Sink& sink, const Stop& stop, Page& page);

  // Whether everything was sent that was in the log at the first look.
  [[nodiscard]] bool has_drained() const { return drained_; }
  void save();

  [[nodiscard]] std::string name() const { return log_.name(); }

 private:
  void begin_generation(const LogFile& file);
  Result hand_over(Sink& sink, const Stop& stop, Page& page, const ChainNews* news = nullptr);
  std::int64_t move(std::span<const Record> done, std::size_t refused);
  void save_if_owed();

  Owner owner_;
  const SourceLog& log_;
  LogReader reader_;
  ChainNews news_;
  State state_;
  std::int64_t saved_highest_ = 0;
  bool due_ = true;
  std::optional<std::int64_t> goal_;
  bool drained_ = false;
};

}  // namespace exporter
