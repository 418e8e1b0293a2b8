// The number of entries over time: a picture whose bars lead to their times, and the same as a table.
#include <fmt/format.h>

#include <algorithm>
#include <numeric>

#include "tools/web/page.h"
#include "tools/web/text.h"
#include "tools/web/wall_clock.h"

namespace annal_web {

namespace {

std::uint64_t total(const Histogram::Bar& bar) {
  return std::accumulate(bar.counts.begin(), bar.counts.end(), std::uint64_t{0});
}

std::string link_to(const Selection& selection, std::int64_t from, std::int64_t to) {
  Link link(selection);
  return link.set("since", wall_text(from)).set("until", wall_text(to)).text();
}

constexpr std::uint64_t kHeight = 100;

std::string rectangle(const char* kind, std::size_t place, std::uint64_t below, std::uint64_t count,
                      std::uint64_t highest) {
  constexpr std::uint64_t kParts = 100;
  const std::uint64_t height = (count * kHeight * kParts + highest - 1) / highest;
  const std::uint64_t top = kHeight * kParts - std::min(kHeight * kParts, below * kHeight * kParts / highest + height);
  return fmt::format("<rect class=\"{}\" x=\"{}\" y=\"{}.{:02}\" width=\"9\" height=\"{}.{:02}\"/>", kind, place * 10,
                     top / kParts, top % kParts, height / kParts, height % kParts);
}

std::string picture(const Selection& selection, const std::vector<Histogram::Bar>& bars, std::int64_t width) {
  std::uint64_t highest = 1;
  for (const Histogram::Bar& bar : bars) {
    highest = std::max(highest, total(bar));
  }
  std::string out = fmt::format("<svg viewBox=\"0 0 {} {}\" preserveAspectRatio=\"none\" aria-hidden=\"true\">",
                                std::max<std::size_t>(bars.size(), 1) * 10, kHeight);
  for (std::size_t i = 0; i < bars.size(); ++i) {
    const Histogram::Bar& bar = bars[i];
    if (total(bar) == 0) {
      continue;
    }
    out += fmt::format("<a href=\"{}\" tabindex=\"-1\"><title>{}: {}</title>",
                       link_to(selection, bar.from, bar.from + width - 1), wall_text(bar.from), total(bar));
    std::uint64_t below = 0;
    // The worst at the bottom, where they can be compared.
    for (std::size_t grade = bar.counts.size(); grade-- > 0;) {
      if (bar.counts.at(grade) > 0) {
        out += rectangle(grade_name(static_cast<Grade>(grade)), i, below, bar.counts.at(grade), highest);
        below += bar.counts.at(grade);
      }
    }
    out += "</a>";
  }
  return out + "</svg>";
}

std::string duration(std::int64_t seconds) {
  constexpr std::int64_t kMinute = 60;
  constexpr std::int64_t kHour = 3600;
  constexpr std::int64_t kDay = 86400;
  if (seconds >= kDay) {
    return fmt::format("{} d", seconds / kDay);
  }
  return seconds >= kHour     ? fmt::format("{} h", seconds / kHour)
         : seconds >= kMinute ? fmt::format("{} min", seconds / kMinute)
                              : fmt::format("{} s", seconds);
}

std::string row(const Selection& selection, const Histogram::Bar& bar, std::int64_t width) {
  return fmt::format(
      "<tr data-from=\"{}\" data-counts=\"{} {} {}\"><th scope=\"row\"><a href=\"{}\">{}</a></th><td>{}</td></tr>",
      bar.from, bar.counts[0], bar.counts[1], bar.counts[2], link_to(selection, bar.from, bar.from + width - 1),
      wall_text(bar.from), grouped(total(bar)));
}

}  // namespace

std::string histogram_section(const Selection& selection, const Histogram& histogram) {
  const std::vector<Histogram::Bar> bars = histogram.bars();
  if (bars.empty()) {
    return "";
  }
  const std::int64_t width = histogram.width();
  Link brush(selection);
  brush.drop("since").drop("until");
  std::string out = fmt::format(
      "<section id=\"histogram\" class=\"panel\" aria-labelledby=\"histogram-title\" data-width=\"{}\" "
      "data-brush=\"{}\">"
      "<div class=\"heading\"><h2 id=\"histogram-title\">Over time <span class=\"quiet\">{} per bar</span></h2>"
      "<ul class=\"legend\"><li class=\"information\">information</li><li class=\"warning\">warning</li>"
      "<li class=\"error\">error</li></ul></div><div class=\"chart\">",
      width, brush.text(), duration(width));
  out += picture(selection, bars, width);
  out += fmt::format("</div><p class=\"range quiet\"><span>{}</span> <span id=\"bar\"></span> <span>{}</span></p>",
                     wall_text(bars.front().from), wall_text(bars.back().from + width - 1));
  out +=
      "<details><summary>As a table</summary><table><thead><tr><th scope=\"col\">From</th><th "
      "scope=\"col\">Entries</th></tr></thead><tbody>";
  for (const Histogram::Bar& bar : bars) {
    out += total(bar) == 0 ? "" : row(selection, bar, width);
  }
  return out + "</tbody></table></details></section>";
}

}  // namespace annal_web
