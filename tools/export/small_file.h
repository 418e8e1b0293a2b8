// Small files that are replaced as a whole: after a crash a file has its old content or its new one.
#pragma once

#include <optional>
#include <string>
#include <system_error>

namespace exporter {

enum class Durable {
  kYes,  // survives a power cut
  kNo,   // only the end of the process
};

// Throws std::system_error, and then the old content is there.
void replace_file(const std::string& path, const std::string& content, Durable durable);

// Appends a line, on the disk when it returns. Throws std::system_error.
void append_line(const std::string& path, const std::string& line);

// Nothing if there is no such file. Throws std::system_error for any other failure.
[[nodiscard]] std::optional<std::string> content_of(const std::string& path);

}  // namespace exporter
