// Creates, reads and checks the files of keys.
#include "tools/annalctl/proof/key_files.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <span>
#include <string_view>

#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/folder.h"

namespace annalctl::proof {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kSecretBegins = "annal-seal-secret ";
constexpr std::string_view kKeyEnds = ".key";
constexpr char kNewEnds[] = ".new";
constexpr char kOldEnds[] = ".old";
constexpr mode_t kOwnerOnly = 0600;
constexpr mode_t kEverybodyReads = 0644;
constexpr mode_t kOthers = 0077;

using Seed = std::array<Byte, SigningKey::kSeedSize>;

class Descriptor {
 public:
  Descriptor(const std::string& path, int flags, mode_t mode = 0)
      : number_(open(path.c_str(), flags | O_CLOEXEC | O_NOFOLLOW, mode)) {}
  ~Descriptor() {
    if (number_ >= 0) {
      close(number_);
    }
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  [[nodiscard]] int number() const { return number_; }

 private:
  int number_;
};

[[noreturn]] void fail(const char* doing, const std::string& path) {
  throw KeyFailure(fmt::format("cannot {} {}: {}", doing, path, system_message(errno)));
}

void write_file(const std::string& path, int flags, mode_t mode, std::string_view text) {
  const Descriptor file(path, O_WRONLY | O_CREAT | flags, mode);
  struct stat before {};
  if (file.number() < 0 || fstat(file.number(), &before) != 0 || fchmod(file.number(), mode) != 0) {
    fail("write", path);
  }
  if (write(file.number(), text.data(), text.size()) != static_cast<ssize_t>(text.size()) ||
      fsync(file.number()) != 0) {
    const int error = errno;
    // Half of a line would make the whole file of public keys unreadable.
    static_cast<void>(ftruncate(file.number(), before.st_size) == 0);
    errno = error;
    fail("write", path);
  }
}

void sync_folder_of(const std::string& path) {
  const Descriptor folder(folder_of(path), O_RDONLY | O_DIRECTORY);
  if (folder.number() >= 0) {
    static_cast<void>(fsync(folder.number()));
  }
}

std::string text_of_seed(const Seed& seed) {
  return fmt::format("{}{}\n", kSecretBegins, hex_of(seed));
}

Seed random_seed() {
  Seed seed;
  fill_with_random(seed);
  return seed;
}

std::string read_whole(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    fail("read", path);
  }
  return {std::istreambuf_iterator<char>(file), {}};
}

Seed read_seed(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) {
    fail("read", path);
  }
  if ((status.st_mode & kOthers) != 0) {
    throw KeyFailure(
        fmt::format("{} can be read or written by others than its owner ('chmod 600 {}'; if somebody may have used it, "
                    "see 'annalctl seal --help')",
                    path, path));
  }
  std::string text = read_whole(path);
  while (!text.empty() && text.back() == '\n') {
    text.pop_back();
  }
  Seed seed;
  if (!text.starts_with(kSecretBegins) || !bytes_of_hex(std::string_view(text).substr(kSecretBegins.size()), seed)) {
    throw KeyFailure(
        fmt::format("{} is not a signing key (restore it, or delete it and seal again, which creates another)", path));
  }
  return seed;
}

std::vector<PublicKey> keys_of(const std::vector<PublicKeyLine>& lines) {
  return trusted_keys(lines, {});
}

bool is_same_file(const std::string& one, const std::string& other) {
  std::error_code problem;
  return fs::equivalent(one, other, problem);
}

void overwrite_and_remove(const std::string& path) {
  const Seed nothing{};
  write_file(path, 0, kOwnerOnly, text_of_seed(nothing));
  unlink(path.c_str());
}

