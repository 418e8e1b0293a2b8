// A server on loopback for one test: it runs a function for each connection, one after the other.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace exporter::testing {

class Peer {
 public:
  explicit Peer(int descriptor) : descriptor_(descriptor) {}

  // Up to and with the ending, or as many bytes; shorter if the client has gone.
  std::string read_until(const std::string& ending);
  std::string read(std::size_t bytes);
  void write(const std::string& text) const;

 private:
  bool fill();

  int descriptor_;
  std::string received_;
};

class SmallServer {
 public:
  explicit SmallServer(std::function<void(Peer&)> serve);
  ~SmallServer();
  SmallServer(const SmallServer&) = delete;
  SmallServer& operator=(const SmallServer&) = delete;

  [[nodiscard]] int port() const { return port_; }

 private:
  void run();

  std::function<void(Peer&)> serve_;
  int listening_ = -1;
  int port_ = 0;
  int current_ = -1;
  bool ended_ = false;
  std::mutex mutex_;
  std::thread thread_;
};

}  // namespace exporter::testing
