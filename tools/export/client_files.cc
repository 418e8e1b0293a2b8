// Reads the TLS settings, and checks that each file holds PEM of its kind and that the key is not open to everyone.
#include "tools/export/client_files.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <fstream>
#include <iterator>

namespace exporter {

namespace {

// Those that the machine trusts, as Debian keeps them.
constexpr const char* kMachineAuthorities = "/etc/ssl/certs/ca-certificates.crt";

void check_pem(Settings& settings, const std::string& key, const std::string& file, const std::string& what) {
  if (file.empty()) {
    return;
  }
  std::ifstream stream(file, std::ios::binary);
  if (!stream) {
    return;  // complained of already
  }
  const std::string content{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
  const std::size_t begin = content.find("-----BEGIN ");
  const std::size_t end = begin == std::string::npos ? begin : content.find('\n', begin);
  if (end == std::string::npos || content.substr(begin, end - begin).find(what) == std::string::npos) {
    settings.complain(key,
                      fmt::format("{} has no {} in PEM form", file, what == "KEY" ? "private key" : "certificate"));
  }
}

void check_private(Settings& settings, const std::string& file) {
  struct stat state {};
  if (!file.empty() && stat(file.c_str(), &state) == 0 && (state.st_mode & (S_IROTH | S_IWOTH)) != 0) {
    settings.complain("key_file", fmt::format("everyone may read {}: chmod o= {}", file, file));
  }
}

}  // namespace

ClientFiles read_client_files(Settings& settings) {
  ClientFiles files{.authorities = settings.file("ca_file"),
                    .certificate = settings.file("certificate_file"),
                    .key = settings.file("key_file")};
  check_pem(settings, "ca_file", files.authorities, "CERTIFICATE");
  check_pem(settings, "certificate_file", files.certificate, "CERTIFICATE");
  check_pem(settings, "key_file", files.key, "KEY");
  check_private(settings, files.key);
  if (files.certificate.empty() != files.key.empty()) {
    const bool keyless = files.key.empty();
    settings.complain(keyless ? "certificate_file" : "key_file",
                      fmt::format("goes with {}, which is missing", keyless ? "key_file" : "certificate_file"));
  }
  if (files.authorities.empty()) {
    files.authorities = kMachineAuthorities;
  }
  return files;
}

}  // namespace exporter
