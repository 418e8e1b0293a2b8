// annal-export: hands the entries of all logs to receivers elsewhere.
#include <fcntl.h>
#include <fmt/format.h>
#include <malloc.h>
#include <sys/file.h>
#include <unistd.h>
#include <CLI/CLI.hpp>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/terminal.h"
#include "tools/annalctl/output/help_format.h"
#include "tools/annalctl/proof/hashing.h"
#include "tools/export/configuration.h"
#include "tools/export/log_rights.h"
#include "tools/export/registry.h"
#include "tools/export/report.h"
#include "tools/export/status.h"
#include "tools/export/worker.h"

namespace exporter {

namespace {

using annalctl::kFailure;
using annalctl::kSuccess;
using annalctl::kUsage;

struct Options {
  std::string configuration = kDefaultConfiguration;
  std::string sink;
  bool check = false;
  bool once = false;
  int patience = 30;
  bool status = false;
  bool json = false;
  bool prometheus = false;
};

std::atomic<Stop*> stop_on_signal = nullptr;

void request_stop(int /*signal*/) {
  if (Stop* const stop = stop_on_signal.load()) {
    stop->request();
  }
}

void handle_signals(Stop& stop) {
  stop_on_signal = &stop;
  struct sigaction action {};
  action.sa_handler = request_stop;
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
    sigaction(signal, &action, nullptr);
  }
  // A receiver that goes away is a failure of the write.
  static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
}

// Two exporters with the same states would each undo what the other has saved.
class FolderLock {
 public:
  explicit FolderLock(const std::string& folder) : path_(folder + "/lock") {
    constexpr mode_t kOwners = 0600;
    descriptor_ = open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kOwners);
    taken_ = descriptor_ >= 0 && flock(descriptor_, LOCK_EX | LOCK_NB) == 0;
    error_ = errno;
  }
  ~FolderLock() {
    if (descriptor_ >= 0) {
      close(descriptor_);
    }
  }
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;

  [[nodiscard]] bool taken() const { return taken_; }
  [[nodiscard]] std::string why_not(const std::string& folder) const {
    return error_ == EWOULDBLOCK
               ? fmt::format("another annal-export uses the state folder {}", folder)
               : fmt::format("cannot write to the state folder {}: {}", folder, annalctl::system_message(error_));
  }

 private:
  std::string path_;
  int descriptor_ = -1;
  bool taken_ = false;
  int error_ = 0;
};

int run(const Configuration& configuration, WorkMode mode) {
  const FolderLock lock(configuration.state_folder);
  if (!lock.taken()) {
    report(lock.why_not(configuration.state_folder));
    return kFailure;
  }
  Stop stop;
  handle_signals(stop);
  std::atomic<bool> well = true;
  std::vector<std::thread> threads;
  for (const ConfiguredSink& sink : configuration.sinks) {
    threads.emplace_back([&configuration, &sink, &stop, &well, mode] {
      try {
        if (!Worker(configuration, sink, stop, mode).run()) {
          well = false;
        }
      } catch (const std::exception& failure) {
        report(fmt::format("sink {}: {}", sink.name, failure.what()));
        well = false;
        stop.request();
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  stop_on_signal = nullptr;
  return well ? kSuccess : kFailure;
}

int check(const Configuration& configuration) {
  const auto counted = [](std::size_t number, const char* noun) {
    return fmt::format("{} {}{}", number, noun, number == 1 ? "" : "s");
  };
  fmt::print("{}: sound: {}, {}\n", configuration.file, counted(configuration.logs.size(), "log"),
             counted(configuration.sinks.size(), "sink"));
  return kSuccess;
}

int show_status(const Configuration& configuration, const Options& options) {
  bool all_well = true;
  const std::string text = status_text(configuration,
                                       options.json         ? StatusForm::kJson
                                       : options.prometheus ? StatusForm::kPrometheus
                                                            : StatusForm::kTable,
                                       all_well);
  annalctl::Output output(stdout);
  output.write(text);
  output.finish();
  return all_well ? kSuccess : kFailure;
}

int start(const Options& options) {
  Configuration configuration = load_configuration(options.configuration, options.sink);
  if (!configuration.complaints.empty()) {
    for (const Complaint& complaint : configuration.complaints) {
      annalctl::complain_bare(complaint.text());
    }
    return kUsage;
  }
  if (options.check) {
    return check(configuration);
  }
  annalctl::proof::start_hashing();
  if (!options.status && configuration.seal_every.count() > 0) {
    configuration.sealing = std::make_unique<Sealing>(configuration.seal_every,
                                                      annalctl::proof::load_or_create_keys(configuration.seal_key));
  }
  take_rights_for(configuration.logs, configuration.state_folder);
  if (options.status) {
    return show_status(configuration, options);
  }
  return run(configuration, {.once = options.once, .patience = std::chrono::seconds(options.patience)});
}

std::string footer() {
  std::string text = "Kinds of sinks:\n";
  for (const SinkType* const type : sink_types()) {
    text += fmt::format("  {:<11}  {}\n", type->name, type->what);
  }
  return text +
         "\n"
         "Each position is in a small file in the state folder, and moves once a receiver has\n"
         "acknowledged. SIGTERM ends the program with all positions saved.\n"
         "\n"
         "Examples:\n"
         "  annal-export --check\n"
         "  annal-export --config /etc/annal-export.toml\n"
         "  annal-export status --json";
}

int parse_and_start(int argc, char** argv) {
  CLI::App app("Sends the entries of the appliance's logs to receivers elsewhere", "annal-export");
  Options options;
  app.formatter(std::make_shared<annalctl::HelpFormat>());
  app.footer(footer());
  app.set_version_flag("--version", "annal-export " ANNAL_VERSION_TEXT);
  app.add_option("-c,--config", options.configuration,
                 "Read this configuration; without it " + std::string(kDefaultConfiguration))
      ->type_name("FILE");
  app.add_option("--sink", options.sink, "Serve only this sink")->type_name("NAME");
  auto* const check_flag = app.add_flag("--check", options.check, "Check the configuration, and end");
  auto* const once = app.add_flag("--once", options.once, "Send what is there now, and end")->excludes(check_flag);
  constexpr int kDay = 86400;
  app.add_option("--patience", options.patience, "With --once: fail if nothing is taken for so long; without it 30")
      ->type_name("SECONDS")
      ->check(CLI::Range(1, kDay))
      ->needs(once);
  CLI::App* const status = app.add_subcommand("status", "Show how far each sink has got");
  auto* const json = status->add_flag("--json", options.json, "As JSON Lines");
  status->add_flag("--prometheus", options.prometheus, "As Prometheus reads it")->excludes(json);
  status->fallthrough();
  status->callback([&options] { options.status = true; });
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kSuccess : kUsage;
  }
  return start(options);
}

}  // namespace

}  // namespace exporter

int main(int argc, char** argv) {
  // Threads that each keep memory of their own for a while take more than this program needs.
  mallopt(M_ARENA_MAX, 1);  // NOLINT(concurrency-mt-unsafe): the only one as yet
  try {
    annalctl::open_missing_standard_descriptors();
    return exporter::parse_and_start(argc, argv);
  } catch (const std::exception& failure) {
    exporter::report(failure.what());
    return annalctl::kFailure;
  }
}
