// Calls annalctl's sealing at most once in an interval for each log, whatever number of sinks reads it.
#include "tools/export/sealing.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>

#include "tools/annalctl/proof/seal.h"
#include "tools/annalctl/query/reader.h"
#include "tools/export/report.h"

namespace exporter {

void Sealing::seal(const SourceLog& log, bool changed) {
  const std::lock_guard lock(mutex_);
  Course& course = courses_[log.path];
  course.changed = course.changed || changed;
  const auto begun = Clock::now();
  if (!course.changed || begun < course.due || access(log.path.c_str(), F_OK) != 0) {
    return;
  }
  course.changed = false;
  std::string failure;
  try {
    annalctl::Log at_place = log.shape->log;
    at_place.path = log.path.c_str();
    static_cast<void>(annalctl::proof::seal(at_place, keys_, {}, [](std::int64_t, std::uint64_t) {}));
  } catch (const annalctl::proof::ChainFailure& trouble) {
    failure = trouble.what();
  } catch (const annalctl::ReadFailure& trouble) {
    failure = fmt::format("cannot read {}", log.path);
    if (*trouble.what() != '\0') {
      failure += fmt::format(": {}", trouble.what());
    }
  }
  // A long chain takes a while, and most of the time is for sending.
  constexpr int kMostOfTheTime = 10;
  const auto ended = Clock::now();
  course.due = ended + std::max<Clock::duration>(every_, (ended - begun) * kMostOfTheTime);
  if (!failure.empty() && failure != course.said) {
    report(fmt::format("the {} log was not sealed: {}", log.name(), failure));
  }
  course.said = failure;
}

}  // namespace exporter
