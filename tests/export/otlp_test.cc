// The requests of OTLP, and the sink with each answer that a receiver may give.
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <mutex>
#include <string>
#include <vector>

#include "tests/export/made_sink.h"
#include "tests/export/sample_records.h"
#include "tests/export/small_server.h"
#include "tools/export/sinks/otlp_request.h"

namespace exporter::testing {

namespace {

using sinks::failure_message;
using sinks::otlp_request;
using sinks::otlp_severity;
using sinks::read_partial_success;

const sinks::OtlpResource kResource{.service = "annal", .host = "appliance1", .version = "2.0.0"};

TEST(OtlpRequest, HasResourceScopeAndRecordsWithLongNumbersAsTexts) {
  Sample sample;
  Record& record = sample.add(9007199254740993, "Volume 1 is nearly \"full\".");
  record.fields = record.fields.first(3);
  EXPECT_EQ(otlp_request(kResource, sample.stream, sample.records, 1795255201500000000),
            R"({"resourceLogs":[{"resource":{"attributes":[)"
            R"({"key":"service.name","value":{"stringValue":"annal"}},)"
            R"({"key":"service.instance.id","value":{"stringValue":"0123456789abcdef0123456789abcdef"}},)"
            R"({"key":"host.id","value":{"stringValue":"0123456789abcdef0123456789abcdef"}},)"
            R"({"key":"host.name","value":{"stringValue":"appliance1"}},)"
            R"({"key":"os.type","value":{"stringValue":"linux"}}]},)"
            R"("scopeLogs":[{"scope":{"name":"annal.event","version":"2.0.0"},"logRecords":[{)"
            R"("timeUnixNano":"1795255200000000000","observedTimeUnixNano":"1795255201500000000",)"
            R"("severityNumber":13,"severityText":"warning","body":{"stringValue":"Volume 1 is nearly \"full\"."},)"
            R"("attributes":[{"key":"log.record.uid","value":)"
            R"({"stringValue":"0123456789abcdef0123456789abcdef/event/1/9007199254740993"}},)"
            R"({"key":"annal.log","value":{"stringValue":"event"}},)"
            R"({"key":"annal.generation","value":{"intValue":"1"}},)"
            R"({"key":"annal.kind","value":{"stringValue":"entry"}},)"
            R"({"key":"annal.id","value":{"intValue":"9007199254740993"}},)"
            R"({"key":"annal.event.event_id","value":{"intValue":"9007199254740993"}},)"
            R"({"key":"annal.event.event_type","value":{"intValue":"1"}},)"
            R"({"key":"annal.event.event_date","value":{"stringValue":"2026-11-21"}}]}]}]}]})");
}

TEST(OtlpRequest, LeavesOutATimeThatIsUnknownOrDoesNotFit) {
  Sample sample;
  sample.add(1).seconds.reset();
  sample.add(2).seconds = INT64_MAX;
  sample.add(3).seconds = -1;
  EXPECT_EQ(otlp_request(kResource, sample.stream, sample.records, 5).find("timeUnixNano"), std::string::npos);
}

TEST(OtlpRequest, NumbersSeveritiesAsTheProtocolMapsThoseOfSyslog) {
  const std::array<int, 8> wanted{21, 19, 18, 17, 13, 10, 9, 5};
  for (int severity = 0; severity < 8; ++severity) {
    EXPECT_EQ(otlp_severity(severity), wanted.at(static_cast<std::size_t>(severity)));
  }
  EXPECT_EQ(otlp_severity(-1), 21);
  EXPECT_EQ(otlp_severity(99), 5);
}

TEST(OtlpAnswer, TellsHowManyWereRejected) {
  EXPECT_EQ(read_partial_success(R"({"partialSuccess":{"rejectedLogRecords":"3","errorMessage":"no\u001b"}})").rejected,
            3U);
  EXPECT_EQ(read_partial_success(R"({"partialSuccess":{"rejectedLogRecords":"3","errorMessage":"no\u001b"}})").message,
            R"(no\x1b)");
  EXPECT_EQ(read_partial_success(R"({"partialSuccess":{"rejectedLogRecords":3}})").rejected, 3U);
  for (const char* const body : {"", "{}", "[]", "null", R"({"partialSuccess":{}})", R"({"partialSuccess":null})",
                                 R"({"partialSuccess":{"rejectedLogRecords":"x"}})", "\xff"}) {
    EXPECT_EQ(read_partial_success(body).rejected, 0U) << body;
  }
}

TEST(OtlpAnswer, GivesTheReasonOfAFailure) {
  EXPECT_EQ(failure_message(R"({"code":3,"message":"bad\nrecord"})"), R"(bad\x0arecord)");
  EXPECT_EQ(failure_message("<html>\x1b"), R"(<html>\x1b)");
  EXPECT_EQ(failure_message(std::string(1000, 'x')).size(), 200U);
}

