// Reads and restores log files.
#include "tests/trust/harness/log_state.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>

#include "tests/support/log_file.h"
#include "tests/trust/harness/shim_vfs.h"

namespace annal::test {

namespace fs = std::filesystem;

namespace {

std::string journal_of(const std::string& path) {
  return path + "-journal";
}

std::string joined(const Row& row) {
  std::string text;
  for (const std::string& field : row) {
    text += (text.empty() ? "" : "|") + field;
  }
  return text;
}

}  // namespace

Content content_of(const std::string& path) {
  Content content;
  if (!fs::exists(path)) {
    return content;
  }
  const char* file = path.c_str();
  if (const std::string verdict = value(file, "PRAGMA integrity_check;"); verdict != "ok") {
    throw std::runtime_error(path + ": " + verdict);
  }
  for (const Row& row : sql(file, "SELECT type, name, sql FROM sqlite_master ORDER BY name;")) {
    content.schema.push_back(joined(row));
    if (row.at(0) == "table") {
      for (const Row& entry : sql(file, "SELECT * FROM " + row.at(1) + " ORDER BY 1;")) {
        content.rows.push_back(joined(entry));
      }
    }
  }
  return content;
}

namespace {

Content without(Content content, const std::string& type) {
  std::erase_if(content.schema, [&](const std::string& entry) { return entry.starts_with(type + "|"); });
  return content;
}

}  // namespace

Content without_trigger(Content content) {
  return without(std::move(content), "trigger");
}

Content without_indexes(Content content) {
  return without(std::move(content), "index");
}

std::string text_of(const Content& content) {
  std::string text;
  for (const auto* lines : {&content.schema, &content.rows}) {
    for (const std::string& line : *lines) {
      text += "  " + line.substr(0, 100) + "\n";
    }
  }
  return text.empty() ? "  (nothing)\n" : text;
}

Image Image::of(const std::string& path) {
  if (fs::exists(journal_of(path))) {
    throw std::runtime_error("an image of " + path + " in the middle of a transaction");
  }
  Image image;
  image.exists_ = fs::exists(path);
  if (image.exists_) {
    image.bytes_ = read_file(path);
  }
  return image;
}

bool Image::is_at(const std::string& path) const {
  return !fs::exists(journal_of(path)) && fs::exists(path) == exists_ && (!exists_ || read_file(path) == bytes_);
}

void Image::put_back(const std::string& path) const {
  fs::remove(journal_of(path));
  if (exists_) {
    write_file(path, bytes_);
  } else {
    fs::remove(path);
  }
}

}  // namespace annal::test
