// The configuration: one file in TOML.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "tools/export/sealing.h"
#include "tools/export/settings.h"
#include "tools/export/sink.h"
#include "tools/export/source_log.h"

namespace exporter {

struct ConfiguredSink {
  std::string name;
  const SinkType* type = nullptr;
  std::unique_ptr<Sink> sink{};
  std::vector<std::string> logs{};  // their names; empty: all
  std::size_t batch = 0;            // so many records at once
};

struct Configuration {
  std::string file;
  std::string state_folder;
  std::string appliance;  // the machine-id
  std::chrono::milliseconds interval{0};
  std::vector<SourceLog> logs;
  std::vector<ConfiguredSink> sinks;
  std::chrono::seconds seal_every{0};  // 0: another program seals the logs
  std::string seal_key;                // the file of the key
  std::unique_ptr<Sealing> sealing;    // made by whoever uses it, before rights are given up
  std::vector<Complaint> complaints;   // with any, the rest is not to be used
};

// only: the name of the one sink that is wanted, or empty for all.
[[nodiscard]] Configuration load_configuration(const std::string& file, const std::string& only);

inline constexpr char kDefaultConfiguration[] = "/etc/annal-export.toml";

}  // namespace exporter
