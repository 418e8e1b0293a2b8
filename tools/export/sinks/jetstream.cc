// A stream of a NATS cluster with JetStream. Its servers store a message on a majority of the nodes before they
// acknowledge it, and drop one whose id they have seen lately: the id is the record's key.
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "tools/export/jetstream/connection.h"
#include "tools/export/sink.h"

namespace exporter::sinks {

namespace {

using Clock = std::chrono::steady_clock;
using jetstream::Connection;
using jetstream::Failure;

constexpr char kIdHeader[] = "Nats-Msg-Id";

// What the library's threads hear of the records under way. It may still be called when a connection is being closed,
// so it is never freed: there is one for each sink.
class Answers {
 public:
  enum class Fate : unsigned char { kWaiting, kStored, kRefused };

  void expect(std::vector<std::string> keys) {
    const std::lock_guard lock(mutex_);
    places_.clear();
    fates_.assign(keys.size(), Fate::kWaiting);
    reasons_.clear();
    error_.clear();
    left_ = keys.size();
    for (std::size_t i = 0; i < keys.size(); ++i) {
      places_.emplace(std::move(keys[i]), i);
    }
  }

  static void hear(jsCtx* /*context*/, natsMsg* message, jsPubAck* stored, jsPubAckErr* error, void* closure) {
    const jetstream::Message owned(message);
    const char* key = nullptr;
    if (natsMsgHeader_Get(message, kIdHeader, &key) == NATS_OK && key != nullptr) {
      static_cast<Answers*>(closure)->note(key, stored != nullptr ? nullptr : error);
    }
  }

  void refuse(std::size_t index, const std::string& reason) {
    const std::lock_guard lock(mutex_);
    settle(index, Fate::kRefused);
    reasons_[index] = reason;
  }

  // Waits for an answer: whether all have come, or an error, or as long.
  void wait(std::chrono::milliseconds time) {
    std::unique_lock lock(mutex_);
    const std::size_t before = left_;
    changed_.wait_for(lock, time, [&] { return left_ == 0 || left_ + kMany < before || !error_.empty(); });
  }

  [[nodiscard]] std::size_t left() const {
    const std::lock_guard lock(mutex_);
    return left_;
  }
  [[nodiscard]] std::string error() const {
    const std::lock_guard lock(mutex_);
    return error_;
  }

  [[nodiscard]] Outcome outcome() const {
    const std::lock_guard lock(mutex_);
    Outcome outcome;
    const auto first = std::find(fates_.begin(), fates_.end(), Fate::kWaiting);
    outcome.acknowledged = static_cast<std::size_t>(first - fates_.begin());
    for (const auto& [index, reason] : reasons_) {
      if (index < outcome.acknowledged) {
        outcome.refused.push_back({index, reason});
      }
    }
    return outcome;
  }

 private:
  static constexpr std::size_t kMany = 256;

  void note(const std::string& key, const jsPubAckErr* error) {
    const std::lock_guard lock(mutex_);
    const auto place = places_.find(key);
    if (place == places_.end()) {
      return;  // of a batch before
    }
    if (error == nullptr) {
      settle(place->second, Fate::kStored);
    } else if (error->ErrCode == JSStreamMessageExceedsMaximumErr) {
      settle(place->second, Fate::kRefused);
      reasons_[place->second] = error->ErrText;
    } else if (error_.empty()) {
      error_ = text_of(*error);
    }
    if (left_ == 0 || left_ % kMany == 0 || !error_.empty()) {
      changed_.notify_all();
    }
  }

  static std::string text_of(const jsPubAckErr& error) {
    if (error.Err == NATS_NO_RESPONDERS) {
      return "no stream takes this subject, or it has no leader at the moment";
    }
    const char* const said =
        error.ErrText != nullptr && *error.ErrText != '\0' ? error.ErrText : natsStatus_GetText(error.Err);
    return said;
  }

  void settle(std::size_t index, Fate fate) {
    if (fates_[index] == Fate::kWaiting) {
      fates_[index] = fate;
      --left_;
    }
  }

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::unordered_map<std::string, std::size_t> places_;
  std::vector<Fate> fates_;
  std::unordered_map<std::size_t, std::string> reasons_;
  std::size_t left_ = 0;
  std::string error_;  // the first that is not about one record alone
};

// Called by one thread.
Answers& lasting_answers() {
  static std::deque<Answers>& all = *new std::deque<Answers>;
  return all.emplace_back();
}

class Jetstream : public Sink {
 public:
  Jetstream(jetstream::Servers servers, std::string prefix, std::chrono::seconds timeout)
      : servers_(std::move(servers)), prefix_(std::move(prefix)), timeout_(timeout) {}

  ~Jetstream() override { disconnect(); }

  Outcome deliver(const Batch& batch, const Stop& stop) override;
  std::optional<Trouble> idle(const Stop& stop) override;

 private:
  void connect(const Stop& stop);
  void disconnect();
  void publish(const Batch& batch, const std::vector<std::string>& keys);
  void wait(const Stop& stop);

