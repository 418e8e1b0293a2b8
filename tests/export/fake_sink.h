// A receiver in the test's own process: it takes what the test says, and remembers it.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tools/export/sink.h"

namespace annal::test {

class FakeSink : public exporter::Sink {
 public:
  exporter::Outcome deliver(const exporter::Batch& batch, const exporter::Stop& /*stop*/) override {
    if (meanwhile) {
      meanwhile();
    }
    exporter::Outcome outcome = answer ? answer(batch) : exporter::Outcome{.acknowledged = batch.records.size()};
    for (const exporter::Record& record : batch.records.first(outcome.acknowledged)) {
      // "event/1/4711", "event/1/gap/4711+20"
      const std::string key = key_of(batch.stream, record);
      keys.push_back(key.substr(key.find('/') + 1));
      texts.emplace_back(record.message);
    }
    for (const exporter::Refused& refused : outcome.refused) {
      refused_ids.push_back(batch.records[refused.index].id);
    }
    return outcome;
  }

  std::function<exporter::Outcome(const exporter::Batch&)> answer;
  std::function<void()> meanwhile;
  std::vector<std::string> keys;
  std::vector<std::string> texts;
  std::vector<std::int64_t> refused_ids;
};

}  // namespace annal::test
