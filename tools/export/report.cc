// Writes a line with the program's name in front, escaped as annalctl escapes its own messages.
#include "tools/export/report.h"

#include "tools/annalctl/base/failure.h"

namespace exporter {

void report(const std::string& sentence) {
  annalctl::complain_bare("annal-export: " + sentence);
}

}  // namespace exporter
