// What the notice log's commands call.
#include "tools/annalctl/notice/commands.h"

#include "Corix_annal.h"
#include "tools/annalctl/notice/model.h"

namespace annalctl::notice {

constinit const LogCommands kCommands{
    .log = kLog,
    .queries = kQueries,
    .deletion = kDeletion,
    .create = annal_notice_create_tbl,
    .flush = annal_notice_flush_tbl,
    .trim = nullptr,
    .migrate = nullptr,
    .add = add_add,
    .import = add_import,
    .age = add_age,
    .own_migrate = add_migrate,
};

}  // namespace annalctl::notice
