// Reads the database's address, user, password and TLS files from the settings.
#include "tools/export/database/target.h"

#include <utility>

#include "tools/export/client_files.h"

namespace exporter::database {

namespace {

Tls read_tls(Settings& settings) {
  const std::string tls = settings.text_or("tls", "verify-full");
  if (tls == "verify-ca") {
    return Tls::kVerifyAuthority;
  }
  if (tls == "off") {
    return Tls::kOff;
  }
  if (tls != "verify-full") {
    settings.complain("tls", "must be 'verify-full', 'verify-ca' or 'off'");
  }
  return Tls::kVerifyHost;
}

}  // namespace

std::optional<Target> read_target(Settings& settings) {
  Target target;
  target.host = settings.text("host");
  constexpr std::int64_t kUsualPort = 5432;
  target.port = std::to_string(settings.number("port", kUsualPort, {1, 65535}));
  target.database = settings.text_or("database", "annal");
  target.user = settings.text_or("user", "annal");
  target.password = settings.secret_source("password");
  target.tls = read_tls(settings);
  const ClientFiles files = read_client_files(settings);
  target.authorities = files.authorities;
  target.certificate = files.certificate;
  target.key = files.key;
  if (settings.has_complaints()) {
    return {};
  }
  return target;
}

}  // namespace exporter::database
