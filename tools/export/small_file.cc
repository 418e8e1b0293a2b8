// Writes a file under another name, syncs it and renames it into place; also appends lines and reads whole files.
#include "tools/export/small_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>

#include "tools/annalctl/base/folder.h"

namespace exporter {

namespace {

[[noreturn]] void fail(const std::string& path) {
  throw std::system_error(errno, std::generic_category(), path);
}

class File {
 public:
  File(const std::string& path, int flags) : path_(path) {
    constexpr mode_t kOwnersAndGroup = 0640;
    descriptor_ = open(path.c_str(), flags | O_CLOEXEC | O_NOCTTY, kOwnersAndGroup);
  }
  ~File() {
    if (descriptor_ >= 0) {
      close(descriptor_);
    }
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  [[nodiscard]] bool is_open() const { return descriptor_ >= 0; }

  void write(std::string_view text) const {
    while (!text.empty()) {
      const ssize_t put = ::write(descriptor_, text.data(), text.size());
      if (put < 0 && errno != EINTR) {
        fail(path_);
      }
      text.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(put, 0)));
    }
  }

  void sync() const {
    if (fsync(descriptor_) != 0) {
      fail(path_);
    }
  }

  [[nodiscard]] std::string read() const {
    std::string content;
    std::array<char, 8192> bytes{};
    while (true) {
      const ssize_t got = ::read(descriptor_, bytes.data(), bytes.size());
      if (got == 0) {
        return content;
      }
      if (got < 0 && errno != EINTR) {
        fail(path_);
      }
      content.append(bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    }
  }

 private:
  const std::string& path_;
  int descriptor_;
};

// A name is on the disk once its folder is.
void sync_folder_of(const std::string& path) {
  const std::string folder = annalctl::folder_of(path);
  const File opened(folder, O_RDONLY | O_DIRECTORY);
  if (!opened.is_open()) {
    fail(folder);
  }
  opened.sync();
}

}  // namespace

void replace_file(const std::string& path, const std::string& content, Durable durable) {
  const std::string successor = path + ".new";
  try {
    const File file(successor, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW);
    if (!file.is_open()) {
      fail(successor);
    }
    file.write(content);
    if (durable == Durable::kYes) {
      file.sync();
    }
    if (rename(successor.c_str(), path.c_str()) != 0) {
      fail(path);
    }
  } catch (const std::system_error&) {
    unlink(successor.c_str());
    throw;
  }
  if (durable == Durable::kYes) {
    sync_folder_of(path);
  }
}

void append_line(const std::string& path, const std::string& line) {
  const bool is_new = access(path.c_str(), F_OK) != 0;
  const File file(path, O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW);
  if (!file.is_open()) {
    fail(path);
  }
  file.write(line + "\n");
  file.sync();
  if (is_new) {
    sync_folder_of(path);
  }
}

std::optional<std::string> content_of(const std::string& path) {
  const File file(path, O_RDONLY);
  if (!file.is_open()) {
    if (errno == ENOENT) {
      return {};
    }
    fail(path);
  }
  return file.read();
}

}  // namespace exporter
