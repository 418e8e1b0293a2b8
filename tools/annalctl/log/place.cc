// Leads logs to other files, and decides whether they may be changed there.
#include "tools/annalctl/log/place.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <deque>
#include <filesystem>
#include <map>
#include <utility>

#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/folder.h"
#include "tools/annalctl/files/log_system.h"
#include "tools/annalctl/files/rights.h"

namespace annalctl {

namespace {

namespace fs = std::filesystem;

struct Verb {
  const char* name;
  Intent intent;
};

constexpr std::array kVerbs{
    Verb{"list", Intent::kReading},     Verb{"show", Intent::kReading},    Verb{"tail", Intent::kReading},
    Verb{"count", Intent::kReading},    Verb{"group", Intent::kReading},   Verb{"check", Intent::kReading},
    Verb{"info", Intent::kReading},     Verb{"verify", Intent::kReading},  Verb{"seal", Intent::kChanging},
    Verb{"redact", Intent::kChanging},  Verb{"create", Intent::kChanging}, Verb{"delete", Intent::kDeleting},
    Verb{"trim", Intent::kDeleting},    Verb{"age", Intent::kDeleting},    Verb{"flush", Intent::kDeleting},
    Verb{"limit", Intent::kChanging},   Verb{"keep", Intent::kDeleting},   Verb{"compact", Intent::kChanging},
    Verb{"salvage", Intent::kChanging},
};

// Texts to which a log keeps pointers.
const char* kept(const std::string& text) {
  static std::deque<std::string> texts;
  return texts.emplace_back(text).c_str();
}

bool has_a_place(const Log& log) {
  return *log.path != '\0';
}

using Prepare = void (*)(const Log& log);
Prepare& preparation() {
  static Prepare prepare = nullptr;
  return prepare;
}

std::function<void()>& work_when_settled() {
  static std::function<void()> work;
  return work;
}

// The logs' own places, and their commands' options there.
struct OwnPlace {
  const char* path;
  const char* options;
};
std::map<Log*, OwnPlace>& own_places() {
  static std::map<Log*, OwnPlace> places;
  return places;
}

void put(Log& log, const fs::path& file) {
  own_places().try_emplace(&log, OwnPlace{log.path, log.options});
  const std::string path = whole_path(file.string());
  if (has_a_place(log)) {
    log.options = kept(fmt::format(" --db '{}'", path));
    lead_log(log.path, path);
  }
  log.path = kept(path);
}

}  // namespace

Intent intent_of(const std::string& verb) {
  const auto* const known =
      std::find_if(kVerbs.begin(), kVerbs.end(), [&verb](const Verb& one) { return verb == one.name; });
  return known == kVerbs.end() ? Intent::kAdding : known->intent;
}

void before_deleting(void (*prepare)(const Log& log)) {
  preparation() = prepare;
}

void prepare_for(const Log& log, Intent intent) {
  if (intent == Intent::kDeleting && preparation() != nullptr) {
    preparation()(log);
  }
  if (const auto work = std::exchange(work_when_settled(), nullptr)) {
    work();
  }
}

void when_settled(std::function<void()> work) {
  work_when_settled() = std::move(work);
}

void settle(Log& log, const std::string& file, const Place& place, Intent intent) {
  const bool own_place = has_a_place(log);
  const bool elsewhere = !place.folder.empty() || (own_place && !file.empty());
  if (!file.empty()) {
    put(log, fs::path(place.folder) / file);
  } else if (elsewhere && own_place) {
    put(log, fs::path(place.folder) / fs::path(log.path).filename());
  }
  if (!elsewhere) {
    return prepare_for(log, intent);
  }
  if (own_place && intent == Intent::kAdding) {
    throw Refusal(fmt::format("{} is elsewhere, and the library does this only at the log's own place", log.path));
  }
  if (!place.write) {
    if (intent != Intent::kReading) {
      throw Refusal(fmt::format("{} is elsewhere, and so opened read-only: use --write to change it", log.path));
    }
    read_logs_only();
  }
  prepare_for(log, intent);
}

void forget_places() {
  for (const auto& [log, place] : own_places()) {
    log->path = place.path;
    log->options = place.options;
  }
  own_places().clear();
}

void take_rights_where_it_is(const Log& log) {
  // A file opened read-only is safe with any rights: no journal is rolled back.
  if (!logs_are_read_only()) {
    take_rights_for(log);
  }
}

}  // namespace annalctl
