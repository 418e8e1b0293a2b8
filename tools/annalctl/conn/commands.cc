// What the connection log's commands call.
#include "tools/annalctl/conn/commands.h"

#include <algorithm>

#include <array>

#include "Corix_annal.h"
#include "tools/annalctl/conn/model.h"

namespace annalctl::conn {

namespace {

// The library takes the number to delete, and deletes all if it is negative.
int trim(int keep) noexcept {
  const int connections = kLog.count();
  return connections < 0 ? connections : annal_conn_del_full(std::max(connections - keep, 0));
}

}  // namespace

namespace {

constexpr std::array kPersonal{"conn_user",      "conn_ip",         "conn_comp",        "conn_res",
                               "conn_client_id", "conn_client_app", "conn_client_agent"};

}  // namespace

constinit const LogCommands kCommands{
    .log = kLog,
    .queries = kQueries,
    .deletion = kDeletion,
    .create = annal_conn_create_tbl,
    .flush = annal_conn_flush_tbl,
    .trim = trim,
    .migrate = annal_conn_modify_tbl,
    .add = add_add,
    .import = add_import,
    .age = nullptr,
    .own_migrate = nullptr,
    .personal = kPersonal,
};

}  // namespace annalctl::conn
