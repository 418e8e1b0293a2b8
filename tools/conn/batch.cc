#include "tools/conn/batch.h"

#include "tools/conn/model.h"
#include "tools/diagnosis.h"

namespace annalctl::conn {

Stored store(std::vector<ConnRecord>& records) {
  if (file_obstacle(kLog, Purpose::kWriting) || kLog.count() < 0 || !layout_is_current(kLog)) {
    return {ANNAL_BATCH_FAILED, 0};
  }
  int stored = 0;
  const int code = annal_conn_add_entries2(records.data(), static_cast<int>(records.size()), &stored);
  if (code != ANNAL_OK) {
    return {code, 0};  // Nothing was committed, whatever the number says.
  }
  const bool all = static_cast<std::size_t>(stored) == records.size();
  return {all ? ANNAL_OK : ANNAL_INSERT_FAILED, static_cast<std::size_t>(stored)};
}

}  // namespace annalctl::conn
