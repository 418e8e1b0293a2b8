// The columns to delete events by.
#include <array>

#include "Corix_annal.h"
#include "tools/annalctl/event/commands.h"
#include "tools/annalctl/event/model.h"
#include "tools/annalctl/log/level.h"
#include "tools/annalctl/maintenance/delete_command.h"

namespace annalctl::event {

namespace {

constexpr char kExamples[] =
    "  annalctl event delete --id 4711\n"
    "  annalctl event delete --date 2026-11-21\n"
    "  annalctl event delete --type information --since -30d --until -7d --dry-run";

constexpr std::array kSelectors{
    DeleteOption{0, "--id", "id", read_number, "N", "event_id"},
    DeleteOption{1, "--type", "level: information, warning, error", read_level, "NAME", "event_type"},
    DeleteOption{2, "--date", "date, as 2026-11-21", read_text_without_quote, "TEXT", "event_date"},
    DeleteOption{3, "--time", "time, as 10:00:00", read_text_without_quote, "TEXT", "event_time"},
    DeleteOption{4, "--user", "user", read_text_without_quote, "TEXT", "event_user"},
    DeleteOption{5, "--ip", "address", read_text_without_quote, "TEXT", "event_ip"},
    DeleteOption{6, "--computer", "computer", read_text_without_quote, "TEXT", "event_comp"},
    DeleteOption{7, "--message", "message", read_text_without_quote, "TEXT", "event_desc"},
    DeleteOption{8, "--msgid", "message id", read_text_without_quote, "TEXT", "event_msgid"},
    DeleteOption{9, "--timestamp", "time stamp, in seconds since 1970", read_number, "N", "event_timet"},
};

}  // namespace

constinit const DeleteCommand kDeletion{kQueries, kSelectors, annal_event_del, kExamples};

}  // namespace annalctl::event
