#include "tools/export/report.h"

#include "tools/annalctl/base/failure.h"

namespace exporter {

void report(const std::string& sentence) {
  annalctl::complain_bare("annal-export: " + sentence);
}

}  // namespace exporter
