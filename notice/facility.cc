#include "Corix_annal.h"
#include "common/record.h"

const NoticeFacility notice_facility_list[] = {
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
    {-1, nullptr},
};

namespace {

constexpr int kHighestListed = 20;

// Work that runs in the background has a name, and no place in the list that programs show to choose from.
constexpr int kBackgroundTask = 99;

const char* name_of(int facility) noexcept {
  if (facility == kBackgroundTask) {
    return "Background Task";
  }
  // The list is exported, so that a program may put its own in this one's place, with facilities that have no name.
  const char* const name = facility >= 0 && facility <= kHighestListed ? notice_facility_list[facility].name : nullptr;
  return name != nullptr ? name : "";
}

}  // namespace

int Get_Facility_String_By_Facility(int facility, char* dst, int len) noexcept {
  if (dst == nullptr) {
    return -1;
  }
  // A name that fills the buffer is not terminated: callers size their buffers for the names they know.
  if (len > 0) {
    annal::fill_field(dst, name_of(facility), static_cast<std::size_t>(len));
  }
  return ANNAL_OK;
}