  jetstream::Servers servers_;
  std::string prefix_;  // of the subjects
  std::chrono::seconds timeout_;
  Answers& answers_ = lasting_answers();
  std::optional<Connection> connection_;
  jetstream::Context context_;
};

void Jetstream::connect(const Stop& stop) {
  connection_.emplace(servers_, stop);
  jsOptions options;
  jsOptions_Init(&options);
  options.PublishAsync.AckHandler = &Answers::hear;
  options.PublishAsync.AckHandlerClosure = &answers_;
  jsCtx* context = nullptr;
  jetstream::require(natsConnection_JetStream(&context, connection_->handle(), &options), "use JetStream");
  context_.reset(context);
}

void Jetstream::disconnect() {
  context_.reset();
  connection_.reset();
}

void Jetstream::publish(const Batch& batch, const std::vector<std::string>& keys) {
  const std::string subject = fmt::format("{}.{}.{}", prefix_, batch.stream.appliance, batch.stream.log);
  for (std::size_t i = 0; i < batch.records.size(); ++i) {
    const std::string data = json_of(batch.stream, batch.records[i]);
    natsMsg* made = nullptr;
    jetstream::require(natsMsg_Create(&made, subject.c_str(), nullptr, data.data(), static_cast<int>(data.size())),
                       "make a message");
    jetstream::Message message(made);
    jetstream::require(natsMsgHeader_Set(made, kIdHeader, keys[i].c_str()), "make a message");
    natsMsg* handed_over = message.release();
    const natsStatus status = js_PublishMsgAsync(context_.get(), &handed_over, nullptr);
    message.reset(handed_over);
    if (status == NATS_MAX_PAYLOAD) {
      answers_.refuse(i, fmt::format("its {} bytes are more than the servers take", data.size()));
    } else {
      jetstream::require(status, "publish to " + subject);
    }
  }
}

void Jetstream::wait(const Stop& stop) {
  auto limit = Clock::now() + timeout_;
  std::size_t left = answers_.left();
  while (left > 0) {
    constexpr std::chrono::milliseconds kLook{100};
    answers_.wait(kLook);
    if (const std::string error = answers_.error(); !error.empty()) {
      throw Failure(fmt::format("{} has not stored all: {}", connection_->server(), error));
    }
    const std::size_t now = answers_.left();
    if (now < left) {
      left = now;
      limit = Clock::now() + timeout_;
    }
    if (left > 0 && connection_->lost()) {
      throw Failure(fmt::format("lost the connection{}", connection_->complaint()));
    }
    if (left > 0 && Clock::now() > limit) {
      throw Failure(fmt::format("{} messages were not acknowledged within {} seconds{}", left, timeout_.count(),
                                connection_->complaint()));
    }
    if (stop.requested()) {
      return;
    }
  }
}

Outcome Jetstream::deliver(const Batch& batch, const Stop& stop) {
  std::vector<std::string> keys;
  keys.reserve(batch.records.size());
  for (const Record& record : batch.records) {
    keys.push_back(key_of(batch.stream, record));
  }
  answers_.expect(keys);
  std::optional<Trouble> trouble;
  try {
    if (!connection_ || connection_->lost()) {
      disconnect();
      connect(stop);
    }
    publish(batch, keys);
    wait(stop);
  } catch (const Failure& failure) {
    trouble = Trouble{.reason = failure.what()};
    // What is still under way is unknown. A new connection begins with nothing.
    disconnect();
  }
  Outcome outcome = answers_.outcome();
  if (outcome.acknowledged < batch.records.size()) {
    outcome.trouble = std::move(trouble);
  }
  return outcome;
}

// The library answers pings by itself. A connection that was lost is noticed before there is something to send.
std::optional<Trouble> Jetstream::idle(const Stop& stop) {
  if (!connection_ || !connection_->lost()) {
    return {};
  }
  const std::string complaint = connection_->complaint();
  disconnect();
  try {
    connect(stop);
  } catch (const Failure& failure) {
    disconnect();
    return Trouble{.reason = failure.what()};
  }
  return {};
}

std::unique_ptr<Sink> make(Settings& settings, const SinkContext& context) {
  std::optional<jetstream::Servers> servers = jetstream::read_servers(settings);
  std::string prefix = jetstream::read_name(settings, "subject", "annal");
  constexpr std::int64_t kUsual = 10;
  constexpr std::int64_t kLongest = 300;
  const std::chrono::seconds timeout(settings.number("timeout", kUsual, {1, kLongest}));
  if (!servers || settings.has_complaints()) {
    return nullptr;
  }
  // The servers can let an appliance hear answers to itself alone: what the collector reads is an answer, too.
  servers->inbox = "_INBOX." + context.appliance;
  servers->name = fmt::format("annal-export {} on {}", context.version, context.host);
  return std::make_unique<Jetstream>(std::move(*servers), std::move(prefix), timeout);
}

}  // namespace

extern const SinkType kJetstreamSink;
const SinkType kJetstreamSink{"jetstream", "a stream of NATS servers with JetStream", make};

}  // namespace exporter::sinks
