// A connection to a NATS cluster with JetStream, for the sink that publishes and the collector that reads.
#pragma once

#include <nats/nats.h>

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "tools/export/client_files.h"
#include "tools/export/settings.h"
#include "tools/export/stop.h"

namespace exporter::jetstream {

struct Servers {
  std::vector<std::string> addresses;  // any of them will do
  std::string name;                    // what the servers' operator sees
  std::string inbox{};                 // in front of the subjects of answers; the library's own if empty
  bool tls = true;
  ClientFiles files;
  std::string user;
  Settings::SecretSource password;
  Settings::SecretSource token;
  std::string credentials;  // the file of a user's JWT and seed
};

// Reads servers, tls, ca_file, certificate_file, key_file, user, password_file, token_file, credentials_file and the
// like. Nothing after a complaint.
[[nodiscard]] std::optional<Servers> read_servers(Settings& settings);

// A text that can be one part of a subject, or the name of a stream or consumer.
std::string read_name(Settings& settings, const std::string& key, const std::string& otherwise);

// Why a call failed: the library's words, or the server's.
class Failure : public std::runtime_error {
 public:
  explicit Failure(const std::string& reason, natsStatus status = NATS_ERR, jsErrCode code = {})
      : std::runtime_error(reason), status_(status), code_(code) {}
  [[nodiscard]] natsStatus status() const { return status_; }
  [[nodiscard]] jsErrCode code() const { return code_; }

 private:
  natsStatus status_;
  jsErrCode code_;
};

// Throws Failure unless the status is that of a success.
void require(natsStatus status, const std::string& doing, jsErrCode code = {});

template <auto destroy>
struct Destroy {
  template <typename Handle>
  void operator()(Handle* handle) const {
    destroy(handle);
  }
};
using ConnectionHandle = std::unique_ptr<natsConnection, Destroy<natsConnection_Destroy>>;
using Context = std::unique_ptr<jsCtx, Destroy<jsCtx_Destroy>>;
using Message = std::unique_ptr<natsMsg, Destroy<natsMsg_Destroy>>;

// It does not reconnect by itself: what was under way when it broke is unknown, and is sent again on a new connection.
class Connection {
 public:
  // Tries the servers in random order, and gives up between two of them if the end is requested. Throws Failure.
  Connection(const Servers& servers, const Stop& stop);

  [[nodiscard]] natsConnection* handle() const { return handle_.get(); }
  [[nodiscard]] bool lost() const { return natsConnection_IsClosed(handle_.get()); }
  // The last thing that the server complained of, with ": " in front, or nothing.
  [[nodiscard]] std::string complaint() const;
  [[nodiscard]] std::string server() const;

 private:
  ConnectionHandle handle_;
};

}  // namespace exporter::jetstream
