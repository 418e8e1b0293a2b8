// The display names of facilities.
#include "Corix_annal.h"
#include "common/record.h"

namespace {

constexpr int kHighestListed = 20;

// Background work has a name but is not in the list that programs offer for selection.
constexpr int kBackgroundTask = 99;

const char* name_of(int facility) noexcept {
  if (facility == kBackgroundTask) {
    return "Background Task";
  }
  // A program may replace the exported list by its own, so read the name there and allow for a null one.
  const char* const name = notice_facility_list[facility >= 0 && facility <= kHighestListed ? facility : 0].name;
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
