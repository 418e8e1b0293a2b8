// Syslog messages over RELP, such as to rsyslog. RELP's own library does not say which messages have been acknowledged,
// and the position must not move before that, so the protocol's few frames are made here.
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "tools/annalctl/base/printable.h"
#include "tools/export/client_files.h"
#include "tools/export/sink.h"
#include "tools/export/sinks/byte_stream.h"
#include "tools/export/sinks/relp_frame.h"
#include "tools/export/sinks/syslog_message.h"

namespace exporter::sinks {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kSuccess = 200;
// Sent and not yet answered, at most.
constexpr std::size_t kWindow = 256;

struct RelpSettings {
  std::string host;
  int port = 0;
  std::optional<ClientFiles> files;  // for TLS
  SyslogOrigin origin;
  std::size_t most_bytes = 0;
  std::chrono::seconds timeout{};
  std::string version;
};

class Relp : public Sink {
 public:
  explicit Relp(RelpSettings settings) : settings_(std::move(settings)) {}
  ~Relp() override;

  Outcome deliver(const Batch& batch, const Stop& stop) override;

 private:
  enum class Fate : unsigned char { kWaiting, kTaken, kTooLong };

  // Thrown at the request to end.
  struct Ended {};

  void connect(const Stop& stop);
  void exchange(const Batch& batch, std::vector<Fate>& fates);
  void send_message(const Batch& batch, std::size_t index, std::vector<Fate>& fates);
  void take_answers(std::vector<Fate>& fates);
  // Sends and receives what is possible, and waits for the rest until the limit.
  void turn(Clock::time_point limit);
  int next_number();

  RelpSettings settings_;
  std::optional<ByteStream> stream_;
  std::string to_send_;
  std::string received_;
  int number_ = 0;
  std::unordered_map<int, std::size_t> unanswered_;  // the numbers of messages, and their places in the batch
};

Relp::~Relp() {
  try {
    if (stream_) {
      to_send_ += relp_frame(next_number(), "close", "");
      stream_->send_some(to_send_);
    }
  } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): the connection ends either way
  }
}

int Relp::next_number() {
  number_ = number_ == kRelpLastNumber ? 1 : number_ + 1;
  return number_;
}

void Relp::turn(Clock::time_point limit) {
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(limit - Clock::now());
  if (left.count() <= 0) {
    throw StreamError(fmt::format("does not answer within {} s", settings_.timeout.count()));
  }
  switch (stream_->wait(!to_send_.empty(), left)) {
    case ByteStream::Wake::kStop:
      throw Ended();
    case ByteStream::Wake::kReady:
      stream_->send_some(to_send_);
      stream_->receive_some(received_);
      break;
    case ByteStream::Wake::kTimeout:
      break;
  }
}

void Relp::connect(const Stop& stop) {
  stream_.emplace(settings_.host, settings_.port, settings_.files, stop);
  received_.clear();
  unanswered_.clear();
  number_ = 0;
  to_send_ =
      relp_frame(next_number(), "open",
                 fmt::format("relp_version=0\nrelp_software=annal-export,{}\ncommands=syslog", settings_.version));
  const Clock::time_point limit = Clock::now() + settings_.timeout;
  std::optional<RelpFrame> answer;
  while (!answer) {
    turn(limit);
    answer = take_relp_frame(received_);
  }
  if (answer->command != "rsp" || answer->number != 1 || relp_code(answer->data) != kSuccess ||
      answer->data.find("syslog") == std::string::npos) {
    throw RelpError("the receiver takes no syslog messages by RELP: " + annalctl::printable(answer->data));
  }
}

void Relp::send_message(const Batch& batch, std::size_t index, std::vector<Fate>& fates) {
  const std::string message = syslog_message(settings_.origin, batch.stream, batch.records[index]);
  if (message.size() > settings_.most_bytes) {
    fates[index] = Fate::kTooLong;
    return;
  }
  const int number = next_number();
  unanswered_.emplace(number, index);
  to_send_ += relp_frame(number, "syslog", message);
}

