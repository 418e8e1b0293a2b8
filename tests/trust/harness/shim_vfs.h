// A disk that fails on request and can lose power: SQLite's default VFS in the tests, on top of SQLite's own. The
// library under test is the shipped one.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tests/trust/harness/countdown.h"

namespace annal::test {

// SQLite's file operations.
enum class DiskOperation { kOpen, kRead, kWrite, kSync, kTruncate, kDelete, kAccess, kSize, kLock, kUnlock, kCount };

// One kind of disk failure.
struct DiskFault {
  const char* name;
  DiskOperation operation;
  int code;
  bool commit_may_stand = false;  // it can happen after a commit, which SQLite then reports as failed
};
extern const std::vector<DiskFault>& disk_faults();

class Disk {
 public:
  static void install();
  // Switches between this disk and the machine's own disk and clock.
  static void stand_in(bool in);

  // Makes the nth operation of a fault's kind fail from now on.
  static void fail(const DiskFault& fault, int nth, FaultDuration lasting);
  // Stops failing and counts operations from now on.
  static void count();
  static int seen(DiskOperation operation);
  static int struck();

  static int open_files();
  // The time in milliseconds that SQLite has asked to wait for locks since the last count or fail. It never really
  // waits.
  static long waited();
  // Runs an action once SQLite has asked to wait for the given time; the next count or fail cancels it.
  static void meanwhile(long milliseconds, std::function<void()> action);
  // Runs an action before SQLite, for the nth time from now, locks a file that it has not locked yet.
  static void before_lock(int nth, std::function<void()> action);
};

// When the names in a folder survive a power cut.
enum class Folder {
  kInOrder,     // at once, as on a file system that writes directories synchronously
  kWhenSynced,  // only after the folder has been synced, which SQLite does when it first syncs a journal
};

// What happened at a power cut, for the process that follows.
struct CutReport {
  int commits;           // journals deleted since the cut was armed
  bool delete_unsynced;  // the folder was not synced after the last of them
  int dropped;           // blocks with their old content
  int trashed;           // blocks with neither the old nor the new content
  bool acknowledged;     // set by the process after its call returned
};

class Power {
 public:
  // Treats the log folder's present content as synced and records every write from now on.
  static void on(Folder folder, unsigned seed);
  static void off();

  // Restarts the count of barriers (syncs, truncations and deletions) and cuts the power before the nth.
  static void cut_at(int barrier, CutReport* report);
  static int barriers();

  // Cuts the power now: each unsynced block of 512 bytes keeps its new content, reverts to the old one or becomes
  // garbage. Exits the process with kCutStatus.
  [[noreturn]] static void cut();
  static constexpr int kCutStatus = 77;

  // The content of a file after each commit since on() or since the last call.
  static std::vector<std::string> commits();
};

std::string read_file(const std::string& path);
void write_file(const std::string& path, const std::string& content);

}  // namespace annal::test
