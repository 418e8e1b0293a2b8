// What the program says while it works: one line each on standard error, which the system's journal keeps.
#pragma once

#include <string>

namespace exporter {

// Texts from receivers may be part of the sentence: whatever could steer a terminal is escaped.
void report(const std::string& sentence);

}  // namespace exporter
