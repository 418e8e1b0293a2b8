// Parses a configuration's text as TOML and makes the kind of sink that it names.
#include "tests/export/made_sink.h"

#include <toml++/toml.h>
#include <cstring>
#include <vector>

#include "tests/export/sample_records.h"
#include "tools/export/registry.h"
#include "tools/export/settings_table.h"

namespace exporter::testing {

MadeSink make_sink(const std::string& configuration) {
  auto document = std::make_shared<const toml::table>(toml::parse(configuration));
  std::vector<Complaint> complaints;
  Settings settings(std::make_shared<const Settings::Table>(Settings::Table{"file", document, document.get()}), "sink",
                    complaints);
  const std::string type = settings.text("type");
  MadeSink made;
  for (const SinkType* const known : sink_types()) {
    if (known->name == type) {
      made.sink = known->make(settings, {.appliance = kAppliance, .host = "appliance1", .version = "2.0.0"});
    }
  }
  settings.end();
  for (const Complaint& complaint : complaints) {
    made.complaints += complaint.key + ": " + complaint.what + "\n";
  }
  return made;
}

}  // namespace exporter::testing
