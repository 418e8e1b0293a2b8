// Damaged logs: what annalctl's check and salvage make of them. Checking changes nothing; salvaging makes a sound log
// with every row that SQLite itself could read, keeps the old file byte for byte, or leaves everything as it was.
#include <sqlite3.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <map>
#include <nlohmann/json.hpp>

#include "tests/fuzz/captured.h"
#include "tests/fuzz/fuzz.h"
#include "tools/annalctl/conn/model.h"
#include "tools/annalctl/event/model.h"
#include "tools/annalctl/fileop/model.h"
#include "tools/annalctl/notice/model.h"
#include "tools/annalctl/rescue/blueprint.h"
#include "tools/annalctl/rescue/check_command.h"
#include "tools/annalctl/rescue/salvage.h"

namespace {

using annal::fuzz::Captured;
using annal::fuzz::Files;
using annal::fuzz::Input;
using annal::fuzz::require;

constexpr std::size_t kHeader = 100;  // of the file, with what a reader must know

// ---- the logs to damage ----

struct Make {
  const char* first;  // statements before the table is created
  const char* last;   // and after its rows are there
  std::size_t page_size;
  bool utf16;
};

constexpr std::array kMakes{
    Make{"", "", 2048, false},
    Make{"", "", 512, false},
    Make{"PRAGMA secure_delete = OFF;", "DELETE FROM % WHERE rowid > 20 AND rowid < 40;", 2048, false},
    Make{"PRAGMA encoding = 'UTF-16le';", "", 2048, true},
};

std::array<const annalctl::Log*, 4> all_logs() {
  static const bool named = [] {
    annalctl::fileop::use_file(annal::fuzz::kFileOpLog);
    return true;
  }();
  static_cast<void>(named);
  return {&annalctl::event::kLog, &annalctl::conn::kLog, &annalctl::notice::kLog, &annalctl::fileop::kLog};
}

// Rows on several pages, some of which go on on others.
std::string content_of(const annalctl::Log& log, const Make& make) {
  const std::optional<annalctl::Blueprint> blueprint = annalctl::blueprint_of(log, 500, 7);
  require(blueprint.has_value(), "what a new log is made of");
  std::string statements = "PRAGMA page_size = " + std::to_string(make.page_size) + ";" + make.first;
  for (const annalctl::SchemaObject& object : blueprint->objects) {
    if (!object.text.empty() && !object.name.starts_with("sqlite_")) {
      statements += object.text + ";";
    }
  }
  annal::fuzz::put_back({});
  annal::fuzz::run(log.path, statements);
  std::string names;
  std::string values;
  for (const annalctl::Column& column : log.columns.subspan(1)) {
    names += (names.empty() ? "" : ", ") + std::string(column.name);
    values +=
        (values.empty() ? "" : ", ") +
        std::string(column.integer ? "i % 7" : "CASE WHEN i % 9 = 0 THEN hex(zeroblob(400)) ELSE 'text ' || i END");
  }
  std::string last = make.last;
  if (const std::size_t place = last.find('%'); place != std::string::npos) {
    last.replace(place, 1, log.table);
  }
  annal::fuzz::run(log.path,
                   std::string("WITH n(i) AS (VALUES (1) UNION ALL SELECT i + 1 FROM n WHERE i < 60) INSERT INTO ") +
                       log.table + " (" + names + ") SELECT " + values + " FROM n; " + last);
  return annal::fuzz::files().at(log.path);
}

const std::string& content_of(unsigned log, unsigned make) {
  static const auto contents = [] {
    std::array<std::array<std::string, kMakes.size()>, 4> all;
    for (std::size_t i = 0; i < all.size(); ++i) {
      for (std::size_t j = 0; j < kMakes.size(); ++j) {
        all[i][j] = content_of(*all_logs()[i], kMakes[j]);
      }
    }
    return all;
  }();
  return contents.at(log).at(make);
}

// ---- damage ----

std::size_t any_place(Input& input, std::size_t bound) {
  const std::size_t high = input.byte();
  return (high << 8U | input.byte()) % bound;
}

void damage(Input& input, std::string& content, std::size_t page_size) {
  const std::size_t pages = content.size() / page_size;
  for (unsigned damages = input.below(4) + 1; damages > 0; --damages) {
    const std::size_t page = any_place(input, pages) * page_size;
    // Where a page says what it is, and where its rows begin, or anywhere.
    const std::size_t inside = input.below(3) == 0 ? any_place(input, page_size) : input.byte() % 64;
    const std::size_t place = page + inside + (page == 0 && input.flag() ? kHeader : 0);
    switch (input.below(8)) {
      case 1:
        content.replace(page, page_size, content.substr(any_place(input, pages) * page_size, page_size));
        break;
      case 2:
        std::fill_n(content.begin() + static_cast<std::ptrdiff_t>(page), page_size, static_cast<char>(input.byte()));
        break;
      case 3:
        content[place] = static_cast<char>(content[place] ^ (1 << input.below(8)));
        break;
      default: {
        const std::string bytes = input.bytes(1 + input.below(16));
        content.replace(place, std::min(bytes.size(), content.size() - place), bytes, 0, content.size() - place);
      }
    }
  }
  if (input.below(16) == 1) {
    content.resize(content.size() - any_place(input, content.size()));
  }
}

// ---- what can be read of a log ----

using Texts = std::map<std::int64_t, std::vector<std::optional<std::string>>>;

// What SQLite reads of the table from the beginning to the end or the first fault. Nothing is there for what a column
// holds only when it is damaged, and makes another value of when it is stored: a text among numbers, a fraction.
Texts rows_of(const annalctl::Log& log) {
  std::string select = "SELECT rowid";
  for (const annalctl::Column& column : log.columns.subspan(1)) {
    for (const char* const part :
         {", CASE WHEN typeof(", column.name, column.integer ? ") IN ('real', 'text')" : ") = 'real'",
          " THEN 0 ELSE CAST(", column.name, " AS TEXT) END"}) {
      select += part;
    }
  }
  select += std::string(" FROM ") + log.table + " NOT INDEXED ORDER BY rowid";
  Texts texts;
  sqlite3* database = nullptr;
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_open(log.path, &database) == SQLITE_OK) {
    sqlite3_exec(database, "PRAGMA cell_size_check = ON", nullptr, nullptr, nullptr);
    sqlite3_prepare_v2(database, select.c_str(), -1, &statement, nullptr);
  }
  while (statement != nullptr && sqlite3_step(statement) == SQLITE_ROW) {
    const std::int64_t id = sqlite3_column_int64(statement, 0);
    if (!texts.empty() && id <= texts.rbegin()->first) {
      break;
    }
    for (int i = 1; i < sqlite3_column_count(statement); ++i) {
      const bool comparable = sqlite3_column_type(statement, i) != SQLITE_INTEGER;
      const auto* const bytes = static_cast<const char*>(sqlite3_column_blob(statement, i));
      const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement, i));
      const std::string text = bytes != nullptr ? "=" + std::string(bytes, size) : "";
      texts[id].push_back(comparable ? std::optional(text) : std::nullopt);
    }
  }
  sqlite3_finalize(statement);
  sqlite3_close(database);
  return texts;
}

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
  annalctl::Session program;
  program.json = true;
  CLI::App app;
  add(app, program, log);
  std::reverse(arguments.begin(), arguments.end());  // CLI11 takes them from the back
  bool usable = true;
  try {
    app.parse(arguments);
  } catch (const CLI::Error&) {
    usable = false;
  }
  Said said{program.status, output.restore(), errors.restore()};
  require(usable, "the command line");
  require(said.status == annalctl::kSuccess || said.status == annalctl::kFailure, "the exit status");
  return said;
}

