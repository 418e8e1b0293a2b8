// The files that a sink needs for TLS: whom to trust, and its own certificate.
#pragma once

#include <string>

#include "tools/export/settings.h"

namespace exporter {

struct ClientFiles {
  std::string authorities;  // never empty
  std::string certificate;  // of this client; empty if the receiver asks for none
  std::string key;          // to that
};

// Reads ca_file, certificate_file and key_file. Complains of files that hold no certificate, of a certificate without
// its key, and of a key that everyone may read.
[[nodiscard]] ClientFiles read_client_files(Settings& settings);

}  // namespace exporter
