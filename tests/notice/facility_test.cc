// The facilities' names, and the severities of notices about events.
#include <climits>
#include <cstddef>
#include <string>

#include "Corix_annal.h"
#include "tests/support/appliance.h"

namespace annal::test {
namespace {

struct Facility {
  int number;
  const char* name;
};

constexpr Facility kListed[] = {
    {0, ""},
    {1, "SMART"},
    {2, "Antivirus"},
    {3, "Backup External Drive"},
    {4, "Backup MIRA"},
    {5, "Backup Rsync"},
    {6, "Backup LUN"},
    {7, "Backup Amazon S3"},
    {8, "event log"},
    {9, "connect log"},
    {10, "USB Drive"},
    {11, "eSATA Drive"},
    {12, "Disk Volume"},
    {13, "App"},
    {14, "Media Library"},
    {15, "Video Transcoding"},
    {16, "Video Real-time Transcoding"},
    {17, "System"},
    {18, "USB One Touch Copy"},
    {19, "Tandem"},
    {20, "NEWS"},
};

// Unlisted facilities, with and without a name.
constexpr Facility kUnlisted[] = {
    {99, "Background Task"}, {21, ""}, {98, ""}, {100, ""}, {-1, ""}, {-99, ""}, {INT_MIN, ""}, {INT_MAX, ""},
};

// ---- notice_facility_list ----

TEST(NoticeFacilityList, HoldsTheListedFacilitiesInTheirOrder) {
  for (std::size_t i = 0; i < std::size(kListed); ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(notice_facility_list[i].number, kListed[i].number);
    EXPECT_STREQ(notice_facility_list[i].name, kListed[i].name);
  }
}

TEST(NoticeFacilityList, EndsAfterThem) {
  static_assert(std::size(notice_facility_list) == std::size(kListed) + 1);
  EXPECT_EQ(notice_facility_list[std::size(kListed)].number, -1);
  EXPECT_EQ(notice_facility_list[std::size(kListed)].name, nullptr);
}

// ---- Get_Facility_String_By_Facility ----

class NoticeFacilityName : public ApplianceTest {
 protected:
  // Fetches each facility's name into a buffer that is wider than the name.
  template <typename Facilities>
  static void expect_names_of(const Facilities& facilities) {
    for (const auto& [number, name] : facilities) {
      SCOPED_TRACE(number);
      char buffer[64] = "something else";
      EXPECT_EQ(Get_Facility_String_By_Facility(number, buffer, sizeof buffer), ANNAL_OK);
      EXPECT_STREQ(buffer, name);
    }
  }

  // For widths below, equal to and above a name's length: writes exactly that width.
  template <typename Facilities>
  static void expect_exact_widths_of(const Facilities& facilities) {
    constexpr std::size_t kSize = 40;
    constexpr std::size_t kWidest = 32;
    for (const auto& [number, name] : facilities) {
      for (std::size_t width = 0; width <= kWidest; ++width) {
        SCOPED_TRACE(testing::Message() << "facility " << number << " in " << width << " bytes");
        std::string buffer(kSize, '\xAA');
        std::string expected = std::string(name).substr(0, width);
        expected.resize(width, '\0');
        expected.resize(kSize, '\xAA');
        EXPECT_EQ(Get_Facility_String_By_Facility(number, buffer.data(), static_cast<int>(width)), ANNAL_OK);
        EXPECT_EQ(buffer, expected);
      }
    }
  }

  template <typename Facilities>
  static void expect_refusal_of_no_buffer_for(const Facilities& facilities) {
    for (const auto& [number, name] : facilities) {
      SCOPED_TRACE(number);
      for (const int width : {64, 0, -1}) {
        EXPECT_EQ(Get_Facility_String_By_Facility(number, nullptr, width), -1);
      }
    }
  }
};

TEST_F(NoticeFacilityName, IsTheListedName) {
  expect_names_of(kListed);
}

TEST_F(NoticeFacilityName, IsEmptyForUnlistedNumbersExceptBackgroundTasks) {
  expect_names_of(kUnlisted);
}

TEST_F(NoticeFacilityName, FillsExactlyTheGivenWidth) {
  expect_exact_widths_of(kListed);
  expect_exact_widths_of(kUnlisted);
}

TEST_F(NoticeFacilityName, IsNotTerminatedIfItFillsTheBuffer) {
  char buffer[6] = {'x', 'x', 'x', 'x', 'x', 'x'};
  EXPECT_EQ(Get_Facility_String_By_Facility(1, buffer, 5), ANNAL_OK);
  EXPECT_EQ(std::string(buffer, sizeof buffer), "SMARTx");
  EXPECT_EQ(Get_Facility_String_By_Facility(99, buffer, 4), ANNAL_OK);
  EXPECT_EQ(std::string(buffer, sizeof buffer), "BackTx");
}

TEST_F(NoticeFacilityName, WritesNothingForANegativeWidth) {
  for (const int facility : {0, 1, 20, 21, 99, -1}) {
    for (const int width : {-1, -64, INT_MIN}) {
      SCOPED_TRACE(testing::Message() << "facility " << facility << " in " << width << " bytes");
      char buffer[64] = "something else";
      EXPECT_EQ(Get_Facility_String_By_Facility(facility, buffer, width), ANNAL_OK);
      EXPECT_STREQ(buffer, "something else");
    }
  }
}

TEST_F(NoticeFacilityName, RefusesANullBuffer) {
  expect_refusal_of_no_buffer_for(kListed);
  expect_refusal_of_no_buffer_for(kUnlisted);
}

TEST_F(NoticeFacilityName, TouchesNoFile) {
  char buffer[64];
  Get_Facility_String_By_Facility(1, buffer, sizeof buffer);
  EXPECT_TRUE(sqlite.calls().empty());
  EXPECT_FALSE(exists("/etc/logs/notice.log"));
}

// ---- ChangeLogTypeToNoticeSeverity ----

TEST(NoticeSeverity, FollowsTheTypeOfTheEvent) {
  const struct {
    int type;
    int severity;
  } expectations[] = {
      {0, 6}, {1, 4}, {2, 3}, {3, 6}, {4, 6}, {6, 6}, {-1, 6}, {INT_MAX, 6}, {INT_MIN, 6},
  };
  for (const auto& [type, severity] : expectations) {
    SCOPED_TRACE(type);
    EXPECT_EQ(ChangeLogTypeToNoticeSeverity(type), severity);
  }
}

}  // namespace
}  // namespace annal::test
