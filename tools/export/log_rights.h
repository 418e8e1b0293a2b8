// Opens logs with no more rights than those who may write there have; see files/rights.h of annalctl.
#pragma once

#include <stdexcept>
#include <vector>

#include "tools/export/source_log.h"

namespace exporter {

class RightsProblem : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Takes on the rights that these logs are to be opened with, for the whole process. Throws RightsProblem, and then the
// logs must not be opened.
void take_rights_for(const std::vector<SourceLog>& logs, const std::string& state_folder);

}  // namespace exporter
