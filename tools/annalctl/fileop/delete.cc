#include <array>
#include <string>

#include "Corix_annal.h"
#include "tools/annalctl/fileop/commands.h"
#include "tools/annalctl/fileop/model.h"
#include "tools/annalctl/maintenance/delete_command.h"

namespace annalctl::fileop {

namespace {

constexpr char kFooter[] =
    "Exactly one of the options is needed. Entries go when their column equals the value to the letter; none that "
    "does\n"
    "is no failure. A log that is locked is not waited for.\n"
    "\n"
    "Examples:\n"
    "  annalctl fileop --db operations.db delete --id 4711\n"
    "  annalctl fileop --db operations.db delete --date 2026-11-21\n"
    "  annalctl fileop --db operations.db delete --path '/share/photos/a.jpg'";

DeleteValue read_escaped(const std::string& text) {
  return escaped(text);
}

constexpr std::array kSelectors{
    DeleteOption{0, "--id", "id", read_number, "N"},
    DeleteOption{1, "--type", "level: information, warning, error", read_level, "NAME"},
    DeleteOption{2, "--date", "date, as 2026-11-21", read_escaped, "TEXT"},
    DeleteOption{3, "--time", "time, as 10:00:00", read_escaped, "TEXT"},
    DeleteOption{4, "--user", "user", read_escaped, "TEXT"},
    DeleteOption{5, "--ip", "address", read_escaped, "TEXT"},
    DeleteOption{6, "--folder", "folder code", read_number, "N"},
    DeleteOption{7, "--action", "action", read_number, "N"},
    DeleteOption{8, "--size", "size", read_number, "N"},
    DeleteOption{9, "--computer", "computer", read_escaped, "TEXT"},
    DeleteOption{10, "--device", "device", read_escaped, "TEXT"},
    DeleteOption{11, "--description", "description", read_escaped, "TEXT"},
    DeleteOption{12, "--path", "path", read_escaped, "TEXT"},
};

int delete_by(unsigned selector, const void* value) noexcept {
  return pavo2log_event_del(kLog.path, selector, value);
}

constexpr DeleteCommand kDeletion{kLog, kSelectors, delete_by, kFooter};

}  // namespace

void add_delete(CLI::App& commands, Session& session) {
  add_delete_command(commands, session, kDeletion);
}

}  // namespace annalctl::fileop
