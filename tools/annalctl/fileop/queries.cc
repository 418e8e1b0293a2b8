// The queries of a file-operation log.
#include <array>
#include <limits>

#include "tools/annalctl/fileop/model.h"
#include "tools/annalctl/log/level.h"

namespace annalctl::fileop {

namespace {

constexpr std::array kTexts{
    TextFilter{"--text", {"event_filepath", "event_oldfilepath", "event_desc"}, "paths or the description"},
    TextFilter{"--grep,-g",
               {"event_filepath", "event_oldfilepath", "event_desc"},
               "paths or the description",
               Match::kExpression},
    TextFilter{"--user", {"event_user"}, "user's name"},
    TextFilter{"--exact-user", {"event_user"}, "user", Match::kEquals},
    TextFilter{"--ip", {"event_ip"}, "address"},
    TextFilter{"--computer", {"event_comp"}, "computer's name"},
    TextFilter{"--description", {"event_desc"}, "description"},
    TextFilter{"--path", {"event_filepath"}, "path"},
    TextFilter{"--old-path", {"event_oldfilepath"}, "path before a move or renaming"},
};

constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();

std::int64_t read_positive(const std::string& text) {
  return read_number_within(text, 1, kMost);
}

// A sender that does not know a size may store a negative one.
std::int64_t read_size(const std::string& text) {
  return read_number_within(text, std::numeric_limits<std::int32_t>::min(), kMost);
}

constexpr std::array kNumbers{
    NumberFilter{"--folder", "event_isFolder", "Only those with this folder code, 1 or 2", read_positive},
    NumberFilter{"--action", "event_action", "Only those of this action", read_positive, {}, Named::kOperation},
    NumberFilter{"--size", "event_filesize", "Only those of this size", read_size},
};

}  // namespace

const QueryCommands kQueries{
    .log = kLog,
    .columns = "t.*",
    .id = "event_id",
    .table = kListTable,
    .entry = kEntry,
    .filters = {{"--type", "event_type", kLevels, true},
                {"event_date", "event_time", nullptr, "--since,--from", "--until,--to"},
                kTexts,
                kNumbers},
    .repeats = {"event_type", "event_user", "event_action", "fold(event_filepath, NULL)"},
    .sorts = kSorts,
    .group_sorts = kSorts.size(),
    .groupings = kGroupings,
    .list_examples =
        "  annalctl fileop --db operations.db list --path /share/photos --user ann\n"
        "  annalctl fileop --db operations.db list --since monday --action 4\n"
        "  annalctl fileop --db operations.db list --all --oldest --json |\n"
        "    gzip > operations.jsonl.gz",
    .count_examples =
        "  annalctl fileop --db operations.db count\n"
        "  annalctl fileop --db operations.db count --path /share/photos",
    .group_notes = "Without --sort the groups come in the order of the column that they share.\n",
    .group_examples =
        "  annalctl fileop --db operations.db group --by user --by-size --limit 10\n"
        "  annalctl fileop --db operations.db group --by action --path /share/photos",
};

}  // namespace annalctl::fileop
