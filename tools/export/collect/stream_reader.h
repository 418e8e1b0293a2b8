// Takes messages from a stream by a durable consumer: what is not acknowledged to it is delivered again, to this
// collector or to another one that shares the consumer.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/export/jetstream/connection.h"

namespace exporter::collect {

struct StreamPlace {
  std::string stream;
  std::string prefix;    // of the subjects
  std::string consumer;  // durable
  bool create = true;    // the stream, if there is none
  int replicas = 3;
  std::chrono::seconds window{};  // in which the servers know a repeated message by its id
  std::chrono::hours keep{};      // 0: until the stream is full
  std::int64_t most_bytes = 0;    // 0: as the disks allow
};

// All functions throw jetstream::Failure.
class StreamReader {
 public:
  StreamReader(const jetstream::Servers& servers, const StreamPlace& place, const Stop& stop);
  ~StreamReader();
  StreamReader(const StreamReader&) = delete;
  StreamReader& operator=(const StreamReader&) = delete;

  // The next messages, at most so many; none if there are none within the time.
  [[nodiscard]] std::vector<jetstream::Message> next(std::size_t most, std::chrono::milliseconds time);

  // Not delivered again, once the servers have heard of it.
  static void acknowledge(const std::vector<jetstream::Message>& messages, std::size_t count);

 private:
  void require_stream(const StreamPlace& place);

  jetstream::Connection connection_;
  jetstream::Context context_;
  std::unique_ptr<natsSubscription, jetstream::Destroy<natsSubscription_Destroy>> subscription_;
};

[[nodiscard]] std::string_view text_of(const jetstream::Message& message);
[[nodiscard]] std::string_view subject_of(const jetstream::Message& message);

}  // namespace exporter::collect
