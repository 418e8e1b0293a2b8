// annal-collect: takes the entries of all appliances from a stream into a database.
#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <exception>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/terminal.h"
#include "tools/annalctl/output/help_format.h"
#include "tools/export/collect/received.h"
#include "tools/export/collect/stream_reader.h"
#include "tools/export/database/store.h"
#include "tools/export/settings.h"
#include "tools/export/small_file.h"
#include "tools/export/stop.h"

namespace exporter::collect {

namespace {

using annalctl::kFailure;
using annalctl::kSuccess;
using annalctl::kUsage;
using Messages = std::vector<jetstream::Message>;

constexpr char kDefaultConfiguration[] = "/etc/annal-collect.toml";

void report(const std::string& sentence) {
  annalctl::complain_bare("annal-collect: " + sentence);
}

struct Options {
  std::string configuration = kDefaultConfiguration;
  bool check = false;
  bool once = false;
};

struct Setup {
  std::string set_aside;  // the file of messages that the database will never take
  std::size_t batch = 0;
  jetstream::Servers servers;
  StreamPlace place;
  database::Target target;
};

StreamPlace read_place(Settings& settings) {
  StreamPlace place{.stream = jetstream::read_name(settings, "stream", "ANNAL"),
                    .prefix = jetstream::read_name(settings, "subject", "annal"),
                    .consumer = jetstream::read_name(settings, "consumer", "annal-collect"),
                    .create = settings.flag("create", true)};
  constexpr int kThree = 3;
  constexpr int kMostReplicas = 5;
  place.replicas = static_cast<int>(settings.number("replicas", kThree, {1, kMostReplicas}));
  constexpr std::int64_t kTwoMinutes = 120;
  constexpr std::int64_t kDay = 86400;
  place.window = std::chrono::seconds(settings.number("duplicate_seconds", kTwoMinutes, {1, kDay}));
  constexpr std::int64_t kWeek = 168;
  constexpr std::int64_t kYear = 8760;
  place.keep = std::chrono::hours(settings.number("keep_hours", kWeek, {0, kYear}));
  place.most_bytes = settings.number("most_bytes", 0, {});
  if (place.keep.count() != 0 && place.window > place.keep) {
    settings.complain("duplicate_seconds", "must not be longer than keep_hours");
  }
  return place;
}

std::optional<Setup> load(const std::string& file, std::vector<Complaint>& complaints) {
  std::optional<Settings> top = load_settings(file, complaints);
  if (!top) {
    return {};
  }
  Setup setup;
  setup.set_aside = top->text_or("refused_file", "/var/lib/annal-collect/refused.jsonl");
  constexpr std::int64_t kUsualBatch = 2000;
  constexpr std::int64_t kGreatestBatch = 10000;
  setup.batch = static_cast<std::size_t>(top->number("batch", kUsualBatch, {1, kGreatestBatch}));
  Settings stream = top->table("jetstream");
  const std::optional<jetstream::Servers> servers = jetstream::read_servers(stream);
  setup.place = read_place(stream);
  stream.end();
  Settings base = top->table("database");
  const std::optional<database::Target> target = database::read_target(base);
  base.end();
  top->end();
  if (!complaints.empty() || !servers || !target) {
    return {};
  }
  setup.servers = *servers;
  setup.servers.name = "annal-collect " ANNAL_VERSION_TEXT;
  setup.target = *target;
  return setup;
}

class Collector {
 public:
  Collector(const Setup& setup, const Stop& stop)
      : setup_(setup), stop_(stop), store_(setup.target, "annal-collect " ANNAL_VERSION_TEXT) {}

  // Until the end is requested; once: until the stream has nothing more.
  int run(bool once) {
    while (!stop_.requested()) {
      std::optional<std::chrono::milliseconds> pause;
      try {
        if (!reader_) {
          reader_.emplace(setup_.servers, setup_.place, stop_);
        }
        const Messages messages = reader_->next(setup_.batch, std::chrono::milliseconds(kWaitMilliseconds));
        if (messages.empty() && once) {
          return kSuccess;
        }
        pause = messages.empty() ? std::nullopt : store(messages);
      } catch (const jetstream::Failure& failure) {
        pause = trouble(failure.what(), std::nullopt);
        reader_.reset();
      }
      if (pause) {
        stop_.wait(*pause);
      }
    }
    return kSuccess;
  }

 private:
  static constexpr int kWaitMilliseconds = 1000;

  std::chrono::milliseconds trouble(const std::string& reason, std::optional<std::chrono::milliseconds> asked) {
    if (reason != said_) {
      report(reason);
      said_ = reason;
    }
    constexpr std::chrono::milliseconds kFirst{500};
    constexpr std::chrono::milliseconds kLongest{30000};
    backoff_ = std::clamp(backoff_ * 2, kFirst, kLongest);
    return asked.value_or(backoff_);
  }

