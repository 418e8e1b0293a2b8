// The file-operation log's address check, which accepts more than the other logs'.
#include <cstring>
#include <memory>
#include <ostream>
#include <string>

#include "Corix_annal.h"
#include "tests/support/address.h"
#include "tests/support/appliance.h"

namespace annal::test {
namespace {

// A number beyond 32 bits, which is read as a long.
constexpr int kWithLongOf64Bits = sizeof(long) == 8 ? ANNAL_OK : ANNAL_BAD_ARGUMENT;

class FileOpAddress : public ApplianceTest, public testing::WithParamInterface<Address> {};

INSTANTIATE_TEST_SUITE_P(
    Of, FileOpAddress,
    testing::Values(
        Address{"Ipv4", "192.168.1.2", ANNAL_OK, "192.168.1.2"}, Address{"AllZero", "0.0.0.0", ANNAL_OK, "0.0.0.0"},
        Address{"HighestIpv4", "255.255.255.255", ANNAL_OK, "255.255.255.255"},
        Address{"Ipv4WithZone", "10.0.0.5%eth0", ANNAL_OK, "10.0.0.5"},
        Address{"Ipv4WithPort", "10.0.0.5:8080", ANNAL_OK, "10.0.0.5:8080"},
        Address{"Ipv4WithFurtherPart", "10.0.0.5.6", ANNAL_OK, "10.0.0.5.6"},
        Address{"Ipv4WithWord", "10.0.0.5x", ANNAL_OK, "10.0.0.5x"},
        Address{"Ipv4WithQuote", "10.0.0.5'", ANNAL_OK, "10.0.0.5'"},
        Address{"LeadingZeros", "010.000.0001.5", ANNAL_OK, "010.000.0001.5"},
        Address{"BlanksBeforeTheNumbers", " 10. 0.\t0. 5", ANNAL_OK, " 10. 0.\t0. 5"},
        Address{"PlusSigns", "+10.+0.+0.+5", ANNAL_OK, "+10.+0.+0.+5"},
        Address{"FirstPartTooHigh", "256.0.0.5", ANNAL_BAD_ARGUMENT, "256.0.0.5"},
        Address{"SecondPartTooHigh", "10.256.0.5", ANNAL_BAD_ARGUMENT, "10.256.0.5"},
        Address{"ThirdPartTooHigh", "10.0.256.5", ANNAL_BAD_ARGUMENT, "10.0.256.5"},
        Address{"FourthPartTooHigh", "10.0.0.256", ANNAL_BAD_ARGUMENT, "10.0.0.256"},
        Address{"FirstPartNegative", "-1.0.0.5", ANNAL_BAD_ARGUMENT, "-1.0.0.5"},
        Address{"FourthPartNegative", "10.0.0.-1", ANNAL_BAD_ARGUMENT, "10.0.0.-1"},
        // A number is read as a long, clamped to its range, and its low 32 bits count.
        Address{"PartThatWrapsRound", "10.0.0.4294967301", kWithLongOf64Bits, "10.0.0.4294967301"},
        Address{"EveryPartWrapsRound", "4294967296.8589934847.42949672960.4294967551", kWithLongOf64Bits,
                "4294967296.8589934847.42949672960.4294967551"},
        Address{"NegativePartThatWrapsRound", "10.0.0.-4294967291", kWithLongOf64Bits, "10.0.0.-4294967291"},
        Address{"PartThatWrapsRoundTooHigh", "10.0.0.4294967552", ANNAL_BAD_ARGUMENT, "10.0.0.4294967552"},
        Address{"PartThatWrapsRoundBelow", "10.0.0.4294967295", ANNAL_BAD_ARGUMENT, "10.0.0.4294967295"},
        Address{"PartBeyondAnyNumber", "10.0.0.99999999999999999999", ANNAL_BAD_ARGUMENT,
                "10.0.0.99999999999999999999"},
        Address{"PartThatWouldWrapRoundALong", "10.0.0.18446744073709551621", ANNAL_BAD_ARGUMENT,
                "10.0.0.18446744073709551621"},
        Address{"NegativePartBeyondAnyNumber", "10.0.0.-99999999999999999999", kWithLongOf64Bits,
                "10.0.0.-99999999999999999999"},
        Address{"SignWithoutANumber", "10.0.0.+-5", ANNAL_BAD_ARGUMENT, "10.0.0.+-5"},
        Address{"BlankBehindASign", "10.0.0.- 5", ANNAL_BAD_ARGUMENT, "10.0.0.- 5"},
        Address{"ThreeParts", "10.0.0", ANNAL_BAD_ARGUMENT, "10.0.0"},
        Address{"ThreePartsAndADot", "10.0.0.", ANNAL_BAD_ARGUMENT, "10.0.0."},
        Address{"EmptyPart", "10..0.5", ANNAL_BAD_ARGUMENT, "10..0.5"},
        Address{"BlankBeforeADot", "10 .0.0.5", ANNAL_BAD_ARGUMENT, "10 .0.0.5"},
        Address{"OtherSeparator", "10,0,0,5", ANNAL_BAD_ARGUMENT, "10,0,0,5"},
        Address{"Hexadecimal", "0x0a.0.0.5", ANNAL_BAD_ARGUMENT, "0x0a.0.0.5"},
        Address{"Empty", "", ANNAL_BAD_ARGUMENT, ""}, Address{"Word", "nonsense", ANNAL_BAD_ARGUMENT, "nonsense"},
        Address{"WordWithZone", "nonsense%eth0", ANNAL_BAD_ARGUMENT, "nonsense"},
        Address{"ZoneAlone", "%eth0", ANNAL_BAD_ARGUMENT, ""}, Address{"Ipv6", "fe80::1", ANNAL_OK, "fe80::1"},
        Address{"Ipv6WithTwoZones", "fe80::2%a%b", ANNAL_OK, "fe80::2"},
        Address{"Mapped", "::ffff:10.0.0.5", ANNAL_OK, "10.0.0.5"},
        Address{"MappedInUpperCase", "::FFFF:192.168.1.2", ANNAL_OK, "192.168.1.2"},
        Address{"MappedInMixedCase", "::FfFf:192.168.1.2", ANNAL_OK, "192.168.1.2"},
        Address{"MappedWithZone", "::ffff:10.0.0.5%eth0", ANNAL_OK, "10.0.0.5"},
        Address{"MappedInHexadecimal", "::ffff:a00:5", ANNAL_OK, "a00:5"},
        Address{"MappedNonsense", "::ffff:256.0.0.1", ANNAL_BAD_ARGUMENT, "::ffff:256.0.0.1"}),
    [](const auto& tested) { return tested.param.name; });

TEST_P(FileOpAddress, IsCheckedAndNormalised) {
  // Exactly the text's size, so that a sanitizer detects an access after it.
  const std::string given = GetParam().given;
  const auto ip = std::make_unique<char[]>(given.size() + 1);
  std::memcpy(ip.get(), given.c_str(), given.size() + 1);
  EXPECT_EQ(pavo2log_checkip(ip.get()), GetParam().result);
  EXPECT_STREQ(ip.get(), GetParam().left);
}

class FileOpAddressCheck : public ApplianceTest {};

TEST_F(FileOpAddressCheck, ReturnsNoMemoryForANullPointer) {
  EXPECT_EQ(pavo2log_checkip(nullptr), ANNAL_NO_MEMORY);
  EXPECT_EQ(platform.calls(), Calls());
}

TEST_F(FileOpAddressCheck, ChecksOnlyIpv6WithThePlatform) {
  char ip[] = "10.0.0.5";
  EXPECT_EQ(pavo2log_checkip(ip), ANNAL_OK);
  EXPECT_EQ(platform.calls(), Calls({R"(IS_IPv6_Address("10.0.0.5"))"}));
}

TEST_F(FileOpAddressCheck, AcceptsAnyTextThePlatformAcceptsAsIpv6) {
  platform.answer("IS_IPv6_Address", 1);
  char ip[] = "nonsense";
  EXPECT_EQ(pavo2log_checkip(ip), ANNAL_OK);
  platform.answer("IS_IPv6_Address", 0);
  char refused[] = "::ffff:10.0.0.5";
  EXPECT_EQ(pavo2log_checkip(refused), ANNAL_BAD_ARGUMENT);
  EXPECT_STREQ(refused, "::ffff:10.0.0.5");
}

TEST_F(FileOpAddressCheck, DiffersFromThatOfTheOtherLogs) {
  char with_port[] = "10.0.0.5:8080";
  EXPECT_EQ(annal_checkip(with_port), ANNAL_BAD_ARGUMENT);
  EXPECT_EQ(pavo2log_checkip(with_port), ANNAL_OK);
}

}  // namespace
}  // namespace annal::test
