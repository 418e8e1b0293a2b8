// Entries with every field on a line of its own.
#pragma once

#include <memory>

#include "tools/annalctl/output/rows.h"

namespace annalctl {

[[nodiscard]] std::unique_ptr<RowSink> make_full_view(const RowShape& shape, const View& view, const Terminal& terminal,
                                                      Output& output);

}  // namespace annalctl
