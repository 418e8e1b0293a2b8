#include <array>

#include "Corix_annal.h"
#include "tools/annalctl/event/commands.h"
#include "tools/annalctl/event/model.h"
#include "tools/annalctl/log/level.h"
#include "tools/annalctl/maintenance/delete_command.h"

namespace annalctl::event {

namespace {

constexpr char kFooter[] =
    "Exactly one of the options is needed. Entries go when their column equals the value to the letter; none that "
    "does\n"
    "is no failure. A value with a single quote (') in it cannot be used. A log that is locked is not waited for.\n"
    "\n"
    "Examples:\n"
    "  annalctl event delete --id 4711\n"
    "  annalctl event delete --date 2026-11-21\n"
    "  annalctl event delete --type information";

constexpr std::array kSelectors{
    DeleteOption{0, "--id", "id", read_number, "N"},
    DeleteOption{1, "--type", "level: information, warning, error", read_level, "NAME"},
    DeleteOption{2, "--date", "date, as 2026-11-21", read_text_without_quote, "TEXT"},
    DeleteOption{3, "--time", "time, as 10:00:00", read_text_without_quote, "TEXT"},
    DeleteOption{4, "--user", "user", read_text_without_quote, "TEXT"},
    DeleteOption{5, "--ip", "address", read_text_without_quote, "TEXT"},
    DeleteOption{6, "--computer", "computer", read_text_without_quote, "TEXT"},
    DeleteOption{7, "--message", "message", read_text_without_quote, "TEXT"},
    DeleteOption{8, "--msgid", "message id", read_text_without_quote, "TEXT"},
    DeleteOption{9, "--timestamp", "time stamp, in seconds since 1970", read_number, "N"},
};

constexpr DeleteCommand kDeletion{kLog, kSelectors, annal_event_del, kFooter};

}  // namespace

void add_delete(CLI::App& commands, Session& session) {
  add_delete_command(commands, session, kDeletion);
}

}  // namespace annalctl::event
