#include "tools/tail.h"

#include <memory>

#include "Corix_annal.h"
#include "tools/event/commands.h"
#include "tools/event/model.h"
#include "tools/level.h"

namespace annalctl::event {

namespace {

struct Arguments {
  std::optional<unsigned> type;
  TailOptions options;
};

int run_tail(const Arguments& arguments, Program& program) {
  const unsigned type = arguments.type.value_or(0);
  const Tail tail{{
      {kLog, "list the events", Purpose::kReading},
      listed_shape(),
      [type](annal_row_callback callback, void* context, Page::Range range) {
        return annal_event_query(callback, kHighestIdFirst, range.start, range.end, type, context);
      },
  }};
  return show_tail(tail, arguments.options, program);
}

}  // namespace

void add_tail(CLI::App& commands, Program& program) {
  CLI::App* const command =
      commands.add_subcommand("tail", "Show the newest events, and each new one when it is there");
  const auto arguments = std::make_shared<Arguments>();
  command->footer(tail_footer(kLog));
  add_tail_options(*command, arguments->options);
  add_choice(*command, "--type", arguments->type, kLevelFilters, "Only events of this level");
  command->callback([arguments, &program] { program.status = run_tail(*arguments, program); });
}

}  // namespace annalctl::event
