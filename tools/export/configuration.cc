// Loads the file's top level, logs and sinks, and collects all complaints instead of stopping at the first.
#include "tools/export/configuration.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "tools/export/registry.h"
#include "tools/export/settings_table.h"
#include "tools/export/small_file.h"

namespace exporter {

namespace {

constexpr std::size_t kUsualBatch = 1000;
constexpr std::size_t kGreatestBatch = 10000;

// A sink's name is part of file names.
bool is_name(std::string_view text) {
  constexpr std::size_t kLongest = 64;
  return !text.empty() && text.size() <= kLongest && std::all_of(text.begin(), text.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
  });
}

std::string host_name() {
  std::array<char, 256> name{};
  return gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "localhost";
}

class Loading {
 public:
  explicit Loading(const std::string& file) { configuration_.file = file; }

  Configuration load(const std::string& only) {
    document_ = parse_file(configuration_.file, configuration_.complaints);
    if (document_) {
      Settings top = settings("", *document_);
      load_top(top);
      load_proof(top);
      load_logs(top);
      load_sinks(top, only);
      top.end();
    }
    return std::move(configuration_);
  }

 private:
  using TablePointer = std::shared_ptr<const Settings::Table>;

  Settings settings(const std::string& name, const toml::table& table) {
    return {std::make_shared<const Settings::Table>(Settings::Table{configuration_.file, document_, &table}), name,
            configuration_.complaints};
  }

  void load_top(Settings& top) {
    // The service's first start creates this one.
    constexpr char kUsualFolder[] = "/var/lib/annal-export";
    configuration_.state_folder = top.text_or("state", kUsualFolder);
    struct stat status {};
    if (!configuration_.state_folder.starts_with('/')) {
      top.complain("state", "must be a whole path, with a '/' in front");
    } else if (stat(configuration_.state_folder.c_str(), &status) != 0) {
      const int error = errno;
      if (error != ENOENT || configuration_.state_folder != kUsualFolder) {
        top.complain("state",
                     fmt::format("{}: {}", configuration_.state_folder, std::generic_category().message(error)));
      }
    } else if (!S_ISDIR(status.st_mode)) {
      top.complain("state", fmt::format("{} is no folder", configuration_.state_folder));
    }
    constexpr std::int64_t kUsual = 250;
    constexpr std::int64_t kLongest = 3'600'000;
    configuration_.interval =
        std::chrono::milliseconds(top.number("interval", kUsual, {.least = 10, .most = kLongest}));
    load_appliance(top, top.text_or("machine_id", "/etc/machine-id"));
  }

  void load_appliance(Settings& top, const std::string& file) {
    std::optional<std::string> content;
    try {
      content = content_of(file);
    } catch (const std::system_error& failure) {
      top.complain("machine_id", fmt::format("cannot read {}: {}", file, failure.code().message()));
      return;
    }
    const std::string id = content.value_or("").substr(0, content.value_or("").find('\n'));
    constexpr std::size_t kDigits = 32;
    const bool is_id = id.size() == kDigits && id.find_first_not_of("0123456789abcdef") == std::string::npos;
    if (!content) {
      top.complain("machine_id", fmt::format("there is no file {}", file));
    } else if (!is_id) {
      top.complain("machine_id", fmt::format("{} has no machine-id, which is 32 hexadecimal digits", file));
    }
    configuration_.appliance = id;
  }

  void load_proof(Settings& top) {
    Settings proof = top.table("proof");
    constexpr std::int64_t kDay = 86400;
    configuration_.seal_every = std::chrono::seconds(proof.number("seal_every", 0, {.least = 0, .most = kDay}));
    configuration_.seal_key = proof.text_or("key_file", annalctl::proof::usual_key_file());
    if (!configuration_.seal_key.starts_with('/')) {
      proof.complain("key_file", "must be a whole path, with a '/' in front");
    }
    proof.end();
  }

