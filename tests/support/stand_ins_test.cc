// Tests the stand-ins for the platform's libraries by direct calls.
#include <csignal>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <string>

#include "platform/platform.h"
#include "tests/support/appliance.h"

namespace annal::test {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

std::string utf8(std::uint32_t character) {
  const auto byte = [](std::uint32_t bits) { return static_cast<char>(static_cast<unsigned char>(bits)); };
  const auto tail = [&](unsigned shift) { return byte(0x80 | (character >> shift & 0x3F)); };
  if (character < 0x80) {
    return {byte(character)};
  }
  if (character < 0x800) {
    return {byte(0xC0 | character >> 6), tail(0)};
  }
  if (character < 0x10000) {
    return {byte(0xE0 | character >> 12), tail(6), tail(0)};
  }
  return {byte(0xF0 | character >> 18), tail(12), tail(6), tail(0)};
}

struct Cleaned {
  std::string text;
  int removed = 0;
};

Cleaned cleaned(std::string text) {
  const int removed = Skip_Unicode_Control_Characters(text.data());
  text.resize(std::strlen(text.data()));
  return {text, removed};
}

bool is_removed(std::uint32_t character) {
  const std::string encoded = utf8(character);
  const auto [text, removed] = cleaned("a" + encoded + "b");
  if (text == "ab" && removed == static_cast<int>(encoded.size())) {
    return true;
  }
  EXPECT_EQ(text, "a" + encoded + "b") << "U+" << std::hex << character;
  EXPECT_EQ(removed, 0) << "U+" << std::hex << character;
  return false;
}

TEST(AddressStandIns, AcceptIPv6Addresses) {
  for (const char* text : {"::", "::1", "fe80::1", "2001:DB8:0:0:0:0:0:1", "::ffff:10.0.0.5"}) {
    EXPECT_NE(IS_IPv6_Address(text), 0) << text;
  }
}

TEST(AddressStandIns, RejectOtherTextsAsIPv6) {
  for (const char* text : {"", "10.0.0.5", ":", ":::", "1::2::3", "fe80::1%eth0", "::1 ", "12345::", "nas-1"}) {
    EXPECT_EQ(IS_IPv6_Address(text), 0) << text;
  }
  EXPECT_EQ(IS_IPv6_Address(nullptr), 0);
}

TEST(AddressStandIns, AcceptIPv4AddressesAsSources) {
  for (const char* text : {"0.0.0.0", "10.0.0.5", "127.0.0.1", "255.255.255.255"}) {
    EXPECT_NE(Is_Valid_Source(text), 0) << text;
  }
}

TEST(AddressStandIns, RejectOtherTextsAsSources) {
  for (const char* text : {"", "::1", "256.0.0.1", "10.0.0", "10.0.0.5.6", "10.0.0.5 ", " 10.0.0.5", "---", "nas-1"}) {
    EXPECT_EQ(Is_Valid_Source(text), 0) << text;
  }
  EXPECT_EQ(Is_Valid_Source(nullptr), 0);
}

TEST(ControlCharacterStandIn, RemovesControlCharacters) {
  for (const std::uint32_t character : {0x01U, 0x09U, 0x0AU, 0x1FU, 0x7FU, 0x80U, 0x9FU, 0x61CU, 0x200EU, 0x200FU,
                                        0x2028U, 0x202AU, 0x202EU, 0x2066U, 0x2067U, 0x2068U, 0x2069U}) {
    EXPECT_TRUE(is_removed(character)) << "U+" << std::hex << character;
  }
}

TEST(ControlCharacterStandIn, KeepsTheirNeighbours) {
  for (const std::uint32_t character :
       {0x20U, 0x7EU, 0xA0U, 0x61BU, 0x61DU, 0x200DU, 0x2010U, 0x2027U, 0x202FU, 0x2065U, 0x206AU}) {
    EXPECT_FALSE(is_removed(character)) << "U+" << std::hex << character;
  }
}

TEST(ControlCharacterStandIn, RemovesNoOtherCharacter) {
  int removed = 0;
  for (std::uint32_t character = 1; character <= 0x10FFFF; ++character) {
    const bool surrogate = character >= 0xD800 && character <= 0xDFFF;
    removed += !surrogate && is_removed(character) ? 1 : 0;
  }
  // U+0001 to 1F, 7F to 9F, 61C, 200E and F, 2028 to E, 2066 to 9.
  EXPECT_EQ(removed, 31 + 33 + 1 + 2 + 7 + 4);
}

TEST(ControlCharacterStandIn, RemovesAllInAText) {
  const auto [text, removed] = cleaned("\x01\x02 G\u0085r\u200E\u200Fün \u2028e" + utf8(0x202E) + "\x7F");
  EXPECT_EQ(text, " Grün e");
  EXPECT_EQ(removed, 2 + 2 + 3 + 3 + 3 + 3 + 1);
}

TEST(ControlCharacterStandIn, EmptiesATextOfThemAlone) {
  const auto [text, removed] = cleaned("\r\n" + utf8(0x2066));
  EXPECT_EQ(text, "");
  EXPECT_EQ(removed, 5);
}

// The last four are overlong encodings of U+0001, U+0080 and U+200E, and a surrogate.
TEST(ControlCharacterStandIn, KeepsMalformedBytes) {
  for (const char* text : {"\x80", "\x85", "\x9F", "\xC2", "\xC2 ", "\xC2\xC2", "\xD8", "\xD8 ", "\xE2", "\xE2\x80",
                           "\xE2\x81", "\xE2 \x8E", "\xE2\x80 ", "\xE2\x80\x80\x8E", "\xFE\xFF", "\xC0\x81",
                           "\xE0\x82\x80", "\xF0\x82\x80\x8E", "\xED\xA0\x80"}) {
    const auto [kept, removed] = cleaned(text);
    EXPECT_EQ(kept, text);
    EXPECT_EQ(removed, 0);
  }
}

TEST(ControlCharacterStandIn, KeepsASequenceThatIsCutOffByTheEndOfTheText) {
  for (const char* cut_off : {"\xC2", "\xD8", "\xE2", "\xE2\x80", "\xE2\x81"}) {
    EXPECT_EQ(cleaned(std::string("\x01-") + cut_off).text, std::string("-") + cut_off);
  }
}

// The terminator ends the text, even if the byte after it would complete a control character.
TEST(ControlCharacterStandIn, ReadsNothingAfterTheText) {
  char text[] = "a\xE2\x80\0\x8E";
  EXPECT_EQ(Skip_Unicode_Control_Characters(text), 0);
  EXPECT_EQ(std::string(text, sizeof text), std::string("a\xE2\x80\0\x8E", sizeof text));
}

TEST(ControlCharacterStandIn, DoesNotRescanTheText) {
  EXPECT_EQ(cleaned("\xE2\x01\x80\x8E").text, "\xE2\x80\x8E");
}

TEST(ControlCharacterStandIn, AcceptsAnEmptyText) {
  EXPECT_EQ(cleaned("").removed, 0);
  EXPECT_EQ(Skip_Unicode_Control_Characters(nullptr), 0);
}

class ExecutionStandIn : public ApplianceTest {
 protected:
  template <typename... Texts>
  static int run(const char* path, Texts... arguments) {
    const char* const argv[] = {arguments..., nullptr};
    return zeno_exec_v(nullptr, nullptr, nullptr, path, const_cast<char* const*>(argv));
  }
};

TEST_F(ExecutionStandIn, ReturnsTheExitStatus) {
  for (const int status : {0, 1, 7, 255}) {
    commands.install("/sbin/tool", {.exit_status = status});
    EXPECT_EQ(run("/sbin/tool", "tool"), status);
  }
}

TEST_F(ExecutionStandIn, PassesTheArgumentsUnchanged) {
  commands.install("/sbin/tool");
  run("/sbin/tool", "another name", "-m", "two  words; $HOME 'quoted'", "", "grün");
  const auto runs = commands.runs();
  ASSERT_EQ(runs.size(), 1U);
  EXPECT_EQ(runs[0].arguments, Row({"another name", "-m", "two  words; $HOME 'quoted'", "", "grün"}));
}

TEST_F(ExecutionStandIn, PassesTheEnvironment) {
  commands.install("/sbin/tool");
  setenv("LEFT_BY_THE_CALLER", "yes", 1);
  run("/sbin/tool", "tool");
  const auto runs = commands.runs();
  ASSERT_EQ(runs.size(), 1U);
  EXPECT_EQ(runs[0].environment.at("LEFT_BY_THE_CALLER"), "yes");
}

TEST_F(ExecutionStandIn, WaitsForTheProgram) {
  commands.install("/sbin/tool", {.takes = 300ms});
  const auto started = steady_clock::now();
  EXPECT_EQ(run("/sbin/tool", "tool"), 0);
  EXPECT_GE(steady_clock::now() - started, 300ms);
}

TEST_F(ExecutionStandIn, FailsIfTheProgramCannotBeStarted) {
  std::ofstream("/sbin/text") << "no program";
  EXPECT_EQ(run("/sbin/missing", "missing"), -1);
  EXPECT_EQ(run("/sbin/text", "text"), -1);
  EXPECT_EQ(run("/sbin", "folder"), -1);
}

// It does not search the folders of PATH.
TEST_F(ExecutionStandIn, DoesNotSearchThePathForTheProgram) {
  commands.install("/sbin/tool");
  EXPECT_EQ(run("tool", "tool"), -1);
}

TEST_F(ExecutionStandIn, StartsNothingWithoutAPathOrArguments) {
  EXPECT_EQ(run(nullptr, "tool"), -1);
  EXPECT_EQ(zeno_exec_v(nullptr, nullptr, nullptr, "/bin/true", nullptr), -1);
}

TEST_F(ExecutionStandIn, ReportsAKilledProgramAsShellsDo) {
  EXPECT_EQ(run("/bin/sh", "sh", "-c", "kill -KILL $$"), 128 + SIGKILL);
}

TEST_F(ExecutionStandIn, ReturnsZeroToACallerThatIgnoresItsChildren) {
  commands.install("/sbin/tool", {.exit_status = 7});
  const auto before = std::signal(SIGCHLD, SIG_IGN);
  EXPECT_EQ(run("/sbin/tool", "tool"), 0);
  std::signal(SIGCHLD, before);
  EXPECT_EQ(commands.runs().size(), 1U);
}

TEST(ConsumerStandIns, TakeEverything) {
  EXPECT_EQ(SNMPTrap_Send_Alert("Fan 2 failed.", 2), 0);
  EXPECT_EQ(SendEventToZSyslogd(2, "admin", "10.0.0.5", "nas-1", "Backup", "Hardware", "Fan 2 failed."), 0);
  EXPECT_EQ(SendNoticeToLogEngine(3, 0, "", "", 0, "", 0, 0, 0, "admin", "10.0.0.5", "nas-1", "", "", "", "Fan"), 0);
  EXPECT_EQ(SendConnToZSyslogd(1, "admin", "10.0.0.5", "nas-1", 2, 3, "/share"), 0);
}

TEST(ConsumerStandIns, TakeNothingToo) {
  EXPECT_EQ(SNMPTrap_Send_Alert(nullptr, -1), 0);
  EXPECT_EQ(SendEventToZSyslogd(-1, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(SendNoticeToLogEngine(-1, 0, nullptr, nullptr, 0, nullptr, 0, 0, 0, nullptr, nullptr, nullptr, nullptr,
                                  nullptr, nullptr, nullptr),
            0);
  EXPECT_EQ(SendConnToZSyslogd(-1, nullptr, nullptr, nullptr, -1, -1, nullptr), 0);
}

}  // namespace
}  // namespace annal::test
