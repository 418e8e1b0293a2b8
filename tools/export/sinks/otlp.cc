// OTLP over HTTP in JSON, which any collector of OpenTelemetry takes.
#include <curl/curl.h>
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/export/client_files.h"
#include "tools/export/sink.h"
#include "tools/export/sinks/curl_handle.h"
#include "tools/export/sinks/otlp_request.h"

namespace exporter::sinks {

namespace {

constexpr std::size_t kUsualRecords = 512;

struct OtlpSettings {
  std::string url;
  std::optional<ClientFiles> files;  // for TLS
  Settings::SecretSource token;
  OtlpResource resource;
  std::chrono::seconds timeout{};
};

struct Answer {
  long status = 0;  // 0: there was none
  std::string body;
  std::string reason;  // why there was none
  std::chrono::seconds wait{};
};

class Otlp : public Sink {
 public:
  explicit Otlp(OtlpSettings settings) : settings_(std::move(settings)) {}

  Outcome deliver(const Batch& batch, const Stop& stop) override;

 private:
  // Sends a part of a batch, and adds to the outcome what became of it.
  void send(const Batch& batch, const Stop& stop, Outcome& outcome);
  void judge(const Answer& answer, std::size_t count, Outcome& outcome);
  void take_partly(const PartialSuccess& partial, std::size_t count, Outcome& outcome);
  void refuse_or_halve(const Answer& answer, std::size_t count, Outcome& outcome);
  [[nodiscard]] Answer post(const std::string& body, const Stop& stop);
  [[nodiscard]] Trouble trouble(std::string reason, std::optional<std::chrono::milliseconds> wait) const;

  OtlpSettings settings_;
  CurlHandle curl_;
  // Fewer after a refusal, to find out whose it was.
  std::size_t records_ = kUsualRecords;
  // A receiver that refuses each record by itself is more likely to be the wrong one than to dislike them all.
  std::size_t refused_in_a_row_ = 0;
};

std::size_t keep_beginning(char* bytes, std::size_t /*one*/, std::size_t count, void* body) {
  constexpr std::size_t kMost = 65536;
  auto& text = *static_cast<std::string*>(body);
  text.append(bytes, std::min(count, kMost - std::min(kMost, text.size())));
  return count;
}

// NOLINTBEGIN(cppcoreguidelines-pro-type-vararg)
Answer Otlp::post(const std::string& body, const Stop& stop) {
  Answer answer;
  CURL* const handle = curl_.get();
  curl_.reset(stop);
  std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> headers(nullptr, &curl_slist_free_all);
  const auto add_header = [&headers](const std::string& line) {
    headers.reset(curl_slist_append(headers.release(), line.c_str()));
  };
  add_header("Content-Type: application/json");
  add_header("Expect:");  // no second round for larger bodies
  if (settings_.token.given()) {
    const Settings::Secret token = settings_.token.read();
    if (!token || token->find_first_of("\r\n") != std::string::npos) {
      answer.reason = token ? "the token has a line end within" : "cannot read the token";
      return answer;
    }
    add_header("Authorization: Bearer " + *token);
  }
  curl_easy_setopt(handle, CURLOPT_URL, settings_.url.c_str());
  curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers.get());
  curl_easy_setopt(handle, CURLOPT_USERAGENT, ("annal-export/" + settings_.resource.version).c_str());
  curl_easy_setopt(handle, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
  curl_easy_setopt(handle, CURLOPT_POSTFIELDS, body.c_str());
  curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, keep_beginning);
  curl_easy_setopt(handle, CURLOPT_WRITEDATA, &answer.body);
  curl_easy_setopt(handle, CURLOPT_TIMEOUT, static_cast<long>(settings_.timeout.count()));
  curl_easy_setopt(handle, CURLOPT_CONNECTTIMEOUT, static_cast<long>(settings_.timeout.count()));
  if (settings_.files) {
    curl_.use(*settings_.files);
  }
  const CURLcode code = curl_easy_perform(handle);
  if (code != CURLE_OK) {
    answer.reason = curl_.reason(code);
    return answer;
  }
  curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &answer.status);
  curl_off_t seconds = 0;  // of Retry-After in either of its forms
  curl_easy_getinfo(handle, CURLINFO_RETRY_AFTER, &seconds);
  constexpr curl_off_t kMostSeconds = 3600;
  answer.wait = std::chrono::seconds(std::clamp<curl_off_t>(seconds, 0, kMostSeconds));
  return answer;
}
// NOLINTEND(cppcoreguidelines-pro-type-vararg)

Trouble Otlp::trouble(std::string reason, std::optional<std::chrono::milliseconds> wait) const {
  return {.reason = fmt::format("{}: {}", settings_.url, std::move(reason)), .wait = wait};
}

void Otlp::take_partly(const PartialSuccess& partial, std::size_t count, Outcome& outcome) {
  // The protocol forbids sending such a request again, and does not say which records were meant. So all of them are
  // set aside, and the next ones go one by one.
  const std::string reason =
      count == 1 ? fmt::format("the receiver refuses the record: {}", partial.message)
                 : fmt::format("the receiver refuses {} of {} records sent together, of which this is one: {}",
                               partial.rejected, count, partial.message);
  for (std::size_t i = 0; i < count; ++i) {
    outcome.refused.push_back({.index = outcome.acknowledged + i, .reason = reason});
  }
  outcome.acknowledged += count;
  records_ = 1;
}

