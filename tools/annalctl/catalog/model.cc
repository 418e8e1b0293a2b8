// Looks up applications and messages, and fills templates.
#include "tools/annalctl/catalog/model.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>

#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/printable.h"
#include "tools/annalctl/base/whole_number.h"

namespace annalctl::catalog {

namespace {

template <std::size_t kLength>
constexpr std::span<const CatalogEntry> content(const CatalogEntry (&list)[kLength]) {
  return {list + 1, kLength - 2};
}

constexpr Application kEach[] = {
    {"A001", content(A001_list)}, {"A002", content(A002_list)}, {"A003", content(A003_list)},
    {"A004", content(A004_list)}, {"A005", content(A005_list)}, {"A007", content(A007_list)},
    {"A008", content(A008_list)}, {"A009", content(A009_list)}, {"A010", content(A010_list)},
    {"A011", content(A011_list)}, {"A013", content(A013_list)}, {"A015", content(A015_list)},
    {"A017", content(A017_list)}, {"A018", content(A018_list)}, {"A019", content(A019_list)},
    {"A020", content(A020_list)}, {"A021", content(A021_list)}, {"A022", content(A022_list)},
    {"A023", content(A023_list)}, {"A024", content(A024_list)}, {"A026", content(A026_list)},
    {"A029", content(A029_list)}, {"A030", content(A030_list)}, {"A031", content(A031_list)},
    {"A032", content(A032_list)}, {"A034", content(A034_list)}, {"A035", content(A035_list)},
    {"A036", content(A036_list)}, {"A037", content(A037_list)}, {"A038", content(A038_list)},
    {"A039", content(A039_list)}, {"A040", content(A040_list)}, {"A041", content(A041_list)},
    {"A043", content(A043_list)}, {"A044", content(A044_list)}, {"A045", content(A045_list)},
    {"A046", content(A046_list)}, {"A047", content(A047_list)}, {"A049", content(A049_list)},
    {"A053", content(A053_list)}, {"A055", content(A055_list)}, {"A057", content(A057_list)},
    {"A059", content(A059_list)}, {"A201", content(A201_list)}, {"A234", content(A234_list)},
    {"A255", content(A255_list)}, {"A259", content(A259_list)}, {"A267", content(A267_list)},
    {"A283", content(A283_list)},
};

constexpr Choice kLevelNames[] = {{"error", 1}, {"warning", 2}, {"information", 4}, {"phrase", 0}};

constexpr std::size_t kTokenLength = std::string_view("%V001%").size();

// The number of the placeholder at the start of a text, and its length.
struct Placeholder {
  std::size_t number;
  std::size_t length;
};

std::optional<Placeholder> placeholder_at(std::string_view text) {
  const std::size_t end = text.find('}');
  if (text.front() != '{' || end == std::string_view::npos) {
    return std::nullopt;
  }
  const auto number = whole_number<decltype(Placeholder::number)>(text.substr(1, end - 1));
  return number ? std::optional(Placeholder{*number, end + 1}) : std::nullopt;
}

// How many values a template takes.
std::size_t values_of(std::string_view text) {
  std::size_t count = 0;
  for (; !text.empty(); text.remove_prefix(1)) {
    if (const auto placeholder = placeholder_at(text)) {
      count = std::max(count, placeholder->number + 1);
    }
  }
  return count;
}

const CatalogEntry* find(const Application& application, std::string_view number) {
  const auto found = std::find_if(application.rows.begin(), application.rows.end(),
                                  [&](const CatalogEntry& entry) { return entry.msg_no == number; });
  return found == application.rows.end() ? nullptr : &*found;
}

std::string with_phrases(const Application& application, std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const CatalogEntry* const phrase = text.front() == '%' ? find(application, text.substr(0, kTokenLength)) : nullptr;
    if (phrase != nullptr && is_phrase(*phrase)) {
      result += phrase->msg_template;
      text.remove_prefix(kTokenLength);
    } else {
      result += text.front();
      text.remove_prefix(1);
    }
  }
  return result;
}

}  // namespace

const std::span<const Application> kApplications = kEach;
const std::span<const Choice> kLevels = kLevelNames;

TableCell level_cell(const char* level) {
  constexpr Style kStyles[] = {Style::kPlain, Style::kError, Style::kWarning, Style::kPlain, Style::kInformation};
  const std::size_t code = static_cast<unsigned char>(level[0]) - std::size_t{'0'};
  return {annalctl::name_of(kLevels, level), code < std::size(kStyles) ? kStyles[code] : Style::kPlain};
}

std::string name_of(const Application& application) {
  for (const CatalogEntry& entry : application.rows) {
    const std::string_view text = entry.msg_template;
    const std::size_t end = text.find(']');
    // Some messages begin with the name of a unit, which is a value.
    if (text.starts_with('[') && text.find('{') > end && end != std::string_view::npos) {
      return std::string(text.substr(1, end - 1));
    }
  }
  return {};
}

bool is_phrase(const CatalogEntry& entry) {
  return entry.msg_no[0] == '%';
}

const Application& require_application(const std::string& id) {
  const auto found = std::find_if(kApplications.begin(), kApplications.end(), [&](const Application& application) {
    const std::string_view known = application.id;
    return std::equal(known.begin(), known.end(), id.begin(), id.end(),
                      [](char one, char other) { return lower(one) == lower(other); });
  });
  if (found == kApplications.end()) {
    throw Refusal(fmt::format("the catalog has no application '{}': 'annalctl catalog list' shows all", id));
  }
  return *found;
}

const CatalogEntry& require_entry(const Application& application, const std::string& number) {
  const CatalogEntry* const entry = find(application, number);
  if (entry == nullptr) {
    throw Refusal(fmt::format("{} has no message '{}': 'annalctl catalog list {}' shows all", application.id, number,
                              application.id));
  }
  return *entry;
}

std::string filled(const Application& application, const CatalogEntry& entry, std::span<const std::string> values) {
  std::string_view rest = entry.msg_template;
  const std::size_t needed = values_of(rest);
  if (values.size() != needed) {
    throw Refusal(fmt::format("message {} of {} takes {} value{}, not {}: {}", entry.msg_no, application.id, needed,
                              needed == 1 ? "" : "s", values.size(), entry.msg_template));
  }
  // Values go in as they are: placeholders in them are not filled.
  std::string text;
  while (!rest.empty()) {
    if (const auto placeholder = placeholder_at(rest)) {
      text += values[placeholder->number];
      rest.remove_prefix(placeholder->length);
    } else {
      text += rest.front();
      rest.remove_prefix(1);
    }
  }
  return with_phrases(application, text);
}

}  // namespace annalctl::catalog
