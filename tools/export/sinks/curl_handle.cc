// Sets libcurl's options, and aborts a transfer from its progress callback.
#include "tools/export/sinks/curl_handle.h"

#include <mutex>
#include <new>

namespace exporter::sinks {

namespace {

int ends(void* stop, curl_off_t /*total*/, curl_off_t /*now*/, curl_off_t /*to_send*/, curl_off_t /*sent*/) {
  return static_cast<const Stop*>(stop)->requested() ? 1 : 0;
}

CURL* new_handle() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
  return curl_easy_init();
}

}  // namespace

CurlHandle::CurlHandle() : handle_(new_handle(), &curl_easy_cleanup) {
  if (handle_ == nullptr) {
    throw std::bad_alloc();
  }
}

// libcurl takes each option's value as a variable argument of the type that the option has.
// NOLINTBEGIN(cppcoreguidelines-pro-type-vararg)

void CurlHandle::reset(const Stop& stop) {
  CURL* const handle = get();
  message_.fill('\0');
  curl_easy_reset(handle);
  curl_easy_setopt(handle, CURLOPT_ERRORBUFFER, message_.data());
  curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(handle, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(handle, CURLOPT_FOLLOWLOCATION, 0L);
  curl_easy_setopt(handle, CURLOPT_PROXY, "");
  curl_easy_setopt(handle, CURLOPT_NETRC, static_cast<long>(CURL_NETRC_IGNORED));
  curl_easy_setopt(handle, CURLOPT_NOPROGRESS, 0L);
  curl_easy_setopt(handle, CURLOPT_XFERINFOFUNCTION, ends);
  curl_easy_setopt(handle, CURLOPT_XFERINFODATA, &stop);
}

void CurlHandle::use(const ClientFiles& files) const {
  CURL* const handle = get();
  curl_easy_setopt(handle, CURLOPT_SSL_VERIFYPEER, 1L);
  curl_easy_setopt(handle, CURLOPT_SSL_VERIFYHOST, 2L);
  curl_easy_setopt(handle, CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
  curl_easy_setopt(handle, CURLOPT_CAINFO, files.authorities.c_str());
  curl_easy_setopt(handle, CURLOPT_CAPATH, nullptr);
  if (!files.certificate.empty()) {
    curl_easy_setopt(handle, CURLOPT_SSLCERT, files.certificate.c_str());
    curl_easy_setopt(handle, CURLOPT_SSLKEY, files.key.c_str());
  }
}

// NOLINTEND(cppcoreguidelines-pro-type-vararg)

std::string CurlHandle::reason(CURLcode code) const {
  return message_.front() != '\0' ? message_.data() : curl_easy_strerror(code);
}

}  // namespace exporter::sinks
