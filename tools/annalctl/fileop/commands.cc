// The commands of a file-operation log, in the order of the help.
#include "tools/annalctl/fileop/commands.h"

#include "tools/annalctl/fileop/model.h"
#include "tools/annalctl/log/command_group.h"

namespace annalctl {

namespace {

// In the order of the help.
constexpr AddCommand kCommands[] = {
    fileop::add_create, fileop::add_add,    fileop::add_list,    fileop::add_show,   fileop::add_count,
    fileop::add_tail,   fileop::add_delete, fileop::add_flush,   fileop::add_import, fileop::add_info,
    fileop::add_limit,  fileop::add_keep,   fileop::add_compact, fileop::add_check,  fileop::add_salvage,
};

}  // namespace

void add_fileop_commands(CLI::App& app, Session& session) {
  add_log_commands(app, fileop::kLog, kCommands, session);
}

}  // namespace annalctl
