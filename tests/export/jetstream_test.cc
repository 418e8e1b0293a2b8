// The JetStream sink and a server that answers as the test wants: what real ones do too seldom to be waited for.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "tests/export/made_sink.h"
#include "tests/export/sample_records.h"
#include "tests/export/small_server.h"
#include "tools/export/stop.h"

namespace exporter::testing {

namespace {

// What a server says to the message of a connection, by its number from 0 on: nothing, or an answer's body, or kNobody.
using Says = std::function<std::string(std::size_t connection, std::size_t message)>;
constexpr char kStored[] = R"({"stream":"ANNAL","seq":1})";
constexpr char kKnown[] = R"({"stream":"ANNAL","seq":1,"duplicate":true})";
constexpr char kNobody[] = "nobody listens";

class Node {
 public:
  explicit Node(Says says) : says_(std::move(says)), server_([this](Peer& peer) { serve(peer); }) {}

  [[nodiscard]] MadeSink sink() const {
    MadeSink made = make_sink(fmt::format(
        "type = 'jetstream'\nservers = ['nats://127.0.0.1:{}']\ntls = 'off'\ntimeout = 2\n", server_.port()));
    EXPECT_EQ(made.complaints, "");
    return made;
  }

 private:
  void serve(Peer& peer) {
    peer.write(
        "INFO {\"server_id\":\"N\",\"version\":\"2.9.10\",\"headers\":true,\"max_payload\":1048576,\"proto\":1}\r\n");
    const std::size_t connection = connections_++;
    std::size_t message = 0;
    std::string number;  // of the subscription to answers
    for (std::string line = peer.read_until("\r\n"); !line.empty(); line = peer.read_until("\r\n")) {
      const std::vector<std::string> words = words_of(line);
      if (words.at(0) == "PING") {
        peer.write("PONG\r\n");
      } else if (words.at(0) == "SUB") {
        number = words.back();
      } else if (words.at(0) == "HPUB") {
        peer.read(std::stoul(words.at(4)) + 2);
        answer(peer, says_(connection, message++), words.at(2), number);
      }
    }
  }

  static void answer(const Peer& peer, const std::string& body, const std::string& place, const std::string& number) {
    if (body == kNobody) {
      const std::string header = "NATS/1.0 503\r\n\r\n";
      peer.write(fmt::format("HMSG {} {} {} {}\r\n{}\r\n", place, number, header.size(), header.size(), header));
    } else if (!body.empty()) {
      peer.write(fmt::format("MSG {} {} {}\r\n{}\r\n", place, number, body.size(), body));
    }
  }

  static std::vector<std::string> words_of(const std::string& line) {
    std::vector<std::string> words;
    for (std::size_t begin = 0; begin < line.size();) {
      const std::size_t end = std::min(line.find_first_of(" \r\n", begin), line.size());
      if (end > begin) {
        words.push_back(line.substr(begin, end - begin));
      }
      begin = end + 1;
    }
    return words;
  }

  Says says_;
  std::size_t connections_ = 0;
  SmallServer server_;  // ends first
};

TEST(JetstreamSink, NoticesThatAMessageIsNeverAnsweredAndRepeatsIt) {
  const Node node([](std::size_t connection, std::size_t message) -> std::string {
    return connection == 0 && message == 1 ? "" : kStored;
  });
  const MadeSink made = node.sink();
  const Stop stop;
  const Sample sample = sample_of(3);
  const Outcome first = made.sink->deliver(sample.batch(), stop);
  EXPECT_EQ(first.acknowledged, 1U);
  ASSERT_TRUE(first.trouble);
  EXPECT_NE(first.trouble->reason.find("1 messages were not acknowledged within 2 seconds"), std::string::npos)
      << first.trouble->reason;
  const Outcome again = made.sink->deliver(sample.batch(), stop);
  EXPECT_EQ(again.acknowledged, 3U);
  EXPECT_FALSE(again.trouble);
}

TEST(JetstreamSink, TakesAMessageThatTheStreamKnowsForStored) {
  const Node node([](std::size_t /*connection*/, std::size_t /*message*/) { return kKnown; });
  const MadeSink made = node.sink();
  const Stop stop;
  const Outcome outcome = made.sink->deliver(sample_of(5).batch(), stop);
  EXPECT_EQ(outcome.acknowledged, 5U);
  EXPECT_TRUE(outcome.refused.empty());
  EXPECT_FALSE(outcome.trouble);
}

TEST(JetstreamSink, WaitsForAStreamWithoutALeader) {
  const Node node([](std::size_t connection, std::size_t /*message*/) { return connection == 0 ? kNobody : kStored; });
  const MadeSink made = node.sink();
  const Stop stop;
  const Sample sample = sample_of(2);
  const Outcome first = made.sink->deliver(sample.batch(), stop);
  EXPECT_EQ(first.acknowledged, 0U);
  ASSERT_TRUE(first.trouble);
  EXPECT_NE(first.trouble->reason.find("no stream takes this subject"), std::string::npos) << first.trouble->reason;
  EXPECT_EQ(made.sink->deliver(sample.batch(), stop).acknowledged, 2U);
}

TEST(JetstreamSink, SetsAsideOnlyWhatIsTooLongForTheStreamAndWaitsForAFullOne) {
  const Node node([](std::size_t /*connection*/, std::size_t message) -> std::string {
    return message == 0   ? kStored
           : message == 1 ? R"({"error":{"code":400,"err_code":10054,"description":"message size exceeds maximum"}})"
           : message == 2 ? R"({"error":{"code":503,"err_code":10077,"description":"maximum bytes exceeded"}})"
                          : "";
  });
  const MadeSink made = node.sink();
  const Stop stop;
  const Outcome outcome = made.sink->deliver(sample_of(3).batch(), stop);
  EXPECT_EQ(outcome.acknowledged, 2U);
  ASSERT_EQ(outcome.refused.size(), 1U);
  EXPECT_EQ(outcome.refused[0].index, 1U);
  ASSERT_TRUE(outcome.trouble);
  EXPECT_NE(outcome.trouble->reason.find("maximum bytes exceeded"), std::string::npos) << outcome.trouble->reason;
}

TEST(JetstreamSink, EndsWhenAskedWithWhatWasAcknowledged) {
  Stop stop;
  const Node node([&stop](std::size_t /*connection*/, std::size_t message) -> std::string {
    if (message == 2) {
      stop.request();
    }
    return message < 2 ? kStored : "";
  });
  const MadeSink made = node.sink();
  const Outcome outcome = made.sink->deliver(sample_of(3).batch(), stop);
  EXPECT_EQ(outcome.acknowledged, 2U);
  EXPECT_FALSE(outcome.trouble);
  // Nor does it connect then.
  const MadeSink other = node.sink();
  EXPECT_EQ(other.sink->deliver(sample_of(1).batch(), stop).acknowledged, 0U);
}

}  // namespace

}  // namespace exporter::testing
