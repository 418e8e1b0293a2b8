// Has libcurl connect, then sends and receives without blocking and polls for the socket or the request to end.
#include "tools/export/sinks/byte_stream.h"

#include <fmt/format.h>
#include <poll.h>

#include <algorithm>
#include <array>

namespace exporter::sinks {

// NOLINTBEGIN(cppcoreguidelines-pro-type-vararg)
ByteStream::ByteStream(const std::string& host, int port, const std::optional<ClientFiles>& files, const Stop& stop)
    : stop_(&stop) {
  curl_.reset(stop);
  const bool is_address_6 = host.find(':') != std::string::npos;
  const std::string url =
      fmt::format(fmt::runtime(is_address_6 ? "{}://[{}]:{}" : "{}://{}:{}"), files ? "https" : "http", host, port);
  CURL* const handle = curl_.get();
  constexpr long kConnectSeconds = 15;
  curl_easy_setopt(handle, CURLOPT_URL, url.c_str());
  curl_easy_setopt(handle, CURLOPT_CONNECT_ONLY, 1L);
  curl_easy_setopt(handle, CURLOPT_CONNECTTIMEOUT, kConnectSeconds);
  curl_easy_setopt(handle, CURLOPT_TCP_KEEPALIVE, 1L);
  curl_easy_setopt(handle, CURLOPT_SSL_ENABLE_ALPN, 0L);  // it is not HTTP that follows
  if (files) {
    curl_.use(*files);
  }
  if (const CURLcode code = curl_easy_perform(handle); code != CURLE_OK) {
    throw StreamError(curl_.reason(code));
  }
  curl_easy_getinfo(handle, CURLINFO_ACTIVESOCKET, &socket_);
}
// NOLINTEND(cppcoreguidelines-pro-type-vararg)

void ByteStream::send_some(std::string& text) {
  constexpr std::size_t kPiece = 16384;
  while (!pending_.empty() || !text.empty()) {
    if (pending_.empty()) {
      pending_ = text.substr(0, kPiece);
      text.erase(0, pending_.size());
    }
    std::size_t sent = 0;
    const CURLcode code = curl_easy_send(curl_.get(), pending_.data(), pending_.size(), &sent);
    if (code == CURLE_AGAIN) {
      return;
    }
    if (code != CURLE_OK) {
      throw StreamError(curl_.reason(code));
    }
    pending_.erase(0, sent);
  }
}

void ByteStream::receive_some(std::string& text) {
  std::array<char, 16384> buffer{};
  while (true) {
    std::size_t got = 0;
    const CURLcode code = curl_easy_recv(curl_.get(), buffer.data(), buffer.size(), &got);
    if (code == CURLE_AGAIN) {
      return;
    }
    if (code != CURLE_OK) {
      throw StreamError(curl_.reason(code));
    }
    if (got == 0) {
      throw StreamError("the receiver has closed the connection");
    }
    text.append(buffer.data(), got);
  }
}

ByteStream::Wake ByteStream::wait(bool to_send, std::chrono::milliseconds limit) const {
  const auto events = static_cast<short>(to_send || !pending_.empty() ? POLLIN | POLLOUT : POLLIN);
  std::array<struct pollfd, 2> watched{{{socket_, events, 0}, {stop_->descriptor(), POLLIN, 0}}};
  const auto milliseconds = static_cast<int>(std::max<std::chrono::milliseconds::rep>(limit.count(), 0));
  const int ready = poll(watched.data(), watched.size(), milliseconds);
  if (ready > 0 && watched[1].revents != 0) {
    return Wake::kStop;
  }
  return ready == 0 ? Wake::kTimeout : Wake::kReady;
}

}  // namespace exporter::sinks
