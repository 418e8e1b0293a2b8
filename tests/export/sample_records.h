// Entries to deliver, as the exporter reads them from a log.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "tools/export/record.h"

namespace exporter::testing {

inline constexpr const char* kAppliance = "0123456789abcdef0123456789abcdef";

// Owns what the records refer to.
class Sample {
 public:
  explicit Sample(std::string_view log = "event");

  // An ordinary entry; a text replaces its message.
  Record& add(std::int64_t id, std::string_view message = {});
  Record& add_gap(std::int64_t first, std::int64_t count);
  Record& add_head(std::int64_t number);
  // Gives a column of the newest record another value.
  void set(std::string_view column, Value value);

  [[nodiscard]] Batch batch() const { return {stream, records}; }

  Stream stream;
  std::vector<Record> records;

 private:
  std::string_view keep(std::string text);

  std::deque<std::string> texts_;
  std::deque<std::vector<Field>> fields_;
};

// The entries from 1 to the count.
[[nodiscard]] Sample sample_of(std::int64_t count);

}  // namespace exporter::testing
