// The event log's commands, in the order of the help.
#include "tools/annalctl/event/commands.h"

#include "tools/annalctl/event/model.h"
#include "tools/annalctl/log/command_group.h"

namespace annalctl {

namespace {

// In the order of the help.
constexpr AddCommand kCommands[] = {
    event::add_create, event::add_add,    event::add_list, event::add_show,    event::add_tail,    event::add_count,
    event::add_group,  event::add_delete, event::add_trim, event::add_flush,   event::add_migrate, event::add_import,
    event::add_info,   event::add_limit,  event::add_keep, event::add_compact, event::add_check,   event::add_salvage,
};

}  // namespace

void add_event_commands(CLI::App& app, Session& session) {
  add_log_commands(app, event::kLog, kCommands, session);
}

}  // namespace annalctl
