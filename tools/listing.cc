#include "tools/listing.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <optional>
#include <string>
#include <vector>

#include "tools/failure.h"
#include "tools/result.h"

namespace annalctl {

namespace {

// Carries rows across the library, which no exception may pass.
struct Delivery {
  const std::function<void(Row)>& take;
  std::exception_ptr failure;
};

int deliver(void* context, int columns, char** values, char** /*names*/) {
  auto& delivery = *static_cast<Delivery*>(context);
  try {
    delivery.take({values, static_cast<std::size_t>(columns)});
  } catch (...) {
    delivery.failure = std::current_exception();
  }
  return delivery.failure ? 1 : 0;
}

int run(const Listing& listing, Page::Range range, const std::function<void(Row)>& take) {
  Delivery delivery{take, nullptr};
  const int code = listing.query(deliver, &delivery, range);
  if (delivery.failure) {
    std::rethrow_exception(delivery.failure);
  }
  return code;
}

// Passes on the rows of a page, and says when the tool's own limit has left some out.
class PageWriter {
 public:
  PageWriter(const Listing& listing, const Page& page, Program& program)
      : page_(page), sink_(make_sink(program.format(), listing.shape, program.terminal, program.output)) {}

  void row(Row values) {
    if (page_.bounded() && written_ == page_.limit) {
      more_ = true;
      return;
    }
    sink_->row(values);
    ++written_;
  }

  void finish(Program& program) {
    sink_->finish();
    program.output.finish();
    if (more_ && !page_.limit_given) {
      complain(fmt::format("these are {} rows, and there are more: see --all, --limit and --offset", written_));
    }
  }

 private:
  const Page& page_;
  std::unique_ptr<RowSink> sink_;
  int written_ = 0;
  bool more_ = false;
};

class KeptRow {
 public:
  explicit KeptRow(Row values) {
    for (const char* value : values) {
      values_.push_back(value == nullptr ? std::nullopt : std::optional<std::string>(value));
    }
    if (!values_.empty() && values_.back()) {
      size_ = std::strtoll(values_.back()->c_str(), nullptr, 10);
    }
  }

  [[nodiscard]] long long size() const { return size_; }

  [[nodiscard]] std::vector<const char*> values() const {
    std::vector<const char*> pointers;
    pointers.reserve(values_.size());
    for (const auto& value : values_) {
      pointers.push_back(value ? value->c_str() : nullptr);
    }
    return pointers;
  }

 private:
  std::vector<std::optional<std::string>> values_;
  long long size_ = 0;
};

}  // namespace

int show_page(const Listing& listing, const Page& page, Program& program) {
  if (!log_is_there(listing.call.log)) {
    return kFailure;
  }
  PageWriter writer(listing, page, program);
  const int code = run(listing, page.range(), [&writer](Row values) { writer.row(values); });
  if (code == ANNAL_OK) {
    writer.finish(program);
  }
  return report(listing.call, code);
}

int show_largest(const Listing& listing, const Page& page, Program& program) {
  if (!log_is_there(listing.call.log)) {
    return kFailure;
  }
  std::vector<KeptRow> rows;
  const int code = run(listing, {0, 0}, [&rows](Row values) { rows.emplace_back(values); });
  if (code != ANNAL_OK) {
    return report(listing.call, code);
  }
  std::stable_sort(rows.begin(), rows.end(),
                   [](const KeptRow& left, const KeptRow& right) { return left.size() > right.size(); });
  PageWriter writer(listing, page, program);
  for (std::size_t i = static_cast<std::size_t>(page.offset); i < rows.size(); ++i) {
    writer.row(rows[i].values());
  }
  writer.finish(program);
  return kSuccess;
}

}  // namespace annalctl
