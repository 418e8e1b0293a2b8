// Writes to standard output, and reports failures as exceptions.
#include "tools/annalctl/output/rows.h"

#include <cerrno>
#include <utility>

#include "tools/annalctl/base/failure.h"

namespace annalctl {

void Output::write(std::string_view text) {
  if (pager_) {
    pager_->write(text);
  } else if (std::fwrite(text.data(), 1, text.size(), stream_) != text.size()) {
    throw WriteFailure(errno);
  }
}

void Output::finish() {
  if (std::fflush(stream_) != 0) {
    throw WriteFailure(errno);
  }
}

void Output::end_page() {
  if (const std::unique_ptr<Pager> pager = std::exchange(pager_, nullptr)) {
    write(pager->take_kept());
    finish();
    pager->end();
  }
}

std::optional<std::string> timestamp_of(const EntryView& entry, Row values, Zone zone) {
  const std::optional<std::int64_t> moment = entry.moment(values);
  return moment ? iso_text(*moment, zone) : std::nullopt;
}

}  // namespace annalctl
