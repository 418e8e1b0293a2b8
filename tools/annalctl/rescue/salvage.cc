// The salvage command: locks the log, rescues its rows into a new file and swaps the two.
#include "tools/annalctl/rescue/salvage.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>
#include <CLI/CLI.hpp>

#include <array>
#include <cerrno>
#include <filesystem>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "tools/annalctl/base/confirm.h"
#include "tools/annalctl/base/folder.h"
#include "tools/annalctl/base/printable.h"
#include "tools/annalctl/base/sqlite.h"
#include "tools/annalctl/base/terminal.h"
#include "tools/annalctl/output/progress.h"
#include "tools/annalctl/output/ticker.h"
#include "tools/annalctl/rescue/disk_space.h"
#include "tools/annalctl/rescue/inspection.h"
#include "tools/annalctl/rescue/pinned_file.h"
#include "tools/annalctl/rescue/rescue.h"
#include "tools/annalctl/rescue/set_aside.h"

namespace annalctl {

namespace {

struct SalvageOptions {
  bool yes = false;
  bool force = false;
};

constexpr char kBegun[] = "salvage";
constexpr char kUnfinished[] = "unfinished";

// The new file until it is in place. A run that fails deletes it; one that is killed leaves it.
class NewFile {
 public:
  NewFile(const LogFolder& folder, const std::string& log)
      : folder_(folder),
        name_(folder.free_name(log, kBegun)),
        path_(folder.path_of(name_)),
        file_(folder.create_like(log, name_)),
        pinned_(path_, file_) {}
  ~NewFile() {
    close(file_);
    if (!in_place_) {
      folder_.remove(name_);
    }
  }
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  [[nodiscard]] const std::string& name() const { return name_; }
  [[nodiscard]] const std::string& path() const { return path_; }
  [[nodiscard]] FileId id() const {
    struct stat status {};
    return fstat(file_, &status) == 0 ? FileId{status.st_dev, status.st_ino} : FileId{};
  }
  void sync() const {
    if (fsync(file_) != 0) {
      throw FileFailure(fmt::format("cannot write {} to the disk: {}", path_, system_message(errno)));
    }
  }
  void is_in_place() { in_place_ = true; }

 private:
  const LogFolder& folder_;
  std::string name_;
  std::string path_;
  int file_;
  PinnedFile pinned_;
  bool in_place_ = false;
};

class Salvage {
 public:
  Salvage(const Log& log, const SalvageOptions& options, Session& session)
      : log_(log), options_(options), session_(session) {}

  int run() {
    try {
      return attempts();
    } catch (const FileFailure& failure) {
      complain(failure.what());
    } catch (const RescueFailure& failure) {
      complain(fmt::format("cannot salvage {}: {}", log_.path, failure.what()));
    }
    complain("the log was left as it is");
    return kFailure;
  }

 private:
  // Findings about a file say nothing about another one that has its name since.
  int attempts() {
    constexpr int kMost = 3;
    for (int attempts = 1;; ++attempts) {
      try {
        return attempt();
      } catch (const LogReplaced&) {
        if (attempts == kMost) {
          throw;
        }
      }
    }
  }

  int attempt() {
    looked_at_ = is_file() ? id_of(real_path()) : FileId{};
    Inspection inspection = inspect(log_);
    const bool can_be_read = is_file() && !inspection.has(State::kUnknown);
    const bool unfinished = can_be_read && (!inspection.sound() || options_.force) && change_is_pending(real_path());
    if (!unfinished && !is_wanted(inspection)) {
      return inspection.sound() ? kSuccess : kFailure;
    }
    if (!options_.yes && !confirmed(printable(fmt::format("Recreate {} from what can be read of it?", log_.path)))) {
      complain("nothing was changed");
      return kFailure;
    }
    path_ = real_path();
    name_ = std::filesystem::path(path_).filename().string();
    const LogFolder folder(folder_of(path_));
    if (unfinished) {
      finish_change(folder);
      inspection = inspect(log_);
      if (!is_wanted(inspection)) {
        return inspection.sound() ? kSuccess : kFailure;
      }
    }
    return recreate(folder);
  }

  // Whether to continue; says why not.
  [[nodiscard]] bool is_wanted(const Inspection& inspection) const {
    if (inspection.has(State::kDamaged)) {
      return true;
    }
    for (const Finding& finding : inspection.findings) {
      const bool forced = options_.force && finding.state == State::kFault && is_file();
      if (finding.state != State::kRemark && !forced) {
        complain(fmt::format("{}: {}", log_.path, finding.text));
      }
      if (finding.state == State::kUnknown || finding.state == State::kUnfinished) {
        return false;
      }
    }
    if (options_.force && is_file()) {
      return true;
    }
    if (!is_file()) {
      return false;  // the findings say everything
    }
    complain(
        fmt::format("{} is {}: nothing {}was changed", log_.path,
                    inspection.sound() ? fmt::format("sound ({} {})", inspection.entries, log_.entries) : "not damaged",
                    finished_ ? "else " : ""));
    return false;
  }