// Answers each request with the next of these, and then with success.
class Receiver {
 public:
  // A request with a text that is a poison gets a 400.
  explicit Receiver(std::vector<std::string> answers, std::string poison = {})
      : answers_(std::move(answers)), poison_(std::move(poison)), server_([this](Peer& peer) { serve(peer); }) {}

  [[nodiscard]] int port() const { return server_.port(); }
  [[nodiscard]] std::vector<std::string> requests() const {
    const std::lock_guard lock(mutex_);
    return requests_;
  }

 private:
  void serve(Peer& peer) {
    for (std::string head = peer.read_until("\r\n\r\n"); !head.empty(); head = peer.read_until("\r\n\r\n")) {
      constexpr std::string_view kLength = "Content-Length: ";
      const std::string body = peer.read(std::stoul(head.substr(head.find(kLength) + kLength.size())));
      {
        const std::lock_guard lock(mutex_);
        requests_.push_back(head + body);
      }
      if (!poison_.empty() && body.find(poison_) != std::string::npos) {
        peer.write("HTTP/1.1 400 Bad\r\nContent-Length: 22\r\n\r\n{\"message\":\"a poison\"}");
      } else if (next_ < answers_.size()) {
        peer.write("HTTP/1.1 " + answers_[next_++]);
      } else {
        peer.write("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n{}");
      }
    }
  }

  std::vector<std::string> answers_;
  std::string poison_;
  mutable std::mutex mutex_;
  std::size_t next_ = 0;
  std::vector<std::string> requests_;
  SmallServer server_;  // ends first
};

MadeSink sink_to(const Receiver& receiver, const std::string& more = "") {
  MadeSink made =
      make_sink(fmt::format("type = 'otlp'\nurl = 'http://127.0.0.1:{}'\ntls = 'off'\n{}", receiver.port(), more));
  EXPECT_EQ(made.complaints, "");
  return made;
}

std::string answer(const std::string& status, const std::string& header = "", const std::string& body = "{}") {
  return fmt::format("{}\r\n{}Content-Length: {}\r\n\r\n{}", status, header, body.size(), body);
}

TEST(OtlpSink, PostsToThePathOfTheProtocol) {
  const Receiver receiver({});
  const MadeSink made = sink_to(receiver);
  const Stop stop;
  EXPECT_EQ(made.sink->deliver(sample_of(3).batch(), stop).acknowledged, 3U);
  ASSERT_EQ(receiver.requests().size(), 1U);
  const std::string request = receiver.requests()[0];
  EXPECT_TRUE(request.starts_with("POST /v1/logs HTTP/1.1\r\n")) << request;
  EXPECT_NE(request.find("\r\nContent-Type: application/json\r\n"), std::string::npos);
  EXPECT_EQ(request.find("Authorization"), std::string::npos);
}

TEST(OtlpSink, WaitsAsLongAsTheReceiverAsks) {
  std::array<char, 64> date{};
  const std::time_t later = std::time(nullptr) + 100;
  struct tm parts {};
  gmtime_r(&later, &parts);
  std::strftime(date.data(), date.size(), "Retry-After: %a, %d %b %Y %H:%M:%S GMT\r\n", &parts);
  const Receiver receiver({answer("429 Too Many", "Retry-After: 7\r\n"), answer("503 Busy", date.data()),
                           answer("502 Bad"), answer("504 Late", "Retry-After: 999999\r\n")});
  const MadeSink made = sink_to(receiver);
  const Stop stop;
  std::vector<std::optional<std::chrono::milliseconds>> waits;
  for (int i = 0; i < 4; ++i) {
    const Outcome outcome = made.sink->deliver(sample_of(1).batch(), stop);
    EXPECT_EQ(outcome.acknowledged, 0U);
    ASSERT_TRUE(outcome.trouble);
    waits.push_back(outcome.trouble->wait);
  }
  EXPECT_EQ(waits[0], std::chrono::seconds(7));
  EXPECT_GT(waits[1].value(), std::chrono::seconds(90));
  EXPECT_LE(waits[1].value(), std::chrono::seconds(100));
  EXPECT_FALSE(waits[2]);
  EXPECT_EQ(waits[3], std::chrono::hours(1));
}

TEST(OtlpSink, DoesNotFollowARedirect) {
  const Receiver elsewhere({});
  const Receiver receiver(
      {answer("307 Elsewhere", fmt::format("Location: http://127.0.0.1:{}/v1/logs\r\n", elsewhere.port()))});
  const MadeSink made = sink_to(receiver);
  const Stop stop;
  const Outcome outcome = made.sink->deliver(sample_of(1).batch(), stop);
  ASSERT_TRUE(outcome.trouble);
  EXPECT_NE(outcome.trouble->reason.find("redirects are not followed"), std::string::npos);
  EXPECT_TRUE(elsewhere.requests().empty());
}

