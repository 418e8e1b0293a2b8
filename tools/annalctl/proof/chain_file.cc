// Reads and writes a chain's file, so that a power cut at any moment leaves a whole head.
#include "tools/annalctl/proof/chain_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <thread>
#include <utility>

#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/folder.h"

namespace annalctl::proof {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kLookAgain{20};
constexpr std::size_t kPlaces = 2;
constexpr off_t kRecordsAt = kPlaces * kHeadSize;
constexpr std::size_t kAtOnce = 4096;  // records
constexpr mode_t kAccessBits = 0666;

std::size_t place_of(const Head& head) {
  return head.sequence % kPlaces;
}

// Whether the name still leads to the file that was opened: another may have taken its place before it was locked.
bool is_still_at(const std::string& path, int descriptor) {
  struct stat opened {};
  struct stat named {};
  return fstat(descriptor, &opened) == 0 && stat(path.c_str(), &named) == 0 && opened.st_ino == named.st_ino &&
         opened.st_dev == named.st_dev;
}

bool lock(int descriptor, Access access, milliseconds wait = ChainFile::kUsualWait) {
  const auto end = steady_clock::now() + wait;
  while (flock(descriptor, (access == Access::kWrite ? LOCK_EX : LOCK_SH) | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK || steady_clock::now() > end) {
      return false;
    }
    std::this_thread::sleep_for(kLookAgain);
  }
  return true;
}

void sync_folder_of(const std::string& path) {
  const int folder = ::open(folder_of(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folder >= 0) {
    static_cast<void>(fsync(folder));
    ::close(folder);
  }
}

// Where a chain is written again. Only who has the chain locked uses it.
std::string next_of(const std::string& path) {
  return path + ".new";
}

// A new file with the log's access. The name is that of none yet, or a pattern.
int create_beside(std::string& name, const std::string& log_path) {
  constexpr mode_t kOwnerOnly = 0600;
  const int descriptor = name.ends_with("XXXXXX")
                             ? mkostemp(name.data(), O_CLOEXEC)
                             : open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, kOwnerOnly);
  struct stat log {};
  if (descriptor >= 0 && stat(log_path.c_str(), &log) == 0) {
    // Only root can give a file away; the others' is theirs.
    static_cast<void>(fchown(descriptor, static_cast<uid_t>(-1), log.st_gid) == 0);
    static_cast<void>(fchmod(descriptor, log.st_mode & kAccessBits));
  }
  return descriptor;
}

}  // namespace

std::string chain_path(const std::string& log_path) {
  return log_path + ".chain";
}

ChainFailure ChainFile::failure(const char* doing) const {
  return ChainFailure(fmt::format("cannot {} {}: {}", doing, path_, system_message(errno)));
}

// --- opening ---

