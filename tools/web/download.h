// Downloads: all entries of a selection, written as they are read. No log is locked meanwhile, however slowly they are
// taken, and memory is bounded, however many there are.
#pragma once

#include <string>
#include <vector>

#include "tools/web/open_log.h"
#include "tools/web/selection.h"

namespace annal_web {

struct DownloadForm;

// Null for a file that there is not.
[[nodiscard]] const DownloadForm* download_form(const std::string& file);

// The newest come first. With head the answer's headers alone.
void send_download(const DownloadForm& form, const Selection& selection, std::vector<OpenLog>& logs, bool head);

}  // namespace annal_web
