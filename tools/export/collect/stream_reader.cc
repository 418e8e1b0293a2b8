// Creates a missing stream, fetches messages through a pull subscription and acknowledges them one by one.
#include "tools/export/collect/stream_reader.h"

#include <fmt/format.h>

#include <array>

namespace exporter::collect {

namespace {

using jetstream::require;

constexpr std::int64_t kNanoseconds = 1'000'000'000;

jsStreamConfig configuration_of(const StreamPlace& place, std::array<const char*, 1>& subjects) {
  jsStreamConfig config;
  jsStreamConfig_Init(&config);
  config.Name = place.stream.c_str();
  config.Subjects = subjects.data();
  config.SubjectsLen = static_cast<int>(subjects.size());
  config.Storage = js_FileStorage;
  config.Retention = js_LimitsPolicy;
  // A full stream refuses what is new: the appliances keep it until there is room.
  config.Discard = js_DiscardNew;
  config.Replicas = place.replicas;
  config.Duplicates = place.window.count() * kNanoseconds;
  config.MaxAge = std::chrono::duration_cast<std::chrono::nanoseconds>(place.keep).count();
  if (place.most_bytes > 0) {
    config.MaxBytes = place.most_bytes;
  }
  return config;
}

}  // namespace

StreamReader::StreamReader(const jetstream::Servers& servers, const StreamPlace& place, const Stop& stop)
    : connection_(servers, stop) {
  jsCtx* context = nullptr;
  require(natsConnection_JetStream(&context, connection_.handle(), nullptr), "use JetStream");
  context_.reset(context);
  require_stream(place);

  jsSubOptions options;
  jsSubOptions_Init(&options);
  options.Stream = place.stream.c_str();
  options.Config.AckPolicy = js_AckExplicit;
  constexpr std::int64_t kAckSeconds = 60;
  options.Config.AckWait = kAckSeconds * kNanoseconds;
  constexpr std::int64_t kMostUnderWay = 20000;
  options.Config.MaxAckPending = kMostUnderWay;
  natsSubscription* subscription = nullptr;
  jsErrCode code{};
  const std::string subject = place.prefix + ".>";
  const natsStatus status = js_PullSubscribe(&subscription, context_.get(), subject.c_str(), place.consumer.c_str(),
                                             nullptr, &options, &code);
  require(status, fmt::format("read the stream {}", place.stream), code);
  subscription_.reset(subscription);
}

StreamReader::~StreamReader() {
  // What was acknowledged may still be in the library's buffer.
  constexpr std::int64_t kMilliseconds = 1000;
  static_cast<void>(natsConnection_FlushTimeout(connection_.handle(), kMilliseconds));
}

void StreamReader::require_stream(const StreamPlace& place) {
  jsStreamInfo* info = nullptr;
  jsErrCode code{};
  natsStatus status = js_GetStreamInfo(&info, context_.get(), place.stream.c_str(), nullptr, &code);
  jsStreamInfo_Destroy(info);
  if (status == NATS_NOT_FOUND && place.create) {
    const std::string subject = place.prefix + ".>";
    std::array<const char*, 1> subjects{subject.c_str()};
    jsStreamConfig config = configuration_of(place, subjects);
    jsStreamInfo* made = nullptr;
    status = js_AddStream(&made, context_.get(), &config, nullptr, &code);
    jsStreamInfo_Destroy(made);
    // Another collector may have been faster.
    status = code == JSStreamNameExistErr ? NATS_OK : status;
    require(status, fmt::format("create the stream {}", place.stream), code);
    return;
  }
  require(status, fmt::format("find the stream {}", place.stream), code);
}

std::vector<jetstream::Message> StreamReader::next(std::size_t most, std::chrono::milliseconds time) {
  natsMsgList list{};
  jsErrCode code{};
  const natsStatus status =
      natsSubscription_Fetch(&list, subscription_.get(), static_cast<int>(most), time.count(), &code);
  std::vector<jetstream::Message> messages;
  for (int i = 0; i < list.Count; ++i) {
    messages.emplace_back(list.Msgs[i]);
    list.Msgs[i] = nullptr;
  }
  natsMsgList_Destroy(&list);
  if (messages.empty() && status != NATS_TIMEOUT) {
    require(status, "read on", code);
  }
  if (messages.empty() && connection_.lost()) {
    throw jetstream::Failure("lost the connection" + connection_.complaint());
  }
  return messages;
}

void StreamReader::acknowledge(const std::vector<jetstream::Message>& messages, std::size_t count) {
  for (std::size_t i = 0; i < count && i < messages.size(); ++i) {
    require(natsMsg_Ack(messages[i].get(), nullptr), "acknowledge");
  }
}

std::string_view text_of(const jetstream::Message& message) {
  return {natsMsg_GetData(message.get()), static_cast<std::size_t>(natsMsg_GetDataLength(message.get()))};
}

std::string_view subject_of(const jetstream::Message& message) {
  return natsMsg_GetSubject(message.get());
}

}  // namespace exporter::collect
