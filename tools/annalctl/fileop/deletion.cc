// The columns to delete file operations by.
#include <array>
#include <string>

#include "Corix_annal.h"
#include "tools/annalctl/fileop/commands.h"
#include "tools/annalctl/fileop/model.h"
#include "tools/annalctl/maintenance/delete_command.h"

namespace annalctl::fileop {

namespace {

constexpr char kExamples[] =
    "  annalctl fileop --db operations.db delete --id 4711\n"
    "  annalctl fileop --db operations.db delete --path /share/photos/a.jpg\n"
    "  annalctl fileop --db operations.db delete --user ann --until -30d --dry-run";

DeleteValue read_escaped(const std::string& text) {
  return escaped(text);
}

constexpr std::array kSelectors{
    DeleteOption{0, "--id", "id", read_number, "N", "event_id"},
    DeleteOption{1, "--type", "level: information, warning, error", read_level, "NAME", "event_type"},
    DeleteOption{2, "--date", "date, as 2026-11-21", read_escaped, "TEXT", "event_date"},
    DeleteOption{3, "--time", "time, as 10:00:00", read_escaped, "TEXT", "event_time"},
    DeleteOption{4, "--user", "user", read_escaped, "TEXT", "event_user"},
    DeleteOption{5, "--ip", "address", read_escaped, "TEXT", "event_ip"},
    DeleteOption{6, "--folder", "folder code", read_number, "N", "event_isFolder"},
    DeleteOption{7, "--action", "action", read_number, "N", "event_action", nullptr, Named::kOperation},
    DeleteOption{8, "--size", "size", read_number, "N", "event_filesize"},
    DeleteOption{9, "--computer", "computer", read_escaped, "TEXT", "event_comp"},
    DeleteOption{10, "--device", "device", read_escaped, "TEXT", "event_duid"},
    DeleteOption{11, "--description", "description", read_escaped, "TEXT", "event_desc"},
    DeleteOption{12, "--path", "path", read_escaped, "TEXT", "event_filepath"},
};

int delete_by(unsigned selector, const void* value) noexcept {
  return pavo2log_event_del(kLog.path, selector, value);
}

}  // namespace

constinit const DeleteCommand kDeletion{kQueries, kSelectors, delete_by, kExamples};

}  // namespace annalctl::fileop