TEST(OtlpSink, KeepsTheRecordsIfTheReceiverIsTheWrongOne) {
  for (const char* const status : {"401 Who", "403 No", "404 Where", "405 How", "500 Broken"}) {
    const Receiver receiver({answer(status)});
    const MadeSink made = sink_to(receiver);
    const Stop stop;
    const Outcome outcome = made.sink->deliver(sample_of(2).batch(), stop);
    EXPECT_EQ(outcome.acknowledged, 0U) << status;
    ASSERT_TRUE(outcome.trouble);
    EXPECT_EQ(outcome.trouble->wait, std::chrono::minutes(5));
    EXPECT_EQ(receiver.requests().size(), 1U);
  }
}

TEST(OtlpSink, FindsTheOneRecordThatIsRefused) {
  const Receiver receiver({}, "poison");
  const MadeSink made = sink_to(receiver);
  Sample sample = sample_of(0);
  for (int id = 1; id <= 100; ++id) {
    sample.add(id, id == 42 ? "poison" : "");
  }
  const Stop stop;
  const Outcome outcome = made.sink->deliver(sample.batch(), stop);
  EXPECT_EQ(outcome.acknowledged, 100U);
  ASSERT_EQ(outcome.refused.size(), 1U);
  EXPECT_EQ(outcome.refused[0].index, 41U);
  EXPECT_NE(outcome.refused[0].reason.find("a poison"), std::string::npos);
}

TEST(OtlpSink, SuspectsTheReceiverIfItRefusesEverything) {
  const Receiver receiver({}, "resourceLogs");
  const MadeSink made = sink_to(receiver);
  const Stop stop;
  const Outcome outcome = made.sink->deliver(sample_of(100).batch(), stop);
  EXPECT_EQ(outcome.acknowledged, 16U);
  EXPECT_EQ(outcome.refused.size(), 16U);
  ASSERT_TRUE(outcome.trouble);
  EXPECT_NE(outcome.trouble->reason.find("refuses every record"), std::string::npos);
}

TEST(OtlpSink, SetsAsideAPartialSuccessAndNeverRepeatsIt) {
  const Receiver receiver(
      {answer("200 OK", "", R"({"partialSuccess":{"rejectedLogRecords":"1","errorMessage":"too old"}})")});
  const MadeSink made = sink_to(receiver);
  const Stop stop;
  const Outcome outcome = made.sink->deliver(sample_of(3).batch(), stop);
  EXPECT_EQ(outcome.acknowledged, 3U);
  EXPECT_EQ(outcome.refused.size(), 3U);
  EXPECT_FALSE(outcome.trouble);
  EXPECT_EQ(receiver.requests().size(), 1U);
  // The next ones go one by one, so that the receiver's word is about one.
  EXPECT_EQ(made.sink->deliver(sample_of(3).batch(), stop).acknowledged, 3U);
  EXPECT_EQ(receiver.requests().size(), 3U);  // of 1 and of 2 records
}

TEST(OtlpSink, ReportsAReceiverThatIsSilent) {
  SmallServer silent([](Peer& peer) { peer.read_until("never"); });
  const MadeSink made = make_sink(
      fmt::format("type = 'otlp'\nurl = 'http://127.0.0.1:{}/v1/logs'\ntls = 'off'\ntimeout = 1\n", silent.port()));
  const Stop stop;
  const Outcome outcome = made.sink->deliver(sample_of(1).batch(), stop);
  ASSERT_TRUE(outcome.trouble);
  EXPECT_NE(outcome.trouble->reason.find("timed out"), std::string::npos) << outcome.trouble->reason;
}

TEST(OtlpSink, SendsItsTokenInTheHeaderAlone) {
  const std::string file = ::testing::TempDir() + "otlp_token_" + std::to_string(getpid());
  std::FILE* const written = std::fopen(file.c_str(), "w");
  ASSERT_NE(written, nullptr);
  std::fputs("top-secret\n", written);
  std::fclose(written);
  const Receiver receiver({answer("401 Who")});
  const MadeSink made = sink_to(receiver, "bearer_token_file = '" + file + "'\n");
  const Stop stop;
  const Outcome outcome = made.sink->deliver(sample_of(1).batch(), stop);
  std::remove(file.c_str());
  ASSERT_EQ(receiver.requests().size(), 1U);
  const std::string request = receiver.requests()[0];
  EXPECT_NE(request.find("\r\nAuthorization: Bearer top-secret\r\n"), std::string::npos);
  EXPECT_EQ(request.find("top-secret"), request.rfind("top-secret"));
  EXPECT_EQ(outcome.trouble.value().reason.find("top-secret"), std::string::npos);
}

}  // namespace

}  // namespace exporter::testing