  [[nodiscard]] bool is_file() const {
    struct stat status {};
    return stat(log_.path, &status) == 0 && S_ISREG(status.st_mode);
  }

  // Without links: the files beside it are in its own folder.
  [[nodiscard]] std::string real_path() const { return std::filesystem::canonical(log_.path).string(); }

  // The files beside the log roll back or complete its last change. SQLite does that on opening, in the file itself and
  // safe from crashes; before, both are copied as they are. A new file must not take the log's name while they exist,
  // because SQLite would apply them to it.
  void finish_change(const LogFolder& folder) {
    const std::string copy = folder.free_name(name_, kUnfinished);
    {
      const LogLock lock(folder, name_, looked_at_);
      if (!change_is_pending(path_)) {
        return;  // A writer was active.
      }
      require_room(folder_of(path_), space_of(path_) + space_of(path_ + "-journal") + space_of(path_ + "-wal"));
      folder.copy(name_, copy, {"", "-journal", "-wal"});
      folder.sync();
    }
    complain(fmt::format("its last change was interrupted: it is kept as it was in {}", folder.path_of(copy)));
    const SqliteDatabase database(path_, SQLITE_OPEN_READWRITE);
    sqlite3_busy_timeout(database.handle(), kLockWaitMilliseconds);
    static_cast<void>(database.run("PRAGMA journal_mode = DELETE; SELECT COUNT(*) FROM sqlite_master"));
    finished_ = true;
  }

  int recreate(const LogFolder& folder) {
    const Done done = recreate_locked(folder);
    // Only now: a paused terminal must not prolong the lock.
    if (!done.locked) {
      complain("its file system has no locks: other programs must not have written to the log meanwhile");
    }
    tell(done.rescued, folder.path_of(done.aside));
    for (const std::string& leftover : folder.leftovers_of(name_, kBegun)) {
      complain(fmt::format("{} was left by an interrupted run, and may be deleted", folder.path_of(leftover)));
    }
    return kSuccess;
  }

  struct Done {
    Rescued rescued;
    std::string aside;
    bool locked;
  };

  Done recreate_locked(const LogFolder& folder) {
    const LogLock lock(folder, name_, looked_at_);
    if (change_is_pending(path_)) {
      throw FileFailure(
          fmt::format("what undoes or completes its last change cannot be applied: it is still beside {}", path_));
    }
    if (!options_.force) {
      require_room(folder_of(path_), space_of(path_));
    }
    NewFile file(folder, name_);
    Rescued rescued = rescue_and_show(file.path());
    if (rescued.rows == 0 && !rescued.whole && !options_.force) {
      throw RescueFailure("nothing in it looks like one of its rows (use --force to replace it by an empty one)");
    }
    if (!rescued.tables_left.empty() && !options_.force) {
      throw RescueFailure(
          fmt::format("it has other tables too, which would only be in the file that is set aside: {} "
                      "(use --force to proceed)",
                      fmt::join(rescued.tables_left, ", ")));
    }
    file.sync();
    std::string aside = folder.replace(name_, looked_at_, file.name(), file.id());
    file.is_in_place();
    return {std::move(rescued), std::move(aside), lock.held()};
  }

  [[nodiscard]] Rescued rescue_and_show(const std::string& new_file) const {
    const auto advance = std::make_shared<Advance>();
    const Terminal terminal = terminal_of(STDERR_FILENO);
    std::optional<Ticker> ticker;
    if (terminal.present) {
      ticker.emplace(STDERR_FILENO, [advance, width = terminal.width, name = path_, entries = log_.entries] {
        return progress_text(name, advance->percent, static_cast<std::uint64_t>(advance->rows), entries, width);
      });
    }
    return rescue(log_, path_, new_file, *advance);
  }

  static std::string told_lost(const std::optional<std::int64_t>& lost) {
    if (!lost) {
      return "whether more are lost is unknown";
    }
    return *lost == 0 ? "none is known to be lost" : fmt::format("known to be lost: {}", *lost);
  }

  static std::string told_uncompared(const Rescued& rescued) {
    return rescued.uncompared == 0
               ? ""
               : fmt::format(", of which {} could not be compared with an index", rescued.uncompared);
  }

  // "3, 7-9, 12". For people, with a limited number of parts.
  static std::string told_ids(const Ids& ids, int most_parts = 10) {
    std::string text;
    int parts = 0;
    for (auto id = ids.begin(); id != ids.end();) {
      const std::int64_t first = *id;
      std::int64_t last = first;
      while (++id != ids.end() && *id == last + 1) {
        ++last;
      }
      if (++parts > most_parts) {
        return text + ", …";
      }
      text += fmt::format("{}{}", text.empty() ? "" : ", ", first);
      text += last == first ? "" : fmt::format("{}{}", last == first + 1 ? ", " : "-", last);
    }
    return text;
  }

