// Looks for the reason of a failed call: the file, its folder, its lock, its table, the disk.
#include "tools/annalctl/log/diagnosis.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string_view>
#include <vector>

#include "Corix_annal.h"
#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/folder.h"
#include "tools/annalctl/files/file_lock.h"
#include "tools/annalctl/files/log_system.h"
#include "tools/annalctl/files/private_view.h"
#include "tools/annalctl/files/rights.h"
#include "tools/annalctl/files/sqlite_format.h"

namespace annalctl {

namespace {

using Finding = std::optional<std::string>;

constexpr std::chrono::seconds kLibraryWait{20};

// With less, a write can fail for lack of room: the journal needs some, too.
constexpr unsigned kTightKibibytes = 1024;

bool permitted(const std::string& path, int mode) {
  return faccessat(AT_FDCWD, path.c_str(), mode, AT_EACCESS) == 0;
}

std::string refused(int error) {
  if (error == EACCES) {
    if (const Finding user = rights_taken_from()) {
      return fmt::format(
          "permission denied to {}, who may write the log or a folder above it, and whose rights were "
          "assumed for that",
          *user);
    }
    return "permission denied (run this as root)";
  }
  return system_message(error);
}

Finding folder_obstacle(const std::string& folder, Purpose purpose) {
  struct stat status {};
  if (stat(folder.c_str(), &status) != 0) {
    if (errno == ENOENT) {
      return fmt::format("no such folder {} (create it, or run this on the appliance)", folder);
    }
    return fmt::format("folder {}: {}", folder, refused(errno));
  }
  if (!S_ISDIR(status.st_mode)) {
    return fmt::format("{} is not a folder", folder);
  }
  // A write needs the folder, too, for the journal.
  const int mode = purpose == Purpose::kReading ? X_OK : W_OK | X_OK;
  if (!permitted(folder, mode)) {
    return fmt::format("folder {}: {}", folder, refused(errno));
  }
  return {};
}

Finding header_obstacle(const Log& log) {
  if (begins_as_database(log.path)) {
    return {};
  }
  return fmt::format(
      "it is not a database (if it was one, 'annalctl {0}{1} salvage' gets out of it what can be read; if not, move it "
      "away, then run 'annalctl {0}{1} create')",
      log.name, log.options);
}

Finding lock_obstacle(const Call& call) {
  const auto waited = std::chrono::steady_clock::now() - call.begun;
  const std::string_view after = waited >= kLibraryWait ? ", still after 20 s" : "";
  if (const Finding holder = lock_holder(call.log.path, call.purpose != Purpose::kReading)) {
    return fmt::format("{} is locked by {}{} (try again later)", call.log.path, *holder, after);
  }
  if (waited >= kLibraryWait) {
    return fmt::format("{} did not become free within 20 s, and is free now (try again)", call.log.path);
  }
  return {};
}

// SQLite rolls it back before it reads anything.
Finding journal_obstacle(const Call& call) {
  std::error_code missing;
  const std::filesystem::path path = std::filesystem::canonical(call.log.path, missing);
  const std::string journal = path.string() + "-journal";
  char first = 0;
  const RegularFile file(journal, RegularFile::Links::kRefused);
  const bool begun =
      file.is_open() ? pread(file.descriptor(), &first, 1, 0) == 1 && first != 0 : file.error() != ENOENT;
  if (!begun || (permitted(path, R_OK | W_OK) && permitted(path.parent_path(), W_OK | X_OK))) {
    return {};
  }
  const std::string who = rights_taken_from() ? ", which " + *rights_taken_from() + " must not" : "";
  return fmt::format(
      "its last change was interrupted, and what undoes it is in {}: reading the log needs that done first, by a user "
      "who may write the log and its folder{} (run 'annalctl {}{} count' as such a user, root for example)",
      journal, who, call.log.name, call.log.options);
}

Finding space_obstacle(const Call& call) {
  struct statvfs status {};
  if (call.purpose == Purpose::kReading || statvfs(call.log.path, &status) != 0) {
    return {};
  }
  const auto blocks = geteuid() == 0 ? status.f_bfree : status.f_bavail;
  const auto kibibytes = blocks * status.f_frsize / 1024;
  if (kibibytes < kTightKibibytes) {
    return fmt::format("only {} KiB are free on the file system of {} (make room on it)", kibibytes, call.log.path);
  }
  return {};
}

// Has the library compare the columns, without statements to change them. An empty list matches only a missing table.
bool layout_is(const Log& log, std::span<const Column> expected) {
  std::vector<AnnalColumn> list;
  for (const Column& column : expected) {
    list.push_back({column.name, nullptr});
  }
  return annal_common_migrate_db(log.path, log.table, list.data(), list.size()) == ANNAL_OK;
}

// A migration adds columns after the existing ones.
bool layout_is_of_an_earlier_release(const Log& log) {
  for (std::size_t kept = 1; kept < log.columns.size(); ++kept) {
    if (layout_is(log, log.columns.first(kept))) {
      return true;
    }
  }
  return false;
}

Finding table_obstacle(const Call& call, int code) {
  const Log& log = call.log;
  const AnnalColumn none{};
  if (annal_common_migrate_db(log.path, log.table, &none, 0) == ANNAL_OK) {
    if (call.purpose == Purpose::kCreating) {
      return {};
    }
    return fmt::format("the log has no table yet: run 'annalctl {}{} create'", log.name, log.options);
  }
  const int entries = log.count();
  if (entries < 0) {
    return fmt::format("{0} is a database, but its table cannot be read (run 'annalctl {1}{2} check', which says why)",
                       log.path, log.name, log.options);
  }
  if (call.purpose == Purpose::kCreating && code == ANNAL_TABLE_FAILED) {
    return fmt::format("the log exists already and holds {} entries; nothing was changed", entries);
  }
  if (layout_is_current(log)) {
    return {};
  }
  if (call.purpose == Purpose::kMigrating) {
    if (layout_is_of_an_earlier_release(log)) {
      return {};
    }
    return "the table's columns are not those of an earlier release; nothing was changed";
  }
  return fmt::format(
      "the table lacks columns or has others than this release's: run 'annalctl {}{} check', which says "
      "what helps",
      log.name, log.options);
}

struct Reason {
  int code;          // SQLite's, in its extended form or as the primary one
  const char* text;  // {0} is the file, {1} the command without its verb
};

constexpr std::array kReasons{
    Reason{SQLITE_READONLY_ROLLBACK,
           "the last change of {0} was interrupted, and what undoes it is in {0}-journal: that needs write access (use "
           "--write, or "
           "look at a copy of both files)"},
    Reason{SQLITE_CORRUPT, "{0} is damaged (run '{1} check', which says what helps)"},
    Reason{SQLITE_NOTADB, "{0} is damaged (run '{1} check', which says what helps)"},
    Reason{SQLITE_FULL, "the disk is full (make room on the file system of {0})"},
    Reason{SQLITE_IOERR, "the disk could not be read or written (see the kernel's messages, and run '{1} check')"},
    Reason{SQLITE_READONLY, "{0} or its file system is read-only (run '{1} check', which says what helps)"},
    Reason{SQLITE_CONSTRAINT,
           "a trigger, an index or a column of {0} refuses it (run '{1} check', which says what helps)"},
};

}  // namespace

std::optional<std::string> reason_of(const Log& log, int sqlite_code) {
  constexpr int kPrimary = 0xFF;
  if ((sqlite_code & kPrimary) == SQLITE_CANTOPEN && logs_are_read_only()) {
    return fmt::format(
        "{} is in write-ahead mode, and cannot be read without a file beside it (use --write, or look at "
        "a copy)",
        log.path);
  }
  if (sqlite_code == SQLITE_READONLY_ROLLBACK && !logs_are_read_only()) {
    return {};  // A user who may roll it back gets another message.
  }
  for (const Reason& reason : kReasons) {
    if (reason.code == sqlite_code || reason.code == (sqlite_code & kPrimary)) {
      return fmt::format(fmt::runtime(reason.text), log.path, fmt::format("annalctl {}{}", log.name, log.options));
    }
  }
  return {};
}

bool begins_as_database(const char* path) {
  std::array<char, kFileMagic.size()> head{};
  const RegularFile file(path, RegularFile::Links::kFollowed);
  if (!file.is_open()) {
    return false;
  }
  const ssize_t got = pread(file.descriptor(), head.data(), head.size(), 0);
  return got == 0 || std::string_view(head.data(), head.size()) == kFileMagic;
}

std::optional<std::string> file_obstacle(const Log& log, Purpose purpose) {
  if (Finding folder = folder_obstacle(folder_of(log.path), purpose)) {
    return folder;
  }
  struct stat status {};
  if (stat(log.path, &status) != 0) {
    if (errno != ENOENT) {
      return refused(errno);
    }
    if (purpose == Purpose::kCreating) {
      return {};
    }
    return fmt::format("there is no log yet: run 'annalctl {}{} create'", log.name, log.options);
  }
  if (S_ISDIR(status.st_mode)) {
    return "it is a directory (move it away)";
  }
  if (!permitted(log.path, purpose == Purpose::kReading ? R_OK : R_OK | W_OK)) {
    return refused(errno);
  }
  // SQLite would wait for a writer of the pipe.
  for (const char* suffix : {"-journal", "-wal", "-shm"}) {
    const std::string beside = std::string(log.path) + suffix;
    if (lstat(beside.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
      return fmt::format("{} is in the way of a file of SQLite's own (move it away)", beside);
    }
  }
  return header_obstacle(log);
}

std::optional<std::string> statement_obstacle(const Call& call, int code) {
  // These codes are about the call's values, not about the log.
  if (code == ANNAL_TOO_LONG || code == ANNAL_BAD_ARGUMENT || code == ANNAL_NO_MEMORY) {
    return {};
  }
  // The lock comes first: looking at the table of a locked file would wait as long as the call did.
  if (Finding lock = lock_obstacle(call)) {
    return lock;
  }
  if (Finding journal = journal_obstacle(call)) {
    return journal;
  }
  if (Finding table = table_obstacle(call, code)) {
    return table;
  }
  return space_obstacle(call);
}

bool layout_is_current(const Log& log) {
  return layout_is(log, log.columns);
}

}  // namespace annalctl
