// What a receiver's protocol has to implement.
//
// annal-export has one thread for each configured sink. It reads a page of a log, hands it to the sink, waits for the
// outcome, saves the position, and reads on: so a sink has no queue of its own, and no lock is held while it works. All
// calls to one sink come from its one thread, never two at a time.
//
// A new sink is a file in sinks/ that defines a SinkType, and a NAME.cmake beside it; see CMakeLists.txt.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "tools/export/record.h"
#include "tools/export/settings.h"
#include "tools/export/stop.h"

namespace exporter {

// A record that the receiver will never take. It is set aside in a file, and the others go on.
struct Refused {
  std::size_t index;   // in the batch
  std::string reason;  // the receiver's words, one line
};

// Why not everything was taken, for now.
struct Trouble {
  std::string reason;  // names the receiver, what failed, and what helps; never a password
  // As the receiver asked, such as by Retry-After. Without it the exporter waits a second, then longer each time, up to
  // a minute; it is at once ready again after something was acknowledged.
  std::optional<std::chrono::milliseconds> wait{};
  bool final = false;  // trying again in this run is of no use: the program ends with a failure
};

struct Outcome {
  // How many records from the first on are done with: stored at the receiver so that they survive its restart, or
  // refused. The position moves past these. The rest is handed over again, possibly in another batch: by its key a
  // receiver must tell what it has already.
  std::size_t acknowledged = 0;
  // Only among the acknowledged. Refuse a record only for its own content; a receiver that takes nothing at all is a
  // trouble.
  std::vector<Refused> refused{};
  std::optional<Trouble> trouble{};  // must be there if something was not acknowledged, unless the end was requested
};

class Sink {
 public:
  Sink() = default;
  virtual ~Sink() = default;  // closes the connection, and waits at most a second for that
  Sink(const Sink&) = delete;
  Sink& operator=(const Sink&) = delete;

  // Delivers a batch of at least one record, and returns once the receiver has acknowledged, or at the first trouble.
  // Connects when needed. If the end is requested, returns within a second with what was acknowledged until then. Any
  // wait has a limit of its own, so that a receiver that stays silent is a trouble. What it throws ends the program.
  [[nodiscard]] virtual Outcome deliver(const Batch& batch, const Stop& stop) = 0;

  // Called after everything was delivered, about once a minute while nothing is new, and before the program ends: for
  // a protocol that must answer a receiver's pings. A trouble is reported; no record is affected.
  [[nodiscard]] virtual std::optional<Trouble> idle(const Stop& /*stop*/) { return {}; }

  // For a sink whose receiver acknowledges only by staying there until the end: such a sink answers each batch as
  // acknowledged, but positions are saved only once close() has returned no trouble.
  [[nodiscard]] virtual bool acknowledges_at_close() const { return false; }
  [[nodiscard]] virtual std::optional<Trouble> close() { return {}; }
};

// What a sink may want to know of the program.
struct SinkContext {
  std::string appliance;  // the machine-id
  std::string host;       // the machine's name
  std::string version;    // of annal-export
};

struct SinkType {
  const char* name;  // as in 'type = "postgresql"'
  const char* what;  // one line for the help, such as "a PostgreSQL database"

  // Reads and checks the sink's settings, and complains to them about each thing that is wrong; see settings.h. Opens
  // no connection: annal-export --check calls this too, and so it may run without a network. Reads the files that
  // settings name, such as certificates, as far as needed to say whether they can be used. The return value is null
  // only after a complaint.
  std::unique_ptr<Sink> (*make)(Settings& settings, const SinkContext& context);
};

}  // namespace exporter
