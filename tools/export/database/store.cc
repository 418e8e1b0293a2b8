// Copies rows in one transaction, and halves a batch that the server refuses until the bad row is alone.
#include "tools/export/database/store.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/export/database/connection.h"
#include "tools/export/database/schema.h"
#include "tools/export/database/tables.h"

namespace exporter::database {

namespace {

// What goes to one log's table.
struct LogRows {
  std::string lines;
  std::set<std::string, std::less<>> dates;
  // Of redactions, as the elements of arrays.
  std::string appliances;
  std::string generations;
  std::string ids;
};

const LogTable* table_of(std::string_view log, std::size_t& place) {
  const std::span<const LogTable> tables = log_tables();
  for (place = 0; place < tables.size(); ++place) {
    if (tables[place].log == log) {
      return &tables[place];
    }
  }
  return nullptr;
}

// What the program that made a record can tell without the database.
std::string unfit(const Row& row) {
  std::size_t place = 0;
  if (table_of(row.stream->log, place) == nullptr) {
    return "there is no such log";
  }
  if (!is_appliance(row.stream->appliance)) {
    return "the appliance is not a machine-id of 32 hexadecimal digits";
  }
  return {};
}

void append_element(std::string& list, std::string_view element) {
  if (!list.empty()) {
    list += ',';
  }
  list += element;
}

std::string array_of(const std::string& elements) {
  return "{" + elements + "}";
}

}  // namespace

class Store::Session {
 public:
  Session(Target target, std::string application) : target_(std::move(target)), application_(std::move(application)) {}

  Outcome store(std::span<const Row> rows, const Stop& stop);

 private:
  void connect(const Stop& stop);
  // In one transaction. Throws Failure, with nothing stored, as far as is known.
  void attempt(std::span<const Row> rows);
  void make_partitions();
  void fill(std::span<const Row> rows);

  Target target_;
  std::string application_;
  std::optional<Connection> connection_;
  std::vector<Statements> statements_;

