// A transaction that is rolled back unless it was committed.
#include "tools/annalctl/maintenance/change.h"

namespace annalctl {

Change::Change(Reader& reader) : reader_(reader) {
  reader.begin_change();
}

Change::~Change() {
  if (!finished_) {
    try {
      reader_.run("ROLLBACK");
    } catch (...) {  // SQLite has rolled it back already.
    }
  }
}

void Change::finish() {
  reader_.run("COMMIT");
  finished_ = true;
}

}  // namespace annalctl
