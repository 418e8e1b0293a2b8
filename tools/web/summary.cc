// Counts a bounded number of values, and merges the histogram's bars into wider ones as its range grows.
#include "tools/web/summary.h"

#include <algorithm>
#include <utility>

namespace annal_web {

namespace {

constexpr std::int64_t kMinute = 60;
constexpr std::int64_t kHour = 60 * kMinute;
constexpr std::int64_t kDay = 24 * kHour;

// Each is a multiple of the one before, so that bars can be joined.
constexpr std::array kWidths{std::int64_t{1}, std::int64_t{5}, std::int64_t{15}, kMinute,     5 * kMinute,
                             15 * kMinute,    kHour,           3 * kHour,        6 * kHour,   kDay,
                             7 * kDay,        28 * kDay,       364 * kDay,       3640 * kDay, 364000 * kDay};

std::int64_t divided_down(std::int64_t number, std::int64_t by) {
  return number / by - (number % by < 0 ? 1 : 0);
}

}  // namespace

void Facet::add(std::string_view value, std::uint64_t count) {
  value = value.substr(0, kLongestValue);
  if (const auto known = counts_.find(value); known != counts_.end()) {
    known->second += count;
  } else if (counts_.size() < kMostValues) {
    counts_.emplace(value, count);
  } else {
    left_out_ += count;
  }
}

std::vector<Facet::Value> Facet::largest(std::size_t most) const {
  std::vector<Value> values;
  values.reserve(counts_.size());
  for (const auto& [text, count] : counts_) {
    values.push_back({text, count});
  }
  const auto kept = static_cast<std::ptrdiff_t>(std::min(most, values.size()));
  std::partial_sort(values.begin(), values.begin() + kept, values.end(), [](const Value& left, const Value& right) {
    return left.count != right.count ? left.count > right.count : left.text < right.text;
  });
  values.resize(static_cast<std::size_t>(kept));
  return values;
}

std::int64_t Histogram::width() const {
  return kWidths.at(step_);
}

std::int64_t Histogram::bar_of(std::int64_t wall) const {
  return divided_down(wall, width());
}

void Histogram::widen() {
  std::vector<Counts> wider;
  const std::int64_t times = kWidths.at(step_ + 1) / kWidths.at(step_);
  const std::int64_t first = divided_down(first_, times);
  for (std::size_t i = 0; i < counts_.size(); ++i) {
    const auto bar = static_cast<std::size_t>(divided_down(first_ + static_cast<std::int64_t>(i), times) - first);
    wider.resize(std::max(wider.size(), bar + 1));
    for (std::size_t grade = 0; grade < wider[bar].size(); ++grade) {
      wider[bar].at(grade) += counts_[i].at(grade);
    }
  }
  counts_ = std::move(wider);
  first_ = first;
  ++step_;
}

void Histogram::add(std::int64_t wall, Grade grade) {
  if (counts_.empty()) {
    first_ = bar_of(wall);
    counts_.resize(1);
  }
  const auto range = [this, wall] {
    const std::int64_t bar = bar_of(wall);
    const std::int64_t end = first_ + static_cast<std::int64_t>(counts_.size());
    return static_cast<std::size_t>(std::max(bar + 1, end) - std::min(bar, first_));
  };
  while (range() > kMostBars) {
    widen();
  }
  const std::int64_t bar = bar_of(wall);
  if (bar < first_) {
    counts_.insert(counts_.begin(), static_cast<std::size_t>(first_ - bar), Counts{});
    first_ = bar;
  }
  const auto place = static_cast<std::size_t>(bar - first_);
  if (place >= counts_.size()) {
    counts_.resize(place + 1);
  }
  ++counts_[place].at(static_cast<std::size_t>(grade));
}

std::vector<Histogram::Bar> Histogram::bars() const {
  std::vector<Bar> bars;
  for (std::size_t i = 0; i < counts_.size(); ++i) {
    bars.push_back({(first_ + static_cast<std::int64_t>(i)) * width(), counts_[i]});
  }
  return bars;
}

}  // namespace annal_web
