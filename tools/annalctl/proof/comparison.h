// Compares a log's entries with the commitments of its chain. Knows neither files nor databases.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/annalctl/proof/findings.h"
#include "tools/annalctl/proof/record.h"

namespace annalctl::proof {

// What the chain says of entries beside their commitments.
class Notes {
 public:
  void add(std::uint64_t position, const Record& record);
  // To be called when all are added.
  void finish();

  [[nodiscard]] const GoneRange* gone(std::int64_t id) const;
  // Of the last redaction.
  struct Redaction {
    std::uint64_t position;
    Record record;
  };
  [[nodiscard]] const Redaction* redaction(std::int64_t id) const;
  [[nodiscard]] const std::vector<GoneRange>& ranges() const { return declared_; }
  [[nodiscard]] const std::map<std::int64_t, Redaction>& redactions() const { return redactions_; }

 private:
  std::vector<GoneRange> declared_;  // in their order
  std::vector<GoneRange> sorted_;    // by their first ids, without overlaps
  std::map<std::int64_t, Redaction> redactions_;
};

// The next sealed entry, in the order of ids; false at the end.
using NextEntry = std::function<bool(Record&)>;

class Comparison {
 public:
  // An entry's in the order in which a limit deletes: its time, and its id.
  using Age = std::pair<std::uint32_t, std::int64_t>;
  // Finds the oldest sealed entry that is in the log by now; nothing if none is.
  using OldestNow = std::function<std::optional<Age>()>;

  Comparison(const Notes& notes, NextEntry next_entry, std::int64_t last_id);

  // The log's entries, in the order of their ids.
  void add(std::int64_t id, std::string_view content);

  struct Missing {
    std::int64_t id;
    std::uint32_t time;
    bool begins_run;  // the sealed entry before it is not missing
  };

  // To be called when all are added. oldest_now is given if the log's limit explains that the oldest are gone.
  [[nodiscard]] Report finish(const OldestNow& oldest_now);
  // Those that nothing declares gone, once finished.
  [[nodiscard]] const std::vector<Missing>& missing() const { return missing_; }

 private:
  // A content that is not the one that was sealed under its id, and a commitment without its content.
  struct Stray {
    std::int64_t id;
    std::string content;
    bool was_sealed;
  };

  void advance();
  void pass_over(const Record& entry);
  void compare(const Record& entry, std::string_view content);
  [[nodiscard]] bool is_redacted(const Record& entry, std::string_view content);
  void add_stray(std::int64_t id, std::string_view content, bool was_sealed);
  [[nodiscard]] std::optional<std::int64_t> origin_of(const Stray& stray) const;

  void report_strays();
  [[nodiscard]] bool is_among_oldest(const Missing& one) const;
  void look_again(const OldestNow& oldest_now);
  void report_missing(bool is_full);
  void report_run(State state, std::int64_t from, std::int64_t through);
  void say(State state, std::int64_t from, std::int64_t through, std::string text);

  const Notes& notes_;
  NextEntry next_entry_;
  std::int64_t last_id_;
  std::optional<Record> entry_;  // the next of the chain
  bool after_missing_ = false;

  std::vector<Missing> missing_;
  std::vector<Stray> strays_;
  std::vector<Record> open_;  // commitments that no content was found for
  std::set<std::int64_t> found_elsewhere_;
  std::uint64_t more_changed_ = 0;
  std::uint64_t matched_ = 0;
  std::uint64_t gone_ = 0;
  std::uint64_t unsealed_ = 0;
  std::int64_t first_unsealed_ = 0;
  std::int64_t last_unsealed_ = 0;
  std::uint64_t redacted_ = 0;
  std::int64_t last_present_ = 0;  // the highest sealed id that is there
  std::optional<Age> oldest_present_;
  Report report_;
};

}  // namespace annalctl::proof
