// Calls annalctl's sealing at most once in an interval for each log, whatever number of sinks reads it.
#include "tools/export/sealing.h"

#include <fmt/format.h>

#include <cstdint>

#include "tools/annalctl/proof/seal.h"
#include "tools/annalctl/query/reader.h"
#include "tools/export/report.h"

namespace exporter {

void Sealing::seal(const SourceLog& log, bool changed) {
  const std::lock_guard lock(mutex_);
  Course& course = courses_[log.path];
  course.changed = course.changed || changed;
  if (!course.changed || Clock::now() < course.due) {
    return;
  }
  course.due = Clock::now() + every_;
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
  if (!failure.empty() && failure != course.said) {
    report(fmt::format("the {} log was not sealed: {}", log.name(), failure));
  }
  course.said = failure;
}

}  // namespace exporter
