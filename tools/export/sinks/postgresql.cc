// A PostgreSQL database, for a site that has one and few appliances: each appliance has a connection of its own.
#include <fmt/format.h>

#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "tools/export/database/store.h"
#include "tools/export/database/target.h"
#include "tools/export/sink.h"

namespace exporter::sinks {

namespace {

class Postgresql : public Sink {
 public:
  Postgresql(database::Target target, const std::string& host)
      : store_(std::move(target), fmt::format("annal-export on {}", host)) {}

  Outcome deliver(const Batch& batch, const Stop& stop) override {
    std::vector<database::Row> rows;
    rows.reserve(batch.records.size());
    for (const Record& record : batch.records) {
      rows.push_back({.stream = &batch.stream, .record = &record});
    }
    return store_.store(rows, stop);
  }

 private:
  database::Store store_;
};

std::unique_ptr<Sink> make(Settings& settings, const SinkContext& context) {
  std::optional<database::Target> target = database::read_target(settings);
  if (!target) {
    return nullptr;
  }
  return std::make_unique<Postgresql>(*std::move(target), context.host);
}

}  // namespace

extern const SinkType kPostgresqlSink;
const SinkType kPostgresqlSink{"postgresql", "a PostgreSQL database", make};

}  // namespace exporter::sinks
