// What the event log's commands call.
#include "tools/annalctl/event/commands.h"

#include "Corix_annal.h"
#include "tools/annalctl/event/model.h"

namespace annalctl::event {

constinit const LogCommands kCommands{
    .log = kLog,
    .queries = kQueries,
    .deletion = kDeletion,
    .create = annal_event_create_tbl,
    .flush = annal_event_flush_tbl,
    .trim = annal_event_del_logfull_over_size,
    .migrate = annal_event_modify_tbl,
    .add = add_add,
    .import = add_import,
    .age = nullptr,
    .own_migrate = nullptr,
};

}  // namespace annalctl::event
