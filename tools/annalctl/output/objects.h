// Objects for programs: each a line of JSON, or a row of CSV.
#pragma once

#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <span>
#include <string>
#include <vector>

#include "tools/annalctl/output/session.h"

namespace annalctl {

class ObjectSink {
 public:
  // columns: the members that CSV shows, in this order. Writes the titles of CSV unless they have been written before.
  ObjectSink(Session& session, std::span<const char* const> columns);

  void write(const nlohmann::ordered_json& object);

 private:
  Session& session_;
  std::vector<Column> columns_;
  std::unique_ptr<RowSink> csv_;  // none for JSON, which has members that CSV has no column for
};

}  // namespace annalctl
