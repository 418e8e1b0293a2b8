// Where keys are kept: the private one in a file that its owner alone may read, outside of the logs' folder, so that a
// backup of the logs does not have it; the public ones beside it.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "tools/annalctl/proof/keys.h"

namespace annalctl::proof {

// A key's file cannot be used. The sentence says why.
class KeyFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// $ANNAL_SEAL_KEY; else root's is /etc/annal/seal.key, and another user's in the folder of his settings.
[[nodiscard]] std::string usual_key_file();
// "seal.pub" beside "seal.key".
[[nodiscard]] std::string public_file_of(const std::string& key_file);

struct KeyRing {
  SigningKey key;
  std::vector<PublicKey> trusted;  // those of the public file
  bool created = false;
};

// Creates them when there are none.
[[nodiscard]] KeyRing load_or_create_keys(const std::string& key_file);
[[nodiscard]] KeyRing load_keys(const std::string& key_file);
// Puts a new key in the place of the old one, which vouches for it and is then overwritten.
[[nodiscard]] KeyRing replace_key(const std::string& key_file);

[[nodiscard]] std::vector<PublicKeyLine> load_public_keys(const std::string& public_file);

}  // namespace annalctl::proof
