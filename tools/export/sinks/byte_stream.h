// A connection that carries bytes, over TLS or plain, made by libcurl.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>

#include "tools/export/client_files.h"
#include "tools/export/sinks/curl_handle.h"
#include "tools/export/stop.h"

namespace exporter::sinks {

class StreamError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class ByteStream {
 public:
  // Throws StreamError. Without files there is no TLS. The stop must outlive the stream.
  ByteStream(const std::string& host, int port, const std::optional<ClientFiles>& files, const Stop& stop);

  // Both do what is possible at once, and throw StreamError if the connection has broken or was closed. The first takes
  // what it can from the front of the text, the second appends to it.
  void send_some(std::string& text);
  void receive_some(std::string& text);

  enum class Wake { kReady, kTimeout, kStop };
  Wake wait(bool to_send, std::chrono::milliseconds limit) const;

 private:
  CurlHandle curl_;
  const Stop* stop_;
  std::string pending_;  // after a send that was put off, TLS must be given the same bytes at the same place again
  curl_socket_t socket_ = CURL_SOCKET_BAD;
};

}  // namespace exporter::sinks