void Relp::take_answers(std::vector<Fate>& fates) {
  while (const std::optional<RelpFrame> frame = take_relp_frame(received_)) {
    if (frame->command == "serverclose") {
      throw StreamError("the receiver has ended the session");
    }
    const auto found = unanswered_.find(frame->number);
    if (frame->command != "rsp" || found == unanswered_.end()) {
      throw RelpError("the receiver answers what was not sent");
    }
    if (relp_code(frame->data) != kSuccess) {
      throw RelpError("the receiver cannot take a message: " + annalctl::printable(frame->data));
    }
    fates[found->second] = Fate::kTaken;
    unanswered_.erase(found);
  }
}

void Relp::exchange(const Batch& batch, std::vector<Fate>& fates) {
  std::size_t next = 0;
  Clock::time_point limit = Clock::now() + settings_.timeout;
  while (next < fates.size() || !unanswered_.empty()) {
    while (next < fates.size() && unanswered_.size() < kWindow) {
      send_message(batch, next++, fates);
    }
    if (unanswered_.empty()) {
      continue;
    }
    const std::size_t before = unanswered_.size();
    turn(limit);
    take_answers(fates);
    if (unanswered_.size() < before) {
      limit = Clock::now() + settings_.timeout;
    }
  }
}

Outcome Relp::deliver(const Batch& batch, const Stop& stop) {
  std::vector<Fate> fates(batch.records.size(), Fate::kWaiting);
  Outcome outcome;
  try {
    if (!stream_) {
      connect(stop);
    }
    exchange(batch, fates);
  } catch (const Ended&) {
    stream_.reset();
  } catch (const std::runtime_error& error) {
    stream_.reset();
    if (!stop.requested()) {
      outcome.trouble =
          Trouble{.reason = fmt::format("relp to {}:{}: {}", settings_.host, settings_.port, error.what())};
    }
  }
  while (outcome.acknowledged < fates.size() && fates[outcome.acknowledged] != Fate::kWaiting) {
    if (fates[outcome.acknowledged] == Fate::kTooLong) {
      outcome.refused.push_back({.index = outcome.acknowledged,
                                 .reason = fmt::format("the message is longer than the {} bytes of max_message_bytes",
                                                       settings_.most_bytes)});
    }
    ++outcome.acknowledged;
  }
  if (outcome.acknowledged == fates.size()) {
    outcome.trouble.reset();
  }
  return outcome;
}

std::optional<bool> read_tls(Settings& settings) {
  const std::string tls = settings.text_or("tls", "verify-full");
  if (tls != "verify-full" && tls != "off") {
    settings.complain("tls", "must be 'verify-full' or 'off'");
    return {};
  }
  return tls != "off";
}

std::unique_ptr<Sink> make(Settings& settings, const SinkContext& context) {
  RelpSettings relp;
  relp.host = settings.text("host");
  constexpr std::int64_t kUsualPort = 2514;
  relp.port = static_cast<int>(settings.number("port", kUsualPort, {1, 65535}));
  const std::optional<bool> tls = read_tls(settings);
  ClientFiles files = read_client_files(settings);
  if (tls.value_or(true)) {
    relp.files = std::move(files);
  }
  relp.origin.host = settings.text_or("hostname", context.host);
  constexpr std::int64_t kLocal0 = 16;
  constexpr std::int64_t kLastFacility = 23;
  relp.origin.facility = static_cast<int>(settings.number("facility", kLocal0, {0, kLastFacility}));
  relp.origin.element = settings.text_or("structured_data_id", relp.origin.element);
  if (!is_element_name(relp.origin.element)) {
    settings.complain("structured_data_id", "must be a name as RFC 5424 has it, such as annal@32473");
  }
  constexpr std::int64_t kUsualBytes = 65536;
  constexpr std::int64_t kMostBytes = 100'000'000;
  relp.most_bytes = static_cast<std::size_t>(settings.number("max_message_bytes", kUsualBytes, {480, kMostBytes}));
  constexpr std::int64_t kUsualSeconds = 60;
  constexpr std::int64_t kMostSeconds = 3600;
  relp.timeout = std::chrono::seconds(settings.number("timeout", kUsualSeconds, {1, kMostSeconds}));
  relp.version = context.version;
  if (settings.has_complaints()) {
    return nullptr;
  }
  return std::make_unique<Relp>(std::move(relp));
}

}  // namespace

extern const SinkType kRelpSink;
const SinkType kRelpSink{"relp", "syslog messages by RELP, such as to rsyslog", make};

}  // namespace exporter::sinks
