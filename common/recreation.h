// Starting a log over.
#pragma once

namespace annal {

// Deletes a log's file, and leaves an empty one with the same mode, owner and group in its place, for its table to be
// created in: nobody may read more than before, and whoever could use the log still can. Where the owner or group
// cannot be kept, nobody gets more than they had. Failures are silent: what opens the log next creates what is missing.
void start_file_over(const char* path) noexcept;

}  // namespace annal
