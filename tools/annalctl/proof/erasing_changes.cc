// Turns on secure_delete, and overwrites the rollback journal while it is locked, or truncates the write-ahead log.
#include "tools/annalctl/proof/erasing_changes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "Corix_annal.h"

namespace annalctl::proof {

namespace {

std::string text_of(Reader& reader, const char* pragma) {
  SqliteStatement statement = reader.prepare(pragma);
  return reader.next(statement) ? statement.text(0) : std::string();
}

// Overwrites the content of a file in place: what is only cut off or deleted stays on the disk.
bool overwrite(const std::string& path) {
  const int file = open(path.c_str(), O_WRONLY | O_NOFOLLOW | O_CLOEXEC);
  if (file < 0) {
    return errno == ENOENT;
  }
  struct stat status {};
  bool good = fstat(file, &status) == 0;
  constexpr std::size_t kBlock = std::size_t{1} << 16U;
  const std::vector<char> nothing(kBlock);
  for (off_t at = 0; good && at < status.st_size;) {
    const auto size = std::min<off_t>(status.st_size - at, static_cast<off_t>(kBlock));
    const ssize_t written = pwrite(file, nothing.data(), static_cast<std::size_t>(size), at);
    good = written > 0;
    at += written;
  }
  good = good && fdatasync(file) == 0;
  close(file);
  return good;
}

}  // namespace

ErasingChanges::ErasingChanges(Reader& reader, const Log& log)
    : reader_(reader),
      journal_(std::string(log.path) + "-journal"),
      usual_(text_of(reader, "PRAGMA main.secure_delete") == "1"),
      write_ahead_(text_of(reader, "PRAGMA main.journal_mode") == "wal") {
  reader.run("PRAGMA main.secure_delete = ON");
}

// While the lock stays with this connection nobody else uses the journal, and SQLite leaves it where it is.
void ErasingChanges::keep_journal() {
  if (!write_ahead_) {
    reader_.run("PRAGMA main.locking_mode = EXCLUSIVE; PRAGMA main.journal_mode = PERSIST");
  }
}

void ErasingChanges::overwrite_journal() const {
  if (!write_ahead_ && !overwrite(journal_)) {
    throw ReadFailure(ANNAL_CHANGE_FAILED, ReadFailure::Clock::now(),
                      "the journal " + journal_ + " cannot be overwritten, and has what was redacted");
  }
}

void ErasingChanges::release() {
  if (!write_ahead_) {
    reader_.run(
        "PRAGMA main.locking_mode = NORMAL; SELECT count(*) FROM main.sqlite_master; PRAGMA main.journal_mode = "
        "DELETE");
  }
}

ErasingChanges::Change::Change(ErasingChanges& changes) : changes_(changes) {
  changes.keep_journal();
  try {
    changes.reader_.begin_change();
  } catch (...) {
    changes.release();
    throw;
  }
}

void ErasingChanges::Change::finish() {
  changes_.reader_.run("COMMIT");
  finished_ = true;
  changes_.overwrite_journal();
}

ErasingChanges::Change::~Change() {
  try {
    if (!finished_) {
      changes_.reader_.run("ROLLBACK");
      changes_.overwrite_journal();
    }
    changes_.release();
  } catch (...) {  // SQLite has undone it already, and the next who opens the log looks after its journal.
  }
}

void ErasingChanges::write_again() {
  keep_journal();
  try {
    reader_.run("VACUUM");
    overwrite_journal();
  } catch (...) {
    release();
    throw;
  }
  release();
}

bool ErasingChanges::is_journal_left() const {
  return access(journal_.c_str(), F_OK) == 0;
}

void ErasingChanges::finish() {
  if (!write_ahead_) {
    return;
  }
  SqliteStatement checkpoint = reader_.prepare("PRAGMA main.wal_checkpoint(TRUNCATE)");
  if (!reader_.next(checkpoint) || checkpoint.integer(0) != 0) {
    throw ReadFailure(
        ANNAL_CHANGE_FAILED, ReadFailure::Clock::now(),
        "a program that reads the log keeps what was redacted in its write-ahead log (redact again when it "
        "is done)");
  }
}

}  // namespace annalctl::proof
