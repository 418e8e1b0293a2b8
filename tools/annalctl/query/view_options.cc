// The options for how rows look, which listings share.
#include "tools/annalctl/query/view_options.h"

#include <CLI/CLI.hpp>

namespace annalctl {

void add_view_options(CLI::App& command, Session& session) {
  command.add_flag_callback(
      "--wide", [&session] { session.view.width = TableWidth::kWide; },
      "Show all of each column, even if lines get long");
  command
      .add_option(
          "--columns",
          [&session](const CLI::results_t& texts) {
            session.view.columns.clear();
            for (const std::string& text : texts) {
              for (const std::string& name : CLI::detail::split(text, ',')) {
                session.view.columns.push_back(name);
              }
            }
            return true;
          },
          "Show only these, in this order: 'id,time,message'; takes any column of the log")
      ->type_name("NAME,NAME")
      ->take_all()
      ->allow_extra_args(false);
  command.add_flag_callback(
      "--utc", [&session] { session.view.zone = Zone::kUtc; },
      "Show times in UTC; the columns of --json and --csv stay as they are stored");
}

}  // namespace annalctl
