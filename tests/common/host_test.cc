// The helpers that all logs share: addresses, host names, compaction and freeing.
#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <fstream>
#include <memory>
#include <ostream>
#include <string>

#include "Corix_annal.h"
#include "tests/support/address.h"
#include "tests/support/appliance.h"

namespace annal::test {
namespace {

constexpr const char* kLog = "/etc/logs/event.log";

// ---- annal_checkip ----

constexpr char kGuard = '\x5A';

// A caller's buffer: a text, then the caller's other bytes.
class Buffer {
 public:
  explicit Buffer(const std::string& text, char after = kGuard) : text_size_(text.size() + 1), after_(after) {
    bytes_.fill(after);
    std::memcpy(bytes_.data(), text.c_str(), text_size_);
  }

  char* data() { return bytes_.data(); }
  [[nodiscard]] std::string text() const { return bytes_.data(); }
  [[nodiscard]] std::string bytes(std::size_t from, std::size_t count) const {
    return std::string(bytes_.data(), bytes_.size()).substr(from, count);
  }
  [[nodiscard]] bool is_untouched_behind_the_text() const {
    return bytes(text_size_, bytes_.size()) == std::string(bytes_.size() - text_size_, after_);
  }

 private:
  std::array<char, 256> bytes_{};
  std::size_t text_size_;
  char after_;
};

class AddressCheckOf : public ApplianceTest, public testing::WithParamInterface<Address> {};

INSTANTIATE_TEST_SUITE_P(
    Addresses, AddressCheckOf,
    testing::Values(
        Address{"Ipv4", "192.168.1.2", ANNAL_OK, "192.168.1.2"},
        Address{"HighestIpv4", "255.255.255.255", ANNAL_OK, "255.255.255.255"},
        Address{"Ipv4WithZone", "10.0.0.5%eth0", ANNAL_OK, "10.0.0.5"}, Address{"Ipv6", "fe80::1", ANNAL_OK, "fe80::1"},
        Address{"Ipv6WithZone", "fe80::2%eth0", ANNAL_OK, "fe80::2"},
        Address{"Ipv6WithEmptyZone", "fe80::2%", ANNAL_OK, "fe80::2"},
        Address{"Ipv6WithTwoZones", "fe80::2%a%b", ANNAL_OK, "fe80::2"},
        Address{"Ipv6InUpperCase", "2001:DB8::A", ANNAL_OK, "2001:DB8::A"}, Address{"AllZero", "::", ANNAL_OK, "::"},
        Address{"LongestIpv6", "1111:2222:3333:4444:5555:6666:255.255.255.255", ANNAL_OK,
                "1111:2222:3333:4444:5555:6666:255.255.255.255"},
        Address{"Mapped", "::ffff:10.0.0.5", ANNAL_OK, "10.0.0.5"},
        Address{"MappedInUpperCase", "::FFFF:192.168.1.2", ANNAL_OK, "192.168.1.2"},
        Address{"MappedInMixedCase", "::FfFf:192.168.1.2", ANNAL_OK, "192.168.1.2"},
        Address{"MappedShortest", "::ffff:1.2.3.4", ANNAL_OK, "1.2.3.4"},
        Address{"MappedLongest", "::ffff:255.255.255.255", ANNAL_OK, "255.255.255.255"},
        Address{"MappedWithZone", "::ffff:10.0.0.5%eth0", ANNAL_OK, "10.0.0.5"},
        Address{"MappedInHexadecimal", "::ffff:a00:5", ANNAL_OK, "a00:5"},
        Address{"PrefixWithoutColon", "::ffff", ANNAL_OK, "::ffff"},
        Address{"OtherPrefix", "::fffe:10.0.0.5", ANNAL_OK, "::fffe:10.0.0.5"},
        Address{"NoPrefix", "::10.0.0.5", ANNAL_OK, "::10.0.0.5"},
        Address{"PrefixWrittenOut", "0:0:0:0:0:ffff:10.0.0.5", ANNAL_OK, "0:0:0:0:0:ffff:10.0.0.5"},
        Address{"PrefixInTheMiddle", "1::ffff:10.0.0.5", ANNAL_OK, "1::ffff:10.0.0.5"},
        Address{"Empty", "", ANNAL_BAD_ARGUMENT, ""}, Address{"Word", "nonsense", ANNAL_BAD_ARGUMENT, "nonsense"},
        Address{"WordWithZone", "nonsense%eth0", ANNAL_BAD_ARGUMENT, "nonsense"},
        Address{"ZoneAlone", "%eth0", ANNAL_BAD_ARGUMENT, ""},
        Address{"MappedNonsense", "::ffff:256.0.0.1", ANNAL_BAD_ARGUMENT, "::ffff:256.0.0.1"},
        Address{"LeadingBlank", " 10.0.0.5", ANNAL_BAD_ARGUMENT, " 10.0.0.5"},
        Address{"Network", "fe80::1/64", ANNAL_BAD_ARGUMENT, "fe80::1/64"}),
    [](const auto& tested) { return tested.param.name; });

TEST_P(AddressCheckOf, ReturnsItsResultAndNormalisesTheText) {
  Buffer ip(GetParam().given);
  EXPECT_EQ(annal_checkip(ip.data()), GetParam().result);
  EXPECT_EQ(ip.text(), GetParam().left);
}

TEST_P(AddressCheckOf, WritesNothingAfterTheTextsTerminator) {
  Buffer ip(GetParam().given);
  annal_checkip(ip.data());
  EXPECT_TRUE(ip.is_untouched_behind_the_text());
}

TEST_P(AddressCheckOf, ReadsNothingAfterTheTextsTerminator) {
  // Exactly the text's size, so that a sanitizer detects an access after it.
  const std::string given = GetParam().given;
  const auto ip = std::make_unique<char[]>(given.size() + 1);
  std::memcpy(ip.get(), given.c_str(), given.size() + 1);
  EXPECT_EQ(annal_checkip(ip.get()), GetParam().result);
  EXPECT_STREQ(ip.get(), GetParam().left);
}

class AddressCheck : public ApplianceTest {};

TEST_F(AddressCheck, ReturnsNoMemoryForANullPointer) {
  EXPECT_EQ(annal_checkip(nullptr), ANNAL_NO_MEMORY);
  EXPECT_TRUE(platform.calls().empty());
}

TEST_F(AddressCheck, ClearsTheFieldAfterARewrittenText) {
  for (const char* given : {"::ffff:1.2.3.4", "::ffff:10.0.0.5", "::ffff:255.255.255.255"}) {
    SCOPED_TRACE(given);
    Buffer ip(given, '\0');
    ASSERT_EQ(annal_checkip(ip.data()), ANNAL_OK);
    const std::size_t length = std::strlen(given) - std::strlen("::ffff:");
    EXPECT_EQ(ip.bytes(length, 65), std::string(65, '\0'));
  }
}

TEST_F(AddressCheck, OverwritesOnlyThePercentSignOfAZone) {
  Buffer ip("fe80::2%eth0");
  ASSERT_EQ(annal_checkip(ip.data()), ANNAL_OK);
  EXPECT_EQ(ip.bytes(0, 13), std::string("fe80::2\0eth0\0", 13));
}

TEST_F(AddressCheck, ChecksForIpv6BeforeIpv4) {
  Buffer ip("10.0.0.5");
  annal_checkip(ip.data());
  EXPECT_EQ(platform.calls(), Calls({R"(IS_IPv6_Address("10.0.0.5"))", R"(Is_Valid_Source("10.0.0.5"))"}));
}

TEST_F(AddressCheck, SkipsTheIpv4CheckForIpv6) {
  Buffer ip("::ffff:10.0.0.5");
  annal_checkip(ip.data());
  EXPECT_EQ(platform.calls(), Calls({R"(IS_IPv6_Address("::ffff:10.0.0.5"))"}));
}

TEST_F(AddressCheck, ChecksTheTextWithoutItsZone) {
  Buffer ip("nonsense%eth0");
  annal_checkip(ip.data());
  EXPECT_EQ(platform.calls(), Calls({R"(IS_IPv6_Address("nonsense"))", R"(Is_Valid_Source("nonsense"))"}));
}

TEST_F(AddressCheck, DropsThePrefixOfAnyTextThePlatformAcceptsAsIpv6) {
  for (const int yes : {1, 2, -1}) {
    SCOPED_TRACE(yes);
    platform.answer("IS_IPv6_Address", yes);
    Buffer ip("::ffff:word");
    EXPECT_EQ(annal_checkip(ip.data()), ANNAL_OK);
    EXPECT_EQ(ip.text(), "word");
  }
}

TEST_F(AddressCheck, DropsAPrefixThatIsTheWholeText) {
  platform.answer("IS_IPv6_Address", 1);
  Buffer ip("::ffff:");
  EXPECT_EQ(annal_checkip(ip.data()), ANNAL_OK);
  EXPECT_EQ(ip.text(), "");
  EXPECT_TRUE(ip.is_untouched_behind_the_text());
}

TEST_F(AddressCheck, KeepsThePrefixOfATextThatIsNotIpv6) {
  platform.answer("IS_IPv6_Address", 0);
  platform.answer("Is_Valid_Source", 1);
  Buffer ip("::ffff:10.0.0.5");
  EXPECT_EQ(annal_checkip(ip.data()), ANNAL_OK);
  EXPECT_EQ(ip.text(), "::ffff:10.0.0.5");
}

TEST_F(AddressCheck, AcceptsAnyTextThePlatformAcceptsAsASource) {
  platform.answer("Is_Valid_Source", -1);
  for (const char* given : {"", "nonsense"}) {
    SCOPED_TRACE(given);
    Buffer ip(given);
    EXPECT_EQ(annal_checkip(ip.data()), ANNAL_OK);
    EXPECT_EQ(ip.text(), given);
  }
}

TEST_F(AddressCheck, RefusesATextThatThePlatformRefuses) {
  platform.answer("IS_IPv6_Address", 0);
  platform.answer("Is_Valid_Source", 0);
  Buffer ip("10.0.0.5");
  EXPECT_EQ(annal_checkip(ip.data()), ANNAL_BAD_ARGUMENT);
  EXPECT_EQ(ip.text(), "10.0.0.5");
}

TEST_F(AddressCheck, MovesAtMost63Characters) {
  platform.answer("IS_IPv6_Address", 1);
  const std::string prefix = "::ffff:";
  constexpr std::size_t kMoved = 63;
  for (const std::size_t length : {55U, 56U, 57U, 62U, 63U, 64U, 70U, 100U}) {
    SCOPED_TRACE(length);
    std::string rest;
    for (std::size_t i = 0; i < length; ++i) {
      rest += static_cast<char>('!' + (i % 90) + (i % 90 >= 4 ? 1 : 0));  // adjacent bytes differ, and there is no '%'
    }
    const std::string given = prefix + rest;
    std::string moved = rest.substr(0, kMoved);
    moved.resize(std::min(kMoved, given.size()), '\0');

    Buffer ip(given);
    EXPECT_EQ(annal_checkip(ip.data()), ANNAL_OK);
    EXPECT_EQ(ip.bytes(0, given.size()), moved + given.substr(moved.size()));
    EXPECT_TRUE(ip.is_untouched_behind_the_text());
  }
}

TEST_F(AddressCheck, TouchesNoFile) {
  Buffer ip("::ffff:10.0.0.5");
  annal_checkip(ip.data());
  EXPECT_TRUE(sqlite.calls().empty());
}

// ---- annal_gethostname, annal_getlocalip ----

struct HostText {
  const char* name;
  int (*write)(char* out);
  const char* text;
};

void PrintTo(const HostText& host, std::ostream* out) {
  *out << host.name;
}

class HostTextOf : public ApplianceTest, public testing::WithParamInterface<HostText> {};

INSTANTIATE_TEST_SUITE_P(
    Host, HostTextOf,
    testing::Values(HostText{"Name", [](char* out) { return annal_gethostname(out); }, "localhost"},
                    HostText{"Address", [](char* out) { return annal_getlocalip(out); }, "127.0.0.1"}),
    [](const auto& tested) { return tested.param.name; });

TEST_P(HostTextOf, FillsExactly64Bytes) {
  std::string out(66, kGuard);
  std::string expected = GetParam().text;
  expected.resize(64, '\0');
  EXPECT_EQ(GetParam().write(out.data()), ANNAL_OK);
  EXPECT_EQ(out, expected + kGuard + kGuard);
}

TEST_P(HostTextOf, RefusesANullPointer) {
  EXPECT_EQ(GetParam().write(nullptr), ANNAL_BAD_ARGUMENT);
}

TEST_P(HostTextOf, CallsNoOtherLibrary) {
  std::string out(64, kGuard);
  GetParam().write(out.data());
  EXPECT_TRUE(platform.calls().empty());
  EXPECT_TRUE(sqlite.calls().empty());
}

// ---- annal_common_pack_db ----

class Compaction : public ApplianceTest {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    annal_event_create_tbl(0, 0);
    sqlite.reset();
  }
};

TEST_F(Compaction, RunsItsMisspelledStatementWithoutABusyTimeout) {
  EXPECT_EQ(annal_common_pack_db(), ANNAL_TABLE_FAILED);
  EXPECT_EQ(sqlite.calls(), Calls({"open /etc/logs/event.log", "exec VACCUM;", "close"}));
}

TEST_F(Compaction, CompactsNothing) {
  sql(kLog, "DROP TABLE ANNAL_EVENT;");
  const std::string free_pages = value(kLog, "PRAGMA freelist_count;");
  ASSERT_NE(free_pages, "0");
  EXPECT_EQ(annal_common_pack_db(), ANNAL_TABLE_FAILED);
  EXPECT_EQ(value(kLog, "PRAGMA freelist_count;"), free_pages);
}

TEST_F(Compaction, FailsWithoutItsFolder) {
  remove_log_folder();
  EXPECT_EQ(annal_common_pack_db(), ANNAL_OPEN_FAILED);
}

TEST_F(Compaction, ClosesTheHandleOfAFailedOpen) {
  sqlite.fail("open");
  EXPECT_EQ(annal_common_pack_db(), ANNAL_OPEN_FAILED);
  EXPECT_EQ(sqlite.calls(), Calls({"open /etc/logs/event.log", "close"}));
}

TEST_F(Compaction, FailsOnAnEmptyOrForeignFile) {
  std::ofstream(kLog, std::ios::trunc).flush();
  EXPECT_EQ(annal_common_pack_db(), ANNAL_TABLE_FAILED);
  std::ofstream(kLog) << std::string(4096, 'x');
  EXPECT_EQ(annal_common_pack_db(), ANNAL_TABLE_FAILED);
}

TEST_F(Compaction, DoesNotWaitForALock) {
  const LockHolder lock(kLog);
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(annal_common_pack_db(), ANNAL_TABLE_FAILED);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
}

// ---- auto_free_str ----

class FreeingAText : public ApplianceTest {};

TEST_F(FreeingAText, IgnoresANullSlot) {
  auto_free_str(nullptr);
}

TEST_F(FreeingAText, IgnoresASlotThatHoldsNull) {
  char* text = nullptr;
  auto_free_str(static_cast<void*>(&text));
  EXPECT_EQ(text, nullptr);
}

TEST_F(FreeingAText, FreesAndClears) {
  const sqlite3_int64 before = sqlite3_memory_used();
  char* text = sqlite3_mprintf("%s", "a text");
  ASSERT_GT(sqlite3_memory_used(), before);
  auto_free_str(static_cast<void*>(&text));
  EXPECT_EQ(text, nullptr);
  EXPECT_EQ(sqlite3_memory_used(), before);
}

TEST_F(FreeingAText, ChangesOnlyItsSlot) {
  char beside[] = "beside";
  char* texts[] = {beside, sqlite3_mprintf("a text"), beside};
  auto_free_str(static_cast<void*>(&texts[1]));
  EXPECT_EQ(texts[0], beside);
  EXPECT_EQ(texts[1], nullptr);
  EXPECT_EQ(texts[2], beside);
}

}  // namespace
}  // namespace annal::test
