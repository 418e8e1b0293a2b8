// Facts about logs in Prometheus' text format.
#pragma once

#include <string>
#include <vector>

#include "tools/annalctl/maintenance/facts.h"

namespace annalctl {

[[nodiscard]] std::string prometheus_text(const std::vector<LogFacts>& all);

}  // namespace annalctl
