// Cuts the power at every barrier of a log's life. The log must then be sound and match the last commit: every
// acknowledged row once, and no partial row.
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <stdexcept>

#include "Corix_annal.h"
#include "common/paths.h"
#include "tests/support/log_file.h"
#include "tests/trust/harness/log_state.h"
#include "tests/trust/harness/scenarios.h"
#include "tests/trust/harness/shim_vfs.h"
#include "tests/trust/harness/trust_test.h"

namespace annal::test {
namespace {

// One call of a log's life, with the result that means success.
struct Step {
  const char* what;
  std::function<int()> call;
};

struct LogLife {
  const char* name;
  const char* path;
  std::function<void()> begin;  // the initial state
  std::vector<Step> steps;
};

void PrintTo(const LogLife& life, std::ostream* out) {
  *out << life.name;
}

template <typename Record>
int add_event(int (*add)(Record*), const char* text) {
  auto record = an_event<std::remove_const_t<Record>>(text);
  return add(&record);
}

template <typename Record>
int add_connection(int (*add)(Record*), const char* resource) {
  auto record = a_connection<std::remove_const_t<Record>>(resource);
  return add(&record);
}

int add_batch(const char* first, const char* second, const char* third) {
  ConnRecord records[] = {a_connection<ConnRecord>(first), a_connection<ConnRecord>(second),
                          a_connection<ConnRecord>(third)};
  int inserted = 0;
  const int result = annal_conn_add_entries2(records, 3, &inserted);
  return inserted == 3 ? result : ANNAL_INSERT_FAILED;
}

int add_notice(const char* text) {
  NoticeRecord record = a_notice(text);
  return annal_notice_add(&record);
}

int add_file_operation(const char* path, std::int64_t id) {
  FileOpRecord record = a_file_operation(path);
  return pavo2log_event_add(kFileOpLog, &record) == id ? ANNAL_OK : ANNAL_INSERT_FAILED;
}

const int kSecond = 2;

std::vector<LogLife> lives() {
  return {
      {"Events",
       kEventLog,
       [] {},
       {{"create", [] { return annal_event_create_tbl(4, 2); }},
        {"add", [] { return add_event(&annal_event_add, "first"); }},
        {"add_msgid", [] { return add_event(&annal_event_add_msgid, "second"); }},
        {"add_msgid_ex2", [] { return add_event(&annal_event_add_msgid_ex2, "third"); }},
        {"add_msgid_ex3", [] { return add_event(&annal_event_add_msgid_ex3, "fourth"); }},
        {"add to a full log", [] { return add_event(&annal_event_add_msgid_ex3, "fifth"); }},
        {"add with a long text", [] { return add_event(&annal_event_add_msgid_ex3, std::string(2000, 'x').c_str()); }},
        {"remove the trigger", [] { return annal_event_remove_trigger_logfull(); }},
        {"add a trigger", [] { return annal_event_add_trigger_logfull(9, 1); }},
        {"delete one", [] { return annal_event_del(0, &kSecond); }},
        {"delete by text", [] { return annal_event_del(7, "fourth"); }},
        {"rewrite the time stamps", [] { return annal_event_table_update_event_timet(nullptr, "%s"); }},
        {"add a column", [] { return annal_event_table_add_column("one_more", 1, "7"); }},
        {"trim", [] { return annal_event_del_logfull_over_size(1); }},
        {"empty", [] { return annal_event_flush_tbl(); }},
        {"add to the empty log", [] { return add_event(&annal_event_add_msgid_ex3, "last"); }},
        {"remove", [] { return annal_event_remove_tbl(); }},
        {"create again", [] { return annal_event_create_tbl(0, 0); }}}},
      {"EventsOfAnEarlierRelease",
       kEventLog,
       [] { set_up(Log::kEvents, Start::kOld); },
       {{"migrate", [] { return annal_event_modify_tbl(); }},
        {"add", [] { return add_event(&annal_event_add_msgid_ex3, "new"); }}}},
      {"Connections",
       kConnLog,
       [] {},
       {{"create", [] { return annal_conn_create_tbl(5, 2); }},
        {"add", [] { return add_connection(&annal_conn_add, "/first"); }},
        {"add2", [] { return add_connection(&annal_conn_add2, "/second"); }},
        {"batch", [] { return add_batch("/third", "/fourth", "/fifth"); }},
        {"batch to a full log", [] { return add_batch("/sixth", "/seventh", std::string(1000, 'x').c_str()); }},
        {"remove the trigger", [] { return annal_conn_remove_trigger_logfull(); }},
        {"add a trigger", [] { return annal_conn_add_trigger_logfull(9, 1); }},
        {"batch to a log with room", [] { return add_batch("/a", "/b", "/c"); }},
        {"delete by resource", [] { return annal_conn_del(7, "/sixth"); }},
        {"delete the oldest", [] { return annal_conn_del_full(2); }},
        {"add a column", [] { return annal_conn_table_add_column("one_more", 0, "a"); }},
        {"empty", [] { return annal_conn_flush_tbl(); }},
        {"remove", [] { return annal_conn_remove_tbl(); }},
        {"create again", [] { return annal_conn_create_tbl(0, 0); }}}},
      {"ConnectionsOfAnEarlierRelease",
       kConnLog,
       [] { set_up(Log::kConnections, Start::kOld); },
       {{"migrate", [] { return annal_conn_modify_tbl(); }},
        {"add", [] { return add_connection(&annal_conn_add2, "/new"); }}}},
      {"FileOperations",
       kFileOpLog,
       [] {},
       {{"create", [] { return pavo2log_event_create_tbl(kFileOpLog, 3, 2); }},
        {"add", [] { return add_file_operation("/first", 1); }},
        {"add another", [] { return add_file_operation("/second", 2); }},
        {"add a third", [] { return add_file_operation("/third", 3); }},
        {"add to a full log", [] { return add_file_operation(std::string(3000, 'x').c_str(), 4); }},
        {"remove the trigger", [] { return pavo2log_event_remove_trigger_logfull(kFileOpLog); }},
        {"add a trigger", [] { return pavo2log_event_add_trigger_logfull(kFileOpLog, 9, 1); }},
        {"delete by path", [] { return pavo2log_event_del(kFileOpLog, 12, "/third"); }},
        {"empty", [] { return pavo2log_event_flush_tbl(kFileOpLog); }},
        {"remove", [] { return pavo2log_event_remove_tbl(kFileOpLog); }}}},
      {"Notices",
       kNoticeLog,
       [] {},
       {{"create", [] { return annal_notice_create_tbl(3, 2); }},
        {"add", [] { return add_notice("first"); }},
        {"add another", [] { return add_notice("second"); }},
        {"add a third", [] { return add_notice("third"); }},
        {"add to a full log", [] { return add_notice("fourth"); }},
        {"delete by text", [] { return annal_notice_del(11, "fourth"); }},
        {"remove the trigger", [] { return annal_notice_remove_trigger_logfull(); }},
        {"add a trigger", [] { return annal_notice_add_trigger_logfull(9, 1); }},
        {"add a column", [] { return annal_notice_table_add_column("one_more", 1, "7"); }},
        {"remove", [] { return annal_notice_remove_tbl(); }}}},
      {"NoticesOfAnEarlierRelease",
       kNoticeLog,
       [] { set_up(Log::kNotices, Start::kOld); },
       {{"migrate", [] { return AnnalNoticeModifyTbl(); }},
        {"add", [] { return add_notice("new"); }},
        {"delete by text", [] { return annal_notice_del(11, "one"); }},
        {"delete by age", [] { return AnnalNoticeDellogByClientTime(1); }},
        {"empty", [] { return annal_notice_flush_tbl(); }}}},
  };
}

// The file's content before a step and after each of its commits.
struct StepContents {
  Image image;
  std::vector<Content> states;
  int barriers;
};

// Forking with a sanitizer costs many times as much and shows nothing new.
unsigned how_many_seeds() {
  constexpr unsigned kSample = kSanitized ? 1 : 3;
  constexpr unsigned kMany = 1000;
  return whole_walk() ? kMany : kSample;
}

class PowerCut : public TrustTest, public testing::WithParamInterface<LogLife> {
 protected:
  void SetUp() override {
    TrustTest::SetUp();
    block_popen(true);
    report_ = static_cast<CutReport*>(
        mmap(nullptr, sizeof *report_, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    ASSERT_NE(report_, MAP_FAILED);
  }

  void TearDown() override {
    munmap(report_, sizeof *report_);
    TrustTest::TearDown();
  }

  static const LogLife& life() { return GetParam(); }

  // Runs all steps once without a power cut.
  std::vector<StepContents> live() {
    life().begin();
    std::vector<StepContents> courses;
    std::vector<std::vector<std::string>> commits;
    for (const Step& step : life().steps) {
      courses.push_back({Image::of(life().path), {content_of(life().path)}, 0});
      Power::on(Folder::kInOrder, 0);
      Power::cut_at(0, report_);
      EXPECT_EQ(step.call(), ANNAL_OK) << step.what;
      courses.back().barriers = Power::barriers();
      for (const std::string& bytes : Power::commits()) {
        constexpr const char* kAside = "/etc/logs/aside";
        Power::off();
        write_file(kAside, bytes);
        courses.back().states.push_back(content_of(kAside));
        unlink(kAside);
      }
      Power::off();
      EXPECT_EQ(courses.back().states.back(), content_of(life().path)) << step.what;
    }
    return courses;
  }

  // Continues from the previous step, so that its unsynced writes are at risk too.
  void cut(const std::vector<StepContents>& courses, std::size_t at, int barrier, Folder folder, unsigned seed) {
    const std::size_t from = at > 0 ? at - 1 : 0;
    courses[from].image.put_back(life().path);
    std::fflush(nullptr);
    const pid_t process = fork();
    if (process == 0) {
      Power::on(folder, seed);
      for (std::size_t i = from; i < at; ++i) {
        (void)life().steps[i].call();
      }
      Power::cut_at(barrier, report_);
      report_->acknowledged = life().steps[at].call() == ANNAL_OK;
      Power::cut();
    }
    int status = 0;
    waitpid(process, &status, 0);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == Power::kCutStatus) << "status " << status;
    dropped_ += report_->dropped;
    trashed_ += report_->trashed;
    cuts_ += 1;
    judge(courses, at);
  }

  [[nodiscard]] int cuts() const { return cuts_; }
  [[nodiscard]] int dropped() const { return dropped_; }
  [[nodiscard]] int trashed() const { return trashed_; }
  [[nodiscard]] int undone() const { return undone_; }

 private:
  void judge(const std::vector<StepContents>& courses, std::size_t at) {
    const std::vector<Content>& states = courses[at].states;
    const auto committed = static_cast<std::size_t>(report_->commits);
    ASSERT_LT(committed, states.size());
    if (report_->acknowledged) {
      EXPECT_EQ(committed + 1, states.size()) << "acknowledged before its last commit";
    }
    Content found;
    try {
      found = content_of(life().path);
    } catch (const std::exception& problem) {
      FAIL() << problem.what();
    }
    bool expected = found == states[committed];
    if (!expected && report_->delete_unsynced) {
      undone_ += 1;
      if (committed > 0) {
        expected = found == states[committed - 1];
      } else if (at > 0) {
        expected = found == courses[at - 1].states.end()[-2];
      }
    }
    EXPECT_TRUE(expected) << "after " << committed << " commits, found\n"
                          << text_of(found) << "instead of\n"
                          << text_of(states[committed]);
  }

  CutReport* report_ = nullptr;
  int cuts_ = 0;
  int dropped_ = 0;
  int trashed_ = 0;
  int undone_ = 0;
};

TEST_P(PowerCut, LeavesTheCommittedRows) {
  const unsigned seeds = how_many_seeds();
  const std::vector<StepContents> courses = live();
  for (std::size_t at = 0; at < courses.size(); ++at) {
    // After the last barrier: when the call has returned.
    for (int barrier = 1; barrier <= courses[at].barriers + 1; ++barrier) {
      for (const Folder folder : {Folder::kInOrder, Folder::kWhenSynced}) {
        for (unsigned seed = first_seed(); seed < first_seed() + seeds; ++seed) {
          SCOPED_TRACE(std::string(life().steps[at].what) + ": cut at barrier " + std::to_string(barrier) + " of " +
                       std::to_string(courses[at].barriers) +
                       (folder == Folder::kInOrder ? ", names in order" : ", names when synced") +
                       ", ANNAL_TRUST_SEED=" + std::to_string(seed));
          cut(courses, at, barrier, folder, seed);
        }
      }
    }
  }
  std::printf("%s: %d cuts, %d blocks dropped, %d trashed, %d commits undone whose journal came back, seeds from %u\n",
              life().name, cuts(), dropped(), trashed(), undone(), first_seed());
  EXPECT_GT(dropped(), 0);
  EXPECT_GT(trashed(), 0);
}

INSTANTIATE_TEST_SUITE_P(Trust, PowerCut, testing::ValuesIn(lives()), [](const auto& life) { return life.param.name; });

}  // namespace
}  // namespace annal::test
