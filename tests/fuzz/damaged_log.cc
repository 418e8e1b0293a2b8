// Builds sound logs, and damages them as the input says.
#include "tests/fuzz/damaged_log.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <optional>

#include "tests/support/row_pages.h"
#include "tools/annalctl/conn/model.h"
#include "tools/annalctl/event/model.h"
#include "tools/annalctl/fileop/model.h"
#include "tools/annalctl/notice/model.h"
#include "tools/annalctl/rescue/blueprint.h"

namespace annal::fuzz {

namespace {

// SQLite's file format: the header, and what it has where.
constexpr std::size_t kHeader = 100;
constexpr std::size_t kPageSizeAt = 16;
constexpr std::size_t kReservedAt = 20;
constexpr std::size_t kEncodingAt = 59;  // its last byte
constexpr std::size_t kCountedWithAt = 92;

// --- sound logs ---

struct Make {
  const char* first;  // statements before the table is created
  const char* last;   // and after its rows are there
  std::size_t page_size;
  bool utf16;
  bool lacks_column;
};

constexpr std::array kMakes{
    Make{"", "", 2048, false, false},
    Make{"", "", 512, false, false},
    Make{"PRAGMA secure_delete = OFF;", "DELETE FROM % WHERE rowid > 20 AND rowid < 40;", 2048, false, false},
    Make{"PRAGMA encoding = 'UTF-16le';", "", 2048, true, false},
    Make{"", "", 2048, false, true},
};
constexpr std::size_t kLostColumn = 2;  // the date, where there is one

std::array<const annalctl::Log*, 4> all_logs() {
  static const bool named = [] {
    annalctl::fileop::use_file(kFileOpLog);
    return true;
  }();
  static_cast<void>(named);
  return {&annalctl::event::kLog, &annalctl::conn::kLog, &annalctl::notice::kLog, &annalctl::fileop::kLog};
}

std::string table_without_column(const annalctl::Log& log, const std::vector<const annalctl::Column*>& columns) {
  std::string text =
      std::string("CREATE TABLE ") + log.table + " (" + log.columns[0].name + " INTEGER PRIMARY KEY AUTOINCREMENT";
  for (const annalctl::Column* const column : columns) {
    text += std::string(", ") + column->name + (column->integer ? " INTEGER" : " TEXT");
  }
  return text + ")";
}

std::string schema_of(const GoodLog& good) {
  const std::optional<annalctl::Blueprint> blueprint = annalctl::blueprint_of(*good.log, 500, 7);
  require(blueprint.has_value(), "what a new log is made of");
  std::string statements;
  for (const annalctl::SchemaObject& object : blueprint->objects) {
    // The trigger sorts by it.
    const bool of_lost = good.lost != nullptr &&
                         (object.type == "trigger" || object.text.ends_with(std::string("(") + good.lost->name + ")"));
    if (object.text.empty() || object.name.starts_with("sqlite_") || of_lost) {
      continue;
    }
    statements +=
        (good.lost != nullptr && object.type == "table" ? table_without_column(*good.log, good.columns) : object.text) +
        ";";
  }
  return statements;
}

std::map<std::int64_t, std::set<std::size_t>> pages_of_rows(const GoodLog& good) {
  std::vector<std::vector<std::string>> pages;
  for (const auto& page : rows(good.log->path, annal::test::row_pages_query(good.log->table)).value_or(Rows{})) {
    pages.emplace_back();
    for (const Value& value : page) {
      pages.back().push_back(value.value_or(""));
    }
  }
  std::set<std::int64_t> ids;
  for (const auto& [id, cells] : good.rows) {
    ids.insert(id);
  }
  std::map<std::int64_t, std::set<std::size_t>> of_rows = annal::test::row_pages(pages, ids);
  require(of_rows.size() == ids.size(), "where each row is");
  return of_rows;
}

// Rows on several pages, some of which go on on others.
GoodLog make_log(const annalctl::Log& log, const Make& make) {
  GoodLog good{&log, {}, nullptr, make.page_size, make.utf16, {}, {}, {}};
  for (std::size_t i = 1; i < log.columns.size(); ++i) {
    if (make.lacks_column && i == kLostColumn) {
      good.lost = &log.columns[i];
    } else {
      good.columns.push_back(&log.columns[i]);
    }
  }
  put_back({});
  run(log.path, "PRAGMA page_size = " + std::to_string(make.page_size) + ";" + make.first + schema_of(good));
  std::string names;
  std::string values;
  for (const annalctl::Column* const column : good.columns) {
    names += (names.empty() ? "" : ", ") + std::string(column->name);
    values += (values.empty() ? "" : ", ") +
              std::string(column->integer ? "i % 7 + (i % 3) * 100000"
                                          : "CASE WHEN i % 9 = 0 THEN hex(zeroblob(400)) ELSE 'text ' || i END");
  }
  std::string last = make.last;
  if (const std::size_t place = last.find('%'); place != std::string::npos) {
    last.replace(place, 1, log.table);
  }
  run(log.path, std::string("WITH n(i) AS (VALUES (1) UNION ALL SELECT i + 1 FROM n WHERE i < 60) INSERT INTO ") +
                    log.table + " (" + names + ") SELECT " + values + " FROM n; " + last);
  good.content = files().at(log.path);
  good.rows = read_table(good);
  good.pages_of_rows = pages_of_rows(good);
  return good;
}

// --- damage ---

std::size_t any_place(Input& input, std::size_t bound) {
  const std::size_t high = input.byte();
  return (high << 8U | input.byte()) % bound;
}

// A letter of the text that creates the table, or of an index's: no other page says what the columns are.
void damage_schema(Input& input, const GoodLog& good, std::string& content) {
  constexpr std::array kLetters{' ', 'a', 'Q', '0', '_', '\'', '(', '%', ',', ';'};
  constexpr std::size_t kAbout = 1500;
  const std::size_t width = good.utf16 ? 2 : 1;
  const std::string beginning = good.utf16 ? std::string("C\0R\0E\0A\0T\0E\0", 12) : "CREATE";
  const std::size_t begin = content.find(beginning);
  if (begin == std::string::npos) {
    return;
  }
  std::size_t place = begin + any_place(input, kAbout) * width;
  if (input.flag()) {
    place = content.find(',', place);  // with a blank in its place two columns become one
  }
  if (place < content.size()) {
    content[place] = input.flag() ? ' ' : input.one_of(kLetters);
  }
}

void damage_once(Input& input, const GoodLog& good, std::string& content) {
  const std::size_t pages = content.size() / good.page_size;
  const std::size_t page = any_place(input, pages) * good.page_size;
  // Where a page says what it is, and where its rows begin, or anywhere.
  const std::size_t inside = input.below(3) == 0 ? any_place(input, good.page_size) : input.byte() % 64;
  const std::size_t place = page + inside + (page == 0 && input.flag() ? kHeader : 0);
  const auto overwrite = [&](const std::string& bytes) {
    content.replace(place, std::min(bytes.size(), content.size() - place), bytes, 0, content.size() - place);
  };
  switch (input.below(16)) {
    case 1:
      content.replace(page, good.page_size, content.substr(any_place(input, pages) * good.page_size, good.page_size));
      break;
    case 2:
      std::fill_n(content.begin() + static_cast<std::ptrdiff_t>(page), good.page_size, static_cast<char>(input.byte()));
      break;
    case 3:
      content[place] = static_cast<char>(content[place] ^ (1 << input.below(8)));
      break;
    case 4:
      content[kEncodingAt] = static_cast<char>(input.below(5));
      break;
    case 5:
      content[kReservedAt] = static_cast<char>(input.byte());
      break;
    case 6:
      content.replace(kPageSizeAt, 2, {static_cast<char>(1U << input.below(8)), static_cast<char>(input.below(2))});
      break;
    case 7:
      overwrite(std::string(1 + input.below(64), '\0'));
      break;
    case 8:
      damage_schema(input, good, content);
      break;
    default:
      overwrite(input.bytes(1 + input.below(16)));
  }
}

}  // namespace

const GoodLog& any_good_log(Input& input) {
  static std::map<std::size_t, GoodLog> made;
  const std::size_t log = input.below(static_cast<unsigned>(all_logs().size()));
  const std::size_t make = input.below(kMakes.size());
  const std::size_t key = log * kMakes.size() + make;
  auto found = made.find(key);
  if (found == made.end()) {
    found = made.emplace(key, make_log(*all_logs().at(log), kMakes.at(make))).first;
  }
  return found->second;
}

std::string damaged(Input& input, const GoodLog& good) {
  std::string content = good.content;
  for (unsigned damages = input.below(4) + 1; damages > 0; --damages) {
    damage_once(input, good, content);
  }
  if (input.below(16) == 1) {
    content.resize(content.size() - any_place(input, content.size()));
  }
  return content;
}

Table read_table(const GoodLog& good) {
  std::string select = "SELECT rowid";
  for (const annalctl::Column* const column : good.columns) {
    select += std::string(", ") + column->name;
  }
  select += std::string(" FROM ") + good.log->table + " NOT INDEXED ORDER BY rowid";
  Table table;
  sqlite3* database = nullptr;
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_open(good.log->path, &database) == SQLITE_OK) {
    sqlite3_exec(database, "PRAGMA cell_size_check = ON", nullptr, nullptr, nullptr);
    sqlite3_prepare_v2(database, select.c_str(), -1, &statement, nullptr);
  }
  while (statement != nullptr && sqlite3_step(statement) == SQLITE_ROW) {
    const std::int64_t id = sqlite3_column_int64(statement, 0);
    if (!table.empty() && id <= table.rbegin()->first) {
      break;
    }
    for (int i = 1; i < sqlite3_column_count(statement); ++i) {
      const int type = sqlite3_column_type(statement, i);
      // A blob as it is, everything else as its text in UTF-8.
      const void* const bytes =
          type == SQLITE_BLOB ? sqlite3_column_blob(statement, i) : sqlite3_column_text(statement, i);
      const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement, i));
      table[id].push_back({type, bytes != nullptr ? std::string(static_cast<const char*>(bytes), size) : ""});
    }
  }
  sqlite3_finalize(statement);
  sqlite3_close(database);
  return table;
}

std::string with_header_of(const GoodLog& good, const std::string& content) {
  std::string repaired = content;
  repaired.replace(0, std::min(kHeader, content.size()), good.content, 0, std::min(kHeader, content.size()));
  if (repaired.size() > kCountedWithAt) {
    repaired[kCountedWithAt] = static_cast<char>(~repaired[kCountedWithAt]);  // then the file's size counts its pages
  }
  return repaired;
}

bool is_intact(const GoodLog& good, const std::string& content, std::int64_t id) {
  return annal::test::is_intact(good.pages_of_rows.at(id), good.page_size, good.content, content);
}

}  // namespace annal::fuzz
