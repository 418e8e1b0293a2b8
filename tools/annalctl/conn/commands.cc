// The connection log's commands, in the order of the help.
#include "tools/annalctl/conn/commands.h"

#include "tools/annalctl/conn/model.h"
#include "tools/annalctl/log/command_group.h"

namespace annalctl {

namespace {

// In the order of the help.
constexpr AddCommand kCommands[] = {
    conn::add_create, conn::add_add,    conn::add_list, conn::add_show,    conn::add_tail,    conn::add_count,
    conn::add_group,  conn::add_delete, conn::add_trim, conn::add_flush,   conn::add_migrate, conn::add_import,
    conn::add_info,   conn::add_limit,  conn::add_keep, conn::add_compact, conn::add_check,   conn::add_salvage,
};

}  // namespace

void add_conn_commands(CLI::App& app, Session& session) {
  add_log_commands(app, conn::kLog, kCommands, session);
}

}  // namespace annalctl
