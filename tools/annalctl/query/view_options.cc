#include "tools/annalctl/query/view_options.h"

namespace annalctl {

void add_view_options(CLI::App& command, Session& session) {
  command.add_flag_callback(
      "--wide", [&session] { session.view.width = TableWidth::kWide; },
      "Show all of each column, however long the lines");
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
          "Show these alone, in this order: 'id,time,message'; any column of the log may be named")
      ->type_name("NAME,NAME")
      ->take_all()
      ->allow_extra_args(false);
  command.add_flag_callback(
      "--utc", [&session] { session.view.zone = Zone::kUtc; },
      "Show times in UTC; the columns of --json and --csv stay as they are stored");
}

}  // namespace annalctl
