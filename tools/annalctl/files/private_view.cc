// A file system for SQLite that reads a log's files in place and keeps every write in memory.
#include "tools/annalctl/files/private_view.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <new>
#include <thread>
#include <utility>

#include "tools/annalctl/files/sqlite_format.h"

namespace annalctl {

namespace {

constexpr char kSystemName[] = "annalctl-private-view";
constexpr char kUri[] = "file:/log?vfs=annalctl-private-view";
constexpr char kLogName[] = "/log";
constexpr char kWriteAheadName[] = "/log-wal";
constexpr std::size_t kMostChanged = std::size_t{64} << 20U;
constexpr std::chrono::milliseconds kPause{20};

constexpr off_t kWriteAheadLocks =
    120;  // in the shared file: the lock for writing, then the lock for moving changes into the log
constexpr off_t kWriteAheadLocksSize = 2;

struct flock range_of(short type, off_t begin, off_t size) {
  struct flock lock {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = begin;
  lock.l_len = size;
  return lock;
}

ReaderLock::Outcome lock(int descriptor, short type, off_t begin, off_t size,
                         std::chrono::steady_clock::time_point until) {
  for (;;) {
    struct flock range = range_of(type, begin, size);
    if (fcntl(descriptor, F_OFD_SETLK, &range) == 0) {
      return ReaderLock::Outcome::kHeld;
    }
    if (errno != EAGAIN && errno != EACCES && errno != EINTR) {
      return ReaderLock::Outcome::kImpossible;
    }
    if (std::chrono::steady_clock::now() >= until) {
      return ReaderLock::Outcome::kBusy;
    }
    std::this_thread::sleep_for(kPause);
  }
}

}  // namespace

// --- the files ---

RegularFile::RegularFile(const std::string& path, Links links) {
  struct stat status {};
  const bool follows = links == Links::kFollowed;
  const int found = follows ? stat(path.c_str(), &status) : lstat(path.c_str(), &status);
  // Opening a device can affect it, so look first. By the time of opening it may be another file, so look again
  // afterwards.
  if (found == 0 && S_ISREG(status.st_mode)) {
    descriptor_ = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC | (follows ? 0 : O_NOFOLLOW));
    error_ = descriptor_ < 0 ? errno : 0;
    if (descriptor_ >= 0 && (fstat(descriptor_, &status) != 0 || !S_ISREG(status.st_mode))) {
      close(descriptor_);
      descriptor_ = -1;
      error_ = EINVAL;
    }
  } else {
    error_ = found == 0 ? EINVAL : errno;
  }
}

RegularFile::~RegularFile() {
  if (descriptor_ >= 0) {
    close(descriptor_);
  }
}

RegularFile::RegularFile(RegularFile&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)), error_(other.error_) {}

RegularFile& RegularFile::operator=(RegularFile&& other) noexcept {
  std::swap(descriptor_, other.descriptor_);
  std::swap(error_, other.error_);
  return *this;
}

std::int64_t RegularFile::size() const {
  struct stat status {};
  return is_open() && fstat(descriptor_, &status) == 0 ? status.st_size : 0;
}

std::int64_t RegularFile::occupied() const {
  constexpr std::int64_t kUnit = 512;
  struct stat status {};
  return is_open() && fstat(descriptor_, &status) == 0 ? status.st_blocks * kUnit : 0;
}

Neighbour neighbour_at(const std::string& path) {
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0) {
    return Neighbour::kNone;
  }
  if (!S_ISREG(status.st_mode)) {
    return Neighbour::kOther;
  }
  // SQLite treats an empty file like a missing one.
  return status.st_size > 0 ? Neighbour::kFile : Neighbour::kNone;
}

// --- locks ---

ReaderLock::Outcome ReaderLock::take(const RegularFile& log, std::chrono::steady_clock::time_point until) {
  const int file = log.descriptor();
  // Through the gate that a waiting writer closes: without it readers could starve a writer.
  Outcome outcome = lock(file, F_RDLCK, kPendingByte, 1, until);
  if (outcome == Outcome::kHeld) {
    outcome = lock(file, F_RDLCK, kSharedFirst, kSharedSize, until);
    static_cast<void>(lock(file, F_UNLCK, kPendingByte, 1, until));
  }
  return outcome;
}

bool ReaderLock::has_writer(const RegularFile& log) {
  struct flock range = range_of(F_WRLCK, kReservedByte, 1);
  return fcntl(log.descriptor(), F_OFD_GETLK, &range) == 0 && range.l_type != F_UNLCK;
}

