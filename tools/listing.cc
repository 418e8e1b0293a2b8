#include "tools/listing.h"

#include <fmt/format.h>

#include <algorithm>
#include <exception>
#include <vector>

#include "tools/failure.h"
#include "tools/kept_row.h"
#include "tools/result.h"

namespace annalctl {

namespace {

// Carries rows across the library, which no exception may pass.
struct Delivery {
  const TakeRow& take;
  bool stopped = false;
  std::exception_ptr failure;
};

int deliver(void* context, int columns, char** values, char** /*names*/) {
  auto& delivery = *static_cast<Delivery*>(context);
  try {
    delivery.stopped = !delivery.take({values, static_cast<std::size_t>(columns)});
  } catch (...) {
    delivery.failure = std::current_exception();
  }
  return delivery.stopped || delivery.failure ? 1 : 0;
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

// A group with its size.
struct Group {
  explicit Group(Row values) : row(values), size(values.empty() ? 0 : number_in(values, values.size() - 1)) {}

  KeptRow row;
  long long size;
};

}  // namespace

int ask(const Query& query, Page::Range range, const TakeRow& take) {
  Delivery delivery{take, false, nullptr};
  const int code = query(deliver, &delivery, range);
  if (delivery.failure) {
    std::rethrow_exception(delivery.failure);
  }
  return delivery.stopped ? static_cast<int>(ANNAL_OK) : code;
}

int show_page(const Listing& listing, const Page& page, Program& program) {
  if (!log_is_there(listing.call.log)) {
    return kFailure;
  }
  PageWriter writer(listing, page, program);
  const int code = ask(listing.query, page.range(), [&writer](Row values) {
    writer.row(values);
    return true;
  });
  if (code == ANNAL_OK) {
    writer.finish(program);
  }
  return report(listing.call, code);
}

int show_largest(const Listing& listing, const Page& page, Program& program) {
  if (!log_is_there(listing.call.log)) {
    return kFailure;
  }
  std::vector<Group> rows;
  const int code = ask(listing.query, {0, 0}, [&rows](Row values) {
    rows.emplace_back(values);
    return true;
  });
  if (code != ANNAL_OK) {
    return report(listing.call, code);
  }
  std::stable_sort(rows.begin(), rows.end(),
                   [](const Group& left, const Group& right) { return left.size > right.size; });
  PageWriter writer(listing, page, program);
  for (std::size_t i = static_cast<std::size_t>(page.offset); i < rows.size(); ++i) {
    writer.row(rows[i].row.values());
  }
  writer.finish(program);
  return kSuccess;
}

}  // namespace annalctl
