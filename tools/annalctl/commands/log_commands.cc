// Makes the group of a log's commands from the log's row of data.
#include "tools/annalctl/commands/log_commands.h"

#include <CLI/CLI.hpp>

#include "tools/annalctl/log/command_group.h"
#include "tools/annalctl/maintenance/compact.h"
#include "tools/annalctl/maintenance/info.h"
#include "tools/annalctl/maintenance/keep.h"
#include "tools/annalctl/maintenance/limit.h"
#include "tools/annalctl/maintenance/maintenance.h"
#include "tools/annalctl/proof/commands.h"
#include "tools/annalctl/proof/redact_command.h"
#include "tools/annalctl/rescue/check_command.h"
#include "tools/annalctl/rescue/salvage.h"

namespace annalctl {

namespace {

void add_if_any(CLI::App& group, Session& session, AddCommand add) {
  if (add != nullptr) {
    add(group, session);
  }
}

// In the order of the help.
void add_commands(CLI::App& group, Session& session, const LogCommands& of) {
  add_create_command(group, session, of.log, of.create);
  add_if_any(group, session, of.add);
  add_list_command(group, session, of.queries);
  add_show_command(group, session, of.queries);
  add_tail_command(group, session, of.queries);
  add_count_command(group, session, of.queries);
  if (!of.queries.groupings.empty()) {
    add_group_command(group, session, of.queries);
  }
  add_delete_command(group, session, of.deletion);
  if (of.trim != nullptr) {
    add_trim_command(group, session, of.log, of.trim);
  }
  add_if_any(group, session, of.age);
  add_flush_command(group, session, of.log, of.flush);
  if (of.migrate != nullptr) {
    add_migrate_command(group, session, of.log, of.migrate);
  }
  add_if_any(group, session, of.own_migrate);
  add_if_any(group, session, of.import);
  add_info_command(group, session, of.log);
  add_limit_command(group, session, of.log);
  add_keep_command(group, session, of.log);
  add_compact_command(group, session, of.log);
  add_check_command(group, session, of.log);
  add_salvage_command(group, session, of.log);
  add_seal_command(group, session, of.log);
  add_verify_command(group, session, of.log);
  add_redact_command(group, session, of.queries, of.personal);
}

}  // namespace

void add_log_commands(CLI::App& app, Session& session, const LogCommands& of) {
  add_log_group(app, session, of.log, [&session, &of](CLI::App& group) { add_commands(group, session, of); });
}

}  // namespace annalctl
