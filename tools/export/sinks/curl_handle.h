// One libcurl handle, set up as every sink wants it: verified TLS, no proxy or redirect that was not asked for, and an
// end as soon as one is requested.
#pragma once

#include <curl/curl.h>

#include <array>
#include <memory>
#include <string>

#include "tools/export/client_files.h"
#include "tools/export/stop.h"

namespace exporter::sinks {

class CurlHandle {
 public:
  CurlHandle();

  [[nodiscard]] CURL* get() const { return handle_.get(); }

  // Forgets all options of before; connections stay.
  void reset(const Stop& stop);
  // Trusts only these authorities, and checks the receiver's name.
  void use(const ClientFiles& files) const;
  // What went wrong, in libcurl's words.
  [[nodiscard]] std::string reason(CURLcode code) const;

 private:
  std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> handle_;
  std::array<char, CURL_ERROR_SIZE> message_{};
};

}  // namespace exporter::sinks