void require_salvaged(const annalctl::Log& log, const Said& said, const std::string& damaged, const Texts& before,
                      bool comparable) {
  const auto told = nlohmann::json::parse(said.output);
  const Files files = annal::fuzz::files();
  require(files.size() == 2 && files.at(told.at("aside")) == damaged, "the file that was set aside");
  require(annal::fuzz::rows(log.path, "PRAGMA integrity_check") == annal::fuzz::Rows{{"ok"}}, "a log that is sound");
  require(run(&annalctl::add_check_command, log, {"check"}).status == annalctl::kSuccess,
          "a log that passes its check");
  const Texts after = rows_of(log);
  require(told.at("saved") == after.size(), "the number of rows that were saved");
  // What an intact index contradicts is told, and texts of a damaged encoding were not read as they had been written.
  constexpr std::size_t kEncoding = 56;
  const bool doubtful = told.at("doubtful") != 0 || told.at("mended") != 0;
  const bool as_written = damaged.substr(kEncoding, 4) == std::string("\0\0\0\1", 4);
  comparable = comparable && !doubtful && as_written;
  for (const auto& [id, texts] : before) {
    const auto found = after.find(id);
    require(found != after.end(), "a row that can be read is lost");
    const bool same = std::equal(texts.begin(), texts.end(), found->second.begin(), found->second.end(),
                                 [](const auto& was, const auto& is) { return !was || was == is; });
    require(!comparable || same, "a row with other texts than it had");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static_cast<void>(content_of(0U, 0U));  // before anything is measured
  Input input(data, size);
  const unsigned chosen = input.below(static_cast<unsigned>(all_logs().size()));
  const annalctl::Log& log = *all_logs().at(chosen);
  const unsigned make = input.below(kMakes.size());
  const bool force = input.below(4) == 1;
  const std::string& good = content_of(chosen, make);
  std::string damaged = good;
  damage(input, damaged, kMakes.at(make).page_size);
  annal::fuzz::put_back({{log.path, damaged}});
  const annal::fuzz::LeakCheck leak_check;

  const Texts before = rows_of(log);
  const Said checked = run(&annalctl::add_check_command, log, {"check"});
  require(!checked.output.empty(), "a check that says nothing");
  require(annal::fuzz::files() == Files{{log.path, damaged}}, "a check that changes something");

  std::vector<std::string> arguments{"salvage", "--yes"};
  if (force) {
    arguments.emplace_back("--force");
  }
  const Said said = run(&annalctl::add_salvage_command, log, arguments);
  if (said.status == annalctl::kSuccess && !said.output.empty()) {
    // The layout is told by the first page.
    const bool same_layout = damaged.starts_with(good.substr(0, kMakes.at(make).page_size));
    require_salvaged(log, said, damaged, before, same_layout && !kMakes.at(make).utf16);
  } else {
    require(said.output.empty() && !said.errors.empty(), "a refusal without a reason");
    require((said.status == annalctl::kSuccess) == (checked.status == annalctl::kSuccess),
            "check and salvage disagree");
    require(annal::fuzz::files() == Files{{log.path, damaged}}, "a refusal that changes something");
  }
  return 0;
}
