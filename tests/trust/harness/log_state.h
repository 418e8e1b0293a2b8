// A log's file as the instruments look at it: byte for byte, to put it back, and by its content, to compare.
#pragma once

#include <string>
#include <vector>

namespace annal::test {

// The schema and every row. A file that is not there has the content of an empty one.
struct Content {
  std::vector<std::string> schema;
  std::vector<std::string> rows;
  bool operator==(const Content&) const = default;
};

// What a program that opens the file now finds in it. Throws std::runtime_error when the file is not sound.
Content content_of(const std::string& path);

Content without_trigger(Content content);
Content without_indexes(Content content);

std::string text_of(const Content& content);

// A log's file with all that belongs to it.
class Image {
 public:
  Image() = default;  // no file
  static Image of(const std::string& path);

  // True when the file is this one to the byte, with nothing left beside it.
  [[nodiscard]] bool is_at(const std::string& path) const;
  void put_back(const std::string& path) const;

 private:
  bool exists_ = false;
  std::string bytes_;
};

}  // namespace annal::test
