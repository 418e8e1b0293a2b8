// "annal-export status": how far each sink has got.
#pragma once

#include <string>

#include "tools/export/configuration.h"

namespace exporter {

enum class StatusForm { kTable, kJson, kPrometheus };

// The text for standard output. all_well: whether nothing keeps a log from being sent.
[[nodiscard]] std::string status_text(const Configuration& configuration, StatusForm form, bool& all_well);

}  // namespace exporter
