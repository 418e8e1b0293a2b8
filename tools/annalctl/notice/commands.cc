// What the notice log's commands call.
#include "tools/annalctl/notice/commands.h"

#include <array>

#include "Corix_annal.h"
#include "tools/annalctl/notice/model.h"

namespace annalctl::notice {

namespace {

constexpr std::array kPersonal{"user", "ip", "client", "desc", "varContent", "link_id", "link_option", "title"};

}  // namespace

constinit const LogCommands kCommands{
    .log = kLog,
    .queries = kQueries,
    .deletion = kDeletion,
    .create = annal_notice_create_tbl,
    .flush = annal_notice_flush_tbl,
    .trim = nullptr,
    .migrate = nullptr,
    .add = add_add,
    .import = add_import,
    .age = add_age,
    .own_migrate = add_migrate,
    .personal = kPersonal,
};

}  // namespace annalctl::notice
