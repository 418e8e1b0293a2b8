// Serves a fixed list of files from the folder they are installed in, or from ANNAL_WEB_FILES.
#include "tools/web/static_file.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include "tools/web/request.h"

namespace annal_web {

namespace {

struct File {
  const char* name;
  const char* type;
};

constexpr std::array kFiles{
    File{"annal.css", "text/css; charset=utf-8"},
    File{"annal.js", "text/javascript; charset=utf-8"},
    File{"annal.svg", "image/svg+xml"},
    File{"uPlot.iife.js", "text/javascript; charset=utf-8"},
    File{"uPlot.min.css", "text/css; charset=utf-8"},
};

// Where they are installed, unless the server says otherwise.
std::string folder() {
  const char* const told = std::getenv("ANNAL_WEB_FILES");  // NOLINT(concurrency-mt-unsafe)
  return told == nullptr ? ANNAL_WEB_FILES : told;
}

}  // namespace

Response static_file(const std::string& name) {
  constexpr int kNotFound = 404;
  const auto* const known =
      std::find_if(kFiles.begin(), kFiles.end(), [&name](const File& one) { return name == one.name; });
  if (known == kFiles.end()) {
    throw Refused(kNotFound, "There is no such page.");
  }
  std::ifstream file(folder() + "/" + known->name, std::ios::binary);
  if (!file) {
    throw Refused(kNotFound, "The page's own files are not installed.");
  }
  return {.type = known->type,
          .more_headers = "Cache-Control: private, max-age=3600\r\n",
          .body = std::string(std::istreambuf_iterator<char>(file), {})};
}

}  // namespace annal_web
