// A disk that fails on request, and loses its power. It stands between SQLite and its own files, as the VFS that every
// sqlite3_open takes by default: the library under test is the shipped one.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tests/trust/harness/countdown.h"

namespace annal::test {

// What SQLite does with files.
enum class DiskOperation { kOpen, kRead, kWrite, kSync, kTruncate, kDelete, kAccess, kSize, kLock, kUnlock, kCount };

// One way in which the disk fails.
struct DiskFault {
  const char* name;
  DiskOperation operation;
  int code;
  bool commit_may_stand = false;  // it can come behind a commit, which SQLite then calls failed
};
extern const std::vector<DiskFault>& disk_faults();

class Disk {
 public:
  static void install();
  // For tests that need the machine's own disk and clock, after a test that did not.
  static void stand_in(bool in);

  // From now on the nth operation of a fault's kind fails.
  static void fail(const DiskFault& fault, int nth, Lasting lasting);
  // From now on nothing fails, and the operations are counted.
  static void count();
  static int seen(DiskOperation operation);
  static int struck();

  static int open_files();
  // How long SQLite has wanted to wait for locks since the last count or fail, in milliseconds. It never really waits.
  static long waited();
  // Has something done once SQLite has wanted to wait for so long, until the next count or fail.
  static void meanwhile(long milliseconds, std::function<void()> action);
  // The same before SQLite locks a file of which it holds no lock, for the nth time from now.
  static void before_lock(int nth, std::function<void()> action);
};

// When the names in a folder are safe from a power cut.
enum class Folder {
  kInOrder,     // what is created or deleted is so at once, as on a file system that writes it synchronously
  kWhenSynced,  // only when the folder has been synced, which SQLite does when it first syncs a journal
};

// What a power cut found, for the process that comes after it.
struct CutReport {
  int commits;           // journals deleted since the cut was arranged
  bool delete_unsynced;  // the folder was not synced since the last of them
  int dropped;           // blocks that kept their old content
  int trashed;           // blocks that hold neither their old content nor the new
  bool acknowledged;     // set by the process itself, when its call had answered
};

class Power {
 public:
  // Takes what lies in the log folder now for safe, and keeps account of what is written from now on.
  static void on(Folder folder, unsigned seed);
  static void off();

  // Counts barriers (syncs, truncations and deletions) from 0 again, and cuts the power before the nth.
  static void cut_at(int barrier, CutReport* report);
  static int barriers();

  // Cuts it now: of each block of 512 bytes that is not synced, the new content or the old is found afterwards, or
  // garbage. Ends the process with kCutStatus.
  [[noreturn]] static void cut();
  static constexpr int kCutStatus = 77;

  // The content of a file after each of its commits since on() or since it was last asked for.
  static std::vector<std::string> commits();
};

std::string read_file(const std::string& path);
void write_file(const std::string& path, const std::string& content);

}  // namespace annal::test
