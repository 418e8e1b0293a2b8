// Runs info and keep for all logs, each with the rights that its file needs, if need be in a child process.
#include "tools/annalctl/all_logs.h"

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <cstdio>
#include <filesystem>
#include <memory>

#include "tools/annalctl/conn/model.h"
#include "tools/annalctl/event/model.h"
#include "tools/annalctl/fileop/model.h"
#include "tools/annalctl/files/log_system.h"
#include "tools/annalctl/files/rights.h"
#include "tools/annalctl/log/result.h"
#include "tools/annalctl/maintenance/info.h"
#include "tools/annalctl/maintenance/keep.h"
#include "tools/annalctl/notice/model.h"

namespace annalctl {

namespace {

// Each log may need different rights. False, after reporting it, if the rights could not be assumed.
bool with_rights_where_it_is(const Log& log, const std::function<bool()>& work) {
  return logs_are_read_only() ? work() : with_rights_for(log, work);
}

// Another process returns its findings through a file without a name.
class Hand {
 public:
  Hand() : file_(std::tmpfile()) {}
  ~Hand() {
    if (file_ != nullptr) {
      static_cast<void>(std::fclose(file_));
    }
  }
  Hand(const Hand&) = delete;
  Hand& operator=(const Hand&) = delete;

  [[nodiscard]] bool put(const LogFacts& facts) const {
    const std::string text = json_of(facts).dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
    return file_ != nullptr && std::fwrite(text.data(), 1, text.size(), file_) == text.size() &&
           std::fflush(file_) == 0;
  }
  [[nodiscard]] LogFacts take() const {
    std::rewind(file_);
    return facts_from(nlohmann::ordered_json::parse(file_));
  }

 private:
  std::FILE* file_;
};

LogFacts facts_with_rights(const Log& log) {
  LogFacts facts;
  facts.log = log.name;
  facts.file = log.path;
  facts.failure = "it could not be inspected";
  try {
    const Hand hand;
    if (with_rights_where_it_is(log, [&log, &hand] { return hand.put(facts_of(log)); })) {
      return hand.take();
    }
  } catch (const RightsFailure& failure) {
    facts.failure = failure.what();
  }
  return facts;
}

void info_of_all(const std::vector<std::string>& files, const InfoOptions& options, Session& session) {
  std::vector<LogFacts> all;
  for_all_logs(files, session, Intent::kReading, [&all](const Log& log) { all.push_back(facts_with_rights(log)); });
  session.status = write_info(all, options, session);
}

// A log that does not exist holds nothing that is too old.
bool is_missing(const Log& log) {
  std::error_code unknown;
  return !std::filesystem::exists(log.path, unknown) && !unknown;
}

bool keep_one(const Log& log, const KeepOptions& options, Session& session) {
  session.output.finish();
  try {
    return with_rights_where_it_is(log, [&log, &options, &session] {
      const bool kept = check_log_exists(log) && run_keep(log, options, session) == kSuccess;
      session.output.finish();
      return kept;
    });
  } catch (const RightsFailure& failure) {
    complain(failure.what());
  }
  return false;
}

void keep_of_all(const std::vector<std::string>& files, const KeepOptions& options, Session& session) {
  const Intent intent = options.dry_run ? Intent::kReading : Intent::kDeleting;
  for_all_logs(files, session, intent, [&options, &session](const Log& log) {
    if (is_missing(log)) {
      return;
    }
    if (keep_one(log, options, session)) {
      session.view.titled = true;
    } else {
      session.status = kFailure;
    }
  });
}

void add_files(CLI::App& command, std::vector<std::string>& files) {
  command.add_option("--db", files, "A log of file operations too")->type_name("FILE")->allow_extra_args(false);
}

}  // namespace

void for_all_logs(const std::vector<std::string>& files, const Session& session, Intent intent,
                  const std::function<void(Log& log)>& work) {
  for (Log* log : {&event::kLog, &conn::kLog, &notice::kLog}) {
    settle(*log, {}, session.place, intent);
    work(*log);
  }
  for (const std::string& file : files) {
    fileop::use_file((std::filesystem::path(session.place.folder) / file).string());
    prepare_for(fileop::kLog, intent);
    work(fileop::kLog);
  }
}

void add_info_of_all(CLI::App& app, Session& session) {
  CLI::App* const command = app.add_subcommand("info", "Show what each log holds, its size and its limit");
  const auto files = std::make_shared<std::vector<std::string>>();
  const auto options = std::make_shared<InfoOptions>();
  command->footer(std::string(kInfoNotes) +
                  "\nExamples:\n  annalctl info\n  annalctl info --db operations.db --json\n  annalctl event info");
  add_files(*command, *files);
  add_info_options(*command, *options);
  command->fallthrough();
  command->callback([files, options, &session] { info_of_all(*files, *options, session); });
}

void add_keep_of_all(CLI::App& app, Session& session) {
  CLI::App* const command = app.add_subcommand("keep", "Delete what is too old or too much, in each log");
  const auto files = std::make_shared<std::vector<std::string>>();
  const auto options = std::make_shared<KeepOptions>();
  command->footer(std::string(kKeepNotes) +
                  "\n"
                  "Handles the logs of events, connections and notices that exist, and the named\n"
                  "files of file operations. Suitable for a timer: see\n"
                  "annalctl-keep.timer.\n"
                  "\n"
                  "Examples:\n"
                  "  annalctl keep --days 90 --size 200M\n"
                  "  annalctl keep --days 365 --db operations.db --dry-run");
  add_files(*command, *files);
  add_keep_options(*command, *options);
  command->fallthrough();
  command->callback([files, options, &session] {
    require_what_to_keep(*options);
    keep_of_all(*files, *options, session);
  });
}

}  // namespace annalctl
