// Replaces a log's file by an empty one.
#pragma once

namespace annal {

// The caller then creates the table in the empty file, which has the old one's mode, owner, group and access list. If
// it cannot keep the owner, group or list, it never grants more rights than before. If it cannot replace the file, it
// only deletes it. Failures are silent: the next program that opens the log creates what is missing.
void replace_with_empty_file(const char* path) noexcept;

}  // namespace annal
