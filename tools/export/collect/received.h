// A message of the stream, as a record again.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "tools/export/record.h"

namespace exporter::collect {

class Received {
 public:
  // The text is what json_of made. Throws std::runtime_error for anything else.
  explicit Received(std::string_view text);
  ~Received();
  Received(Received&& other) noexcept;
  Received& operator=(Received&& other) noexcept;
  Received(const Received&) = delete;
  Received& operator=(const Received&) = delete;

  // Both belong to this object.
  [[nodiscard]] const Stream& stream() const;
  [[nodiscard]] const Record& record() const;

 private:
  struct Content;
  std::unique_ptr<Content> content_;
};

}  // namespace exporter::collect
