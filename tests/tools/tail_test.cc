// annalctl tail: pages, following, and logs that are replaced meanwhile.
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <fstream>
#include <nlohmann/json.hpp>

#include "Corix_annal.h"
#include "tests/tools/annalctl.h"

namespace {

using Json = nlohmann::json;
using Texts = std::vector<std::string>;
using annal::test::LockHolder;

constexpr char kPath[] = "/etc/logs/event.log";

void add(const std::string& message, int type = 0) {
  EventRecord record{};
  record.event_type = type;
  message.copy(record.event_desc, sizeof record.event_desc - 1);
  ASSERT_EQ(annal_event_add_msgid_ex3(&record), ANNAL_OK);
}

Texts messages(const Texts& lines) {
  Texts texts;
  for (const std::string& line : lines) {
    texts.push_back(Json::parse(line)["event_desc"]);
  }
  return texts;
}

// A tail that polls often, and its output.
class Follower {
 public:
  explicit Follower(const Texts& options = {}) : program_(arguments(options)) {}

  [[nodiscard]] Texts shown(std::size_t count) const { return messages(program_.wait_for_lines(count)); }
  [[nodiscard]] std::string told(const std::string& text) const { return program_.wait_for_error(text); }

  void pause() const { program_.pause(); }
  void resume() const { program_.resume(); }

  // Interrupts it and returns its whole output.
  [[nodiscard]] Texts end() {
    const Finished finished = program_.finish(SIGINT);
    EXPECT_EQ(finished.status, 0) << finished.err;
    return messages(lines_of(finished.out));
  }

 private:
  static Texts arguments(const Texts& options) {
    Texts all{"event", "tail", "--json", "--interval", "0.01"};
    all.insert(all.end(), options.begin(), options.end());
    return all;
  }

  RunningAnnalctl program_;
};

class AnnalctlTail : public AnnalctlEventTest {};

}  // namespace

TEST_F(AnnalctlTail, FirstPageIsTheNewestInTheOrderOfStoring) {
  for (const char* message : {"one", "two", "three"}) {
    add(message);
  }
  const Finished two = annalctl({"event", "tail", "--no-follow", "--lines", "2", "--json"});
  EXPECT_EQ(two.status, 0) << two.err;
  EXPECT_EQ(messages(lines_of(two.out)), (Texts{"two", "three"}));
  EXPECT_EQ(lines_of(annalctl({"event", "tail", "--no-follow", "--csv", "-n", "0"}).out).size(), 1U);
}

TEST_F(AnnalctlTail, WithoutLinesItBeginsWithTen) {
  for (int i = 0; i < 12; ++i) {
    add(std::to_string(i));
  }
  EXPECT_EQ(lines_of(annalctl({"event", "tail", "--no-follow", "--json"}).out).size(), 10U);
}

TEST_F(AnnalctlTail, NewEntriesFollowThePage) {
  add("one");
  Follower follower;
  EXPECT_EQ(follower.shown(1), Texts{"one"});
  add("two");
  EXPECT_EQ(follower.shown(2), (Texts{"one", "two"}));
  add("three");
  add("four");
  EXPECT_EQ(follower.shown(4), (Texts{"one", "two", "three", "four"}));
  EXPECT_EQ(follower.end().size(), 4U);
}

TEST_F(AnnalctlTail, ZeroLinesShowsOnlyNewEntries) {
  add("one");
  // The header shows that it has polled.
  RunningAnnalctl csv({"event", "tail", "--csv", "--lines", "0", "--interval", "0.01"});
  ASSERT_EQ(csv.wait_for_lines(1).size(), 1U);
  add("two");
  const Texts lines = csv.wait_for_lines(2);
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_NE(lines[1].find("two"), std::string::npos);
  EXPECT_EQ(csv.finish(SIGTERM).status, 0);
}

TEST_F(AnnalctlTail, EmptyLogIsFollowedFromItsFirstEntry) {
  Follower follower({"--lines", "1"});
  add("one");
  EXPECT_EQ(follower.shown(1), Texts{"one"});
}

TEST_F(AnnalctlTail, FilterHoldsForThePageAndForWhatFollows) {
  add("one");
  add("two", 1);
  Follower follower({"--type", "warning"});
  EXPECT_EQ(follower.shown(1), Texts{"two"});
  add("three");
  add("four", 1);
  EXPECT_EQ(follower.shown(2), (Texts{"two", "four"}));
}