  void tell(const Rescued& rescued, const std::string& aside) {
    const std::string rows = fmt::to_string(rescued.rows);
    const std::string lost = rescued.lost ? fmt::to_string(*rescued.lost) : std::string();
    const std::string limit = fmt::to_string(rescued.limit);
    const std::string batch = fmt::to_string(rescued.batch);
    const std::string doubtful = fmt::to_string(rescued.doubtful.size());
    const std::string mended = fmt::to_string(rescued.mended.size());
    const std::string uncompared = fmt::to_string(rescued.uncompared);
    if (session_.format() == Format::kTable) {
      session_.output.write(
          fmt::format("saved {} {} in {}{}; {}\n"
                      "what it was before is {}\n",
                      rows, log_.entries, printable(log_.path), told_uncompared(rescued), told_lost(rescued.lost),
                      printable(aside)));
    } else {
      const RowShape shape{{{"saved", true},
                            {"lost", true},
                            {"file", false},
                            {"aside", false},
                            {"limit", true},
                            {"batch", true},
                            {"doubtful", true},
                            {"mended", true},
                            {"uncompared", true},
                            {"lost_ids", false},
                            {"doubtful_ids", false},
                            {"mended_ids", false}},
                           {}};
      const auto sink = make_sink(session_.format(), shape, session_.terminal, session_.output);
      constexpr int kAll = std::numeric_limits<int>::max();
      const std::string lost_ids = told_ids(rescued.lost_ids, kAll);
      const std::string doubtful_ids = told_ids(rescued.doubtful, kAll);
      const std::string mended_ids = told_ids(rescued.mended, kAll);
      sink->row(std::array{rows.c_str(), rescued.lost ? lost.c_str() : nullptr, log_.path, aside.c_str(), limit.c_str(),
                           batch.c_str(), doubtful.c_str(), mended.c_str(), uncompared.c_str(), lost_ids.c_str(),
                           doubtful_ids.c_str(), mended_ids.c_str()});
      sink->finish();
    }
    tell_rows(rescued);
    if (!rescued.limit_kept) {
      complain(fmt::format("its row limit could not be read: it is {} now, {} at once", limit, batch));
    }
    if (!rescued.columns_left.empty()) {
      complain(fmt::format("columns that this release does not know are only in the file set aside: {}",
                           fmt::join(rescued.columns_left, ", ")));
    }
  }

  void tell_rows(const Rescued& rescued) const {
    if (!rescued.lost_ids.empty()) {
      complain(fmt::format("lost, by their ids: {}", told_ids(rescued.lost_ids)));
    }
    if (!rescued.doubtful.empty()) {
      complain(
          fmt::format("{} of the saved {} have a value that is damaged, or another one in an index, by their ids: {}",
                      rescued.doubtful.size(), log_.entries, told_ids(rescued.doubtful)));
    }
    if (!rescued.mended.empty()) {
      complain(fmt::format("{} of the saved {} had a damaged value and have that of an index now, by their ids: {}",
                           rescued.mended.size(), log_.entries, told_ids(rescued.mended)));
    }
    if (!rescued.columns_uncompared.empty() && rescued.rows > 0) {
      complain(fmt::format("no intact index has the values of these columns, so damage to them may not show: {}",
                           fmt::join(rescued.columns_uncompared, ", ")));
    }
    if (!rescued.columns_lost.empty()) {
      complain(fmt::format("it lacks columns, whose values are lost: {}", fmt::join(rescued.columns_lost, ", ")));
    }
    if (rescued.refused > 0) {
      complain(fmt::format("the disk refused {} reads of it", rescued.refused));
    }
  }

  const Log& log_;
  const SalvageOptions& options_;
  Session& session_;
  bool finished_ = false;
  std::string path_;
  std::string name_;  // in its folder
  FileId looked_at_;
};

}  // namespace

void add_salvage_command(CLI::App& commands, Session& session, const Log& log) {
  CLI::App* const command = commands.add_subcommand("salvage", "Recreate a damaged log from what can be read of it");
  const auto options = std::make_shared<SalvageOptions>();
  command->footer(fmt::format(
      "Stop the programs that write to the log first. The log is locked meanwhile: a program that waits for the lock\n"
      "fails to store its entry. Does nothing if another program has it locked.\n"
      "\n"
      "Copies every row that can be read into a new file, with its id, sets the old file aside as "
      "FILE.aside-DATE-TIME\n"
      "and puts the new one in its place. Never deletes anything: if a run was interrupted, simply repeat it.\n"
      "The new file has this release's columns and indexes, and the old one's row limit if it can be read.\n"
      "The folder needs room for a second log. Asks first if standard input is a terminal, and proceeds if it is not.\n"
      "Leaves a sound log alone.\n"
      "\n"
      "Examples:\n"
      "  annalctl {0}{1} check\n"
      "  annalctl {0}{1} salvage\n"
      "  annalctl {0}{1} salvage --yes --json",
      log.name, log.options));
  command->add_flag("--yes,-y", options->yes, "Do not ask");
  command->add_flag("--force", options->force, "Recreate it even if it is sound, or nothing can be read");
  command->callback([options, &session, &log] { session.status = Salvage(log, *options, session).run(); });
}

}  // namespace annalctl
