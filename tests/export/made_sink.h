// A sink made of a configuration's text, as the program makes it.
#pragma once

#include <memory>
#include <string>

#include "tools/export/sink.h"

namespace exporter::testing {

struct MadeSink {
  std::unique_ptr<Sink> sink;
  std::string complaints;  // one a line, without the file
};

[[nodiscard]] MadeSink make_sink(const std::string& configuration);

}  // namespace exporter::testing