  // A log is at its own place, at another one, or left out: true, "/path", false.
  void load_logs(Settings& top) {
    static const toml::table none;
    const toml::node* const node = document_->get("logs");
    top.expect("logs");
    if (node != nullptr && !node->is_table()) {
      top.complain("logs", "must be a table: [logs]");
      return;
    }
    const toml::table& table = node != nullptr ? *node->as_table() : none;
    Settings logs = settings("logs", table);
    for (const LogShape& shape : log_shapes()) {
      const std::string name = shape.log.name;
      const toml::node* const choice = table.get(name);
      logs.expect(name);
      // The file operations have no place of their own.
      const bool has_place = shape.has_place();
      std::string path = has_place ? shape.log.path : "";
      if (choice != nullptr && choice->is_boolean()) {
        const bool wanted = choice->as_boolean()->get();
        if (wanted && !has_place) {
          logs.complain(name, "has no usual place: give the path of its file");
        }
        path = wanted ? path : "";
      } else if (choice != nullptr) {
        path = choice->value_exact<std::string>().value_or("");
        if (!path.starts_with('/')) {
          logs.complain(name, "must be true, false or a whole path in quotes");
        }
      }
      if (!path.empty()) {
        configuration_.logs.push_back({&shape, path});
      }
    }
    logs.end();
    if (configuration_.logs.empty()) {
      top.complain("logs", "leaves no log to send");
    }
  }

  void load_sinks(Settings& top, const std::string& only) {
    const toml::node* const node = document_->get("sink");
    top.expect("sink");
    if (node == nullptr || !node->is_table() || node->as_table()->empty()) {
      top.complain("sink", "there must be a sink: a table such as [sink.central]");
      return;
    }
    bool found = only.empty();
    for (const auto& [key, value] : *node->as_table()) {
      const std::string name(key.str());
      const std::string place = "sink." + name;
      if (!value.is_table()) {
        top.complain("sink", fmt::format("'{}' must be a table: [{}]", name, place));
        continue;
      }
      Settings sink = settings(place, *value.as_table());
      if (!is_name(name)) {
        sink.complain("", "a sink's name has letters, digits, '-' and '_' only");
      }
      if (only.empty() || only == name) {
        found = true;
        load_sink(sink, name);
      }
    }
    if (!found) {
      top.complain("sink", fmt::format("there is no sink '{}'", only));
    }
  }

  void load_sink(Settings& sink, const std::string& name) {
    const std::string type = sink.text("type");
    ConfiguredSink configured{.name = name};
    std::string known;
    for (const SinkType* const one : sink_types()) {
      configured.type = one->name == type ? one : configured.type;
      known += fmt::format("{}'{}'", known.empty() ? "" : ", ", one->name);
    }
    configured.batch =
        static_cast<std::size_t>(sink.number("batch", kUsualBatch, {.least = 1, .most = kGreatestBatch}));
    configured.logs = sink.texts("logs");
    for (const std::string& log : configured.logs) {
      if (std::none_of(configuration_.logs.begin(), configuration_.logs.end(),
                       [&log](const SourceLog& one) { return one.name() == log; })) {
        sink.complain("logs", fmt::format("'{}' is no log that [logs] has", log));
      }
    }
    if (configured.type == nullptr) {
      if (!type.empty()) {
        sink.complain("type", fmt::format("'{}' is no kind of sink that this build has: {}", type, known));
      }
      return;
    }
    if (std::string_view(configured.type->name) == "stdout" &&
        std::any_of(configuration_.sinks.begin(), configuration_.sinks.end(),
                    [&configured](const ConfiguredSink& other) { return other.type == configured.type; })) {
      sink.complain("type", "another sink writes to standard output already");
    }
    configured.sink = configured.type->make(
        sink, {.appliance = configuration_.appliance, .host = host_name(), .version = ANNAL_VERSION_TEXT});
    sink.end();
    configuration_.sinks.push_back(std::move(configured));
  }

  Configuration configuration_{};
  std::shared_ptr<const toml::table> document_;
};

}  // namespace

Configuration load_configuration(const std::string& file, const std::string& only) {
  return Loading(file).load(only);
}

}  // namespace exporter
