#include "tools/annalctl/import/line_reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "tools/annalctl/base/failure.h"

namespace annalctl {

namespace {

constexpr std::size_t kBuffer = std::size_t{1} << 17U;

int open_input(const std::string& name) {
  // A copy of standard input, because closing the reader closes its descriptor.
  const int file =
      name == "-" ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1) : open(name.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) {
    throw ReadFailure("cannot open it: " + system_message(errno));
  }
  return file;
}

}  // namespace

LineReader::LineReader(const std::string& name) : buffer_(kBuffer) {
  const int file = open_input(name);
  struct stat status {};
  if (fstat(file, &status) == 0 && S_ISREG(status.st_mode)) {
    size_ = status.st_size;
  }
  file_.reset(gzdopen(file, "rb"));
  if (!file_) {
    close(file);
    throw ReadFailure("cannot open it: out of memory");
  }
  if (S_ISDIR(status.st_mode)) {
    throw ReadFailure("it is a directory");
  }
}

bool LineReader::refill() {
  const int count = gzread(file_.get(), buffer_.data(), static_cast<unsigned>(buffer_.size()));
  int error = Z_OK;
  if (count <= 0) {
    const char* text = gzerror(file_.get(), &error);
    if (error == Z_ERRNO) {
      throw ReadFailure("cannot read on: " + system_message(errno));
    }
    if (error == Z_BUF_ERROR) {
      throw ReadFailure("cannot read on: the compressed file ends too early");
    }
    if (error != Z_OK && error != Z_STREAM_END) {
      throw ReadFailure("cannot read on: the compressed file is damaged (" + std::string(text) + ")");
    }
    return false;
  }
  begin_ = 0;
  end_ = static_cast<std::size_t>(count);
  return true;
}

LineReader::Got LineReader::next(std::string& line) {
  line.clear();
  bool too_long = false;
  bool any = false;
  for (;;) {
    if (begin_ == end_ && !refill()) {
      break;
    }
    const char* const from = buffer_.data() + begin_;
    const auto* const newline = static_cast<const char*>(std::memchr(from, '\n', end_ - begin_));
    const std::size_t length = newline == nullptr ? end_ - begin_ : static_cast<std::size_t>(newline - from);
    any = true;
    too_long = too_long || line.size() + length > kLongest;
    if (!too_long) {
      line.append(from, length);
    }
    begin_ += length;
    if (newline != nullptr) {
      ++begin_;
      break;
    }
  }
  if (!any) {
    return Got::kEnd;
  }
  ++number_;
  if (!line.empty() && line.back() == '\r') {
    line.pop_back();
  }
  return too_long ? Got::kTooLong : Got::kLine;
}

std::optional<int> LineReader::percent() const {
  if (size_ <= 0) {
    return {};
  }
  return static_cast<int>(std::min<std::int64_t>(gzoffset(file_.get()) * 100 / size_, 100));
}

}  // namespace annalctl
