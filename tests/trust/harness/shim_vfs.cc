// A VFS on top of SQLite's own that fails operations, skips waits and simulates power cuts. For a power cut it records
// each file's synced content and its later writes by blocks of 512 bytes, and keeps, reverts or garbles each unsynced
// block at random.
#include "tests/trust/harness/shim_vfs.h"

#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "appliance/namespace.h"

namespace annal::test {

namespace fs = std::filesystem;

namespace {

// The disk's clock is stopped at this time; SQLite asks its VFS for the time.
constexpr sqlite3_int64 kMillisecondsOfJulianDay = 212'635'238'400'000;  // 2026-01-15 12:00:00 UTC

sqlite3_vfs* machine = nullptr;  // SQLite's own VFS

struct Faults {
  std::array<Countdown, static_cast<std::size_t>(DiskOperation::kCount)> countdowns;
  DiskFault armed{};
  int open_files = 0;
  long waited_microseconds = 0;
  long act_after_microseconds = 0;
  std::function<void()> action;
  Countdown fresh_locks;
  std::function<void()> lock_action;
};
Faults faults;

Countdown& countdown(DiskOperation operation) {
  return faults.countdowns[static_cast<std::size_t>(operation)];
}

// ---- power ----

constexpr std::size_t kBlock = 512;

struct Extent {
  std::size_t begin;
  std::size_t end;
};

struct TrackedFile {
  std::string safe;             // the content at the last sync
  std::vector<Extent> written;  // writes since then
  bool creation_unsynced = false;
};

// The same seed gives the same numbers on every machine.
class Dice {
 public:
  Dice() = default;
  explicit Dice(unsigned seed) : state_(seed) {}
  unsigned operator()() {
    state_ += 0x9E3779B97F4A7C15U;
    std::uint64_t mixed = (state_ ^ (state_ >> 30U)) * 0xBF58476D1CE4E5B9U;
    mixed = (mixed ^ (mixed >> 27U)) * 0x94D049BB133111EBU;
    return static_cast<unsigned>(mixed >> 32U);
  }