TEST_F(AnnalctlTail, NothingIsMissedOrRepeatedWhileOthersAddAtOnce) {
  add("0");
  Follower follower;
  ASSERT_EQ(follower.shown(1).size(), 1U);
  constexpr int kEach = 60;
  std::array<std::string, 2> inputs;
  for (std::size_t writer = 0; writer < inputs.size(); ++writer) {
    for (int i = 0; i < kEach; ++i) {
      inputs.at(writer) += Json{{"event_desc", std::to_string(writer) + "." + std::to_string(i)}}.dump() + "\n";
    }
  }
  const std::string path = testing::TempDir() + "annalctl_tail.jsonl";
  std::ofstream(path) << inputs[1];
  RunningAnnalctl other({"event", "import", path});
  EXPECT_EQ(annalctl({"event", "import", "-"}, inputs[0]).status, 0);
  EXPECT_EQ(other.finish().status, 0);
  const Texts shown = follower.shown(1 + 2 * kEach);
  const Finished listed = annalctl({"event", "list", "--all", "--sort", "id", "--json"});
  EXPECT_EQ(shown, messages(lines_of(listed.out)));
  EXPECT_EQ(follower.end(), shown);
  static_cast<void>(std::remove(path.c_str()));
}

TEST_F(AnnalctlTail, FullLogThatDropsItsOldestIsFollowed) {
  ASSERT_EQ(annal_event_remove_trigger_logfull(), ANNAL_OK);
  ASSERT_EQ(annal_event_add_trigger_logfull(3, 2), ANNAL_OK);
  Follower follower;
  Texts all;
  for (int i = 0; i < 12; ++i) {
    all.push_back(std::to_string(i));
    add(all.back());
    ASSERT_EQ(follower.shown(all.size()), all);
  }
}

TEST_F(AnnalctlTail, EmptiedLogIsStillFollowed) {
  add("one");
  add("two");
  Follower follower;
  ASSERT_EQ(follower.shown(2).size(), 2U);
  ASSERT_EQ(annal_event_flush_tbl(), ANNAL_OK);
  add("three");
  EXPECT_EQ(follower.shown(3), (Texts{"one", "two", "three"}));
}

TEST_F(AnnalctlTail, DeletedNewestEntryIsNotTakenForANewBeginning) {
  add("one");
  add("two");
  add("three");
  Follower follower;
  ASSERT_EQ(follower.shown(3).size(), 3U);
  const int newest = 3;
  follower.pause();
  ASSERT_EQ(annal_event_del(0, &newest), ANNAL_OK);
  add("four");
  follower.resume();
  EXPECT_EQ(follower.shown(4), (Texts{"one", "two", "three", "four"}));
}

TEST_F(AnnalctlTail, NewFileIsShownFromItsFirstEntryHoweverManyItHas) {
  for (const int entries : {1, 3, 5}) {
    add("old 1");
    add("old 2");
    add("old 3");
    Follower follower({"--lines", "3"});
    ASSERT_EQ(follower.shown(3).size(), 3U);
    follower.pause();
    static_cast<void>(std::remove(kPath));
    ASSERT_EQ(annal_event_create_tbl(0, 0), ANNAL_OK);
    Texts expected{"old 1", "old 2", "old 3"};
    for (int i = 0; i < entries; ++i) {
      expected.push_back("new " + std::to_string(i));
      add(expected.back());
    }
    follower.resume();
    EXPECT_EQ(follower.shown(expected.size()), expected);
  }
}

TEST_F(AnnalctlTail, NewTableInTheSameFileIsShownFromItsFirstEntry) {
  add("old 1");
  add("old 2");
  Follower follower;
  ASSERT_EQ(follower.shown(2).size(), 2U);
  follower.pause();
  ASSERT_EQ(annal_event_remove_tbl(), ANNAL_OK);
  ASSERT_EQ(annal_event_create_tbl(0, 0), ANNAL_OK);
  add("new 1");
  add("new 2");
  add("new 3");
  follower.resume();
  EXPECT_EQ(follower.shown(5), (Texts{"old 1", "old 2", "new 1", "new 2", "new 3"}));
}

