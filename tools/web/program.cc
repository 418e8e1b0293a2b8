// Sets the limits, routes the request to a page, file or download, and turns failures into answers.
#include "tools/web/program.h"

#include <fmt/format.h>

#include <csignal>
#include <cstdlib>
#include <functional>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/sqlite.h"
#include "tools/annalctl/base/terminal.h"
#include "tools/annalctl/files/file_state.h"
#include "tools/annalctl/files/log_system.h"
#include "tools/web/budget.h"
#include "tools/web/download.h"
#include "tools/web/limits.h"
#include "tools/web/lines.h"
#include "tools/web/page.h"
#include "tools/web/pass.h"
#include "tools/web/reading_turn.h"
#include "tools/web/request.h"
#include "tools/web/response.h"
#include "tools/web/selection.h"
#include "tools/web/static_file.h"

namespace annal_web {

namespace {

constexpr int kNotFound = 404;
constexpr int kUnavailable = 503;

constexpr std::chrono::milliseconds kLongestWait{3000};

// So many entries a line of folded repeats are looked at, at most.
constexpr std::size_t kEntriesToFold = 20;

// Changes with every change of the logs. Before they are opened: looking would give up the locks on them.
std::string state_of_logs(const Selection& selection) {
  std::string text;
  for (const Part* part : selection.parts) {
    const annalctl::FileState state = annalctl::state_of(part->log->path);
    text += fmt::format("{}-{}-{}-{}-{}-{};", state.identity.inode, state.identity.schema, state.changes,
                        fmt::join(state.file, "-"), fmt::join(state.journal, "-"), fmt::join(state.write_ahead, "-"));
  }
  return fmt::format("\"{:016x}\"", std::hash<std::string>()(text));
}

// Nothing is locked while a page is put together and written.
void close(std::vector<OpenLog>& logs) {
  for (OpenLog& log : logs) {
    log.was_read = log.readable();
    log.reader.reset();
  }
}

int status_of(const Selection& selection, const std::vector<OpenLog>& logs) {
  constexpr int kOk = 200;
  const OpenLog& first = logs.front();
  return !selection.alone() || first.obstacle.empty() ? kOk : first.missing ? kNotFound : kUnavailable;
}

Response answer_list(const Request& request, const Selection& selection) {
  ReadingTurn turn(kLongestWait);
  const Budget budget = Budget::of_pass(turn.waiting());
  std::vector<OpenLog> logs = open_logs(selection);
  const Pass pass =
      pass_through(selection, logs, selection.fold ? selection.rows * kEntriesToFold : selection.rows, budget);
  std::vector<Line> lines = read_lines(logs, pass.places);
  close(logs);
  turn.end();
  List list{.request = request, .selection = selection, .logs = logs, .pass = pass, .lines = lines};
  list.more = pass.more;
  if (!pass.places.empty()) {
    list.begin = pass.places.front();
    list.end = pass.places.back();
  }
  list.first = !selection.after && !selection.before;
  if (selection.before) {
    // The page that was left is behind this one.
    list.first = !pass.more;
    list.more = true;
  }
  if (selection.fold && selection.before && keep_last(lines, selection.rows)) {
    list.begin = lines.front().place;
    list.first = false;
  }
  if (selection.fold) {
    Folding folding = fold(std::move(lines), selection.rows);
    lines = std::move(folding.lines);
    list.end = folding.whole ? list.end : folding.last;
    list.more = list.more || !folding.whole;
  }
  return {.status = status_of(selection, logs), .body = list_page(list)};
}

Response answer_entry(const Request& request, const Selection& selection) {
  ReadingTurn turn(kLongestWait);
  std::vector<OpenLog> logs = open_logs(selection);
  const EntryName name = *selection.entry;
  // Its log is one of the selection's, unless somebody has written the address.
  for (OpenLog& log : logs) {
    if (log.part != name.part) {
      continue;
    }
    const std::optional<Entry> entry = read_entry(log, name.id);
    if (!entry) {
      break;
    }
    const std::vector<Place> places = neighbours(log, name.id);
    const std::vector<Place> meeting = selected(log, places);
    const std::vector<Line> lines = read_lines(logs, places);
    close(logs);
    turn.end();
    return {.body = entry_page({request, selection, logs, *entry, lines, meeting})};
  }
  for (const OpenLog& log : logs) {
    if (log.part == name.part && !log.readable()) {
      return refusal_page(request.script, log.missing ? kNotFound : kUnavailable, sentence_about(log));
    }
  }
  return refusal_page(request.script, kNotFound,
                      fmt::format("There is no entry {} in this log: it may have been deleted.", name.id));
}

void answer_page(const Request& request) {
  const Selection selection = read_selection(request.parameters);
  const std::string state = state_of_logs(selection);
  if (selection.follow && request.if_none_match == state) {
    constexpr int kNotModified = 304;
    send({.status = kNotModified, .more_headers = "ETag: " + state + "\r\n"}, request.head);
    return;
  }
  Response response = selection.entry ? answer_entry(request, selection) : answer_list(request, selection);
  if (selection.follow) {
    response.more_headers = "ETag: " + state + "\r\n";
  }
  send(response, request.head);
}

void answer(const Request& request) {
  constexpr std::string_view kStatic = "/static/";
  constexpr std::string_view kDownload = "/download/";
  if (request.path.empty() || request.path == "/") {
    answer_page(request);
  } else if (request.path.starts_with(kStatic)) {
    send(static_file(request.path.substr(kStatic.size())), request.head);
  } else if (const DownloadForm* const form =
                 request.path.starts_with(kDownload) ? download_form(request.path.substr(kDownload.size())) : nullptr) {
    limit_time(kDownloadLimits);
    const Selection selection = read_selection(request.parameters);
    std::vector<OpenLog> logs = open_logs(selection);
    send_download(*form, selection, logs, request.head);
  } else {
    throw Refused(kNotFound, "There is no such page.");
  }
}

void refuse(const Request& request, int status, const std::string& sentence) {
  constexpr int kMethodNotAllowed = 405;
  Response response = refusal_page(request.script, status, sentence);
  if (status == kMethodNotAllowed) {
    response.more_headers = "Allow: GET, HEAD\r\n";
  }
  send(response, request.head);
}

void prepare() {
  annalctl::open_missing_standard_descriptors();
  limit_memory_and_files();
  limit_time(kPageLimits);
  static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
  annalctl::remember_failures();
  annalctl::install_log_system();
  annalctl::read_logs_only();
  const char* const file = std::getenv("ANNAL_WEB_FILEOP");  // NOLINT(concurrency-mt-unsafe)
  use_file_operations(file == nullptr ? "" : file);
}

}  // namespace

int answer_request() {
  Request request;
  try {
    prepare();
    request = read_request();
    answer(request);
    return annalctl::kSuccess;
  } catch (const Refused& refused) {
    refuse(request, refused.status(), refused.what());
    return annalctl::kSuccess;
  } catch (const annalctl::WriteFailure&) {
    // Whoever asked has gone away.
  } catch (const std::bad_alloc&) {
    refuse(request, kUnavailable, "This took more memory than a request may have.");
  }
  return annalctl::kFailure;
}

}  // namespace annal_web
