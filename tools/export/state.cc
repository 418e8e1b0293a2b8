// Stores a state as a line of JSON and its digest, and refuses one that is damaged or belongs elsewhere.
#include "tools/export/state.h"

#include <fmt/format.h>

#include <ctime>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string_view>
#include <utility>

#include "tools/annalctl/base/failure.h"
#include "tools/export/digest.h"
#include "tools/export/small_file.h"

namespace exporter {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::string_view kFormat = "annal-export state 1";
constexpr std::string_view kSuffix = ".state";

// Two lines: the state, and the digest of that line.
std::string text_of(const State& state) {
  Json anchors = Json::array();
  for (const Anchor& anchor : state.anchors) {
    anchors.push_back({{"id", anchor.id}, {"digest", anchor.digest}});
  }
  const Json json = {
      {"format", kFormat},
      {"appliance", state.appliance},
      {"sink", state.sink},
      {"log", state.log},
      {"generation", state.generation},
      {"position", state.position},
      {"highest", state.highest},
      {"file", {{"inode", state.file.inode}, {"born", state.file.born}}},
      {"anchors", std::move(anchors)},
      {"seal", {{"chain", state.seal.chain}, {"position", state.seal.position}, {"head", state.seal.head}}},
      {"sent", state.sent},
      {"missing", state.missing},
      {"refused", state.refused},
      {"saved", state.saved}};
  const std::string line = json.dump();
  return line + "\n" + digest_of(line) + "\n";
}

// Throws Json::exception for a text that says something else.
State state_of(std::string_view line) {
  const Json json = Json::parse(line);
  State state{.appliance = json.at("appliance").get<std::string>(),
              .sink = json.at("sink").get<std::string>(),
              .log = json.at("log").get<std::string>(),
              .generation = json.at("generation").get<std::int64_t>(),
              .position = json.at("position").get<std::int64_t>(),
              .highest = json.at("highest").get<std::int64_t>()};
  const Json& file = json.at("file");
  state.file = {.inode = file.at("inode").get<std::uint64_t>(), .born = file.at("born").get<std::int64_t>()};
  for (const Json& anchor : json.at("anchors")) {
    state.anchors.push_back({anchor.at("id").get<std::int64_t>(), anchor.at("digest").get<std::string>()});
  }
  if (const auto seal = json.find("seal"); seal != json.end()) {
    state.seal = {.chain = seal->at("chain").get<std::string>(),
                  .position = seal->at("position").get<std::uint64_t>(),
                  .head = seal->at("head").get<std::uint64_t>()};
  }
  state.sent = json.at("sent").get<std::int64_t>();
  state.missing = json.at("missing").get<std::int64_t>();
  state.refused = json.at("refused").get<std::int64_t>();
  state.saved = json.at("saved").get<std::int64_t>();
  return state;
}

constexpr std::string_view kRemedy =
    "move it away to send the log again from its first entry on; receivers know repeated entries by their keys";

// Throws StateFailure.
std::optional<State> read_state(const std::string& path) {
  std::optional<std::string> content;
  try {
    content = content_of(path);
  } catch (const std::system_error& failure) {
    throw StateFailure(fmt::format("cannot read the state {}: {}", path, failure.code().message()));
  }
  if (!content) {
    return {};
  }
  const std::size_t end = content->find('\n');
  const std::string_view line = std::string_view(*content).substr(0, end);
  if (end == std::string::npos || content->substr(end + 1) != digest_of(line) + "\n") {
    throw StateFailure(fmt::format("the state {} is damaged: its checksum does not match ({})", path, kRemedy));
  }
  try {
    return state_of(line);
  } catch (const Json::exception&) {
    throw StateFailure(fmt::format("the state {} is no state of this release ({})", path, kRemedy));
  }
}

}  // namespace

void State::add_anchor(Anchor anchor) {
  constexpr std::size_t kMost = 8;
  if (!anchors.empty() && anchors.back().id == anchor.id) {
    anchors.pop_back();
  }
  anchors.push_back(std::move(anchor));
  if (anchors.size() > kMost) {
    anchors.erase(anchors.begin());
  }
}

std::string state_path(const std::string& folder, const std::string& sink, const std::string& log) {
  return fmt::format("{}/{}.{}{}", folder, sink, log, kSuffix);
}

std::optional<State> load_state(const std::string& folder, const std::string& appliance, const std::string& sink,
                                const std::string& log) {
  const std::string path = state_path(folder, sink, log);
  std::optional<State> state = read_state(path);
  if (!state) {
    return {};
  }
  if (state->appliance != appliance) {
    throw StateFailure(fmt::format("the state {} is of the appliance {}, and this is {} ({})", path, state->appliance,
                                   appliance, kRemedy));
  }
  if (state->sink != sink || state->log != log) {
    throw StateFailure(
        fmt::format("the state {} is of the sink {} and the log {} ({})", path, state->sink, state->log, kRemedy));
  }
  return state;
}

void save_state(const std::string& folder, State& state) {
  const std::string path = state_path(folder, state.sink, state.log);
  state.saved = std::time(nullptr);
  try {
    replace_file(path, text_of(state), Durable::kYes);
  } catch (const std::system_error& failure) {
    throw StateFailure(fmt::format("cannot write the state {}: {} (nothing more is sent until this works)", path,
                                   failure.code().message()));
  }
}

std::vector<State> states_of_others(const std::string& folder, const State& own) {
  std::vector<State> others;
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator(folder, ignored)) {
    if (!entry.path().filename().string().ends_with(fmt::format(".{}{}", own.log, kSuffix))) {
      continue;
    }
    try {
      std::optional<State> state = read_state(entry.path().string());
      if (state && state->appliance == own.appliance && state->log == own.log && state->sink != own.sink) {
        others.push_back(std::move(*state));
      }
    } catch (const StateFailure&) {
      continue;  // the sink whose state it is complains
    }
  }
  return others;
}

}  // namespace exporter
