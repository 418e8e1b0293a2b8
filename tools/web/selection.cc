// Checks an address's parameters, turns them into a selection and conditions, and writes links to other selections.
#include "tools/web/selection.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <map>

#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/whole_number.h"
#include "tools/web/text.h"

namespace annal_web {

namespace {

constexpr int kBadRequest = 400;

[[noreturn]] void refuse(const std::string& sentence) {
  throw Refused(kBadRequest, sentence);
}

// --- the parameters that there are ---

enum class Kind {
  kFilter,  // several values, and an opposite
  kBound,   // one value, which narrows the selection as well
  kView,    // one value
  kPlace,   // one value, which another selection does not share
};

struct Known {
  const char* name;
  Kind kind;
};

constexpr std::array kKnown{
    Known{"log", Kind::kView},     Known{"level", Kind::kFilter}, Known{"least", Kind::kBound},
    Known{"text", Kind::kFilter},  Known{"grep", Kind::kFilter},  Known{"user", Kind::kFilter},
    Known{"ip", Kind::kFilter},    Known{"app", Kind::kFilter},   Known{"computer", Kind::kFilter},
    Known{"since", Kind::kBound},  Known{"until", Kind::kBound},  Known{"sort", Kind::kView},
    Known{"order", Kind::kView},   Known{"rows", Kind::kView},    Known{"fold", Kind::kView},
    Known{"follow", Kind::kPlace}, Known{"after", Kind::kPlace},  Known{"before", Kind::kPlace},
    Known{"entry", Kind::kPlace},
};

constexpr std::string_view kNot = "not-";

const Known* known(std::string_view name) {
  const bool opposite = name.starts_with(kNot);
  const std::string_view plain = opposite ? name.substr(kNot.size()) : name;
  const auto* const found =
      std::find_if(kKnown.begin(), kKnown.end(), [plain](const Known& one) { return one.name == plain; });
  return found == kKnown.end() || (opposite && found->kind != Kind::kFilter) ? nullptr : found;
}

// Forms send what was left empty, too.
Parameters known_ones(const Parameters& asked) {
  constexpr std::size_t kMostValues = 10;
  Parameters kept;
  std::map<std::string, std::size_t> counts;
  for (const Parameter& parameter : asked) {
    const Known* const one = known(parameter.name);
    if (one == nullptr) {
      refuse(fmt::format("There is no parameter '{}'.", parameter.name));
    }
    if (parameter.value.empty() || std::find(kept.begin(), kept.end(), parameter) != kept.end()) {
      continue;
    }
    const std::size_t most = one->kind == Kind::kFilter ? kMostValues : 1;
    if (++counts[parameter.name] > most) {
      refuse(fmt::format("The parameter '{}' is given more than {}.", parameter.name,
                         most == 1 ? "once" : fmt::format("{} times", most)));
    }
    kept.push_back(parameter);
  }
  return kept;
}

// --- their values ---

struct SortChoice {
  const char* name;
  bool by_text;
};
// By SortBy.
constexpr std::array kSorts{SortChoice{"time", false}, SortChoice{"level", false},   SortChoice{"user", true},
                            SortChoice{"ip", true},    SortChoice{"computer", true}, SortChoice{"app", true}};

SortBy sort_of(const std::string& name) {
  for (std::size_t i = 0; i < kSorts.size(); ++i) {
    if (name == kSorts.at(i).name) {
      return static_cast<SortBy>(i);
    }
  }
  refuse(fmt::format("Entries cannot be sorted by '{}'.", name));
}

bool is_on(const Selection& selection, const std::string& name) {
  const std::string value = selection.value(name);
  if (!value.empty() && value != "1") {
    refuse(fmt::format("The parameter '{}' is 1 or not there.", name));
  }
  return !value.empty();
}

EntryName entry_of(const std::string& text) {
  const std::size_t colon = std::min(text.find(':'), text.size());
  const Part* const part = part_named(text.substr(0, colon));
  const auto id = annalctl::whole_number<std::int64_t>(std::string_view(text).substr(std::min(colon + 1, text.size())));
  if (part == nullptr || !id) {
    refuse(fmt::format("'{}' names no entry.", text));
  }
  return {part, *id};
}

// "event:4711:1795255200", with a text in place of the number where that gives the order.
Place place_of_text(const std::string& text, SortBy sort) {
  const std::size_t log = text.find(':');
  const std::size_t id = log == std::string::npos ? log : text.find(':', log + 1);
  if (id == std::string::npos) {
    refuse(fmt::format("'{}' is no place in a list.", text));
  }
  const EntryName entry = entry_of(text.substr(0, id));
  Place place{.part = annal_web::place_of(*entry.part), .id = entry.id};
  const std::string key = text.substr(id + 1);
  if (kSorts.at(static_cast<std::size_t>(sort)).by_text) {
    place.text = key;
    return place;
  }
  const auto number = annalctl::whole_number<std::int64_t>(key);
  if (!number) {
    refuse(fmt::format("'{}' is no place in a list.", text));
  }
  place.number = *number;
  return place;
}

std::optional<Place> read_place(const Selection& selection, const std::string& name) {
  const std::string text = selection.value(name);
  return text.empty() ? std::nullopt : std::optional(place_of_text(text, selection.sort));
}

void choose_parts(Selection& selection) {
  const std::string name = selection.value("log");
  if (name.empty() || name == "all") {
    for (const Part& part : parts()) {
      if (is_configured(part)) {
        selection.parts.push_back(&part);
      }
    }
    return;
  }
  const Part* const part = part_named(name);
  if (part == nullptr) {
    refuse(fmt::format("There is no log '{}'.", name));
  }
  if (!is_configured(*part)) {
    refuse("The server names no file of file operations: see ANNAL_WEB_FILEOP.");
  }
  selection.parts.push_back(part);
}

std::size_t rows_of(const std::string& text) {
  const auto rows = annalctl::whole_number<std::size_t>(text);
  if (!rows || std::find(kRowChoices.begin(), kRowChoices.end(), *rows) == kRowChoices.end()) {
    refuse("A page has 25, 50, 100 or 200 entries.");
  }
  return *rows;
}

// As annalctl would be told.
std::vector<std::string> arguments_of(const Selection& selection) {
  std::vector<std::string> arguments;
  for (const Parameter& parameter : selection.parameters) {
    if (parameter.name == "least") {
      arguments.push_back("--priority=" + parameter.value);
    } else if (is_filter(parameter.name) || known(parameter.name)->kind == Kind::kBound) {
      arguments.push_back("--" + parameter.name + "=" + parameter.value);
    }
  }
  return arguments;
}

}  // namespace

bool is_filter(const std::string& name) {
  const Known* const one = known(name);
  return one != nullptr && one->kind == Kind::kFilter;
}

std::string Selection::value(const std::string& name) const {
  const auto found =
      std::find_if(parameters.begin(), parameters.end(), [&name](const Parameter& one) { return one.name == name; });
  return found == parameters.end() ? "" : found->value;
}

Selection read_selection(const Parameters& asked) {
  Selection selection;
  selection.parameters = known_ones(asked);
  choose_parts(selection);
  const std::string sort = selection.value("sort");
  selection.sort = sort.empty() ? SortBy::kTime : sort_of(sort);
  const std::string order = selection.value("order");
  if (!order.empty() && order != "rising" && order != "falling") {
    refuse("The order is 'rising' or 'falling'.");
  }
  // The newest first, the worst first; texts as in a dictionary.
  const bool usual = selection.sort == SortBy::kTime || selection.sort == SortBy::kLevel;
  selection.descending = order.empty() ? usual : order == "falling";
  const std::string rows = selection.value("rows");
  selection.rows = rows.empty() ? kUsualRows : rows_of(rows);
  selection.fold = is_on(selection, "fold");
  selection.follow = is_on(selection, "follow");
  selection.after = read_place(selection, "after");
  selection.before = read_place(selection, "before");
  if (selection.after && selection.before) {
    refuse("A page is after a place or before one, and not both.");
  }
  const std::string entry = selection.value("entry");
  if (!entry.empty()) {
    selection.entry = entry_of(entry);
  }
  return selection;
}

std::vector<annalctl::Condition> conditions(const Selection& selection, const Part& part) {
  const annalctl::LogFilters& table = selection.alone() ? part.alone : part.with_others;
  annalctl::FilterOptions filters;
  CLI::App app;
  filters.add_options(app, table, "entries");
  std::vector<std::string> arguments = arguments_of(selection);
  try {
    std::reverse(arguments.begin(), arguments.end());
    app.parse(arguments);
    return filters.conditions(table);
  } catch (const annalctl::Refusal& refusal) {
    refuse(refusal.what());
  } catch (const CLI::ParseError& error) {
    refuse(error.what());
  }
}

const char* sort_name(SortBy sort) {
  return kSorts.at(static_cast<std::size_t>(sort)).name;
}

std::string place_text(const Place& place, SortBy sort) {
  const bool by_text = kSorts.at(static_cast<std::size_t>(sort)).by_text;
  return fmt::format("{}:{}:{}", parts()[place.part].log->name, place.id,
                     by_text ? place.text : fmt::to_string(place.number));
}

// --- links ---

namespace {

bool has_control_characters(const std::string& text) {
  constexpr unsigned char kFirstPrintable = 0x20;
  constexpr unsigned char kDelete = 0x7F;
  return std::any_of(text.begin(), text.end(), [](char c) {
    return static_cast<unsigned char>(c) < kFirstPrintable || static_cast<unsigned char>(c) == kDelete;
  });
}

}  // namespace

Link& Link::from_start() {
  std::erase_if(parameters_, [](const Parameter& one) { return known(one.name)->kind == Kind::kPlace; });
  return *this;
}

Link& Link::drop(const std::string& name) {
  std::erase_if(parameters_, [&name](const Parameter& one) { return one.name == name; });
  return *this;
}

Link& Link::drop(const std::string& name, const std::string& value) {
  std::erase(parameters_, Parameter{name, value});
  return *this;
}

Link& Link::set(const std::string& name, const std::string& value) {
  return drop(name).add(name, value);
}

Link& Link::add(const std::string& name, const std::string& value) {
  if (!has(name, value)) {
    parameters_.push_back({name, value});
  }
  return *this;
}

bool Link::has(const std::string& name, const std::string& value) const {
  return std::find(parameters_.begin(), parameters_.end(), Parameter{name, value}) != parameters_.end();
}

std::string Link::text() const {
  std::string address;
  for (const Parameter& parameter : parameters_) {
    const bool twice = has_control_characters(parameter.value);
    address += fmt::format("{}{}{}={}", address.empty() ? "?" : "&amp;", parameter.name,
                           twice ? std::string(1, kEncodedTwice) : "",
                           encoded(twice ? encoded(parameter.value) : parameter.value));
  }
  // An empty one would be the page's own.
  return address.empty() ? "?" : address;
}

}  // namespace annal_web
