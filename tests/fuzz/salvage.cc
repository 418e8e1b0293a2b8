// Damaged logs: what annalctl's check and salvage make of them. Checking changes nothing; salvaging makes a sound log
// with every row that SQLite could read or that damage has left alone, and names each row that is not as it was; it
// keeps the old file byte for byte, or leaves everything as it was.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <nlohmann/json.hpp>
#include <string_view>

#include "tests/fuzz/captured.h"
#include "tests/fuzz/damaged_log.h"
#include "tests/fuzz/fuzz.h"
#include "tests/tools/salvaged_ids.h"
#include "tools/annalctl/rescue/check_command.h"
#include "tools/annalctl/rescue/salvage.h"

namespace {

using annal::fuzz::Captured;
using annal::fuzz::Cell;
using annal::fuzz::Files;
using annal::fuzz::GoodLog;
using annal::fuzz::Input;
using annal::fuzz::require;
using annal::fuzz::Table;
using annal::test::ids_in;

// ---- the commands ----

struct Said {
  int status;
  std::string output;
  std::string errors;
};

Said run(void (*add)(CLI::App&, annalctl::Session&, const annalctl::Log&), const annalctl::Log& log,
         std::vector<std::string> arguments) {
  Captured errors(stderr);
  Captured output(stdout);
  annalctl::Session session;
  session.view.format = annalctl::Format::kJson;
  CLI::App app;
  add(app, session, log);
  std::reverse(arguments.begin(), arguments.end());  // CLI11 takes them from the back
  bool usable = true;
  try {
    app.parse(arguments);
  } catch (const CLI::Error&) {
    usable = false;
  }
  Said said{session.status, output.restore(), errors.restore()};
  require(usable, "the command line");
  require(said.status == annalctl::kSuccess || said.status == annalctl::kFailure, "the exit status");
  return said;
}

// ---- what salvage tells ----

struct Told {
  nlohmann::json counts;
  std::set<std::int64_t> rows;  // that are said to be doubtful or mended
  std::set<std::int64_t> lost;
  std::string unproven;  // columns, a blank before and a comma behind each

  explicit Told(const Said& said) : counts(nlohmann::json::parse(said.output)), lost(ids_in(counts.at("lost_ids"))) {
    const std::set<std::int64_t> doubtful = ids_in(counts.at("doubtful_ids"));
    const std::set<std::int64_t> mended = ids_in(counts.at("mended_ids"));
    require(counts.at("doubtful") == doubtful.size() && counts.at("mended") == mended.size(), "the rows in doubt");
    rows.insert(doubtful.begin(), doubtful.end());
    rows.insert(mended.begin(), mended.end());
    constexpr std::string_view kBefore = "so damage to them may not show:";
    if (const std::size_t place = said.errors.find(kBefore); place != std::string::npos) {
      const std::size_t begin = place + kBefore.size();
      unproven = said.errors.substr(begin, said.errors.find('\n', begin) - begin) + ",";
    }
  }

