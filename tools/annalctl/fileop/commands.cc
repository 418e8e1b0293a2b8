// What the commands of a file-operation log call.
#include "tools/annalctl/fileop/commands.h"

#include <sys/stat.h>

#include <array>

#include "Corix_annal.h"
#include "tools/annalctl/fileop/model.h"

namespace annalctl::fileop {

namespace {

// The library leaves a file that holds something alone and reports success. A user who asks for a log with a limit must
// learn that the limit was not set.
int create(int limit, int batch) noexcept {
  struct stat status {};
  const bool exists = stat(kLog.path, &status) == 0 && status.st_size != 0;
  const int code = pavo2log_event_create_tbl(kLog.path, limit, batch);
  return exists && code == ANNAL_OK ? static_cast<int>(ANNAL_TABLE_FAILED) : code;
}

int flush() noexcept {
  return pavo2log_event_flush_tbl(kLog.path);
}

}  // namespace

namespace {

constexpr std::array kPersonal{"event_user", "event_ip",   "event_oldfilepath", "event_filepath",
                               "event_comp", "event_duid", "event_desc",        "sub_user"};

}  // namespace

constinit const LogCommands kCommands{
    .log = kLog,
    .queries = kQueries,
    .deletion = kDeletion,
    .create = create,
    .flush = flush,
    .trim = nullptr,
    .migrate = nullptr,
    .add = add_add,
    .import = add_import,
    .age = nullptr,
    .own_migrate = nullptr,
    .personal = kPersonal,
};

}  // namespace annalctl::fileop
