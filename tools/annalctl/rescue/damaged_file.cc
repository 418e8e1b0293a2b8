// Reads a damaged file as bytes, and shows it to SQLite with a corrected header.
#include "tools/annalctl/rescue/damaged_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>

#include "tools/annalctl/files/sqlite_format.h"

namespace annalctl {

namespace {

constexpr char kSystem[] = "annalctl-corrected";

int nothing_to_do(sqlite3_file* /*opened*/) {
  return SQLITE_OK;
}

int nothing_to_lock(sqlite3_file* /*opened*/, int /*level*/) {
  return SQLITE_OK;
}

int nobody_locks(sqlite3_file* /*opened*/, int* reserved) {
  *reserved = 0;
  return SQLITE_OK;
}

int refuse_write(sqlite3_file* /*opened*/, const void* /*bytes*/, int /*amount*/, sqlite3_int64 /*place*/) {
  return SQLITE_READONLY;
}

int refuse_size(sqlite3_file* /*opened*/, sqlite3_int64 /*size*/) {
  return SQLITE_READONLY;
}

int refuse_control(sqlite3_file* /*opened*/, int /*operation*/, void* /*argument*/) {
  return SQLITE_NOTFOUND;
}

int usual_sector(sqlite3_file* /*opened*/) {
  return 0;
}

int characteristics(sqlite3_file* /*opened*/) {
  return SQLITE_IOCAP_IMMUTABLE;
}

int same_name(sqlite3_vfs* /*system*/, const char* name, int size, char* full_name) {
  sqlite3_snprintf(size, full_name, "%s", name);
  return SQLITE_OK;
}

int nothing_beside(sqlite3_vfs* /*system*/, const char* /*name*/, int /*flags*/, int* there) {
  *there = 0;
  return SQLITE_OK;
}

}  // namespace

DamagedFile::DamagedFile(const std::string& path)
    : file_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK)) {
  struct stat status {};
  if (file_ >= 0 && fstat(file_, &status) == 0 && S_ISREG(status.st_mode)) {
    size_ = static_cast<std::uint64_t>(status.st_size);
    has_header_ =
        read(0, header_) && std::equal(kFileMagic.begin(), kFileMagic.end(), header_.begin(),
                                       [](char c, auto byte) { return static_cast<unsigned char>(c) == byte; });
  }
}

DamagedFile::~DamagedFile() {
  if (file_ >= 0) {
    close(file_);
  }
}

bool DamagedFile::read(std::uint64_t place, std::span<unsigned char> bytes) {
  std::size_t got = 0;
  while (got < bytes.size()) {
    const ssize_t part = pread(file_, bytes.data() + got, bytes.size() - got, static_cast<off_t>(place + got));
    if (part < 0 && errno == EINTR) {
      continue;
    }
    if (part <= 0) {
      refused_ += part < 0 ? 1 : 0;
      break;
    }
    got += static_cast<std::size_t>(part);
  }
  bytes_read_ += got;
  std::fill(bytes.begin() + static_cast<std::ptrdiff_t>(got), bytes.end(), static_cast<unsigned char>(0));
  return got == bytes.size();
}

// SQLite's view of an open file: it knows only the first member.
struct CorrectedView::OpenFile {
  sqlite3_file base;
  CorrectedView* view;
};

// NOLINTNEXTLINE(cert-err58-cpp): nothing in it throws
const sqlite3_io_methods CorrectedView::kMethods = [] {
  sqlite3_io_methods methods{};
  methods.iVersion = 1;
  methods.xClose = nothing_to_do;
  methods.xRead = read;
  methods.xWrite = refuse_write;
  methods.xTruncate = refuse_size;
  methods.xSync = nothing_to_lock;
  methods.xFileSize = file_size;
  methods.xLock = nothing_to_lock;
  methods.xUnlock = nothing_to_lock;
  methods.xCheckReservedLock = nobody_locks;
  methods.xFileControl = refuse_control;
  methods.xSectorSize = usual_sector;
  methods.xDeviceCharacteristics = characteristics;
  return methods;
}();

CorrectedView::CorrectedView(DamagedFile& file, const Header& header)
    : file_(file), header_(header), usual_(sqlite3_vfs_find(nullptr)), system_(*usual_) {
  system_.pNext = nullptr;
  system_.zName = kSystem;
  system_.pAppData = this;
  system_.szOsFile = std::max(usual_->szOsFile, static_cast<int>(sizeof(OpenFile)));
  system_.xOpen = open;
  system_.xFullPathname = same_name;
  system_.xAccess = nothing_beside;
  static_cast<void>(sqlite3_vfs_register(&system_, 0));
}

CorrectedView::~CorrectedView() {
  sqlite3_vfs_unregister(&system_);
}

std::string CorrectedView::name() {
  return fmt::format("file:/damaged?immutable=1&vfs={}", kSystem);
}

int CorrectedView::open(sqlite3_vfs* system, const char* name, sqlite3_file* opened, int flags, int* flags_had) {
  auto* const view = static_cast<CorrectedView*>(system->pAppData);
  if ((flags & SQLITE_OPEN_MAIN_DB) == 0) {
    // A temporary file for what does not fit into memory.
    return view->usual_->xOpen(view->usual_, name, opened, flags, flags_had);
  }
  auto* const file = reinterpret_cast<OpenFile*>(opened);
  file->base.pMethods = &kMethods;
  file->view = view;
  if (flags_had != nullptr) {
    *flags_had = flags;
  }
  return SQLITE_OK;
}

int CorrectedView::read(sqlite3_file* opened, void* buffer, int amount, sqlite3_int64 place) {
  const CorrectedView& view = *reinterpret_cast<OpenFile*>(opened)->view;
  const std::span bytes(static_cast<unsigned char*>(buffer), static_cast<std::size_t>(amount));
  const auto begin = static_cast<std::uint64_t>(place);
  // A page that the disk refuses reads as zeros, so that the others can still be read.
  static_cast<void>(view.file_.read(begin, bytes));
  for (std::size_t i = 0; i < bytes.size() && begin + i < kHeaderSize; ++i) {
    bytes[i] = view.header_.at(static_cast<std::size_t>(begin) + i);
  }
  return begin + bytes.size() <= view.file_.size() ? SQLITE_OK : SQLITE_IOERR_SHORT_READ;
}

int CorrectedView::file_size(sqlite3_file* opened, sqlite3_int64* size) {
  *size = static_cast<sqlite3_int64>(reinterpret_cast<OpenFile*>(opened)->view->file_.size());
  return SQLITE_OK;
}

}  // namespace annalctl
