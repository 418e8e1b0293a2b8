// Reads the servers' settings, and connects with TLS and credentials but without the library's reconnection.
#include "tools/export/jetstream/connection.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <numeric>
#include <random>

namespace exporter::jetstream {

namespace {

using Options = std::unique_ptr<natsOptions, Destroy<natsOptions_Destroy>>;

// With TLS, over a line where an answer may take half a second.
constexpr std::int64_t kConnectMilliseconds = 5000;
// A server that stays silent for so long is gone: two unanswered pings.
constexpr std::int64_t kPingMilliseconds = 10000;
constexpr int kPings = 2;

void set_identity(natsOptions* options, const Servers& servers) {
  if (!servers.credentials.empty()) {
    require(natsOptions_SetUserCredentialsFromFiles(options, servers.credentials.c_str(), nullptr),
            "use the credentials");
  }
  if (servers.token.given()) {
    const Settings::Secret token = servers.token.read();
    if (!token) {
      throw Failure("cannot read the token");
    }
    require(natsOptions_SetToken(options, token->c_str()), "use the token");
  }
  if (!servers.user.empty()) {
    const Settings::Secret password = servers.password.read();
    if (servers.password.given() && !password) {
      throw Failure("cannot read the password");
    }
    require(natsOptions_SetUserInfo(options, servers.user.c_str(), password.value_or("").c_str()), "use the password");
  }
}

void set_tls(natsOptions* options, const Servers& servers) {
  require(natsOptions_SetSecure(options, true), "use TLS");
  require(natsOptions_LoadCATrustedCertificates(options, servers.files.authorities.c_str()),
          "read the certificates in " + servers.files.authorities);
  if (!servers.files.certificate.empty()) {
    require(natsOptions_LoadCertificatesChain(options, servers.files.certificate.c_str(), servers.files.key.c_str()),
            "use the certificate " + servers.files.certificate);
  }
}

Options options_for(const Servers& servers) {
  natsOptions* made = nullptr;
  require(natsOptions_Create(&made), "prepare a connection");
  Options options(made);
  require(natsOptions_SetName(made, servers.name.c_str()), "name the connection");
  require(natsOptions_SetTimeout(made, kConnectMilliseconds), "limit the wait");
  require(natsOptions_SetAllowReconnect(made, false), "set the connection up");
  require(natsOptions_SetIgnoreDiscoveredServers(made, true), "set the connection up");
  require(natsOptions_SetPingInterval(made, kPingMilliseconds), "set the connection up");
  require(natsOptions_SetMaxPingsOut(made, kPings), "set the connection up");
  if (!servers.inbox.empty()) {
    require(natsOptions_SetCustomInboxPrefix(made, servers.inbox.c_str()), "set the connection up");
  }
  if (servers.tls) {
    set_tls(made, servers);
  }
  set_identity(made, servers);
  return options;
}

}  // namespace

void require(natsStatus status, const std::string& doing, jsErrCode code) {
  if (status == NATS_OK) {
    return;
  }
  natsStatus last = NATS_OK;
  const char* const detail = nats_GetLastError(&last);
  const bool has_detail = last == status && detail != nullptr && *detail != '\0';
  throw Failure(
      fmt::format("cannot {}: {}{}", doing, natsStatus_GetText(status), has_detail ? fmt::format(" ({})", detail) : ""),
      status, code);
}

std::string read_name(Settings& settings, const std::string& key, const std::string& otherwise) {
  std::string name = settings.text_or(key, otherwise);
  if (name.empty() || name.find_first_of(" \t\r\n.*>/\\") != std::string::npos) {
    settings.complain(key, "must be a name without blanks, '.', '*', '>', '/' and '\\'");
    return otherwise;
  }
  return name;
}

std::optional<Servers> read_servers(Settings& settings) {
  Servers servers;
  servers.addresses = settings.texts("servers");
  const std::string tls = settings.text_or("tls", "verify");
  servers.tls = tls != "off";
  if (servers.tls && tls != "verify") {
    settings.complain("tls", "must be 'verify' or 'off'");
  }
  if (servers.addresses.empty()) {
    settings.complain("servers", "must be a list such as [\"nats://one:4222\", \"nats://two:4222\"]");
  }
  for (const std::string& address : servers.addresses) {
    if (address.find('@') != std::string::npos) {
      settings.complain("servers", "must not hold a password: use password_file or password_env");
    }
  }
  servers.files = read_client_files(settings);
  servers.user = settings.text_or("user", "");
  servers.password = settings.secret_source("password");
  servers.token = settings.secret_source("token");
  servers.credentials = settings.file("credentials_file");
  return settings.has_complaints() ? std::nullopt : std::optional(servers);
}

Connection::Connection(const Servers& servers, const Stop& stop) {
  const Options options = options_for(servers);
  std::vector<std::size_t> order(servers.addresses.size());
  std::iota(order.begin(), order.end(), 0U);
  std::shuffle(order.begin(), order.end(), std::minstd_rand(std::random_device{}()));
  // In the configuration's order, so that the same trouble has the same words each time.
  std::vector<std::string> reasons(order.size());
  for (const std::size_t place : order) {
    if (stop.requested()) {
      throw Failure("asked to end while connecting");
    }
    const std::string& address = servers.addresses[place];
    try {
      require(natsOptions_SetURL(options.get(), address.c_str()), "use the address " + address);
      natsConnection* connection = nullptr;
      require(natsConnection_Connect(&connection, options.get()), "connect to " + address);
      handle_.reset(connection);
      return;
    } catch (const Failure& failure) {
      reasons[place] = failure.what();
    }
  }
  throw Failure(fmt::format("{}", fmt::join(reasons, "; ")));
}

std::string Connection::complaint() const {
  const char* text = nullptr;
  const natsStatus status = natsConnection_GetLastError(handle_.get(), &text);
  if (status == NATS_OK) {
    return {};
  }
  return fmt::format(": {}", text != nullptr && *text != '\0' ? text : natsStatus_GetText(status));
}

std::string Connection::server() const {
  std::array<char, 256> address{};
  return natsConnection_GetConnectedUrl(handle_.get(), address.data(), address.size()) == NATS_OK ? address.data()
                                                                                                  : "the server";
}

}  // namespace exporter::jetstream