TEST_F(AnnalctlTail, NewLogThatIsSeenEmptyIsShownFromItsFirstEntry) {
  add("old 1");
  add("old 2");
  Follower follower;
  ASSERT_EQ(follower.shown(2).size(), 2U);
  follower.pause();
  static_cast<void>(std::remove(kPath));
  ASSERT_EQ(annal_event_create_tbl(0, 0), ANNAL_OK);
  follower.resume();
  usleep(200000);  // it has most likely polled by then
  add("new 1");
  EXPECT_EQ(follower.shown(3), (Texts{"old 1", "old 2", "new 1"}));
}

TEST_F(AnnalctlTail, NewLogOfWhichEveryEntryHasANewIdIsShownFromItsFirst) {
  add("old 1");
  Follower follower;
  ASSERT_EQ(follower.shown(1).size(), 1U);
  follower.pause();
  static_cast<void>(std::remove(kPath));
  ASSERT_EQ(annal_event_create_tbl(0, 0), ANNAL_OK);
  add("new 1");
  const int first = 1;
  add("new 2");
  ASSERT_EQ(annal_event_del(0, &first), ANNAL_OK);
  follower.resume();
  EXPECT_EQ(follower.shown(2), (Texts{"old 1", "new 2"}));
}

TEST_F(AnnalctlTail, NewTriggerIsNoNewBeginning) {
  add("one");
  Follower follower;
  ASSERT_EQ(follower.shown(1).size(), 1U);
  follower.pause();
  ASSERT_EQ(annal_event_remove_trigger_logfull(), ANNAL_OK);
  ASSERT_EQ(annal_event_add_trigger_logfull(5, 1), ANNAL_OK);
  add("two");
  follower.resume();
  EXPECT_EQ(follower.shown(2), (Texts{"one", "two"}));
}

TEST_F(AnnalctlTail, MissingLogIsWaitedFor) {
  static_cast<void>(std::remove(kPath));
  Follower follower;
  EXPECT_NE(follower.told("no log yet").find("waiting"), std::string::npos);
  EXPECT_NE(access(kPath, F_OK), 0);
  ASSERT_EQ(annal_event_create_tbl(0, 0), ANNAL_OK);
  add("one");
  EXPECT_EQ(follower.shown(1), Texts{"one"});
}

TEST_F(AnnalctlTail, MissingLogIsAFailureWithoutFollowing) {
  static_cast<void>(std::remove(kPath));
  const Finished finished = annalctl({"event", "tail", "--no-follow"});
  EXPECT_EQ(finished.status, 1);
  EXPECT_NE(finished.err.find("run 'annalctl event create'"), std::string::npos) << finished.err;
  EXPECT_NE(access(kPath, F_OK), 0);
}

TEST_F(AnnalctlTail, LockedLogIsReadWhenItIsFree) {
  add("one");
  Follower follower;
  ASSERT_EQ(follower.shown(1).size(), 1U);
  add("two");
  const LockHolder holder(kPath, std::chrono::milliseconds(300));
  EXPECT_EQ(follower.shown(2), (Texts{"one", "two"}));
}

TEST_F(AnnalctlTail, SignalEndsItAtOnceEvenWhileItWaitsForALock) {
  add("one");
  for (const int signal : {SIGINT, SIGTERM}) {
    const LockHolder holder(kPath);
    RunningAnnalctl tail({"event", "tail", "--interval", "0.01"});
    ASSERT_TRUE(tail.comes_to_open(kPath));  // so it is in the library's wait, or about to be
    EXPECT_EQ(tail.finish(signal).status, 0);
  }
}

TEST_F(AnnalctlTail, ReaderThatGoesAwayEndsItSilentlyEvenWithoutNewEntries) {
  add("one");
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
  RunningAnnalctl tail({"event", "tail", "--csv", "--interval", "0.01"}, ends[1]);
  close(ends[1]);
  char first = 0;
  ASSERT_EQ(read(ends[0], &first, 1), 1);
  close(ends[0]);
  EXPECT_EQ(tail.finish().err, "");
}

TEST_F(AnnalctlTail, TableHasItsTitlesOnceAndLinesUpWhatFollows) {
  add("one");
  RunningAnnalctl tail({"event", "tail", "--interval", "0.01"});
  ASSERT_EQ(tail.wait_for_lines(2).size(), 2U);
  add("two", 1);
  const Texts lines = tail.wait_for_lines(3);
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_EQ(lines[0].find("Message"), lines[1].find("one"));
  EXPECT_EQ(lines[0].find("Message"), lines[2].find("two"));
}