// Under its name is a whole key or none. False when there is one already.
bool create_key_file(const std::string& key_file, const Seed& seed) {
  const std::string next = key_file + kNewEnds;
  unlink(next.c_str());
  write_file(next, O_EXCL, kOwnerOnly, text_of_seed(seed));
  const bool created = link(next.c_str(), key_file.c_str()) == 0;
  const int error = errno;
  unlink(next.c_str());
  errno = error;
  if (!created && errno != EEXIST) {
    fail("create", key_file);
  }
  return created;
}

KeyRing create_keys(const std::string& key_file) {
  std::error_code problem;
  fs::create_directories(folder_of(key_file), problem);
  const Seed seed = random_seed();
  SigningKey key(seed);
  // The public one comes first: a key whose public half is nowhere would be of no use.
  write_file(public_file_of(key_file), O_APPEND, kEverybodyReads, text_of({key.public_key(), {}}));
  if (!create_key_file(key_file, seed)) {
    return load_keys(key_file);  // another program was faster
  }
  sync_folder_of(key_file);
  return {std::move(key), keys_of(load_public_keys(public_file_of(key_file))), true};
}

}  // namespace

// NOLINTBEGIN(concurrency-mt-unsafe): this program asks before it has threads
std::string usual_key_file() {
  if (const char* const named = std::getenv("ANNAL_SEAL_KEY"); named != nullptr && *named != '\0') {
    return whole_path(named);
  }
  if (geteuid() == 0) {
    return "/etc/annal/seal.key";
  }
  const char* const settings = std::getenv("XDG_CONFIG_HOME");
  const char* const home = std::getenv("HOME");
  const std::string folder =
      settings != nullptr && *settings != '\0' ? settings : std::string(home == nullptr ? "" : home) + "/.config";
  return folder + "/annal/seal.key";
}
// NOLINTEND(concurrency-mt-unsafe)

std::string public_file_of(const std::string& key_file) {
  const bool usual = key_file.ends_with(kKeyEnds);
  return key_file.substr(0, key_file.size() - (usual ? kKeyEnds.size() : 0)) + ".pub";
}

std::vector<PublicKeyLine> load_public_keys(const std::string& public_file) {
  const std::string text = read_whole(public_file);
  try {
    return public_keys_in(text);
  } catch (const std::runtime_error& error) {
    throw KeyFailure(fmt::format("{}: {}", public_file, error.what()));
  }
}

KeyRing load_keys(const std::string& key_file) {
  SigningKey key(read_seed(key_file));
  std::vector<PublicKey> trusted = keys_of(load_public_keys(public_file_of(key_file)));
  trusted.push_back(key.public_key());
  return {std::move(key), std::move(trusted)};
}

KeyRing load_or_create_keys(const std::string& key_file) {
  struct stat status {};
  if (stat(key_file.c_str(), &status) != 0 && errno == ENOENT) {
    return create_keys(key_file);
  }
  return load_keys(key_file);
}

KeyRing replace_key(const std::string& key_file) {
  const SigningKey old(read_seed(key_file));
  const std::string next = key_file + kNewEnds;
  const std::string former = key_file + kOldEnds;
  // What a replacement that was cut off has left: another name of the key, or the key before it.
  if (is_same_file(former, key_file)) {
    unlink(former.c_str());
  } else if (access(former.c_str(), F_OK) == 0) {
    overwrite_and_remove(former);
  }
  const Seed seed = random_seed();
  SigningKey key(seed);
  write_file(public_file_of(key_file), O_APPEND, kEverybodyReads,
             text_of({key.public_key(), endorse(old, key.public_key())}));
  unlink(next.c_str());
  write_file(next, O_EXCL, kOwnerOnly, text_of_seed(seed));
  if (link(key_file.c_str(), former.c_str()) != 0 || rename(next.c_str(), key_file.c_str()) != 0) {
    fail("replace", key_file);
  }
  sync_folder_of(key_file);
  overwrite_and_remove(former);
  return {std::move(key), keys_of(load_public_keys(public_file_of(key_file))), true};
}

}  // namespace annalctl::proof
