// Accepts connections in a thread of its own, and shuts down the current one when it is destroyed.
#include "tests/export/small_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <stdexcept>
#include <utility>

namespace exporter::testing {

bool Peer::fill() {
  std::array<char, 4096> buffer{};
  const ssize_t got = ::recv(descriptor_, buffer.data(), buffer.size(), 0);
  if (got <= 0) {
    return false;
  }
  received_.append(buffer.data(), static_cast<std::size_t>(got));
  return true;
}

std::string Peer::read_until(const std::string& ending) {
  while (received_.find(ending) == std::string::npos) {
    if (!fill()) {
      return std::exchange(received_, {});
    }
  }
  return read(received_.find(ending) + ending.size());
}

std::string Peer::read(std::size_t bytes) {
  while (received_.size() < bytes && fill()) {
  }
  std::string text = received_.substr(0, bytes);
  received_.erase(0, text.size());
  return text;
}

void Peer::write(const std::string& text) const {
  static_cast<void>(::send(descriptor_, text.data(), text.size(), MSG_NOSIGNAL));
}

SmallServer::SmallServer(std::function<void(Peer&)> serve)
    : serve_(std::move(serve)), listening_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  struct sockaddr_in address {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* const any = reinterpret_cast<struct sockaddr*>(&address);  // NOLINT(*-reinterpret-cast)
  if (bind(listening_, any, size) != 0 || listen(listening_, 8) != 0 || getsockname(listening_, any, &size) != 0) {
    throw std::runtime_error("cannot listen on loopback");
  }
  port_ = ntohs(address.sin_port);
  thread_ = std::thread([this] { run(); });
}

SmallServer::~SmallServer() {
  {
    const std::lock_guard lock(mutex_);
    ended_ = true;
    shutdown(listening_, SHUT_RDWR);
    if (current_ >= 0) {
      shutdown(current_, SHUT_RDWR);
    }
  }
  thread_.join();
  close(listening_);
}

void SmallServer::run() {
  while (true) {
    const int accepted = accept4(listening_, nullptr, nullptr, SOCK_CLOEXEC);
    {
      const std::lock_guard lock(mutex_);
      if (accepted < 0 || ended_) {
        if (accepted >= 0) {
          close(accepted);
        }
        return;
      }
      current_ = accepted;
    }
    Peer peer(accepted);
    serve_(peer);
    const std::lock_guard lock(mutex_);
    current_ = -1;
    close(accepted);
  }
}

}  // namespace exporter::testing
