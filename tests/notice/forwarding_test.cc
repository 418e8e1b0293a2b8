// Passes notices to the notification command.
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "Corix_annal.h"
#include "tests/support/appliance.h"
#include "tests/support/few_processes.h"
#include "tests/support/forwarding.h"
#include "tests/support/little_memory.h"

namespace annal::test {
namespace {

using namespace std::chrono_literals;

constexpr const char* kNotify = "/usr/local/sbin/notify";
constexpr const char* kLogTool = "/sbin/log_tool";
constexpr const char* kVariables[] = {"HTTP_CLIENT_ID", "HTTP_CLIENT_APP", "HTTP_CLIENT_AGENT"};
constexpr const char* kKeys[] = {"client_id", "client_app", "client_agent"};

constexpr std::size_t kLongestText = 10239;  // of a single argument, without its terminator

std::string text_of(const char* variable) {
  const char* const text = std::getenv(variable);
  return text != nullptr ? text : "(unset)";
}

void append(Row& row, const Row& more) {
  row.insert(row.end(), more.begin(), more.end());
}

// Sending never touches a log.
class Notification : public ApplianceTest {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    for (const char* variable : kVariables) {
      unsetenv(variable);
    }
    unsetenv("LC_ALL");
  }

  void TearDown() override {
    EXPECT_TRUE(sqlite.calls().empty());
    ApplianceTest::TearDown();
  }
};

// ---- annal_notice_send ----

// A complete notice without parameters.
struct Notice {
  const char* app_id = "A011";
  int level = 1;
  int type = 0;
  const char* category_id = "C002";
  const char* msg_no = "7";
  const char* ip = "10.0.0.5";
  const char* user = "admin";
  const char* comp = "nas-1";
  const char* message = "Fan \"2\" failed: 100%s $HOME.";
};

const Row kFull = {kNotify, "send2", "-A", "A011", "-C",       "C002", "-M",    "7",           "-l",
                   "error", "-t",    "0",  "-p",   "10.0.0.5", "-u",   "admin", "--comp=nas-1"};
const std::string kMessage = Notice().message;

Row vector_of(const Row& before, const Row& further) {
  Row all = before;
  append(all, further);
  return all;
}

// The arguments without N of them from a given one on.
Row without(Row vector, const std::string& first, std::ptrdiff_t count) {
  const auto found = std::find(vector.begin(), vector.end(), first);
  EXPECT_NE(found, vector.end()) << first;
  vector.erase(found, found + count);
  return vector;
}

std::string call_of(const char* path, const Row& vector) {
  std::string call = std::string("zeno_exec_v(NULL, NULL, NULL, \"") + path + "\", {";
  for (const std::string& argument : vector) {
    call += '"' + argument + "\", ";
  }
  return call + "NULL})";
}

// A text of any length that maps the same small piece of memory repeatedly.
class EndlessText {
 public:
  explicit EndlessText(std::size_t length) : size_(length + kPiece) {
    const int piece = memfd_create("piece", MFD_CLOEXEC);
    EXPECT_EQ(write(piece, std::string(kPiece, 'x').data(), kPiece), ssize_t{kPiece});
    // Zero bytes follow the last piece.
    start_ = static_cast<char*>(mmap(nullptr, size_, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
    for (std::size_t at = 0; at < length; at += kPiece) {
      EXPECT_NE(mmap(start_ + at, kPiece, PROT_READ, MAP_SHARED | MAP_FIXED, piece, 0), MAP_FAILED);
    }
    close(piece);
  }
  ~EndlessText() { munmap(start_, size_); }
  EndlessText(const EndlessText&) = delete;
  EndlessText& operator=(const EndlessText&) = delete;

  [[nodiscard]] const char* text() const { return start_; }

 private:
  static constexpr std::size_t kPiece = std::size_t{2} << 20;
  std::size_t size_;
  char* start_ = nullptr;
};

class NoticeSend : public Notification {
 protected:
  void SetUp() override {
    Notification::SetUp();
    commands.install(kNotify);
    commands.install(kLogTool);
    platform.answer("zeno_exec_v", 0);
  }

  template <typename... Parameters>
  static int send(const Notice& notice, Parameters... parameters) {
    return annal_notice_send(notice.app_id, notice.level, notice.type, notice.category_id, notice.msg_no, notice.ip,
                             notice.user, notice.comp, notice.message, parameters...,
                             static_cast<const char*>(nullptr));
  }

  template <typename... Parameters>
  void expect_sent(const Row& vector, const Notice& notice, Parameters... parameters) {
    platform.reset();
    platform.answer("zeno_exec_v", 0);
    EXPECT_EQ(send(notice, parameters...), 0);
    EXPECT_EQ(platform.calls(), Calls({call_of(kNotify, vector)}));
  }

  // The same without the notification command.
  void expect_logged(const Row& vector, const Notice& notice) {
    platform.reset();
    platform.answer("zeno_exec_v", 0);
    EXPECT_EQ(send(notice, "parameter"), 0);
    EXPECT_EQ(platform.calls(), Calls({call_of(kLogTool, vector)}));
  }
};

TEST_F(NoticeSend, PassesEveryArgument) {
  expect_sent(vector_of(kFull, {kMessage}), {});
  expect_sent(vector_of(kFull, {kMessage, "one", "", "%s"}), {}, "one", "", "%s");
}

TEST_F(NoticeSend, OmitsUnknownValues) {
  expect_sent(vector_of(without(kFull, "-p", 2), {kMessage}), {.ip = nullptr});
  expect_sent(vector_of(without(kFull, "-u", 2), {kMessage}), {.user = nullptr});
  expect_sent(vector_of(without(kFull, "--comp=nas-1", 1), {kMessage}), {.comp = nullptr});
  expect_sent(vector_of(without(kFull, "-p", 5), {kMessage}), {.ip = nullptr, .user = nullptr, .comp = nullptr});
}

TEST_F(NoticeSend, PassesEmptyTexts) {
  expect_sent(
      {kNotify, "send2", "-A", "", "-C", "", "-M", "", "-l", "error", "-t", "0", "-p", "", "-u", "", "--comp=", "", ""},
      {.app_id = "", .category_id = "", .msg_no = "", .ip = "", .user = "", .comp = "", .message = ""}, "");
}

TEST_F(NoticeSend, EndsTheArgumentsAtANullRequiredText) {
  expect_sent({kNotify, "send2", "-A"}, {.app_id = nullptr});
  expect_sent({kNotify, "send2", "-A", "A011", "-C"}, {.category_id = nullptr});
  expect_sent({kNotify, "send2", "-A", "A011", "-C", "C002", "-M"}, {.msg_no = nullptr});
  expect_sent(kFull, {.message = nullptr});
  expect_sent(kFull, {.message = nullptr}, "one", "two");
}

struct LevelCase {
  int level;
  const char* word;
  const char* digit;
};
constexpr LevelCase kLevels[] = {
    {0, "info", "0"}, {1, "error", "2"}, {2, "warn", "1"},       {3, "info", "0"},       {4, "info", "0"},
    {5, "info", "0"}, {-1, "info", "0"}, {INT_MAX, "info", "0"}, {INT_MIN, "info", "0"},
};

TEST_F(NoticeSend, NamesEachLevel) {
  for (const auto& [level, word, digit] : kLevels) {
    Row vector = vector_of(kFull, {kMessage});
    vector[9] = word;
    expect_sent(vector, {.level = level});
  }
}

TEST_F(NoticeSend, NumbersEachType) {
  for (const int type : {0, 1, 2, 3, 4, -1, INT_MAX, INT_MIN}) {
    Row vector = vector_of(kFull, {kMessage});
    vector[11] = std::to_string(type);
    expect_sent(vector, {.type = type});
  }
}

TEST_F(NoticeSend, PassesTheWebServersClientDetails) {
  Row expected = kFull;
  for (std::size_t i = 0; i < std::size(kVariables); ++i) {
    setenv(kVariables[i], "of the web server", 1);
    expected.push_back(std::string("--") + kKeys[i] + "=of the web server");
    expect_sent(vector_of(expected, {kMessage, "one"}), {}, "one");
  }
  for (std::size_t i = 0; i < std::size(kVariables); ++i) {
    setenv(kVariables[i], "", 1);
    expected[kFull.size() + i] = std::string("--") + kKeys[i] + "=";
  }
  expect_sent(vector_of(expected, {kMessage}), {});
  for (const char* variable : kVariables) {
    unsetenv(variable);
    expected.erase(expected.begin() + static_cast<std::ptrdiff_t>(kFull.size()));
    expect_sent(vector_of(expected, {kMessage}), {});
  }
}

#define FIVE "1", "2", "3", "4", "5"
#define FIFTY FIVE, FIVE, FIVE, FIVE, FIVE, FIVE, FIVE, FIVE, FIVE, FIVE

// The vector has 64 entries including the closing null pointer; 12 arguments and the message are always there.
TEST_F(NoticeSend, DropsParametersThatDoNotFit) {
  const Notice least{.ip = nullptr, .user = nullptr, .comp = nullptr};
  const Row fifty = {FIFTY};
  const Row before = vector_of(without(kFull, "-p", 5), {kMessage});
  ASSERT_EQ(before.size(), 13U);
  expect_sent(vector_of(before, fifty), least, FIFTY);
  expect_sent(vector_of(before, fifty), least, FIFTY, "dropped");
  expect_sent(vector_of(before, fifty), least, FIFTY, FIFTY, FIFTY);
}

TEST_F(NoticeSend, DropsMoreParametersWithEveryOption) {
  Row expected = kFull;
  for (std::size_t i = 0; i < std::size(kVariables); ++i) {
    setenv(kVariables[i], "x", 1);
    expected.push_back(std::string("--") + kKeys[i] + "=x");
  }
  append(expected, {kMessage, FIFTY});
  expected.resize(63);
  expect_sent(expected, {}, FIFTY);
}

// Only formatted options use the room; the type and the texts passed as pointers do not.
TEST_F(NoticeSend, CutsOptionsThatDoNotFit) {
  const std::string prefix = "--comp=";
  const std::string longest(kLongestText - prefix.size(), 'c');
  const std::string text(20000, 'x');
  setenv("HTTP_CLIENT_APP", "app", 1);
  Row expected = kFull;
  expected[16] = prefix + longest;
  append(expected, {"", text, text});
  const std::string longer = longest + "d";
  expect_sent(expected, {.comp = longest.c_str(), .message = text.c_str()}, text.c_str());
  expect_sent(expected, {.comp = longer.c_str(), .message = text.c_str()}, text.c_str());
  const std::string shorter(longest.size() - 4, 'c');
  expected[16] = prefix + shorter;
  expected[17] = "--c";
  expect_sent(expected, {.comp = shorter.c_str(), .message = text.c_str()}, text.c_str());
}

// The sanitizers read every byte of a text; a 32-bit process has no room for this one.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) && __SIZEOF_POINTER__ > 4
// The C library refuses to format a text longer than its result can express.
TEST_F(NoticeSend, RunsNothingIfATextCannotBeFormatted) {
  constexpr std::size_t kLength = std::size_t{INT_MAX} + 1;
  const EndlessText endless(kLength);
  setenv("LC_ALL", "C", 1);
  EXPECT_EQ(send({.comp = endless.text()}, "one"), -1);
  EXPECT_TRUE(platform.calls().empty());
  EXPECT_EQ(text_of("LC_ALL"), "C");
}
#endif

TEST_F(NoticeSend, UsesTheLogToolWithoutTheCommand) {
  std::filesystem::remove(kNotify);
  for (const char* variable : kVariables) {
    setenv(variable, "of the web server", 1);
  }
  const Row full = {kLogTool, "-a", kMessage, "-t", "2", "-p", "10.0.0.5", "-u", "admin", "-m", "nas-1"};
  expect_logged(full, {});
  expect_logged(without(full, "-p", 2), {.ip = nullptr});
  expect_logged(without(full, "-u", 2), {.user = nullptr});
  expect_logged(without(full, "-m", 2), {.comp = nullptr});
  expect_logged({kLogTool, "-a", kMessage, "-t", "2"}, {.ip = nullptr, .user = nullptr, .comp = nullptr});
  expect_logged(full, {.app_id = nullptr, .category_id = nullptr, .msg_no = nullptr});
  expect_logged({kLogTool, "-a"}, {.message = nullptr});
  const std::string text(20000, 'x');
  expect_logged({kLogTool, "-a", text, "-t", "2", "-p", "10.0.0.5", "-u", "admin", "-m", text},
                {.comp = text.c_str(), .message = text.c_str()});
}

TEST_F(NoticeSend, LogsEachLevelAsAnEventType) {
  std::filesystem::remove(kNotify);
  for (const auto& [level, word, digit] : kLevels) {
    expect_logged({kLogTool, "-a", kMessage, "-t", digit, "-p", "10.0.0.5", "-u", "admin", "-m", "nas-1"},
                  {.level = level});
  }
}

TEST_F(NoticeSend, DropsNoticesForUsersWithoutTheCommand) {
  std::filesystem::remove(kNotify);
  for (const int type : {2, 3}) {
    EXPECT_EQ(send({.type = type}, "one"), 0) << type;
  }
  EXPECT_TRUE(platform.calls().empty());
  EXPECT_EQ(text_of("LC_ALL"), "(unset)");
  for (const int type : {-1, 0, 1, 4, 5, INT_MAX, INT_MIN}) {
    expect_logged({kLogTool, "-a", kMessage, "-t", "2", "-p", "10.0.0.5", "-u", "admin", "-m", "nas-1"},
                  {.type = type});
  }
}

// It only has to exist, not to run.
TEST_F(NoticeSend, DoesNotUseTheLogToolIfTheCommandIsNotExecutable) {
  ASSERT_EQ(chmod(kNotify, 0), 0);
  expect_sent(vector_of(kFull, {kMessage}), {});
  std::filesystem::remove(kNotify);
  std::filesystem::create_directory(kNotify);
  expect_sent(vector_of(kFull, {kMessage}), {});
  std::filesystem::remove(kNotify);
  std::filesystem::create_symlink("/missing", kNotify);
  expect_logged({kLogTool, "-a", kMessage, "-t", "2", "-p", "10.0.0.5", "-u", "admin", "-m", "nas-1"}, {});
}

TEST_F(NoticeSend, ReportsOnlyThatTheCommandCouldNotRun) {
  const std::pair<int, int> answers[] = {{-1, -1}, {0, 0}, {1, 0}, {127, 0}, {255, 0}, {-2, 0}, {-11, 0}};
  for (const char* command : {kNotify, kLogTool}) {
    for (const auto& [given, expected] : answers) {
      platform.answer("zeno_exec_v", given);
      EXPECT_EQ(send({}), expected) << command << " " << given;
    }
    std::filesystem::remove(kNotify);
  }
}

TEST_F(NoticeSend, LeavesTheCallersLocaleSet) {
  for (const char* command : {kNotify, kLogTool}) {
    for (const int answer : {0, -1}) {
      setenv("LC_ALL", "C", 1);
      platform.answer("zeno_exec_v", answer);
      EXPECT_EQ(send({}), answer);
      EXPECT_EQ(text_of("LC_ALL"), "en_US.UTF-8") << command;
      unsetenv("LC_ALL");
      EXPECT_EQ(send({}), answer);
      EXPECT_EQ(text_of("LC_ALL"), "en_US.UTF-8") << command;
    }
    std::filesystem::remove(kNotify);
  }
}

TEST_F(NoticeSend, RunsTheCommandInThatLocale) {
  platform.reset();
  EXPECT_EQ(send({}, "one"), 0);
  std::filesystem::remove(kNotify);
  EXPECT_EQ(send({}, "one"), 0);
  const auto runs = commands.wait_for(2);
  ASSERT_EQ(runs.size(), 2U);
  EXPECT_EQ(runs[0].arguments, vector_of(kFull, {kMessage, "one"}));
  EXPECT_EQ(runs[0].environment.at("LC_ALL"), "en_US.UTF-8");
  EXPECT_EQ(runs[1].arguments,
            Row({kLogTool, "-a", kMessage, "-t", "2", "-p", "10.0.0.5", "-u", "admin", "-m", "nas-1"}));
  EXPECT_EQ(runs[1].environment.at("LC_ALL"), "en_US.UTF-8");
  std::filesystem::remove(kLogTool);
  EXPECT_EQ(send({}), -1);
}

// ---- notify_send ----

constexpr CatalogEntry kEntry{"A011", 2, "C002", "7", "UPS power loss: shutting down in {0} second(s), 100%s."};
const std::string kTemplate = kEntry.msg_template;

struct Client {
  const char* ip = nullptr;
  const char* user = nullptr;
  const char* comp = nullptr;
  const char* id = nullptr;
  const char* app = nullptr;
  const char* agent = nullptr;
};

constexpr Client kKnown{"10.0.0.5", "admin", "nas-1", "client-3", "Browser", "Mozilla/5.0"};
const Row kKnownOptions = {"--ip=10.0.0.5",        "--user=admin",         "--comp=nas-1",
                           "--client_id=client-3", "--client_app=Browser", "--client_agent=Mozilla/5.0"};
const Row kMessageArguments = {"-t1", "-l4", "-AA011", "-CC002", "-M7", kTemplate};

Row sent_vector(const Row& options, const Row& parameters = {}) {
  Row vector = {kNotify, "send2"};
  append(vector, options);
  append(vector, kMessageArguments);
  append(vector, parameters);
  return vector;
}

class NotifySend : public Notification {
 protected:
  void SetUp() override {
    Notification::SetUp();
    commands.install(kNotify);
  }

  template <typename... Parameters>
  static int send(const Client& client, const CatalogEntry* entry, int type, int level, Parameters... parameters) {
    return notify_send(client.ip, client.user, client.comp, client.id, client.app, client.agent, entry, type, level,
                       parameters..., static_cast<const char*>(nullptr));
  }

  template <typename... Parameters>
  CommandRun run_for(const Client& client, const CatalogEntry* entry, int type, int level, Parameters... parameters) {
    commands.reset();
    EXPECT_EQ(send(client, entry, type, level, parameters...), 0);
    const auto runs = commands.wait_for(1);
    EXPECT_EQ(runs.size(), 1U);
    return runs.empty() ? CommandRun() : runs[0];
  }

  template <typename... Parameters>
  void expect_sent(const Row& vector, const Client& client, Parameters... parameters) {
    EXPECT_EQ(run_for(client, &kEntry, 1, 1, parameters...).arguments, vector);
  }
};

TEST_F(NotifySend, PassesEveryArgument) {
  expect_sent(sent_vector(kKnownOptions), kKnown);
  expect_sent(sent_vector(kKnownOptions, {"60", "", "%s"}), kKnown, "60", "", "%s");
}

TEST_F(NotifySend, NeedsOnlyTheMessage) {
  expect_sent(sent_vector({}), {});
}

TEST_F(NotifySend, OmitsUnknownValues) {
  const char* Client::*const fields[] = {&Client::ip, &Client::user, &Client::comp,
                                         &Client::id, &Client::app,  &Client::agent};
  for (std::size_t i = 0; i < std::size(fields); ++i) {
    Client client = kKnown;
    client.*fields[i] = nullptr;
    Row options = kKnownOptions;
    options.erase(options.begin() + static_cast<std::ptrdiff_t>(i));
    expect_sent(sent_vector(options), client);
  }
}

TEST_F(NotifySend, PassesEmptyTexts) {
  expect_sent(sent_vector({"--ip=", "--user=", "--comp=", "--client_id=", "--client_app=", "--client_agent="}),
              {"", "", "", "", "", ""});
}

TEST_F(NotifySend, TakesUnknownValuesFromTheWebServer) {
  for (std::size_t i = 0; i < std::size(kVariables); ++i) {
    setenv(kVariables[i], "of the web server", 1);
    expect_sent(sent_vector(kKnownOptions), kKnown);
    expect_sent(sent_vector({std::string("--") + kKeys[i] + "=of the web server"}), {});
    setenv(kVariables[i], "", 1);
    expect_sent(sent_vector({std::string("--") + kKeys[i] + "="}), {});
    unsetenv(kVariables[i]);
  }
}

// An empty text is a value of the caller's.
TEST_F(NotifySend, KeepsEmptyValuesDespiteTheWebServer) {
  for (const char* variable : kVariables) {
    setenv(variable, "of the web server", 1);
  }
  expect_sent(sent_vector({"--client_id=", "--client_app=", "--client_agent="}), {.id = "", .app = "", .agent = ""});
}

TEST_F(NotifySend, ReversesEachLevelExceptTheSecond) {
  const std::pair<int, const char*> levels[] = {
      {0, "-l5"},
      {1, "-l4"},
      {2, "-l2"},
      {3, "-l6"},
      {4, "-l1"},
      {5, "-l0"},
      {6, "-l3"},
      {7, "-l2"},
      {8, "-l13"},
      {-1, "-l-6"},
      {INT_MAX, "-l2147483642"},
      {INT_MIN, "-l-2147483643"},
  };
  for (const auto& [level, text] : levels) {
    EXPECT_EQ(run_for({}, &kEntry, 1, level).arguments.at(3), text) << level;
  }
}

TEST_F(NotifySend, NumbersEachType) {
  for (const int type : {0, 1, 2, 3, -1, INT_MAX, INT_MIN}) {
    EXPECT_EQ(run_for({}, &kEntry, type, 1).arguments.at(2), "-t" + std::to_string(type));
  }
}

TEST_F(NotifySend, IgnoresTheMessagesLevel) {
  for (const long level : {0L, 1L, 4L, LONG_MAX}) {
    CatalogEntry entry = kEntry;
    entry.level = level;
    EXPECT_EQ(run_for({}, &entry, 1, 1).arguments, sent_vector({}));
  }
}

TEST_F(NotifySend, SendsEmptyTextsOfAMessage) {
  const CatalogEntry blank{"", 0, "", "", ""};
  EXPECT_EQ(run_for({}, &blank, 1, 1, "60").arguments,
            Row({kNotify, "send2", "-t1", "-l4", "-A", "-C", "-M", "", "60"}));
}

#define TWENTY FIVE, FIVE, FIVE, FIVE

TEST_F(NotifySend, DropsParametersBeyondTwentyTwoArguments) {
  Row expected = sent_vector({}, {TWENTY});
  expected.resize(22);
  expect_sent(expected, {}, TWENTY);
  expected = sent_vector(kKnownOptions, {TWENTY});
  expected.resize(22);
  expect_sent(expected, kKnown, TWENTY);
  expect_sent(sent_vector(kKnownOptions, {FIVE, "6", "7", "8"}), kKnown, FIVE, "6", "7", "8");
  expect_sent(sent_vector(kKnownOptions, {FIVE, "6", "7", "8"}), kKnown, FIVE, "6", "7", "8", "dropped");
}

TEST_F(NotifySend, CutsTheTextsThatDoNotFit) {
  const std::string text(kLongestText + 100, 'x');
  Row expected = {kNotify, "send2", "--ip=" + text.substr(0, kLongestText - 5), "", "", "", "", "", "", kTemplate,
                  "",      ""};
  expect_sent(expected, {.ip = text.c_str(), .user = "admin"}, "60", "61");
  // The last parameter gets the remaining room.
  const std::size_t others = std::string("-t1-l4-AA011-CC002-M7").size() + 5;
  expected = sent_vector({}, {text.substr(0, kLongestText - others)});
  expect_sent(expected, {}, text.c_str());
  expected.emplace_back("");
  expect_sent(expected, {}, text.c_str(), "nothing left");
}

TEST_F(NotifySend, PassesTheWholeTemplate) {
  const std::string text(20000, 'x');
  const CatalogEntry entry{"A011", 2, "C002", "7", text.c_str()};
  EXPECT_EQ(run_for({}, &entry, 1, 1, "60").arguments,
            Row({kNotify, "send2", "-t1", "-l4", "-AA011", "-CC002", "-M7", text, "60"}));
}

TEST_F(NotifySend, RefusesAnIncompleteMessage) {
  EXPECT_EQ(send(kKnown, nullptr, 1, 1), ANNAL_BAD_ARGUMENT);
  const char* CatalogEntry::*const texts[] = {&CatalogEntry::app_id, &CatalogEntry::category_id, &CatalogEntry::msg_no,
                                              &CatalogEntry::msg_template};
  for (const auto text : texts) {
    CatalogEntry entry = kEntry;
    entry.*text = nullptr;
    EXPECT_EQ(send(kKnown, &entry, 1, 1, "60"), ANNAL_BAD_ARGUMENT);
  }
  EXPECT_TRUE(commands.settled().empty());
}

// ---- how its command is run ----

TEST_F(NotifySend, DoesNotWaitForItsCommand) {
  commands.install(kNotify, {.takes = 300ms});
  const CommandRun run = run_for({}, &kEntry, 1, 1);
  EXPECT_EQ(kill(run.process, 0), 0) << "it is waited for";
  errno = 0;
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
}

TEST_F(NotifySend, RunsItsCommandInTheCallersSessionWithoutItsStreams) {
  const CommandRun run = run_for({}, &kEntry, 1, 1);
  EXPECT_EQ(run.session, getsid(0));
  EXPECT_EQ(run.group, getpgrp());
  EXPECT_EQ(run.descriptors.at(STDIN_FILENO), "r /dev/null");
  EXPECT_EQ(run.descriptors.at(STDOUT_FILENO), "w /dev/null");
  EXPECT_EQ(run.descriptors.at(STDERR_FILENO), "w /dev/null");
}

TEST_F(NotifySend, KeepsTheCallersLocale) {
  const CommandRun run = run_for({}, &kEntry, 1, 1);
  EXPECT_FALSE(run.environment.contains("LC_ALL"));
  EXPECT_EQ(text_of("LC_ALL"), "(unset)");
  EXPECT_TRUE(platform.calls().empty());
}

TEST_F(NotifySend, KeepsErrno) {
  std::filesystem::remove(kNotify);
  errno = EDOM;
  EXPECT_EQ(send({}, &kEntry, 1, 1), 0);
  EXPECT_EQ(errno, EDOM);
}

TEST_F(NotifySend, RunsAScriptWithoutAHeader) {
  std::ofstream(kNotify) << "/usr/local/sbin/script \"$@\"\n";
  commands.install("/usr/local/sbin/script");
  const CommandRun run = run_for({}, &kEntry, 1, 1);
  EXPECT_EQ(run.path, "/usr/local/sbin/script");
}

TEST_F(NotifySend, IgnoresTheCommandsFailure) {
  commands.install(kNotify, {.exit_status = 7});
  EXPECT_EQ(send({}, &kEntry, 1, 1), 0);
  commands.wait_for(1);
  ASSERT_EQ(chmod(kNotify, 0), 0);
  EXPECT_EQ(send({}, &kEntry, 1, 1), 0);
  std::filesystem::remove(kNotify);
  EXPECT_EQ(send({}, &kEntry, 1, 1), 0);
  std::filesystem::create_directory(kNotify);
  EXPECT_EQ(send({}, &kEntry, 1, 1), 0);
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // which need address space of their own
class NotifySendWithALittleMemory : public NotifySend, public testing::WithParamInterface<std::size_t> {};
INSTANTIATE_TEST_SUITE_P(, NotifySendWithALittleMemory, testing::ValuesIn(kLittleRooms));

// A warm-up for what only the first call allocates.
TEST_P(NotifySendWithALittleMemory, RunsTheCommand) {
  survive([this] {
    expect_sent(sent_vector(kKnownOptions), kKnown);
    Commands::reset();
    {
      const LittleMemory memory(GetParam());
      EXPECT_EQ(send(kKnown, &kEntry, 1, 1), 0);
    }
    expect_no_child_left();
    const auto runs = Commands::wait_for(1);
    ASSERT_EQ(runs.size(), 1U);
    EXPECT_EQ(runs[0].arguments, sent_vector(kKnownOptions));
  });
}
#endif

volatile int status_of_child = -1;

void note_status(int /*signal*/, siginfo_t* info, void* /*context*/) {
  status_of_child = info->si_status;
}

class NotifySendWithFewProcesses : public NotifySend {
 protected:
  void SetUp() override {
    if (geteuid() != 0) {
      GTEST_SKIP() << "only root can become a user without other processes";
    }
    NotifySend::SetUp();
  }

  // The result and the first child's exit status (-1 without one) if N processes can be created.
  static std::string answer_with(rlim_t processes) {
    const pid_t child = fork();
    if (child == 0) {
      allow_processes(processes);
      struct sigaction action {};
      action.sa_sigaction = note_status;
      action.sa_flags = SA_SIGINFO | SA_RESTART;
      sigaction(SIGCHLD, &action, nullptr);
      const int answer = send({}, &kEntry, 1, 1);
      _exit(testing::Test::HasFatalFailure() ? 99 : answer * 10 + status_of_child + 1);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    return std::to_string(WEXITSTATUS(status) / 10) + ", " + std::to_string(WEXITSTATUS(status) % 10 - 1);
  }
};

TEST_F(NotifySendWithFewProcesses, ReportsThatItsChildCannotBeCreated) {
  EXPECT_EQ(answer_with(0), "1, -1");
  EXPECT_TRUE(commands.settled().empty());
}

TEST_F(NotifySendWithFewProcesses, IgnoresACommandThatCannotBeCreated) {
  EXPECT_EQ(answer_with(1), "0, 1");
  EXPECT_TRUE(commands.settled().empty());
}

TEST_F(NotifySendWithFewProcesses, NeedsTwoProcesses) {
  EXPECT_EQ(answer_with(2), "0, 0");
  EXPECT_EQ(commands.wait_for(1).size(), 1U);
}

}  // namespace
}  // namespace annal::test
