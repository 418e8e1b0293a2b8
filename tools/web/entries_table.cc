// The entries, one a row.
#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "tools/web/page.h"
#include "tools/web/text.h"

namespace annal_web {

namespace {

struct Heading {
  const char* title;
  std::optional<SortBy> sort;
};

constexpr char kLog[] = "Log";
constexpr std::array kHeadings{
    Heading{"Time", SortBy::kTime},
    Heading{kLog, {}},
    Heading{"Level", SortBy::kLevel},
    Heading{"User", SortBy::kUser},
    Heading{"Address", SortBy::kAddress},
    Heading{"Computer", SortBy::kComputer},
    Heading{"Application", SortBy::kApplication},
    Heading{"Message", {}},
};

constexpr std::size_t kShownOfMessage = 600;
constexpr std::size_t kShownOfOthers = 120;

std::string heading(const Selection& selection, const Heading& one, bool sortable) {
  if (!sortable || !one.sort) {
    return fmt::format("<th scope=\"col\">{}</th>", one.title);
  }
  const bool current = selection.sort == *one.sort;
  Link link(selection);
  // In the other direction, when it is the order already.
  link.set("sort", sort_name(*one.sort)).drop("order");
  if (current) {
    link.set("order", selection.descending ? "rising" : "falling");
  }
  return fmt::format("<th scope=\"col\"{}><a href=\"{}\">{}</a></th>",
                     !current               ? ""
                     : selection.descending ? " aria-sort=\"descending\""
                                            : " aria-sort=\"ascending\"",
                     link.text(), one.title);
}

// For phones, where a row has no headings above it.
std::string cell(const char* title, const char* kind, const std::string& value) {
  return fmt::format("<td data-title=\"{}\" class=\"{}\"><bdi dir=\"ltr\">{}</bdi></td>", title, kind,
                     marked(shortened(value, kShownOfOthers)));
}

std::string time_cell(const Selection& selection, const Line& line) {
  const std::string text = line.date.empty() && line.time.empty() ? "no time" : line.date + " " + line.time;
  Link link(selection);
  link.set("entry", fmt::format("{}:{}", line.part->log->name, line.place.id));
  const std::string shown = marked(shortened(text, kShownOfOthers));
  return fmt::format("<td data-title=\"Time\" class=\"time\"><a href=\"{}\" aria-label=\"{} {}, {}\">{}</a></td>",
                     link.text(), line.part->log->name, line.place.id, escaped(shortened(text, kShownOfOthers)),
                     line.moment.empty() ? shown : fmt::format("<time datetime=\"{}\">{}</time>", line.moment, shown));
}

std::string repeats(const Line& line) {
  if (line.count == 1) {
    return "";
  }
  return fmt::format(" <span class=\"repeats\"><strong>×{}</strong> to <bdi dir=\"ltr\">{}</bdi></span>",
                     grouped(line.count), marked(shortened(line.other_time, kShownOfOthers)));
}

std::string row(const Selection& selection, const Line& line, const TableOptions& options) {
  const bool is_marked =
      options.marked != nullptr && line.part == options.marked->part && line.place.id == options.marked->id;
  const bool is_selected = options.selected == nullptr || std::find(options.selected->begin(), options.selected->end(),
                                                                    line.place) != options.selected->end();
  const std::string level = level_name(*line.part, line.level);
  std::string out =
      fmt::format("<tr class=\"{}{}{}\"{}>", grade_name(line.part->grade(line.level)), is_marked ? " marked" : "",
                  is_selected ? "" : " left-out", is_marked ? " aria-current=\"true\"" : "");
  out += time_cell(selection, line);
  if (!selection.alone()) {
    out += cell(kLog, "log", line.part->log->name);
  }
  out += fmt::format("<td data-title=\"Level\" class=\"level\"><span>{}</span></td>", escaped(level));
  out += cell("User", "user", line.user);
  out += cell("Address", "address", line.address);
  out += cell("Computer", "computer", line.computer);
  out += cell("Application", "application", line.application);
  out += fmt::format("<td data-title=\"Message\" class=\"message\"><bdi dir=\"ltr\">{}</bdi>{}</td></tr>\n",
                     marked(shortened(line.message, kShownOfMessage)), repeats(line));
  return out;
}

}  // namespace

std::string entries_table(const Selection& selection, const std::vector<Line>& lines, const TableOptions& options) {
  std::string out =
      "<div class=\"scroll\" role=\"region\" aria-label=\"Table of entries\" tabindex=\"0\"><table "
      "class=\"entries\"><thead><tr>";
  for (const Heading& one : kHeadings) {
    // It would say the same in each row.
    if (one.title != kLog || !selection.alone()) {
      out += heading(selection, one, options.sortable);
    }
  }
  out += "</tr></thead><tbody>\n";
  for (const Line& line : lines) {
    out += row(selection, line, options);
  }
  return out + "</tbody></table></div>";
}

}  // namespace annal_web
