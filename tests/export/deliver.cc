// Delivers made-up entries through one sink, for the tests with real servers.
#include <fmt/format.h>

#include <toml++/toml.h>
#include <CLI/CLI.hpp>
#include <chrono>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/export/sample_records.h"
#include "tools/export/registry.h"
#include "tools/export/settings_table.h"
#include "tools/export/sink.h"

namespace {

using exporter::Settings;
using exporter::testing::Sample;

struct Wanted {
  std::string configuration;
  std::string log = "event";
  std::int64_t from = 1;
  std::int64_t count = 1;
  std::int64_t batch = 1000;
  std::int64_t generation = 1;
  std::string date;
  std::vector<std::string> messages;  // from a file, one a line, with \n and the like
  std::string messages_file;
  std::int64_t gap = 0;
  std::int64_t head = 0;
  bool redact = false;
  std::int64_t seconds = 0;  // to try again for, after a trouble
};

// Of the escapes that a line needs for hostile texts.
std::string unescaped(const std::string& line) {
  std::string text;
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (line[i] == '\\' && i + 1 < line.size()) {
      ++i;
      text += line[i] == 'n' ? '\n' : line[i] == 'r' ? '\r' : line[i] == 't' ? '\t' : line[i] == 'e' ? '\x1b' : line[i];
    } else {
      text += line[i];
    }
  }
  return text;
}

void fill(Sample& sample, const Wanted& wanted, std::int64_t first, std::int64_t end) {
  sample.stream.generation = wanted.generation;
  for (std::int64_t id = first; id < end; ++id) {
    const std::string message = wanted.messages.empty()
                                    ? std::string()
                                    : wanted.messages[static_cast<std::size_t>(id) % wanted.messages.size()];
    exporter::Record& record = sample.add(id, message);
    if (!wanted.date.empty()) {
      record.date = wanted.date;
    }
    if (wanted.redact) {
      record.kind = exporter::Kind::kRedaction;
    }
  }
  if (wanted.gap > 0 && end == wanted.from + wanted.count) {
    sample.add_gap(end, wanted.gap);
  }
  if (wanted.head > 0) {
    sample.add_head(wanted.head);
  }
}

std::unique_ptr<exporter::Sink> make_sink(const std::string& file) {
  auto document = std::make_shared<const toml::table>(toml::parse_file(file));
  std::vector<exporter::Complaint> complaints;
  Settings settings(std::make_shared<const Settings::Table>(Settings::Table{file, document, document.get()}), "sink",
                    complaints);
  const std::string type = settings.text("type");
  std::unique_ptr<exporter::Sink> sink;
  for (const exporter::SinkType* const known : exporter::sink_types()) {
    if (known->name == type) {
      sink =
          known->make(settings, {.appliance = exporter::testing::kAppliance, .host = "appliance1", .version = "2.0.0"});
    }
  }
  settings.end();
  for (const exporter::Complaint& complaint : complaints) {
    std::cerr << complaint.text() << '\n';
  }
  return complaints.empty() ? std::move(sink) : nullptr;
}

double since(std::chrono::steady_clock::time_point begin) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

// One line says what became of all.
int deliver(exporter::Sink& sink, const Wanted& wanted) {
  const exporter::Stop stop;
  std::size_t acknowledged = 0;
  std::size_t refused = 0;
  std::string told;
  const auto begin = std::chrono::steady_clock::now();
  std::int64_t next = wanted.from;
  const std::int64_t end = wanted.from + wanted.count;
  while (next < end) {
    const std::int64_t last = std::min(end, next + wanted.batch);
    Sample sample(wanted.log);
    fill(sample, wanted, next, last);
    const exporter::Outcome outcome = sink.deliver(sample.batch(), stop);
    acknowledged += outcome.acknowledged;
    refused += outcome.refused.size();
    for (const exporter::Refused& one : outcome.refused) {
      std::cerr << "refused " << next + static_cast<std::int64_t>(one.index) << ": " << one.reason << '\n';
    }
    next += static_cast<std::int64_t>(outcome.acknowledged);
    if (outcome.trouble) {
      if (std::exchange(told, outcome.trouble->reason) != outcome.trouble->reason) {
        std::cerr << fmt::format("{:.1f} s: trouble: {}\n", since(begin), told);
      }
      if (since(begin) >= static_cast<double>(wanted.seconds) || outcome.trouble->final) {
        break;
      }
      constexpr std::chrono::milliseconds kUsualWait{300};
      stop.wait(outcome.trouble->wait.value_or(kUsualWait));
    }
  }
  fmt::print("acknowledged {} refused {} seconds {:.2f}\n", acknowledged, refused, since(begin));
  return next >= end ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  Wanted wanted;
  CLI::App app("delivers made-up entries through one sink");
  app.add_option("configuration", wanted.configuration);
  app.add_option("--log", wanted.log);
  app.add_option("--from", wanted.from);
  app.add_option("--count", wanted.count);
  app.add_option("--batch", wanted.batch);
  app.add_option("--generation", wanted.generation);
  app.add_option("--date", wanted.date);
  app.add_option("--messages", wanted.messages_file);
  app.add_option("--gap", wanted.gap);
  app.add_option("--head", wanted.head);
  app.add_flag("--redact", wanted.redact);
  app.add_option("--seconds", wanted.seconds);
  CLI11_PARSE(app, argc, argv);
  try {
    std::ifstream lines(wanted.messages_file);
    for (std::string line; std::getline(lines, line);) {
      wanted.messages.push_back(unescaped(line));
    }
    const std::unique_ptr<exporter::Sink> sink = make_sink(wanted.configuration);
    return sink == nullptr ? 2 : deliver(*sink, wanted);
  } catch (const std::exception& failure) {
    std::cerr << "deliver: " << failure.what() << '\n';
    return 2;
  }
}
