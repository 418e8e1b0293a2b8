// Starting a log over.
#pragma once

namespace annal {

// Replaces a log's file by an empty one with the same mode, owner, group and access list, for its table to be created
// in. Where owner, group or list cannot be kept, nobody gets more rights than before. Only deletes the file where it
// cannot be replaced. Failures are silent: what opens the log next creates what is missing.
void replace_with_empty_file(const char* path) noexcept;

}  // namespace annal