  // Throws std::system_error: a message that is neither stored nor set aside must not be acknowledged.
  void set_aside(std::string_view text, const std::string& reason) {
    const nlohmann::json line = {{"reason", reason}, {"message", text}};
    append_line(setup_.set_aside, line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
    report(fmt::format("a message was refused for good: {} (see {})", reason, setup_.set_aside));
  }

  // The servers let an appliance publish where its user may; what it writes into a message is its own affair.
  void require_own_subject(std::string_view subject, const Stream& stream) const {
    if (subject != fmt::format("{}.{}.{}", setup_.place.prefix, stream.appliance, stream.log)) {
      throw std::runtime_error(fmt::format("it says that it is of {}, and came by {}", stream.appliance, subject));
    }
  }

  // Returns how long to wait, if something was not stored.
  std::optional<std::chrono::milliseconds> store(const Messages& messages) {
    std::vector<Received> received;
    std::vector<std::size_t> places;  // of the received among the messages
    try {
      for (std::size_t i = 0; i < messages.size(); ++i) {
        try {
          Received one(text_of(messages[i]));
          require_own_subject(subject_of(messages[i]), one.stream());
          received.push_back(std::move(one));
          places.push_back(i);
        } catch (const std::runtime_error& failure) {
          set_aside(text_of(messages[i]), failure.what());
        }
      }
      std::vector<database::Row> rows;
      rows.reserve(received.size());
      for (const Received& one : received) {
        rows.push_back({&one.stream(), &one.record()});
      }
      const Outcome outcome = rows.empty() ? Outcome{} : store_.store(rows, stop_);
      for (const Refused& refused : outcome.refused) {
        set_aside(text_of(messages[places[refused.index]]), refused.reason);
      }
      const bool all = outcome.acknowledged >= rows.size();
      StreamReader::acknowledge(messages, all ? messages.size() : places[outcome.acknowledged]);
      if (all) {
        works();
        return {};
      }
      // The rest is delivered again when the consumer has waited long enough; a new subscription does not hasten that,
      // so it is kept and stored from here.
      return retry(messages, all ? messages.size() : places[outcome.acknowledged], outcome);
    } catch (const std::system_error& failure) {
      return trouble(fmt::format("cannot write {}: {}", setup_.set_aside, failure.code().message()), std::nullopt);
    }
  }

  std::optional<std::chrono::milliseconds> retry(const Messages& messages, std::size_t from, const Outcome& outcome) {
    const std::string reason = outcome.trouble ? outcome.trouble->reason : "the end was requested";
    const std::chrono::milliseconds pause = trouble(reason, outcome.trouble ? outcome.trouble->wait : std::nullopt);
    for (std::size_t i = from; i < messages.size(); ++i) {
      jetstream::require(natsMsg_NakWithDelay(messages[i].get(), pause.count(), nullptr), "ask for it again");
    }
    return pause;
  }

  void works() {
    if (!said_.empty()) {
      report("works again");
      said_.clear();
    }
    backoff_ = {};
  }

  const Setup& setup_;
  const Stop& stop_;
  database::Store store_;
  std::optional<StreamReader> reader_;
  std::string said_;
  std::chrono::milliseconds backoff_{0};
};

std::atomic<Stop*> stop_on_signal = nullptr;

void request_stop(int /*signal*/) {
  if (Stop* const stop = stop_on_signal.load()) {
    stop->request();
  }
}

int start(const Options& options) {
  std::vector<Complaint> complaints;
  const std::optional<Setup> setup = load(options.configuration, complaints);
  if (!setup) {
    for (const Complaint& complaint : complaints) {
      annalctl::complain_bare(complaint.text());
    }
    return kUsage;
  }
  if (options.check) {
    fmt::print("{}: sound\n", options.configuration);
    return kSuccess;
  }
  Stop stop;
  stop_on_signal = &stop;
  struct sigaction action {};
  action.sa_handler = request_stop;
  for (const int signal : {SIGTERM, SIGINT}) {
    sigaction(signal, &action, nullptr);
  }
  static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
  const int status = Collector(*setup, stop).run(options.once);
  stop_on_signal = nullptr;
  return status;
}

int parse_and_start(int argc, char** argv) {
  CLI::App app("Takes the entries of all appliances from a stream into a database", "annal-collect");
  Options options;
  app.formatter(std::make_shared<annalctl::HelpFormat>());
  app.footer(
      "Any number of collectors may share a stream. What the database has already is not\n"
      "stored again.");
  app.set_version_flag("--version", "annal-collect " ANNAL_VERSION_TEXT);
  app.add_option("-c,--config", options.configuration,
                 "Read this configuration; without it " + std::string(kDefaultConfiguration))
      ->type_name("FILE");
  auto* const check = app.add_flag("--check", options.check, "Check the configuration, and end");
  app.add_flag("--once", options.once, "Store what is there now, and end")->excludes(check);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kSuccess : kUsage;
  }
  return start(options);
}

}  // namespace

}  // namespace exporter::collect

int main(int argc, char** argv) {
  try {
    annalctl::open_missing_standard_descriptors();
    return exporter::collect::parse_and_start(argc, argv);
  } catch (const std::exception& failure) {
    exporter::collect::report(failure.what());
    return annalctl::kFailure;
  }
}
