// Writes catalog entries as rows.
#include "tools/annalctl/catalog/rows.h"

#include <fmt/format.h>

#include <array>

namespace annalctl::catalog {

namespace {

constexpr std::array kTable{TableColumn{"Application", 0}, TableColumn{"Number", 3, true},
                            TableColumn{"Level", 1, false, level_cell}, TableColumn{"Category", 2},
                            TableColumn{"Template", 4}};

}  // namespace

RowWriter::RowWriter(Session& session)
    : sink_(make_sink(
          session.format(),
          {{{"app_id", false}, {"level", true}, {"category_id", false}, {"msg_no", false}, {"msg_template", false}},
           kTable},
          session.terminal, session.output)) {}

void RowWriter::row(const CatalogEntry& entry) {
  const std::string level = fmt::to_string(entry.level);
  sink_->row(std::array{entry.app_id, level.c_str(), entry.category_id, entry.msg_no, entry.msg_template});
}

void RowWriter::finish() {
  sink_->finish();
}

}  // namespace annalctl::catalog
