// The filters: what is set, each with a way to take it back, and fields for more.
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "tools/annalctl/log/level.h"
#include "tools/web/page.h"
#include "tools/web/text.h"

namespace annal_web {

namespace {

struct Input {
  const char* name;
  const char* title;
};

constexpr std::array kInputs{
    Input{"text", "Message contains"},
    Input{"grep", "Message matches (RE2)"},
    Input{"user", "User"},
    Input{"ip", "Address"},
    Input{"app", "Application"},
    Input{"computer", "Computer"},
};

std::string title_of(std::string_view name) {
  for (const Input& input : kInputs) {
    if (name == input.name) {
      return input.title;
    }
  }
  return name == "level" ? "Level" : name == "least" ? "Level at least" : name == "since" ? "From" : "To";
}

bool is_bound(const std::string& name) {
  return name == "least" || name == "since" || name == "until";
}

std::string chips(const Selection& selection) {
  std::string out;
  constexpr std::string_view kNot = "not-";
  for (const Parameter& parameter : selection.parameters) {
    if (!is_filter(parameter.name) && !is_bound(parameter.name)) {
      continue;
    }
    const bool opposite = parameter.name.starts_with(kNot);
    const std::string title = title_of(opposite ? parameter.name.substr(kNot.size()) : parameter.name);
    Link link(selection);
    out += fmt::format(
        "<li{0}>{1}{2} <strong><bdi dir=\"ltr\">{3}</bdi></strong> <a href=\"{4}\" aria-label=\"Remove the filter "
        "{1}{2} {5}\">"
        "×</a></li>",
        opposite ? " class=\"not\"" : "", title, opposite ? " not" : "", marked(parameter.value),
        link.drop(parameter.name, parameter.value).text(), escaped(parameter.value));
  }
  return out.empty() ? "" : "<ul class=\"chips\" aria-label=\"Filters that are set\">" + out + "</ul>";
}

std::string field(const std::string& prefix, const Input& input) {
  return fmt::format(
      "<label>{0}<input type=\"text\" name=\"{1}{2}\" maxlength=\"200\" autocomplete=\"off\" "
      "spellcheck=\"false\"{3}></label>",
      input.title, prefix, input.name, prefix.empty() && input.name == kInputs[0].name ? " id=\"search\"" : "");
}

std::string level_names(const Selection& selection) {
  const auto names = selection.alone() ? selection.parts.front()->log->levels : std::span(annalctl::kLevelNames);
  const std::string least = selection.value("least");
  std::string out = "<label>Level at least<select name=\"least\"><option value=\"\">any</option>";
  for (const char* name : names) {
    out += fmt::format("<option{}>{}</option>", least == name ? " selected" : "", name);
  }
  return out + "</select></label>";
}

std::string rows(const Selection& selection) {
  std::string out = "<label>Entries per page<select name=\"rows\">";
  for (const std::size_t count : kRowChoices) {
    out += fmt::format("<option value=\"{}\"{}>{}</option>", count, count == selection.rows ? " selected" : "", count);
  }
  return out + "</select></label>";
}

std::string time_field(const Selection& selection, const char* name, const char* title) {
  return fmt::format(
      "<label>{0}<input type=\"text\" name=\"{1}\" value=\"{2}\" maxlength=\"40\" placeholder=\"{3}\" "
      "autocomplete=\"off\" list=\"moments\"></label>",
      title, name, escaped(selection.value(name)), std::string_view(name) == "since" ? "yesterday, -2h" : "now");
}

// What the form has no field of its own for, or may have several of.
std::string hidden(const Selection& selection) {
  std::string out;
  const Link kept(selection);
  for (const Parameter& parameter : kept.parameters()) {
    if (!is_bound(parameter.name) && parameter.name != "rows") {
      // Of other characters some would be sent as they are shown.
      const bool plain =
          std::all_of(parameter.value.begin(), parameter.value.end(), [](char c) { return c >= ' ' && c <= '~'; });
      out += fmt::format("<input type=\"hidden\" name=\"{}{}\" value=\"{}\">", parameter.name,
                         plain ? std::string() : std::string(1, kEncodedTwice),
                         escaped(plain ? parameter.value : encoded(parameter.value)));
    }
  }
  return out;
}

// The same log, without a filter.
std::string cleared(const Selection& selection) {
  Link link(selection);
  for (const Parameter& parameter : selection.parameters) {
    if (is_filter(parameter.name) || is_bound(parameter.name)) {
      link.drop(parameter.name);
    }
  }
  return link.text();
}

}  // namespace

std::string filter_form(const Selection& selection) {
  std::string out =
      "<details class=\"panel filters\" open><summary>Filters</summary><form method=\"get\" role=\"search\" "
      "aria-label=\"Filters\">" +
      hidden(selection);
  out += "<div class=\"fields-row\">";
  // What is asked for most often.
  constexpr std::array kFirst{kInputs[0], kInputs[2]};
  for (const Input& input : kFirst) {
    out += field("", input);
  }
  out += level_names(selection) + time_field(selection, "since", "From") + time_field(selection, "until", "To");
  out += "<p class=\"buttons\"><button type=\"submit\">Apply</button> <a href=\"" + cleared(selection) +
         "\">Clear all</a></p></div>"
         "<datalist id=\"moments\"><option value=\"-1h\"></option><option value=\"today\"></option>"
         "<option value=\"yesterday\"></option><option value=\"-7d\"></option></datalist>";
  out += "<details><summary>More filters</summary><div class=\"fields-row\">";
  for (const Input& input : kInputs) {
    out += input.name == kFirst[0].name || input.name == kFirst[1].name ? "" : field("", input);
  }
  out += rows(selection) + "</div><fieldset><legend>Leave out</legend><div class=\"fields-row\">";
  for (const Input& input : kInputs) {
    out += field("not-", input);
  }
  return out + "</div></fieldset></details></form></details>" + chips(selection);
}

}  // namespace annal_web
