// Who and what the entries are of, with their numbers; each a filter, and its opposite.
#include <fmt/format.h>

#include <array>

#include "tools/annalctl/log/level.h"
#include "tools/web/page.h"
#include "tools/web/text.h"

namespace annal_web {

namespace {

struct Kind {
  const char* name;
  const char* title;
  const Facet Summary::*facet;
};

constexpr std::array kKinds{
    Kind{"level", "Level", &Summary::levels},
    Kind{"user", "User", &Summary::users},
    Kind{"ip", "Address", &Summary::addresses},
    Kind{"app", "Application", &Summary::applications},
};

// A value that an address can hold. A level without a name can be asked for by no name.
bool can_be_asked_for(const Kind& kind, const std::string& value) {
  const bool number = !value.empty() && value.find_first_not_of("-0123456789") == std::string::npos;
  return !value.empty() && value.size() < Facet::kLongestValue && !(kind.facet == &Summary::levels && number);
}

// A bar as long as the value's part of all entries. Styles may not stand in the page, attributes of pictures may.
std::string share(std::uint64_t count, std::uint64_t all) {
  constexpr std::uint64_t kWhole = 200;
  return fmt::format(
      "<svg viewBox=\"0 0 {} 1\" preserveAspectRatio=\"none\" aria-hidden=\"true\"><rect width=\"{}\" "
      "height=\"1\"/></svg>",
      kWhole, (count * kWhole + all - 1) / all);
}

std::string item(const Selection& selection, const Kind& kind, const Facet::Value& value, std::uint64_t all) {
  constexpr std::size_t kShown = 60;
  const std::string shown =
      value.text.empty() ? "<span class=\"quiet\">(empty)</span>" : marked(shortened(value.text, kShown));
  const std::string count = fmt::format("<span class=\"number\">{}</span>", grouped(value.count));
  const std::string bar = share(value.count, all);
  if (!can_be_asked_for(kind, value.text)) {
    return fmt::format("<li><bdi dir=\"ltr\">{}</bdi>{}{}</li>", shown, count, bar);
  }
  Link with(selection);
  const bool is_on = with.has(kind.name, value.text);
  is_on ? with.drop(kind.name, value.text) : with.add(kind.name, value.text);
  Link without(selection);
  without.drop(kind.name, value.text).add(fmt::format("not-{}", kind.name), value.text);
  return fmt::format(
      "<li><a href=\"{}\"{}><bdi dir=\"ltr\">{}</bdi></a>{}<a class=\"not\" href=\"{}\" aria-label=\"Leave out {} "
      "{}\">−</a>{}</li>",
      with.text(), is_on ? " class=\"on\"" : "", shown, count, without.text(), kind.title,
      escaped(shortened(value.text, kShown)), bar);
}

std::string facet(const Selection& selection, const Kind& kind, const Facet& values, std::uint64_t all) {
  constexpr std::size_t kMost = 8;
  std::string out =
      fmt::format("<section aria-labelledby=\"facet-{0}\"><h3 id=\"facet-{0}\">{1}</h3><ul>", kind.name, kind.title);
  for (const Facet::Value& value : values.largest(kMost)) {
    out += item(selection, kind, value, all);
  }
  out += "</ul>";
  if (values.different() > kMost) {
    out += fmt::format("<p class=\"quiet\">and {}{} more</p>", values.left_out() > 0 ? "over " : "",
                       grouped(values.different() - kMost));
  }
  return out + "</section>";
}

}  // namespace

std::string facets_section(const Selection& selection, const Summary& summary) {
  if (summary.entries == 0) {
    return "";
  }
  std::string out = "<aside id=\"facets\" class=\"panel\" aria-label=\"Most frequent values\"><h2>Most frequent</h2>";
  for (const Kind& kind : kKinds) {
    out += facet(selection, kind, summary.*kind.facet, summary.entries);
  }
  return out + "</aside>";
}

}  // namespace annal_web
