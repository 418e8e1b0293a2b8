// What is asked for, as the address has it. An address says all of it, so that it can be sent to a colleague.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/annalctl/query/query.h"
#include "tools/web/parts.h"
#include "tools/web/request.h"

namespace annal_web {

enum class SortBy : unsigned {
  kTime,
  kLevel,
  kUser,
  kAddress,
  kComputer,
  kApplication,
};

// Where an entry stands in an order. The log and the id decide between entries that are equal otherwise.
struct Place {
  std::int64_t number = 0;  // of a time or a level
  std::string text{};       // of what is sorted by its text
  std::size_t part = 0;
  std::int64_t id = 0;

  auto operator<=>(const Place&) const = default;
};

struct EntryName {
  const Part* part = nullptr;
  std::int64_t id = 0;
};

struct Selection {
  Parameters parameters;  // as they were asked for, without what is usual
  std::vector<const Part*> parts;
  SortBy sort = SortBy::kTime;
  bool descending = true;
  std::size_t rows = 0;
  bool fold = false;
  bool follow = false;
  std::optional<Place> after;   // the page begins behind this
  std::optional<Place> before;  // the page ends in front of this
  std::optional<EntryName> entry;

  [[nodiscard]] bool alone() const { return parts.size() == 1; }
  // The one value of a parameter that may be given once.
  [[nodiscard]] std::string value(const std::string& name) const;
};

// Throws Refused for a parameter that is not known, is given too often, or has no sense.
[[nodiscard]] Selection read_selection(const Parameters& asked);

// Throws Refused for values that no filter takes.
[[nodiscard]] std::vector<annalctl::Condition> conditions(const Selection& selection, const Part& part);

// The names of the orders, and the form of places, as they stand in an address.
[[nodiscard]] const char* sort_name(SortBy sort);
[[nodiscard]] std::string place_text(const Place& place, SortBy sort);

// An address like that of a selection, with changes. It begins at the first page, unless it is told to keep its place.
class Link {
 public:
  explicit Link(const Selection& selection) : parameters_(selection.parameters) { from_start(); }

  Link& from_start();
  Link& set(const std::string& name, const std::string& value);
  Link& add(const std::string& name, const std::string& value);
  Link& drop(const std::string& name);
  Link& drop(const std::string& name, const std::string& value);
  [[nodiscard]] bool has(const std::string& name, const std::string& value) const;
  [[nodiscard]] const Parameters& parameters() const { return parameters_; }

  // "?a=1&b=2", for an attribute: "&" is escaped.
  [[nodiscard]] std::string text() const;

 private:
  Parameters parameters_;
};

// Whether it narrows the selection, and may be given several times.
[[nodiscard]] bool is_filter(const std::string& name);

constexpr std::size_t kUsualRows = 50;
constexpr std::array<std::size_t, 4> kRowChoices{25, kUsualRows, 100, 200};

}  // namespace annal_web
