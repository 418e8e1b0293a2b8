// The pages, as markup that works without scripts, and better with them.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tools/web/lines.h"
#include "tools/web/open_log.h"
#include "tools/web/pass.h"
#include "tools/web/request.h"
#include "tools/web/response.h"
#include "tools/web/selection.h"

namespace annal_web {

// All that a list says.
struct List {
  const Request& request;
  const Selection& selection;
  const std::vector<OpenLog>& logs;
  const Pass& pass;
  const std::vector<Line>& lines;
  bool first = true;  // there is nothing in front of it
  bool more = false;  // there is something behind it
  Place begin{};      // of its first and last entry
  Place end{};
};

[[nodiscard]] std::string list_page(const List& list);

// An entry with those around it.
struct Around {
  const Request& request;
  const Selection& selection;
  const std::vector<OpenLog>& logs;
  const Entry& entry;
  const std::vector<Line>& neighbours;
  const std::vector<Place>& selected;
};
[[nodiscard]] std::string entry_page(const Around& around);

// A page with one sentence.
[[nodiscard]] Response refusal_page(const std::string& script, int status, const std::string& sentence);

// Parts that the pages share.
[[nodiscard]] std::string page_head(const Request& request, const std::string& title, bool reload);
[[nodiscard]] std::string page_top(const Request& request, const Selection& selection,
                                   const std::vector<OpenLog>& logs);
[[nodiscard]] std::string page_end();

[[nodiscard]] std::string filter_form(const Selection& selection);
[[nodiscard]] std::string histogram_section(const Selection& selection, const Histogram& histogram);
[[nodiscard]] std::string facets_section(const Selection& selection, const Summary& summary);

struct TableOptions {
  bool sortable = false;
  const EntryName* marked = nullptr;             // the entry that the others are around
  const std::vector<Place>* selected = nullptr;  // null: all are
};
[[nodiscard]] std::string entries_table(const Selection& selection, const std::vector<Line>& lines,
                                        const TableOptions& options);

}  // namespace annal_web
