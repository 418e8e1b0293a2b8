// Standard output as JSON Lines, for scripts.
#include <fmt/format.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <deque>
#include <string>
#include <utility>

#include "tools/annalctl/base/failure.h"
#include "tools/export/sink.h"

namespace exporter::sinks {

namespace {

enum class Acknowledgement {
  kAtExit,  // once the program has written everything and ends
  kInput,   // the reader writes a line to the program's standard input for each line that it is done with
};

// So often a position is saved while a reader acknowledges lines.
constexpr std::chrono::milliseconds kSaveEvery{100};

class Stdout : public Sink {
 public:
  explicit Stdout(Acknowledgement acknowledgement) : acknowledgement_(acknowledgement) {}

  Outcome deliver(const Batch& batch, const Stop& stop) override;
  [[nodiscard]] bool acknowledges_at_close() const override { return acknowledgement_ == Acknowledgement::kAtExit; }
  std::optional<Trouble> close() override;

 private:
  using Clock = std::chrono::steady_clock;

  // The delivery of one batch.
  struct Course {
    const Batch& batch;
    std::size_t formatted = 0;  // so many records are in the text, or were
    std::string text{};         // not yet written
    std::deque<std::string> keys{};
    std::size_t acknowledged = 0;
    std::size_t saved = 0;  // of these
    Clock::time_point saved_at = Clock::now();
    std::optional<Trouble> trouble{};

    [[nodiscard]] bool written() const { return formatted == batch.records.size() && text.empty(); }
  };

  void fill(Course& course) const;
  static void write(Course& course);
  void read(Course& course);
  static void acknowledge(Course& course, const std::string& line);
  static void save(Course& course);
  [[nodiscard]] bool done(const Course& course) const;

  Acknowledgement acknowledgement_;
  std::string input_;  // the beginning of a line
};

Trouble final_trouble(std::string reason) {
  return {.reason = std::move(reason), .wait = {}, .final = true};
}

void Stdout::fill(Course& course) const {
  constexpr std::size_t kEnough = 65536;
  while (course.text.size() < kEnough && course.formatted < course.batch.records.size()) {
    const Record& record = course.batch.records[course.formatted];
    course.text += json_of(course.batch.stream, record) + "\n";
    if (acknowledgement_ == Acknowledgement::kInput) {
      course.keys.push_back(key_of(course.batch.stream, record));
    }
    ++course.formatted;
  }
}

void Stdout::write(Course& course) {
  // A pipe that is ready takes this much without waiting.
  constexpr std::size_t kAtOnce = 4096;
  const ssize_t put = ::write(STDOUT_FILENO, course.text.data(), std::min(course.text.size(), kAtOnce));
  if (put >= 0) {
    course.text.erase(0, static_cast<std::size_t>(put));
  } else if (errno == EPIPE) {
    course.trouble = final_trouble("the reader of standard output has gone");
  } else if (errno != EINTR && errno != EAGAIN) {
    course.trouble = final_trouble(fmt::format("cannot write to standard output: {}", annalctl::system_message(errno)));
  }
}

void Stdout::acknowledge(Course& course, const std::string& line) {
  std::size_t count = 1;
  if (!line.empty()) {
    const auto found = std::find(course.keys.begin(), course.keys.end(), line);
    if (found == course.keys.end()) {
      course.trouble = final_trouble(fmt::format("standard input has '{}', which is no key that waits", line));
      return;
    }
    count = static_cast<std::size_t>(found - course.keys.begin()) + 1;
  }
  if (count > course.keys.size()) {
    course.trouble = final_trouble("standard input has more lines than were written");
    return;
  }
  course.keys.erase(course.keys.begin(), course.keys.begin() + static_cast<std::ptrdiff_t>(count));
  course.acknowledged += count;
}

void Stdout::read(Course& course) {
  std::array<char, 4096> bytes{};
  const ssize_t got = ::read(STDIN_FILENO, bytes.data(), bytes.size());
  if (got == 0 || (got < 0 && errno != EINTR && errno != EAGAIN)) {
    course.trouble = final_trouble("standard input has ended: its lines acknowledge those of the output");
    return;
  }
  input_.append(bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
  for (std::size_t end = input_.find('\n'); end != std::string::npos && !course.trouble; end = input_.find('\n')) {
    const std::string line = input_.substr(0, end);
    input_.erase(0, end + 1);
    acknowledge(course, line);
  }
}

void Stdout::save(Course& course) {
  if (course.saved != course.acknowledged && course.batch.acknowledged_so_far != nullptr &&
      Clock::now() - course.saved_at >= kSaveEvery) {
    (*course.batch.acknowledged_so_far)(course.acknowledged);
    course.saved = course.acknowledged;
    course.saved_at = Clock::now();
  }
}

bool Stdout::done(const Course& course) const {
  return course.trouble || (course.written() && (acknowledgement_ == Acknowledgement::kAtExit ||
                                                 course.acknowledged == course.batch.records.size()));
}

Outcome Stdout::deliver(const Batch& batch, const Stop& stop) {
  Course course{.batch = batch};
  fill(course);
  while (!done(course)) {
    // A negative descriptor is not watched.
    std::array<struct pollfd, 3> watched{
        {{stop.descriptor(), POLLIN, 0},
         {course.text.empty() ? -1 : STDOUT_FILENO, POLLOUT, 0},
         {acknowledgement_ == Acknowledgement::kInput ? STDIN_FILENO : -1, POLLIN, 0}}};
    const int forever = -1;
    const bool owed = course.saved != course.acknowledged;
    if (poll(watched.data(), watched.size(), owed ? static_cast<int>(kSaveEvery.count()) : forever) < 0) {
      continue;
    }
    // What the reader has said already counts, even at the end.
    if (watched[2].revents != 0) {
      read(course);
    }
    if (watched[0].revents != 0) {
      break;
    }
    if (watched[1].revents != 0 && !course.trouble) {
      write(course);
      fill(course);
    }
    save(course);
  }
  if (acknowledgement_ == Acknowledgement::kAtExit && course.written()) {
    course.acknowledged = batch.records.size();
  }
  return {.acknowledged = course.acknowledged, .refused = {}, .trouble = std::move(course.trouble)};
}

std::optional<Trouble> Stdout::close() {
  // A file system may tell only now that the disk is full.
  if (acknowledgement_ == Acknowledgement::kAtExit && fsync(STDOUT_FILENO) != 0 && errno != EINVAL && errno != EROFS &&
      errno != ENOTSUP) {
    return final_trouble(fmt::format("cannot write to standard output: {}", annalctl::system_message(errno)));
  }
  return {};
}

std::unique_ptr<Sink> make(Settings& settings, const SinkContext& /*context*/) {
  const std::string acknowledge = settings.text_or("acknowledge", "exit");
  if (acknowledge != "exit" && acknowledge != "input") {
    settings.complain("acknowledge", "must be 'exit' or 'input'");
    return nullptr;
  }
  return std::make_unique<Stdout>(acknowledge == "exit" ? Acknowledgement::kAtExit : Acknowledgement::kInput);
}

}  // namespace

extern const SinkType kStdoutSink;
const SinkType kStdoutSink{"stdout", "standard output, as JSON Lines", make};

}  // namespace exporter::sinks