  [[nodiscard]] bool is_unproven(const annalctl::Column& column) const {
    return unproven.find(std::string(" ") + column.name + ",") != std::string::npos;
  }
};

// ---- what must be there ----

// Every row that can still be found, with what can still be read of it.
void require_rows(const GoodLog& good, const Told& told, const std::string& damaged, const Table& readable,
                  const Table& after) {
  for (const auto& [id, cells] : readable) {
    const auto found = after.find(id);
    require(found != after.end(), "a row that can be read is lost");
    const auto was = good.rows.find(id);
    require(
        told.rows.contains(id) || found->second == cells || (was != good.rows.end() && found->second == was->second),
        "a row with other values than it has");
  }
  for (const auto& [id, cells] : good.rows) {
    if (is_intact(good, damaged, id)) {
      const auto found = after.find(id);
      // Of a table that no release has made, the schema alone tells which value is which.
      require(found != after.end() || (good.lost != nullptr && told.lost.contains(id)),
              "a row that its pages still hold is lost");
      require(found == after.end() || told.rows.contains(id) || found->second == cells,
              "a row with other values than its pages hold");
    }
  }
}

// Of rows that are not what they were, each is named, or no index has it, or what differs no index has.
void require_wrong_rows_are_told(const GoodLog& good, const Told& told, const Table& after) {
  std::size_t wrong = 0;
  for (const auto& [id, cells] : after) {
    const auto was = good.rows.find(id);
    bool differs = was == good.rows.end();
    for (std::size_t i = 0; i < good.columns.size() && !differs; ++i) {
      differs = was->second[i] != cells[i] && !told.is_unproven(*good.columns[i]);
    }
    wrong += differs && !told.rows.contains(id) ? 1 : 0;
  }
  require(told.counts.at("uncompared") >= wrong, "a row that is called good has other values than it had");
}

// It is said to be lost, and its rows have neither today's date in it nor anything else that they never had.
void require_lost_column_is_told(const GoodLog& good, const Told& told, const Said& said) {
  const std::string name = good.lost->name;
  const std::string values = good.lost->integer ? " IS NOT NULL" : " IS NOT ''";
  const auto other = annal::fuzz::rows(
      good.log->path, std::string("SELECT rowid FROM ") + good.log->table + " WHERE \"" + name + "\"" + values);
  require(other.has_value(), "a column that was lost");
  for (const auto& row : *other) {
    // Without the schema nobody can know which column it was.
    require(told.rows.contains(std::stoll(*row.at(0))), "a value for a column that was lost");
  }
  require(!other->empty() || good.rows.empty() || told.counts.at("saved") == 0 ||
              said.errors.find("whose values are lost: " + name) != std::string::npos,
          "a lost column that is not named");
}

void require_salvaged(const GoodLog& good, const Said& said, const std::string& damaged, const Table& readable) {
  const annalctl::Log& log = *good.log;
  const Told told(said);
  const Files files = annal::fuzz::files();
  require(files.size() == 2 && files.at(told.counts.at("aside")) == damaged, "the file that was set aside");
  require(annal::fuzz::rows(log.path, "PRAGMA integrity_check") == annal::fuzz::Rows{{"ok"}}, "a log that is sound");
  require(run(&annalctl::add_check_command, log, {"check"}).status == annalctl::kSuccess,
          "a log that passes its check");
  const Table after = read_table(good);
  require(told.counts.at("saved") == after.size(), "the number of rows that were saved");
  require_rows(good, told, damaged, readable, after);
  require_wrong_rows_are_told(good, told, after);
  if (good.lost != nullptr) {
    require_lost_column_is_told(good, told, said);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  const GoodLog& good = any_good_log(input);
  const annalctl::Log& log = *good.log;
  const bool force = input.below(4) == 1;
  const std::string content = damaged(input, good);
  const annal::fuzz::LeakCheck leak_check;

  annal::fuzz::put_back({{log.path, with_header_of(good, content)}});
  const Table readable = read_table(good);
  annal::fuzz::put_back({{log.path, content}});
  const Said checked = run(&annalctl::add_check_command, log, {"check"});
  require(!checked.output.empty(), "a check that says nothing");
  require(annal::fuzz::files() == Files{{log.path, content}}, "a check that changes something");

  std::vector<std::string> arguments{"salvage", "--yes"};
  if (force) {
    arguments.emplace_back("--force");
  }
  const Said said = run(&annalctl::add_salvage_command, log, arguments);
  if (said.status == annalctl::kSuccess && !said.output.empty()) {
    require_salvaged(good, said, content, readable);
  } else {
    require(said.output.empty() && !said.errors.empty(), "a refusal without a reason");
    require((said.status == annalctl::kSuccess) == (checked.status == annalctl::kSuccess),
            "check and salvage disagree");
    require(annal::fuzz::files() == Files{{log.path, content}}, "a refusal that changes something");
  }
  return 0;
}
