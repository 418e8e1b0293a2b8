// Opens each log of a selection with the rights that it needs, and keeps the reason when one cannot be read.
#include "tools/web/open_log.h"

#include <fmt/format.h>
#include <unistd.h>

#include <filesystem>

#include "tools/annalctl/base/sqlite.h"
#include "tools/annalctl/files/rights.h"
#include "tools/annalctl/log/diagnosis.h"
#include "tools/annalctl/query/listing.h"

namespace annal_web {

using annalctl::Call;
using annalctl::Purpose;
using annalctl::Reader;
using annalctl::ReadFailure;

namespace {

bool is_missing(const annalctl::Log& log) {
  std::error_code unknown;
  return !std::filesystem::exists(log.path, unknown) && !unknown;
}

void open(OpenLog& log) {
  const annalctl::Log& its = *log.part->log;
  log.missing = is_missing(its);
  if (log.missing) {
    log.obstacle = fmt::format("there is no log of {} yet", its.entries);
    return;
  }
  try {
    annalctl::take_rights_for(its);
    if (const auto obstacle = annalctl::file_obstacle(its, Purpose::kReading)) {
      log.obstacle = fmt::format("cannot open {}: {}", its.path, *obstacle);
      return;
    }
    log.reader = std::make_unique<Reader>(its);
  } catch (const annalctl::RightsFailure& failure) {
    log.obstacle = failure.what();
  } catch (const ReadFailure& failure) {
    give_up(log, "open", failure);
  }
}

}  // namespace

std::vector<OpenLog> open_logs(const Selection& selection) {
  std::vector<OpenLog> logs;
  for (const Part* part : selection.parts) {
    OpenLog log{.part = part, .conditions = conditions(selection, *part)};
    open(log);
    logs.push_back(std::move(log));
  }
  return logs;
}

std::string sentence_about(const OpenLog& log) {
  return fmt::format("{}: {}.", log.part->title, log.obstacle);
}

void give_up(OpenLog& log, const std::string& doing, const ReadFailure& failure) {
  // Looking for the cause opens the log.
  log.reader.reset();
  log.obstacle = annalctl::failure_text(
      Call{*log.part->log, fmt::format("{} the {}", doing, log.part->log->entries), Purpose::kReading}, failure);
}

bool may_be_over_in_a_moment(const ReadFailure& failure, int attempts) {
  constexpr int kMostAttempts = 20;
  constexpr useconds_t kMoment = 3000;
  if (attempts == kMostAttempts || annalctl::failure_since(failure.begun()) != SQLITE_READONLY_ROLLBACK) {
    return false;
  }
  usleep(kMoment);
  return true;
}

}  // namespace annal_web