void Otlp::refuse_or_halve(const Answer& answer, std::size_t count, Outcome& outcome) {
  const std::string reason = fmt::format("status {}: {}", answer.status, failure_message(answer.body));
  if (count > 1) {
    records_ = std::max<std::size_t>(1, std::min(records_, count) / 2);
    return;
  }
  constexpr std::size_t kSuspicious = 16;
  constexpr std::chrono::minutes kWait{5};
  if (refused_in_a_row_ >= kSuspicious) {
    outcome.trouble = trouble("refuses every record: " + reason, kWait);
    return;
  }
  ++refused_in_a_row_;
  outcome.refused.push_back({.index = outcome.acknowledged, .reason = "the receiver refuses the record: " + reason});
  ++outcome.acknowledged;
}

void Otlp::judge(const Answer& answer, std::size_t count, Outcome& outcome) {
  constexpr std::chrono::minutes kUntilMended{5};
  switch (answer.status) {
    case 200:
      if (const PartialSuccess partial = read_partial_success(answer.body); partial.rejected > 0) {
        take_partly(partial, count, outcome);
      } else {
        outcome.acknowledged += count;
        refused_in_a_row_ = 0;
        records_ = std::min(kUsualRecords, records_ * 2);
      }
      break;
    case 400:  // bad request
    case 413:  // too large
    case 422:  // cannot be processed
      refuse_or_halve(answer, count, outcome);
      break;
    case 0:
      outcome.trouble = trouble(answer.reason, {});
      break;
    case 429:
    case 502:
    case 503:
    case 504:
      outcome.trouble =
          trouble(fmt::format("status {}: {}", answer.status, failure_message(answer.body)),
                  answer.wait.count() > 0 ? std::optional<std::chrono::milliseconds>(answer.wait) : std::nullopt);
      break;
    default:
      // Such as a wrong address or token. A client without a log behind it would have to drop the records now.
      outcome.trouble = trouble(
          answer.status / 100 == 3
              ? fmt::format("status {}: redirects are not followed; set url to the final address", answer.status)
              : fmt::format("status {}: {}", answer.status, failure_message(answer.body)),
          kUntilMended);
  }
}

void Otlp::send(const Batch& batch, const Stop& stop, Outcome& outcome) {
  const std::size_t count = std::min(records_, batch.records.size() - outcome.acknowledged);
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  const std::string body =
      otlp_request(settings_.resource, batch.stream, batch.records.subspan(outcome.acknowledged, count),
                   std::chrono::duration_cast<std::chrono::nanoseconds>(now).count());
  judge(post(body, stop), count, outcome);
}

Outcome Otlp::deliver(const Batch& batch, const Stop& stop) {
  Outcome outcome;
  while (outcome.acknowledged < batch.records.size() && !outcome.trouble && !stop.requested()) {
    send(batch, stop, outcome);
  }
  if (stop.requested()) {
    outcome.trouble.reset();
  }
  return outcome;
}

// Whether the address can be used, and whether it wants TLS.
bool check_url(Settings& settings, const std::string& url, const std::string& tls) {
  const bool encrypted = url.starts_with("https://");
  if (!encrypted && !url.starts_with("http://")) {
    settings.complain("url", "must begin with https://");
  } else if (!encrypted && tls != "off") {
    settings.complain("url", "is not encrypted: use https://, or say tls = \"off\"");
  } else if (encrypted && tls == "off") {
    settings.complain("tls", "is off, but url begins with https://");
  }
  const std::size_t host = url.find("//");
  const std::string authority =
      host == std::string::npos ? "" : url.substr(host + 2, url.find('/', host + 2) - host - 2);
  if (authority.find('@') != std::string::npos) {
    settings.complain("url", "must not have a password in it: use bearer_token_file");
  }
  return encrypted;
}

// With the path of the protocol, unless there is one already.
std::string whole_url(const std::string& url) {
  const std::size_t host = url.find("//");
  const std::size_t path = host == std::string::npos ? host : url.find('/', host + 2);
  if (host == std::string::npos || (path != std::string::npos && path + 1 < url.size())) {
    return url;
  }
  return url.substr(0, path) + "/v1/logs";
}

std::unique_ptr<Sink> make(Settings& settings, const SinkContext& context) {
  OtlpSettings otlp;
  otlp.url = settings.text("url");
  const std::string tls = settings.text_or("tls", "verify-full");
  if (tls != "verify-full" && tls != "off") {
    settings.complain("tls", "must be 'verify-full' or 'off'");
  }
  ClientFiles files = read_client_files(settings);
  if (!otlp.url.empty() && check_url(settings, otlp.url, tls)) {
    otlp.files = std::move(files);
  }
  otlp.url = whole_url(otlp.url);
  otlp.token = settings.secret_source("bearer_token");
  otlp.resource.service = settings.text_or("service_name", otlp.resource.service);
  otlp.resource.host = settings.text_or("hostname", context.host);
  otlp.resource.version = context.version;
  constexpr std::int64_t kUsualSeconds = 30;
  constexpr std::int64_t kMostSeconds = 600;
  otlp.timeout = std::chrono::seconds(settings.number("timeout", kUsualSeconds, {1, kMostSeconds}));
  if (settings.has_complaints()) {
    return nullptr;
  }
  return std::make_unique<Otlp>(std::move(otlp));
}

}  // namespace

extern const SinkType kOtlpSink;
const SinkType kOtlpSink{"otlp", "a collector of OpenTelemetry, by OTLP over HTTP", make};

}  // namespace exporter::sinks