std::optional<ChainFile> ChainFile::open(const std::string& path, Access access, milliseconds wait) {
  for (;;) {
    const int descriptor =
        ::open(path.c_str(), (access == Access::kWrite ? O_RDWR : O_RDONLY) | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    ChainFile chain(path, descriptor);
    if (descriptor < 0) {
      if (errno == ENOENT) {
        return {};
      }
      if (errno == ELOOP) {
        throw ChainDamage(fmt::format("{} is a symbolic link, and not a chain (remove the link)", path));
      }
      throw chain.failure("open");
    }
    if (!lock(descriptor, access, wait)) {
      throw ChainInUse(fmt::format("{} is in use by another program (try again later)", path));
    }
    if (is_still_at(path, descriptor)) {
      if (access == Access::kWrite) {
        // By a program that was killed. It has salts that may have been erased since.
        unlink(next_of(path).c_str());
      }
      chain.read_heads();
      return chain;
    }
  }
}

ChainFile ChainFile::create(const std::string& path, const std::string& log_path, Head head, const SigningKey& key) {
  std::string temporary = path + ".XXXXXX";
  ChainFile chain(path, create_beside(temporary, log_path));
  if (chain.descriptor_ < 0) {
    throw chain.failure("create");
  }
  try {
    sign(head, key);
    chain.hash_ = head.hash;
    chain.write_head(std::move(head));
    chain.earlier_.reset();
    if (!lock(chain.descriptor_, Access::kWrite) || link(temporary.c_str(), path.c_str()) != 0) {
      throw chain.failure("create");
    }
  } catch (...) {
    unlink(temporary.c_str());
    throw;
  }
  unlink(temporary.c_str());
  sync_folder_of(path);
  return chain;
}

ChainFile::~ChainFile() {
  if (descriptor_ >= 0) {
    ::close(descriptor_);
  }
}

ChainFile::ChainFile(ChainFile&& other) noexcept
    : path_(std::move(other.path_)),
      descriptor_(std::exchange(other.descriptor_, -1)),
      head_(std::move(other.head_)),
      earlier_(std::move(other.earlier_)),
      head_lost_(other.head_lost_),
      hash_(other.hash_),
      appended_(other.appended_),
      written_(other.written_),
      buffer_(std::move(other.buffer_)) {}

ChainFile& ChainFile::operator=(ChainFile&& other) noexcept {
  std::swap(path_, other.path_);
  std::swap(descriptor_, other.descriptor_);
  std::swap(head_, other.head_);
  std::swap(earlier_, other.earlier_);
  std::swap(head_lost_, other.head_lost_);
  std::swap(hash_, other.hash_);
  std::swap(appended_, other.appended_);
  std::swap(written_, other.written_);
  std::swap(buffer_, other.buffer_);
  return *this;
}

void ChainFile::read_heads() {
  std::array<std::optional<Head>, kPlaces> heads;
  for (std::size_t place = 0; place < kPlaces; ++place) {
    HeadBytes bytes{};
    const ssize_t got = pread(descriptor_, bytes.data(), bytes.size(), static_cast<off_t>(place * kHeadSize));
    if (got == static_cast<ssize_t>(bytes.size())) {
      heads.at(place) = head_in(bytes);
      head_lost_ = head_lost_ || (!heads.at(place) && bytes != HeadBytes{});
    }
  }
  auto& [first, second] = heads;
  if (second && (!first || second->sequence > first->sequence)) {
    std::swap(first, second);
  }
  if (!first) {
    throw ChainDamage(
        fmt::format("{} is damaged: neither of its heads can be read ('annalctl seal --new-chain' sets it aside "
                    "and begins another)",
                    path_));
  }
  head_ = *first;
  earlier_ = second;
  hash_ = head_.hash;
}

// --- reading ---

off_t ChainFile::offset_of(std::uint64_t position) const {
  return kRecordsAt + static_cast<off_t>((position - head_.first) * kRecordSize);
}

std::uint64_t ChainFile::end() const {
  struct stat status {};
  if (fstat(descriptor_, &status) != 0) {
    throw failure("read");
  }
  const auto there = static_cast<std::uint64_t>(std::max<off_t>(status.st_size - kRecordsAt, 0)) / kRecordSize;
  return std::min(head_.first + there, head_.records);
}

void ChainFile::read(std::uint64_t position, std::size_t records, std::vector<Byte>& bytes) const {
  const std::uint64_t there = end() - std::min(end(), position);
  bytes.resize(static_cast<std::size_t>(std::min<std::uint64_t>(records, there)) * kRecordSize);
  std::size_t got = 0;
  while (got < bytes.size()) {
    const ssize_t part =
        pread(descriptor_, bytes.data() + got, bytes.size() - got, offset_of(position) + static_cast<off_t>(got));
    if (part < 0 && errno == EINTR) {
      continue;
    }
    if (part < 0) {
      throw failure("read");
    }
    if (part == 0) {
      break;
    }
    got += static_cast<std::size_t>(part);
  }
  bytes.resize(got / kRecordSize * kRecordSize);
}

bool RecordStream::next() {
  at_ += kRecordSize;
  if (at_ >= page_.size()) {
    chain_.read(next_, kAtOnce, page_);
    at_ = 0;
  }
  next_ += page_.empty() ? 0 : 1;
  return !page_.empty();
}

// --- writing ---

void ChainFile::write_at(std::span<const Byte> bytes, off_t offset) const {
  while (!bytes.empty()) {
    const ssize_t part = pwrite(descriptor_, bytes.data(), bytes.size(), offset);
    if (part < 0 && errno == EINTR) {
      continue;
    }
    if (part < 0) {
      throw failure("write");
    }
    bytes = bytes.subspan(static_cast<std::size_t>(part));
    offset += part;
  }
}

void ChainFile::sync() const {
  if (fdatasync(descriptor_) != 0) {
    throw failure("write");
  }
}

void ChainFile::append(const Record& record) {
  std::array<Byte, kRecordSize> bytes{};
  write(record, bytes);
  hash_ = link_of(hash_, linked_part(bytes));
  buffer_.insert(buffer_.end(), bytes.begin(), bytes.end());
  ++appended_;
  if (buffer_.size() >= kAtOnce * kRecordSize) {
    write_out();
  }
}

void ChainFile::write_out() {
  write_at(buffer_, offset_of(head_.records + written_));
  written_ = appended_;
  buffer_.clear();
}

void ChainFile::write_head(Head head) {
  const HeadBytes bytes = bytes_of(head);
  write_at(bytes, static_cast<off_t>(place_of(head) * kHeadSize));
  sync();
  earlier_ = head_;
  head_ = std::move(head);
}

void ChainFile::commit(const SigningKey& key, std::int64_t last_id, std::int64_t time) {
  write_out();
  Head head = head_;
  ++head.sequence;
  head.records += appended_;
  head.hash = hash_;
  head.last_id = last_id;
  head.time = time;
  sign(head, key);
  // What a commit that was cut off has left behind the end goes.
  if (ftruncate(descriptor_, offset_of(head.records)) != 0) {
    throw failure("write");
  }
  sync();
  write_head(std::move(head));
  appended_ = 0;
  written_ = 0;
}

void ChainFile::erase_salts(std::span<const std::uint64_t> positions) const {
  constexpr Salt kNothing{};
  for (const std::uint64_t position : positions) {
    if (position >= head_.first && position < head_.records) {
      write_at(kNothing, offset_of(position) + static_cast<off_t>(kLinkedSize));
    }
  }
  sync();
}

void ChainFile::drop_before(std::uint64_t position, const SigningKey& key) {
  Head head = head_;
  std::string temporary = next_of(path_);
  ChainFile shorter(path_, create_beside(temporary, path_));
  if (shorter.descriptor_ < 0) {
    throw failure("write again");
  }
  try {
    for (RecordStream dropped(*this); dropped.next() && dropped.position() < position;) {
      head.base = link_of(head.base, linked_part(dropped.bytes()));
    }
    head.first = position;
    ++head.sequence;
    sign(head, key);
    shorter.head_ = head;
    std::vector<Byte> bytes;
    for (std::uint64_t copied = position; copied < head.records; copied += bytes.size() / kRecordSize) {
      read(copied, kAtOnce, bytes);
      if (bytes.empty()) {
        throw ChainFailure(fmt::format("{} was cut", path_));
      }
      shorter.write_at(bytes, shorter.offset_of(copied));
    }
    shorter.write_head(head);
    shorter.earlier_.reset();
    shorter.hash_ = head.hash;
    if (!lock(shorter.descriptor_, Access::kWrite) || rename(temporary.c_str(), path_.c_str()) != 0) {
      throw failure("replace");
    }
  } catch (...) {
    unlink(temporary.c_str());
    throw;
  }
  sync_folder_of(path_);
  std::swap(*this, shorter);
}

}  // namespace annalctl::proof
