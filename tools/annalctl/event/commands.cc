// What the event log's commands call.
#include "tools/annalctl/event/commands.h"

#include <array>

#include "Corix_annal.h"
#include "tools/annalctl/event/model.h"

namespace annalctl::event {

namespace {

constexpr std::array kPersonal{"event_user",      "event_ip",         "event_comp",        "event_desc",
                               "event_client_id", "event_client_app", "event_client_agent"};

}  // namespace

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
    .personal = kPersonal,
};

}  // namespace annalctl::event
