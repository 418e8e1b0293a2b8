// The columns to delete connections by.
#include <array>

#include "Corix_annal.h"
#include "tools/annalctl/conn/commands.h"
#include "tools/annalctl/conn/model.h"
#include "tools/annalctl/maintenance/delete_command.h"

namespace annalctl::conn {

namespace {

constexpr char kExamples[] =
    "  annalctl conn delete --id 4711\n"
    "  annalctl conn delete --ip 203.0.113.7\n"
    "  annalctl conn delete --result 13 --until -30d --dry-run";

constexpr std::array kSelectors{
    DeleteOption{0, "--id", "id", read_number, "N", "conn_id"},
    DeleteOption{1, "--type", "level: information, warning, error", read_level, "NAME", "conn_type"},
    DeleteOption{2, "--date", "date, as 2026-11-21", read_text_without_quote, "TEXT", "conn_date"},
    DeleteOption{3, "--time", "time, as 10:00:00", read_text_without_quote, "TEXT", "conn_time"},
    DeleteOption{4, "--user", "user", read_text_without_quote, "TEXT", "conn_user"},
    DeleteOption{5, "--ip", "address", read_text_without_quote, "TEXT", "conn_ip"},
    DeleteOption{6, "--computer", "computer", read_text_without_quote, "TEXT", "conn_comp"},
    DeleteOption{7, "--resource", "resource", read_text_without_quote, "TEXT", "conn_res"},
    DeleteOption{8, "--service", "service", read_number, "N", "conn_serv", nullptr, Named::kService},
    DeleteOption{9, "--action", "action", read_number, "N", "conn_action", nullptr, Named::kAction},
    DeleteOption{10, "--app", "application", read_text_without_quote, "TEXT", "conn_app"},
    DeleteOption{11, "--result", "action result: 0 or 13, which is failed", read_number, "N", "conn_action_result"},
};

}  // namespace

constinit const DeleteCommand kDeletion{kQueries, kSelectors, annal_conn_del, kExamples};

}  // namespace annalctl::conn
