// A log's file as the tests see it: its bytes, to restore it, and its content, to compare it.
#pragma once

#include <string>
#include <vector>

namespace annal::test {

// The schema and every row. A missing file has the content of an empty one.
struct Content {
  std::vector<std::string> schema;
  std::vector<std::string> rows;
  bool operator==(const Content&) const = default;
};

// What a program finds if it opens the file now. Throws std::runtime_error if the file is damaged.
Content content_of(const std::string& path);

Content without_trigger(Content content);
Content without_indexes(Content content);

std::string text_of(const Content& content);

// A log's file with its journal and the like.
class Image {
 public:
  Image() = default;  // no file
  static Image of(const std::string& path);

  // True if the file has exactly these bytes and nothing is left beside it.
  [[nodiscard]] bool is_at(const std::string& path) const;
  void put_back(const std::string& path) const;

 private:
  bool exists_ = false;
  std::string bytes_;
};

}  // namespace annal::test
