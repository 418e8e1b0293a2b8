// What the entries of a selection have in common: how many there are, of whom, and when.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "tools/web/parts.h"

namespace annal_web {

// How often each value occurs. Strangers can choose values, so only so many are told apart.
class Facet {
 public:
  struct Value {
    std::string text;
    std::uint64_t count;
  };

  void add(std::string_view value, std::uint64_t count = 1);
  // The most frequent ones, those of equal number by their texts.
  [[nodiscard]] std::vector<Value> largest(std::size_t most) const;
  [[nodiscard]] std::size_t different() const { return counts_.size(); }
  // Entries with values that came when there was no more room for them.
  [[nodiscard]] std::uint64_t left_out() const { return left_out_; }

  static constexpr std::size_t kMostValues = 20000;
  static constexpr std::size_t kLongestValue = 256;

 private:
  struct Hash : std::hash<std::string_view> {
    using is_transparent = void;
  };
  std::unordered_map<std::string, std::uint64_t, Hash, std::equal_to<>> counts_;
  std::uint64_t left_out_ = 0;
};

// Numbers of entries over time. The bars become wider as the range grows, so that they stay few.
class Histogram {
 public:
  using Counts = std::array<std::uint64_t, 3>;  // by grade
  struct Bar {
    std::int64_t from;
    Counts counts;
  };

  void add(std::int64_t wall, Grade grade);
  [[nodiscard]] std::int64_t width() const;
  // All from the first to the last, with those between that are empty.
  [[nodiscard]] std::vector<Bar> bars() const;

  static constexpr std::size_t kMostBars = 100;

 private:
  [[nodiscard]] std::int64_t bar_of(std::int64_t wall) const;
  void widen();

  std::size_t step_ = 0;
  std::int64_t first_ = 0;
  std::vector<Counts> counts_;
};

struct Summary {
  std::uint64_t entries = 0;
  Facet levels;
  Facet users;
  Facet addresses;
  Facet applications;
  Histogram histogram;
};

}  // namespace annal_web