 private:
  std::uint64_t state_ = 0;
};

struct PowerState {
  bool on = false;
  Folder folder = Folder::kInOrder;
  Dice dice;
  std::map<std::string, TrackedFile> files;
  std::map<std::string, std::string> deleted;  // unsynced deletions, with the content that would come back
  int barriers = 0;
  int cut_at = 0;
  CutReport* report = nullptr;
  std::vector<std::string> commits;
};
PowerState power;

enum class Fate { kKept, kDropped, kTrashed };

Fate random_fate() {
  return static_cast<Fate>(power.dice() % 3);
}

bool coin_flip() {
  return power.dice() % 2 == 0;
}

// A file's content after a power cut.
std::string content_after_cut(const TrackedFile& file, const std::string& now) {
  std::string found = file.safe;
  std::map<std::size_t, Fate> fates;
  for (const auto& [begin, end] : file.written) {
    for (std::size_t at = begin; at < end;) {
      const std::size_t block = at / kBlock;
      const std::size_t stop = std::min(end, (block + 1) * kBlock);
      const auto [entry, is_new] = fates.try_emplace(block, Fate::kKept);
      if (is_new) {
        entry->second = random_fate();
        power.report->dropped += entry->second == Fate::kDropped ? 1 : 0;
        power.report->trashed += entry->second == Fate::kTrashed ? 1 : 0;
      }
      if (entry->second != Fate::kDropped && at < now.size()) {
        found.resize(std::max(found.size(), std::min(stop, now.size())));
        for (std::size_t i = at; i < std::min(stop, now.size()); ++i) {
          found[i] = entry->second == Fate::kKept ? now[i] : static_cast<char>(power.dice());
        }
      }
      at = stop;
    }
  }
  if (now.size() < found.size() && coin_flip()) {
    found.resize(now.size());
  }
  return found;
}

bool tracked(const char* path) {
  return power.on && path != nullptr && fs::path(path).parent_path() == appliance::kLogFolder;
}

// A point at which the order of writes matters.
void barrier() {
  if (power.on && ++power.barriers == power.cut_at) {
    Power::cut();
  }
}

// ---- files ----

struct ShimFile {
  sqlite3_file base;
  const char* path;  // null for a temporary file; SQLite owns the text while the file is open
  bool syncs_folder;
  sqlite3_file* real() { return reinterpret_cast<sqlite3_file*>(this + 1); }
};

ShimFile* shim(sqlite3_file* file) {
  return reinterpret_cast<ShimFile*>(file);
}

// Runs an operation, or fails it.
template <typename Operation>
int run_or_fail(DiskOperation kind, Operation operation) {
  return countdown(kind).strikes() ? faults.armed.code : operation();
}

int close_file(sqlite3_file* file) {
  --faults.open_files;
  return shim(file)->real()->pMethods->xClose(shim(file)->real());
}

int read_some(sqlite3_file* file, void* into, int count, sqlite3_int64 from) {
  return run_or_fail(DiskOperation::kRead, [&] {
    sqlite3_file* const real = shim(file)->real();
    return real->pMethods->xRead(real, into, count, from);
  });
}

// A failing write writes half.
int write_some(sqlite3_file* file, const void* from, int count, sqlite3_int64 to) {
  sqlite3_file* const real = shim(file)->real();
  const bool struck = countdown(DiskOperation::kWrite).strikes();
  const int written = struck ? count / 2 : count;
  const int result = written > 0 ? real->pMethods->xWrite(real, from, written, to) : SQLITE_OK;
  if (tracked(shim(file)->path)) {
    const auto begin = static_cast<std::size_t>(to);
    power.files[shim(file)->path].written.push_back({begin, begin + static_cast<std::size_t>(written)});
  }
  return struck ? faults.armed.code : result;
}

int truncate(sqlite3_file* file, sqlite3_int64 size) {
  return run_or_fail(DiskOperation::kTruncate, [&] {
    if (tracked(shim(file)->path)) {
      barrier();
    }
    sqlite3_file* const real = shim(file)->real();
    return real->pMethods->xTruncate(real, size);
  });
}

int sync(sqlite3_file* file, int flags) {
  return run_or_fail(DiskOperation::kSync, [&] {
    const bool account = tracked(shim(file)->path);
    if (account) {
      barrier();
    }
    sqlite3_file* const real = shim(file)->real();
    const int result = real->pMethods->xSync(real, flags);
    if (account) {
      TrackedFile& synced = power.files[shim(file)->path];
      synced.safe = read_file(shim(file)->path);
      synced.written.clear();
      if (std::exchange(shim(file)->syncs_folder, false)) {
        power.deleted.clear();
        for (auto& [path, each] : power.files) {
          each.creation_unsynced = false;
        }
      }
    }
    return result;
  });
}

int file_size(sqlite3_file* file, sqlite3_int64* size) {
  return run_or_fail(DiskOperation::kSize, [&] {
    sqlite3_file* const real = shim(file)->real();
    return real->pMethods->xFileSize(real, size);
  });
}

int lock(sqlite3_file* file, int level) {
  if (level == SQLITE_LOCK_SHARED && faults.lock_action && faults.fresh_locks.strikes()) {
    std::exchange(faults.lock_action, {})();
  }
  return run_or_fail(DiskOperation::kLock, [&] {
    sqlite3_file* const real = shim(file)->real();
    return real->pMethods->xLock(real, level);
  });
}

// Always unlocks; only the result may be a failure.
int unlock(sqlite3_file* file, int level) {
  sqlite3_file* const real = shim(file)->real();
  const int result = real->pMethods->xUnlock(real, level);
  return countdown(DiskOperation::kUnlock).strikes() ? faults.armed.code : result;
}

int check_reserved_lock(sqlite3_file* file, int* held) {
  return run_or_fail(DiskOperation::kLock, [&] {
    sqlite3_file* const real = shim(file)->real();
    return real->pMethods->xCheckReservedLock(real, held);
  });
}

int file_control(sqlite3_file* file, int operation, void* argument) {
  sqlite3_file* const real = shim(file)->real();
  return real->pMethods->xFileControl(real, operation, argument);
}

int sector_size(sqlite3_file* file) {
  sqlite3_file* const real = shim(file)->real();
  return real->pMethods->xSectorSize(real);
}

int device_characteristics(sqlite3_file* file) {
  sqlite3_file* const real = shim(file)->real();
  return real->pMethods->xDeviceCharacteristics(real);
}

// The shared-memory operations of write-ahead logs.

int map_shared(sqlite3_file* file, int region, int size, int extend, void volatile** memory) {
  sqlite3_file* const real = shim(file)->real();
  return real->pMethods->xShmMap(real, region, size, extend, memory);
}

int lock_shared(sqlite3_file* file, int offset, int count, int flags) {
  sqlite3_file* const real = shim(file)->real();
  return real->pMethods->xShmLock(real, offset, count, flags);
}

void order_shared(sqlite3_file* file) {
  sqlite3_file* const real = shim(file)->real();
  real->pMethods->xShmBarrier(real);
}

int unmap_shared(sqlite3_file* file, int remove) {
  sqlite3_file* const real = shim(file)->real();
  return real->pMethods->xShmUnmap(real, remove);
}

constexpr sqlite3_io_methods kMethods = {
    .iVersion = 2,  // no mapped files, so that every operation passes through here
    .xClose = &close_file,
    .xRead = &read_some,
    .xWrite = &write_some,
    .xTruncate = &truncate,
    .xSync = &sync,
    .xFileSize = &file_size,
    .xLock = &lock,
    .xUnlock = &unlock,
    .xCheckReservedLock = &check_reserved_lock,
    .xFileControl = &file_control,
    .xSectorSize = &sector_size,
    .xDeviceCharacteristics = &device_characteristics,
    .xShmMap = &map_shared,
    .xShmLock = &lock_shared,
    .xShmBarrier = &order_shared,
    .xShmUnmap = &unmap_shared,
    .xFetch = nullptr,
    .xUnfetch = nullptr,
};

int open_file(sqlite3_vfs* /*vfs*/, const char* path, sqlite3_file* file, int flags, int* out_flags) {
  file->pMethods = nullptr;
  return run_or_fail(DiskOperation::kOpen, [&] {
    const bool is_new = tracked(path) && !fs::exists(path);
    ShimFile* const opened = shim(file);
    const int result = machine->xOpen(machine, path, opened->real(), flags, out_flags);
    if (result != SQLITE_OK) {
      return result;
    }
    ++faults.open_files;
    opened->base.pMethods = &kMethods;
    opened->path = path;
    opened->syncs_folder = (flags & SQLITE_OPEN_MAIN_JOURNAL) != 0 && (flags & SQLITE_OPEN_CREATE) != 0;
    if (is_new) {
      power.files[path] = {.safe = "", .written = {}, .creation_unsynced = power.folder == Folder::kWhenSynced};
    }
    return result;
  });
}

int delete_file(sqlite3_vfs* /*vfs*/, const char* path, int sync_folder) {
  return run_or_fail(DiskOperation::kDelete, [&] {
    const bool account = tracked(path) && fs::exists(path);
    if (account) {
      barrier();
    }
    const int result = machine->xDelete(machine, path, sync_folder);
    if (account && result == SQLITE_OK) {
      const TrackedFile deleted = std::move(power.files[path]);
      power.files.erase(path);
      if (power.folder == Folder::kWhenSynced && sync_folder == 0 && !deleted.creation_unsynced) {
        power.deleted[path] = deleted.safe;
      }
      if (power.report != nullptr) {
        ++power.report->commits;
      }
      const std::string journal(path);
      power.commits.push_back(read_file(journal.substr(0, journal.size() - std::strlen("-journal"))));
    }
    return result;
  });
}

int access_file(sqlite3_vfs* /*vfs*/, const char* path, int flags, int* out) {
  return run_or_fail(DiskOperation::kAccess, [&] { return machine->xAccess(machine, path, flags, out); });
}

int full_path(sqlite3_vfs* /*vfs*/, const char* path, int size, char* out) {
  return machine->xFullPathname(machine, path, size, out);
}

int sleep_for(sqlite3_vfs* /*vfs*/, int microseconds) {
  faults.waited_microseconds += microseconds;
  if (faults.action && faults.waited_microseconds >= faults.act_after_microseconds) {
    std::exchange(faults.action, {})();
  }
  return microseconds;
}

int current_time(sqlite3_vfs* /*vfs*/, sqlite3_int64* out) {
  *out = kMillisecondsOfJulianDay;
  return SQLITE_OK;
}

}  // namespace

const std::vector<DiskFault>& disk_faults() {
  static const std::vector<DiskFault> all = {
      {"open", DiskOperation::kOpen, SQLITE_CANTOPEN},
      {"read", DiskOperation::kRead, SQLITE_IOERR_READ},
      {"write", DiskOperation::kWrite, SQLITE_IOERR_WRITE},
      {"write to a full disk", DiskOperation::kWrite, SQLITE_FULL},
      {"sync", DiskOperation::kSync, SQLITE_IOERR_FSYNC},
      {"truncation", DiskOperation::kTruncate, SQLITE_IOERR_TRUNCATE},
      {"deletion", DiskOperation::kDelete, SQLITE_IOERR_DELETE},
      {"look for a file", DiskOperation::kAccess, SQLITE_IOERR_ACCESS},
      {"look at a size", DiskOperation::kSize, SQLITE_IOERR_FSTAT},
      {"lock", DiskOperation::kLock, SQLITE_IOERR_LOCK},
      {"lock that others hold", DiskOperation::kLock, SQLITE_BUSY},
      {"unlocking", DiskOperation::kUnlock, SQLITE_IOERR_UNLOCK, true},
  };
  return all;
}

namespace {

sqlite3_vfs shim_vfs;

}  // namespace

void Disk::install() {
  machine = sqlite3_vfs_find(nullptr);
  if (machine == nullptr || machine->iVersion < 2) {
    throw std::runtime_error("SQLite has no VFS to stand in front of");
  }
  shim_vfs = *machine;
  shim_vfs.zName = "shim";
  shim_vfs.pNext = nullptr;
  shim_vfs.szOsFile = static_cast<int>(sizeof(ShimFile)) + machine->szOsFile;
  shim_vfs.xOpen = &open_file;
  shim_vfs.xDelete = &delete_file;
  shim_vfs.xAccess = &access_file;
  shim_vfs.xFullPathname = &full_path;
  shim_vfs.xSleep = &sleep_for;
  shim_vfs.xCurrentTimeInt64 = &current_time;
  if (sqlite3_vfs_register(&shim_vfs, 1) != SQLITE_OK) {
    throw std::runtime_error("SQLite does not take another VFS");
  }
}

void Disk::stand_in(bool in) {
  if (machine != nullptr) {
    sqlite3_vfs_register(in ? &shim_vfs : machine, 1);
  }
}

void Disk::fail(const DiskFault& fault, int nth, FaultDuration lasting) {
  count();
  faults.armed = fault;
  countdown(fault.operation).arm(nth, lasting);
}

void Disk::count() {
  for (Countdown& each : faults.countdowns) {
    each.count_only();
  }
  faults.waited_microseconds = 0;
  faults.action = {};
  faults.lock_action = {};
}

int Disk::seen(DiskOperation operation) {
  return countdown(operation).seen();
}

int Disk::struck() {
  return countdown(faults.armed.operation).struck();
}

int Disk::open_files() {
  return faults.open_files;
}

void Disk::meanwhile(long milliseconds, std::function<void()> action) {
  faults.act_after_microseconds = milliseconds * 1000;
  faults.action = std::move(action);
}

void Disk::before_lock(int nth, std::function<void()> action) {
  faults.fresh_locks.arm(nth, FaultDuration::kOnce);
  faults.lock_action = std::move(action);
}

long Disk::waited() {
  return faults.waited_microseconds / 1000;
}

void Power::on(Folder folder, unsigned seed) {
  power = {};
  power.on = true;
  power.folder = folder;
  power.dice = Dice(seed);
  for (const fs::directory_entry& entry : fs::directory_iterator(appliance::kLogFolder)) {
    power.files[entry.path()].safe = read_file(entry.path());
  }
}

void Power::off() {
  power = {};
}

void Power::cut_at(int barrier, CutReport* report) {
  power.barriers = 0;
  power.cut_at = barrier;
  power.report = report;
  *report = {};
}

int Power::barriers() {
  return power.barriers;
}

void Power::cut() {
  power.on = false;
  power.report->delete_unsynced = !power.deleted.empty();
  for (const auto& [path, file] : power.files) {
    if (file.creation_unsynced && coin_flip()) {
      fs::remove(path);
    } else if (fs::exists(path)) {
      write_file(path, content_after_cut(file, read_file(path)));
    }
  }
  for (const auto& [path, content] : power.deleted) {
    if (!fs::exists(path) && coin_flip()) {
      write_file(path, content);
    }
  }
  _exit(kCutStatus);
}

std::vector<std::string> Power::commits() {
  return std::exchange(power.commits, {});
}

std::string read_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream content;
  content << file.rdbuf();
  return content.str();
}

void write_file(const std::string& path, const std::string& content) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << content;
}

}  // namespace annal::test
