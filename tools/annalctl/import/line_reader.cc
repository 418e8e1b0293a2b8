// Reads lines from plain and compressed files.
#include "tools/annalctl/import/line_reader.h"

#include <archive.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/standard_input.h"
#include "tools/annalctl/import/stop.h"

namespace annalctl {

namespace {

constexpr std::size_t kBuffer = std::size_t{1} << 16U;
constexpr int kMoment = 200;  // milliseconds

int open_input(const std::string& name) {
  if (name == "-" && !has_standard_input()) {
    throw LinesFailure("there is no standard input to read: pipe or redirect the lines into it");
  }
  // A copy of standard input, because closing the reader closes its descriptor.
  const int file =
      name == "-" ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1) : open(name.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) {
    throw LinesFailure("cannot open it: " + system_message(errno));
  }
  return file;
}

// The formats that need no other program.
bool read_compressed(archive* reader) {
  for (const auto support :
       {archive_read_support_filter_gzip, archive_read_support_filter_bzip2, archive_read_support_filter_xz,
        archive_read_support_filter_lzma, archive_read_support_filter_zstd, archive_read_support_format_raw,
        archive_read_support_format_empty}) {
    if (support(reader) < ARCHIVE_WARN) {
      return false;
    }
  }
  return true;
}

// The decompressors give no reason for some damaged files.
const char* reason_of(archive* reader) {
  const char* const reason = archive_error_string(reader);
  return reason != nullptr ? reason : "its compressed data is damaged";
}

}  // namespace

LineReader::LineReader(const std::string& name, std::function<void()> idle)
    : archive_(archive_read_new()), idle_(std::move(idle)), raw_(kBuffer) {
  if (archive_ == nullptr || !read_compressed(archive_)) {
    archive_read_free(archive_);
    throw std::bad_alloc();
  }
  try {
    file_ = open_input(name);
    struct stat status {};
    if (fstat(file_, &status) == 0 && S_ISREG(status.st_mode)) {
      size_ = status.st_size;
    }
    if (S_ISDIR(status.st_mode)) {
      throw LinesFailure("it is a directory");
    }
    archive_entry* entry = nullptr;
    const bool opened = archive_read_open(archive_, this, nullptr, read_file, nullptr) == ARCHIVE_OK;
    const int header = opened ? archive_read_next_header(archive_, &entry) : ARCHIVE_FATAL;
    at_end_ = header == ARCHIVE_EOF;
    if (header < ARCHIVE_WARN && stop_signal() == nullptr) {
      throw LinesFailure(std::string("cannot read it: ") + reason_of(archive_));
    }
  } catch (const LinesFailure&) {
    archive_read_free(archive_);
    if (file_ >= 0) {
      close(file_);
    }
    throw;
  }
}

LineReader::~LineReader() {
  archive_read_free(archive_);
  close(file_);
}

ssize_t LineReader::read_file(archive* reader, void* self, const void** buffer) {
  LineReader& lines = *static_cast<LineReader*>(self);
  *buffer = lines.raw_.data();
  if (lines.idle_) {
    pollfd input{lines.file_, POLLIN, 0};
    if (poll(&input, 1, kMoment) == 0) {
      lines.idle_();
    }
  }
  for (;;) {
    if (stop_signal() != nullptr) {
      return 0;
    }
    const ssize_t count = read(lines.file_, lines.raw_.data(), lines.raw_.size());
    if (count >= 0) {
      lines.read_ += count;
      return count;
    }
    if (errno != EINTR) {
      archive_set_error(reader, errno, "%s", system_message(errno).c_str());
      return -1;
    }
  }
}

bool LineReader::refill() {
  if (at_end_ || stop_signal() != nullptr) {
    return false;
  }
  const void* block = nullptr;
  std::size_t size = 0;
  std::int64_t place = 0;
  const int result = archive_read_data_block(archive_, &block, &size, &place);
  at_end_ = result == ARCHIVE_EOF;
  if (result < ARCHIVE_WARN && stop_signal() == nullptr) {
    throw LinesFailure(std::string("cannot read on: ") + reason_of(archive_));
  }
  begin_ = static_cast<const char*>(block);
  end_ = begin_ + size;
  return size > 0 && !at_end_ && stop_signal() == nullptr;
}

LineReader::Got LineReader::next(std::string& line) {
  line.clear();
  bool too_long = false;
  bool any = false;
  for (;;) {
    if (begin_ == end_ && !refill()) {
      break;
    }
    const auto there = static_cast<std::size_t>(end_ - begin_);
    const auto* const newline = static_cast<const char*>(std::memchr(begin_, '\n', there));
    const std::size_t length = newline == nullptr ? there : static_cast<std::size_t>(newline - begin_);
    any = true;
    too_long = too_long || line.size() + length > kLongest;
    if (!too_long) {
      line.append(begin_, length);
    }
    begin_ += length;
    if (newline != nullptr) {
      ++begin_;
      break;
    }
  }
  if (!any || stop_signal() != nullptr) {
    return Got::kEnd;
  }
  ++number_;
  return too_long ? Got::kTooLong : Got::kLine;
}

std::optional<int> LineReader::percent() const {
  if (size_ <= 0) {
    return {};
  }
  return static_cast<int>(std::min<std::int64_t>(read_ * 100 / size_, 100));
}

}  // namespace annalctl
