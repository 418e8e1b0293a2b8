// Which database to write to, and how to prove who is who.
#pragma once

#include <optional>
#include <string>

#include "tools/export/settings.h"

namespace exporter::database {

// What libpq calls verify-full, verify-ca and disable. Without verification anyone on the way could be the database, so
// there is no form that only encrypts.
enum class Tls { kVerifyHost, kVerifyAuthority, kOff };

struct Target {
  std::string host;  // a name, an address, or the folder of a local socket
  std::string port;
  std::string database;
  std::string user;
  Settings::SecretSource password;
  Tls tls = Tls::kVerifyHost;  // has no meaning on a local socket
  std::string authorities;     // the file of the certificates that may sign the server's
  std::string certificate;     // this client's own; may be empty
  std::string key;

  [[nodiscard]] bool local() const { return host.starts_with('/'); }
};

// Reads host, port, database, user, password_file or password_env, tls, ca_file, certificate_file and key_file.
// Nothing after a complaint.
[[nodiscard]] std::optional<Target> read_target(Settings& settings);

}  // namespace exporter::database