ReaderLock::Outcome ReaderLock::take_write_ahead(const RegularFile& shared,
                                                 std::chrono::steady_clock::time_point until) {
  return lock(shared.descriptor(), F_RDLCK, kWriteAheadLocks, kWriteAheadLocksSize, until);
}

// --- changes in memory ---

// Fills it with zeros beyond the end. False if the disk fails to deliver.
bool ShadowFile::load(std::int64_t number, unsigned char* block) const {
  std::memset(block, 0, kBlock);
  const std::int64_t begin = number * kBlock;
  std::int64_t left = descriptor_ < 0 ? 0 : std::min(kBlock, readable_ - begin);
  for (std::int64_t done = 0; done < left;) {
    const ssize_t got = pread(descriptor_, block + done, static_cast<std::size_t>(left - done), begin + done);
    if (got < 0 && errno != EINTR) {
      return false;
    }
    if (got == 0) {
      break;  // truncated meanwhile
    }
    done += std::max<ssize_t>(got, 0);
  }
  return true;
}

int ShadowFile::read(void* to, int length, std::int64_t offset) const {
  auto* out = static_cast<unsigned char*>(to);
  std::memset(out, 0, static_cast<std::size_t>(length));
  const std::int64_t end = std::min(offset + length, size_);
  std::array<unsigned char, kBlock> loaded{};
  for (std::int64_t place = offset; place < end;) {
    const std::int64_t number = place / kBlock;
    const std::int64_t within = place % kBlock;
    const std::int64_t part = std::min(kBlock - within, end - place);
    const auto known = blocks_.find(number);
    const unsigned char* block = known == blocks_.end() ? loaded.data() : known->second.data();
    if (known == blocks_.end() && !load(number, loaded.data())) {
      return SQLITE_IOERR_READ;
    }
    std::memcpy(out + (place - offset), block + within, static_cast<std::size_t>(part));
    place += part;
  }
  return end == offset + length ? SQLITE_OK : SQLITE_IOERR_SHORT_READ;
}

void ShadowFile::write(const void* from, int length, std::int64_t offset) {
  const auto* in = static_cast<const unsigned char*>(from);
  for (std::int64_t place = offset; place < offset + length;) {
    const std::int64_t number = place / kBlock;
    const std::int64_t within = place % kBlock;
    const std::int64_t part = std::min(kBlock - within, offset + length - place);
    Block& block = blocks_[number];
    if (block.empty()) {
      block.resize(kBlock);
      static_cast<void>(load(number, block.data()));
    }
    std::memcpy(block.data() + within, in + (place - offset), static_cast<std::size_t>(part));
    place += part;
  }
  size_ = std::max(size_, offset + length);
}

void ShadowFile::truncate(std::int64_t size) {
  if (size < size_) {
    readable_ = std::min(readable_, size);
    blocks_.erase(blocks_.lower_bound((size + kBlock - 1) / kBlock), blocks_.end());
    const auto last = blocks_.find(size / kBlock);
    if (last != blocks_.end()) {
      std::fill(last->second.begin() + static_cast<std::ptrdiff_t>(size % kBlock), last->second.end(), std::uint8_t{0});
    }
  }
  size_ = size;
}

// --- SQLite's file system ---

struct PrivateView::Handle {
  sqlite3_file base;
  PrivateView* view;
  std::shared_ptr<ShadowFile>* file;
};

// Called by SQLite, so these must not throw.
struct PrivateView::Methods {
  static Handle& of(sqlite3_file* file) { return *reinterpret_cast<Handle*>(file); }

  static int close(sqlite3_file* file) noexcept {
    delete of(file).file;
    return SQLITE_OK;
  }
  static int read(sqlite3_file* file, void* to, int length, sqlite3_int64 offset) noexcept {
    const Handle& handle = of(file);
    return handle.view->late() ? SQLITE_IOERR_READ : (*handle.file)->read(to, length, offset);
  }
  static int write(sqlite3_file* file, const void* from, int length, sqlite3_int64 offset) noexcept {
    const Handle& handle = of(file);
    if (handle.view->late() || handle.view->full() || (*handle.file)->changed() > kMostChanged) {
      return SQLITE_FULL;
    }
    try {
      (*handle.file)->write(from, length, offset);
    } catch (const std::bad_alloc&) {
      return SQLITE_NOMEM;
    }
    return SQLITE_OK;
  }
  static int truncate(sqlite3_file* file, sqlite3_int64 size) noexcept {
    (*of(file).file)->truncate(size);
    return SQLITE_OK;
  }
  static int sync(sqlite3_file* /*file*/, int /*flags*/) noexcept { return SQLITE_OK; }
  static int file_size(sqlite3_file* file, sqlite3_int64* size) noexcept {
    *size = (*of(file).file)->size();
    return SQLITE_OK;
  }
  static int set_lock(sqlite3_file* /*file*/, int /*level*/) noexcept { return SQLITE_OK; }
  static int has_reserved_lock(sqlite3_file* /*file*/, int* held) noexcept {
    *held = 0;
    return SQLITE_OK;
  }
  static int control(sqlite3_file* /*file*/, int /*what*/, void* /*argument*/) noexcept { return SQLITE_NOTFOUND; }
  static int sector_size(sqlite3_file* /*file*/) noexcept {
    constexpr int kSector = 512;
    return kSector;
  }
  static int characteristics(sqlite3_file* /*file*/) noexcept { return 0; }