  std::vector<LogRows> logs_;            // of the transaction
  std::vector<std::string> side_lines_;  // of each side table
  // Dates whose partitions exist, so that the server need not be asked for each batch.
  std::set<std::pair<std::size_t, std::string>> known_dates_;
};

void Store::Session::connect(const Stop& stop) {
  known_dates_.clear();
  connection_.emplace(target_, application_, stop);
  require_schema(*connection_);
  // An acknowledged entry must survive the server's end, also on a server that is configured not to care.
  std::string prepare =
      "SELECT set_config('synchronous_commit', 'on', false) WHERE current_setting('synchronous_commit') = 'off'; "
      "SET lock_timeout = '30s'; SET statement_timeout = '50s'; ";
  statements_.clear();
  for (const LogTable& table : log_tables()) {
    statements_.push_back(statements_for(table));
    prepare += statements_.back().create + "; ";
  }
  for (const SideTable& table : side_tables()) {
    prepare += table.statements.create + "; ";
  }
  connection_->run(prepare);
}

void Store::Session::fill(std::span<const Row> rows) {
  logs_.assign(log_tables().size(), {});
  side_lines_.assign(side_tables().size(), {});
  for (const Row& row : rows) {
    if (!unfit(row).empty()) {
      continue;
    }
    const auto side = std::find_if(side_tables().begin(), side_tables().end(),
                                   [&row](const SideTable& one) { return one.kind == row.record->kind; });
    if (side != side_tables().end()) {
      side->append_line(side_lines_[static_cast<std::size_t>(side - side_tables().begin())], *row.stream, *row.record);
      continue;
    }
    std::size_t place = 0;
    const LogTable& table = *table_of(row.stream->log, place);
    LogRows& log = logs_[place];
    append_entry_line(log.lines, table, *row.stream, *row.record);
    log.dates.emplace(row.record->date);
    if (row.record->kind == Kind::kRedaction) {
      append_element(log.appliances, row.stream->appliance);
      append_element(log.generations, std::to_string(row.stream->generation));
      append_element(log.ids, std::to_string(row.record->id));
    }
  }
}

void Store::Session::make_partitions() {
  constexpr std::size_t kMost = 10000;
  if (known_dates_.size() > kMost) {
    known_dates_.clear();
  }
  for (std::size_t place = 0; place < logs_.size(); ++place) {
    std::string dates;
    for (const std::string& date : logs_[place].dates) {
      if (!known_dates_.contains({place, date})) {
        append_element(dates, date);
      }
    }
    if (dates.empty()) {
      continue;
    }
    const std::array<std::string, 2> values{std::string(log_tables()[place].log), array_of(dates)};
    connection_->run("SELECT annal.make_partitions($1, $2::date[])", values);
    for (const std::string& date : logs_[place].dates) {
      known_dates_.emplace(place, date);
    }
  }
}

void Store::Session::attempt(std::span<const Row> rows) {
  fill(rows);
  // Not in the transaction, which would keep all other writers from the table's definition.
  make_partitions();
  std::string before = "BEGIN; ";
  std::string after;
  for (std::size_t place = 0; place < logs_.size(); ++place) {
    const LogRows& log = logs_[place];
    if (log.lines.empty()) {
      continue;
    }
    connection_->copy(before + statements_[place].copy, log.lines);
    before.clear();
    if (!log.ids.empty()) {
      const std::array<std::string, 4> values{std::string(log_tables()[place].log), array_of(log.appliances),
                                              array_of(log.generations), array_of(log.ids)};
      connection_->run("SELECT annal.redact($1, $2::uuid[], $3::bigint[], $4::bigint[])", values);
    }
    after += statements_[place].insert + "; ";
  }
  for (std::size_t place = 0; place < side_lines_.size(); ++place) {
    if (!side_lines_[place].empty()) {
      const Statements& statements = side_tables()[place].statements;
      connection_->copy(before + statements.copy, side_lines_[place]);
      before.clear();
      after += statements.insert + "; ";
    }
  }
  if (before.empty()) {
    connection_->run(after + "COMMIT");
  }
}

Outcome Store::Session::store(std::span<const Row> rows, const Stop& stop) {
  Outcome outcome;
  // One row that cannot be stored would keep the whole transaction from it, so the part that has it is halved until it
  // is alone.
  std::size_t size = rows.size();
  while (outcome.acknowledged < rows.size()) {
    const std::size_t first = outcome.acknowledged;
    const std::span<const Row> part = rows.subspan(first, std::min(size, rows.size() - first));
    try {
      if (!connection_) {
        connect(stop);
      }
      attempt(part);
      for (std::size_t i = 0; i < part.size(); ++i) {
        if (const std::string reason = unfit(part[i]); !reason.empty()) {
          outcome.refused.push_back({.index = first + i, .reason = reason});
        }
      }
      outcome.acknowledged += part.size();
      size = std::max(size, part.size() * 2);
    } catch (const Failure& failure) {
      if (!connection_ || !connection_->roll_back()) {
        connection_.reset();
      }
      if (failure.cause() == Failure::Cause::kStop) {
        return outcome;
      }
      if (failure.cause() == Failure::Cause::kServer || !connection_) {
        // Also one whose connection is sound may have been set up for a server that has changed since.
        connection_.reset();
        outcome.trouble = Trouble{.reason = failure.what()};
        return outcome;
      }
      if (part.size() == 1) {
        outcome.refused.push_back({.index = first, .reason = failure.what()});
        ++outcome.acknowledged;
      } else {
        size = part.size() / 2;
      }
    }
  }
  return outcome;
}

Store::Store(Target target, std::string application)
    : session_(std::make_unique<Session>(std::move(target), std::move(application))) {}

Store::~Store() = default;

Outcome Store::store(std::span<const Row> rows, const Stop& stop) {
  return session_->store(rows, stop);
}

}  // namespace exporter::database
