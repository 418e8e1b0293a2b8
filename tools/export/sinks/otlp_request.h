// Records as a request of OTLP in JSON, and what a receiver answers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "tools/export/record.h"

namespace exporter::sinks {

// What all records of an appliance have in common.
struct OtlpResource {
  std::string service = "annal";  // service.name
  std::string host;               // host.name
  std::string version;            // of annal-export
};

// The body for a part of a batch. observed: when the records were read, in nanoseconds since 1970.
[[nodiscard]] std::string otlp_request(const OtlpResource& resource, const Stream& stream,
                                       std::span<const Record> records, std::int64_t observed);

// What an answer of success says of records that were not taken all the same. Which they are it does not say.
struct PartialSuccess {
  std::uint64_t rejected = 0;
  std::string message;
};
[[nodiscard]] PartialSuccess read_partial_success(std::string_view body);

// What an answer of failure says: the message of a status in JSON, or the beginning of the text, without what could
// steer a terminal.
[[nodiscard]] std::string failure_message(std::string_view body);

// SeverityNumber of a severity of syslog, as the protocol's data model maps them.
[[nodiscard]] int otlp_severity(int severity);

}  // namespace exporter::sinks
