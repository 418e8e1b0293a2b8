#include "common/paths.h"
#include "common/store.h"

namespace {

// Misspelt, and to be left so: SQLite refuses it, and callers are built on a compaction that never happens. A real one
// would hold every writer of a full log for as long as the copy takes.
constexpr annal::Statement kCompact{"VACCUM;", annal::Wait::kNever, ANNAL_TABLE_FAILED};

}  // namespace

int annal_common_pack_db() noexcept {
  return annal::run(annal::kEventLog, kCompact);
}