  static PrivateView& view_of(sqlite3_vfs* system) { return *static_cast<PrivateView*>(system->pAppData); }

  static int open(sqlite3_vfs* system, const char* name, sqlite3_file* file, int flags, int* flags_out) noexcept {
    // Version 1: no mapped file and no shared memory.
    static constexpr sqlite3_io_methods kMethods{1,
                                                 close,
                                                 read,
                                                 write,
                                                 truncate,
                                                 sync,
                                                 file_size,
                                                 set_lock,
                                                 set_lock,
                                                 has_reserved_lock,
                                                 control,
                                                 sector_size,
                                                 characteristics,
                                                 nullptr,
                                                 nullptr,
                                                 nullptr,
                                                 nullptr,
                                                 nullptr,
                                                 nullptr};
    Handle& handle = of(file);
    handle.base.pMethods = nullptr;  // nothing to close yet
    try {
      PrivateView& view = view_of(system);
      handle.file = new std::shared_ptr<ShadowFile>(view.file_of(name));
      handle.view = &view;
      handle.base.pMethods = &kMethods;
    } catch (const std::bad_alloc&) {
      return SQLITE_NOMEM;
    }
    if (flags_out != nullptr) {
      *flags_out = flags;
    }
    return SQLITE_OK;
  }
  static int remove(sqlite3_vfs* system, const char* name, int /*sync*/) noexcept {
    view_of(system).files_.erase(name);
    return SQLITE_OK;
  }
  static int access(sqlite3_vfs* system, const char* name, int flags, int* yes) noexcept {
    const auto& files = view_of(system).files_;
    const auto found = files.find(name);
    *yes = flags != SQLITE_ACCESS_EXISTS || (found != files.end() && found->second->size() > 0) ? 1 : 0;
    return SQLITE_OK;
  }
  static int full_name(sqlite3_vfs* /*system*/, const char* name, int size, char* to) noexcept {
    sqlite3_snprintf(size, to, "%s", name);
    return SQLITE_OK;
  }
};

PrivateView::PrivateView(const RegularFile& log, const RegularFile& write_ahead, const WorkDeadline& deadline)
    : deadline_(deadline) {
  files_.emplace(kLogName, std::make_shared<ShadowFile>(log.descriptor(), log.size()));
  if (write_ahead.is_open()) {
    files_.emplace(kWriteAheadName, std::make_shared<ShadowFile>(write_ahead.descriptor(), write_ahead.size()));
  }
  const sqlite3_vfs* const real = sqlite3_vfs_find(nullptr);
  if (real == nullptr) {
    return;
  }
  system_ = *real;
  system_.iVersion = 1;
  system_.szOsFile = sizeof(Handle);
  system_.pNext = nullptr;
  system_.zName = kSystemName;
  system_.pAppData = this;
  system_.xOpen = Methods::open;
  system_.xDelete = Methods::remove;
  system_.xAccess = Methods::access;
  system_.xFullPathname = Methods::full_name;
  ready_ = sqlite3_vfs_register(&system_, 0) == SQLITE_OK;
}

PrivateView::~PrivateView() {
  if (ready_) {
    sqlite3_vfs_unregister(&system_);
  }
}

const char* PrivateView::name() {
  return kUri;
}

bool PrivateView::full() const {
  std::size_t changed = 0;
  for (const auto& [name, file] : files_) {
    changed += file->changed();
  }
  return changed > kMostChanged;
}

// A temporary file has no name, and ends with its handle.
std::shared_ptr<ShadowFile> PrivateView::file_of(const char* name) {
  if (name == nullptr) {
    return std::make_shared<ShadowFile>();
  }
  std::shared_ptr<ShadowFile>& file = files_[name];
  if (file == nullptr) {
    file = std::make_shared<ShadowFile>();
  }
  return file;
}

}  // namespace annalctl
