// Maps an event's type to a notice's severity; events are forwarded with it too.
#include "Corix_annal.h"

int ChangeLogTypeToNoticeSeverity(int type) noexcept {
  constexpr int kError = 3;  // as syslog numbers them
  constexpr int kWarning = 4;
  constexpr int kInformation = 6;
  switch (type) {
    case 1:
      return kWarning;
    case 2:
      return kError;
    default:
      return kInformation;
  }
}
