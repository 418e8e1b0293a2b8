// Stores records of any number of appliances in a PostgreSQL database, each once.
#pragma once

#include <memory>
#include <span>
#include <string>

#include "tools/export/database/target.h"
#include "tools/export/record.h"
#include "tools/export/sink.h"
#include "tools/export/stop.h"

namespace exporter::database {

// The two belong to the caller.
struct Row {
  const Stream* stream;
  const Record* record;
};

// One connection, made when it is needed and again after it has broken. Used by one thread at a time.
class Store {
 public:
  // application: what the database's operator sees in pg_stat_activity.
  Store(Target target, std::string application);
  ~Store();
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;

  // Stores the rows, usually in one transaction. What the database has already, it keeps as it is; a redaction replaces
  // its entry. The acknowledged are committed. An outcome is as a sink's: see there.
  [[nodiscard]] Outcome store(std::span<const Row> rows, const Stop& stop);

 private:
  class Session;
  std::unique_ptr<Session> session_;
};

}  // namespace exporter::database
