// The formats of rows on standard output.
#pragma once

#include <cstdint>
#include <memory>

#include "tools/annalctl/output/rows.h"

namespace annalctl {

// Throws Refusal for an unknown column.
[[nodiscard]] std::unique_ptr<RowSink> make_sink(const View& view, const RowShape& shape, const Terminal& terminal,
                                                 Output& output);

// For rows that are not entries of a log.
[[nodiscard]] inline std::unique_ptr<RowSink> make_sink(Format format, const RowShape& shape, const Terminal& terminal,
                                                        Output& output) {
  return make_sink(View{.format = format}, shape, terminal, output);
}

// One number with a name, in the same formats.
void write_number(Format format, const char* name, std::int64_t number, Output& output);

}  // namespace annalctl
