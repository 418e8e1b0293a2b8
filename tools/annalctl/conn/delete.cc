#include <array>

#include "Corix_annal.h"
#include "tools/annalctl/conn/commands.h"
#include "tools/annalctl/conn/model.h"
#include "tools/annalctl/maintenance/delete_command.h"

namespace annalctl::conn {

namespace {

constexpr char kFooter[] =
    "Exactly one of the options is needed. Entries go when their column equals the value to the letter; none that "
    "does\n"
    "is no failure. A value with a single quote (') in it cannot be used. A log that is locked is not waited for.\n"
    "\n"
    "Examples:\n"
    "  annalctl conn delete --id 4711\n"
    "  annalctl conn delete --ip 203.0.113.7\n"
    "  annalctl conn delete --result 13";

constexpr std::array kSelectors{
    DeleteOption{0, "--id", "id", read_number, "N"},
    DeleteOption{1, "--type", "level: information, warning, error", read_level, "NAME"},
    DeleteOption{2, "--date", "date, as 2026-11-21", read_text_without_quote, "TEXT"},
    DeleteOption{3, "--time", "time, as 10:00:00", read_text_without_quote, "TEXT"},
    DeleteOption{4, "--user", "user", read_text_without_quote, "TEXT"},
    DeleteOption{5, "--ip", "address", read_text_without_quote, "TEXT"},
    DeleteOption{6, "--computer", "computer", read_text_without_quote, "TEXT"},
    DeleteOption{7, "--resource", "resource", read_text_without_quote, "TEXT"},
    DeleteOption{8, "--service", "service", read_number, "N"},
    DeleteOption{9, "--action", "action", read_number, "N"},
    DeleteOption{10, "--app", "application", read_text_without_quote, "TEXT"},
    DeleteOption{11, "--result", "action result: 0 or 13, which is failed", read_number, "N"},
};

constexpr DeleteCommand kDeletion{kLog, kSelectors, annal_conn_del, kFooter};

}  // namespace

void add_delete(CLI::App& commands, Session& session) {
  add_delete_command(commands, session, kDeletion);
}

}  // namespace annalctl::conn
