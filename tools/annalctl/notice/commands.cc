// The notice log's commands, in the order of the help.
#include "tools/annalctl/notice/commands.h"

#include "tools/annalctl/log/command_group.h"
#include "tools/annalctl/notice/model.h"

namespace annalctl {

namespace {

// In the order of the help.
constexpr AddCommand kCommands[] = {
    notice::add_create,  notice::add_add,    notice::add_list,    notice::add_show,  notice::add_tail,
    notice::add_count,   notice::add_group,  notice::add_delete,  notice::add_age,   notice::add_flush,
    notice::add_migrate, notice::add_import, notice::add_info,    notice::add_limit, notice::add_keep,
    notice::add_compact, notice::add_check,  notice::add_salvage,
};

}  // namespace

void add_notice_commands(CLI::App& app, Session& session) {
  add_log_commands(app, notice::kLog, kCommands, session);
}

}  // namespace annalctl
