// RELP's frames, and the sink with receivers that do everything but what they should.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "tests/export/made_sink.h"
#include "tests/export/sample_records.h"
#include "tests/export/small_server.h"
#include "tools/export/sinks/relp_frame.h"

namespace exporter::testing {

namespace {

using sinks::relp_frame;
using sinks::RelpError;
using sinks::RelpFrame;
using sinks::take_relp_frame;

TEST(RelpFrame, HasNumberCommandLengthAndData) {
  EXPECT_EQ(relp_frame(12, "syslog", "a b"), "12 syslog 3 a b\n");
  EXPECT_EQ(relp_frame(1, "close", ""), "1 close 0\n");
}

TEST(RelpFrame, IsTakenOnceItIsThere) {
  const std::string whole = "7 rsp 6 200 OK\n";
  for (std::size_t size = 0; size < whole.size(); ++size) {
    std::string received = whole.substr(0, size);
    EXPECT_FALSE(take_relp_frame(received)) << size;
    EXPECT_EQ(received, whole.substr(0, size));
  }
  std::string received = whole + "0 serverclose 0\n8 r";
  const auto first = take_relp_frame(received);
  ASSERT_TRUE(first);
  EXPECT_EQ(first->number, 7);
  EXPECT_EQ(first->command, "rsp");
  EXPECT_EQ(first->data, "200 OK");
  const auto second = take_relp_frame(received);
  ASSERT_TRUE(second);
  EXPECT_EQ(second->command, "serverclose");
  EXPECT_FALSE(take_relp_frame(received));
  EXPECT_EQ(received, "8 r");
}

TEST(RelpFrame, MayHoldLineEnds) {
  std::string received = "1 rsp 9 200 OK\na\n\n";
  const auto frame = take_relp_frame(received);
  ASSERT_TRUE(frame);
  EXPECT_EQ(frame->data, "200 OK\na\n");
}

TEST(RelpFrame, IsRefusedIfItIsNone) {
  for (const std::string bytes :
       {"HTTP/1.1 200 OK\r\n", "-1 rsp 0\n", "1\nrsp 0\n", "1 rsp x\n", "1 rsp 3 abcd", "1234567890 rsp 0\n",
        "1 rsp 999999999 a", "1 rsp  6 200 OK\n", "\x16\x03\x01 x y\n"}) {
    std::string received = bytes;
    EXPECT_THROW(static_cast<void>(take_relp_frame(received)), RelpError) << bytes;
  }
}

constexpr const char* kOpened = "1 rsp 44 200 OK\nrelp_version=0\nrelp_software=x\ncommands=syslog\n";

// The next frame of the client; its command is empty if the client has gone.
RelpFrame next_frame(Peer& peer) {
  RelpFrame frame{};
  const std::string number = peer.read_until(" ");
  frame.command = peer.read_until(" ");
  if (number.empty() || frame.command.empty()) {
    return {};
  }
  frame.command.pop_back();
  frame.number = std::stoi(number);
  std::string length;
  for (std::string c = peer.read(1); !c.empty() && c != " " && c != "\n"; c = peer.read(1)) {
    length += c;
  }
  if (length != "0") {
    frame.data = peer.read(std::stoul(length));
    peer.read(1);
  }
  return frame;
}

bool open(Peer& peer) {
  const RelpFrame frame = next_frame(peer);
  std::string greeting = kOpened;
  greeting.replace(greeting.find("44"), 2, std::to_string(greeting.size() - std::string("1 rsp 44 \n").size()));
  peer.write(greeting);
  return frame.command == "open" && frame.data.find("commands=syslog") != std::string::npos;
}

MadeSink sink_to(const SmallServer& server, const std::string& more = "") {
  MadeSink made =
      make_sink(fmt::format("type = 'relp'\nhost = '127.0.0.1'\nport = {}\ntls = 'off'\n{}", server.port(), more));
  EXPECT_EQ(made.complaints, "");
  return made;
}

TEST(RelpSink, AcknowledgesWhatTheReceiverHas) {
  SmallServer server([](Peer& peer) {
    open(peer);
    for (RelpFrame frame = next_frame(peer); frame.command == "syslog"; frame = next_frame(peer)) {
      peer.write(relp_frame(frame.number, "rsp", "200 OK"));
    }
  });
  const MadeSink made = sink_to(server);
  const Stop stop;
  for (int batch = 0; batch < 2; ++batch) {  // the second one on the same connection
    const Sample sample = sample_of(1000);
    const Outcome outcome = made.sink->deliver(sample.batch(), stop);
    EXPECT_EQ(outcome.acknowledged, 1000U);
    EXPECT_FALSE(outcome.trouble);
  }
}

TEST(RelpSink, CountsOnlyFromTheFirstRecordOn) {
  // The third one is never answered, those after it are.
  SmallServer server([](Peer& peer) {
    open(peer);
    std::vector<int> numbers;
    for (int i = 0; i < 5; ++i) {
      numbers.push_back(next_frame(peer).number);
    }
    for (const int i : {4, 1, 0, 3}) {
      peer.write(relp_frame(numbers.at(static_cast<std::size_t>(i)), "rsp", "200 OK"));
    }
    next_frame(peer);
  });
  const MadeSink made = sink_to(server, "timeout = 2\n");
  const Stop stop;
  const Sample sample = sample_of(5);
  const Outcome outcome = made.sink->deliver(sample.batch(), stop);
  EXPECT_EQ(outcome.acknowledged, 2U);
  ASSERT_TRUE(outcome.trouble);
  EXPECT_NE(outcome.trouble->reason.find("does not answer within 2 s"), std::string::npos) << outcome.trouble->reason;
}

TEST(RelpSink, ReportsWhateverElseTheReceiverSays) {
  struct Case {
    const char* answer;
    const char* reason;
  };
  for (const auto& [answer, reason] :
       {Case{"2 rsp 9 500 no\x1b[3\n", R"(cannot take a message: 500 no\x1b[3)"},
        Case{"0 serverclose 0\n", "ended the session"}, Case{"99 rsp 6 200 OK\n", "answers what was not sent"},
        Case{"HTTP/1.1 400 Bad\r\n", "is not RELP"}}) {
    SmallServer server([answer = answer](Peer& peer) {
      open(peer);
      next_frame(peer);
      peer.write(answer);
      next_frame(peer);
    });
    const MadeSink made = sink_to(server);
    const Stop stop;
    const Sample sample = sample_of(1);
    const Outcome outcome = made.sink->deliver(sample.batch(), stop);
    EXPECT_EQ(outcome.acknowledged, 0U);
    ASSERT_TRUE(outcome.trouble) << answer;
    EXPECT_NE(outcome.trouble->reason.find(reason), std::string::npos) << outcome.trouble->reason;
  }
}

TEST(RelpSink, ReportsAReceiverWithoutSyslog) {
  SmallServer server([](Peer& peer) {
    next_frame(peer);
    peer.write("1 rsp 21 200 OK\ncommands=other\n");
    next_frame(peer);
  });
  const MadeSink made = sink_to(server);
  const Stop stop;
  const Outcome outcome = made.sink->deliver(sample_of(1).batch(), stop);
  ASSERT_TRUE(outcome.trouble);
}

TEST(RelpSink, ConnectsAgainAfterATrouble) {
  int connection = 0;
  SmallServer server([&connection](Peer& peer) {
    open(peer);
    const RelpFrame frame = next_frame(peer);
    if (++connection == 2) {
      peer.write(relp_frame(frame.number, "rsp", "200 OK"));
      next_frame(peer);
    }
  });
  const MadeSink made = sink_to(server);
  const Stop stop;
  const Sample sample = sample_of(1);
  EXPECT_TRUE(made.sink->deliver(sample.batch(), stop).trouble);
  EXPECT_EQ(made.sink->deliver(sample.batch(), stop).acknowledged, 1U);
}

TEST(RelpSink, SetsAsideWhatIsLongerThanTheReceiverTakes) {
  SmallServer server([](Peer& peer) {
    open(peer);
    for (RelpFrame frame = next_frame(peer); frame.command == "syslog"; frame = next_frame(peer)) {
      peer.write(relp_frame(frame.number, "rsp", "200 OK"));
    }
  });
  const MadeSink made = sink_to(server, "max_message_bytes = 2000\n");
  Sample sample;
  sample.add(1);
  sample.add(2, std::string(2000, 'x'));
  sample.add(3);
  const Stop stop;
  const Outcome outcome = made.sink->deliver(sample.batch(), stop);
  EXPECT_EQ(outcome.acknowledged, 3U);
  ASSERT_EQ(outcome.refused.size(), 1U);
  EXPECT_EQ(outcome.refused[0].index, 1U);
}

TEST(RelpSink, EndsWhenAsked) {
  SmallServer server([](Peer& peer) {
    open(peer);
    while (next_frame(peer).command == "syslog") {
    }
  });
  const MadeSink made = sink_to(server);
  Stop stop;
  stop.request();
  const Outcome outcome = made.sink->deliver(sample_of(3).batch(), stop);
  EXPECT_EQ(outcome.acknowledged, 0U);
  EXPECT_FALSE(outcome.trouble);
}

}  // namespace

}  // namespace exporter::testing
