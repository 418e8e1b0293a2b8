// Reads typed values and secrets from a table, and reports wrong or unknown ones with file, line and key.
#include "tools/export/settings_table.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <utility>

#include "tools/annalctl/base/failure.h"
#include "tools/export/small_file.h"

namespace exporter {

namespace {

std::optional<std::string> first_line_of(const std::string& file) {
  try {
    std::optional<std::string> text = content_of(file);
    return text ? std::optional(text->substr(0, text->find('\n'))) : std::nullopt;
  } catch (const std::system_error&) {
    return {};
  }
}

}  // namespace

std::string Complaint::text() const {
  std::string text = file;
  if (line != 0) {
    text += fmt::format(":{}", line);
  }
  text += ": ";
  if (!key.empty()) {
    text += key + ": ";
  }
  return text + what;
}

Settings::Settings(std::shared_ptr<const Table> table, std::string name, std::vector<Complaint>& complaints)
    : table_(std::move(table)), name_(std::move(name)), complaints_(complaints) {}

void Settings::complain(const std::string& key, const std::string& what) {
  const toml::node* const node = table_->table->get(key);
  const toml::source_region& place = node != nullptr ? node->source() : table_->table->source();
  const std::string prefix = name_.empty() || key.empty() ? name_ : name_ + ".";
  complaints_.push_back({table_->file, place.begin.line, prefix + key, what});
  complained_ = true;
}

bool Settings::has(const std::string& key) const {
  return table_->table->contains(key);
}

std::string Settings::text(const std::string& key) {
  std::string value = text_or(key, "");
  if (value.empty() && !(has(key) && table_->table->get(key)->value_exact<std::string>() == std::nullopt)) {
    complain(key, has(key) ? "must not be empty" : "is missing");
  }
  return value;
}

std::string Settings::text_or(const std::string& key, const std::string& otherwise) {
  known_.push_back(key);
  const toml::node* const node = table_->table->get(key);
  if (node == nullptr) {
    return otherwise;
  }
  const std::optional<std::string> value = node->value_exact<std::string>();
  if (!value) {
    complain(key, "must be a text in quotes");
    return otherwise;
  }
  if (value->find('\0') != std::string::npos) {
    complain(key, "must not contain NUL");
    return otherwise;
  }
  return *value;
}

std::vector<std::string> Settings::texts(const std::string& key) {
  const toml::node* const node = table_->table->get(key);
  if (node == nullptr || !node->is_array()) {
    const std::string one = text_or(key, "");
    return one.empty() ? std::vector<std::string>() : std::vector{one};
  }
  known_.push_back(key);
  std::vector<std::string> all;
  for (const toml::node& element : *node->as_array()) {
    const std::optional<std::string> value = element.value_exact<std::string>();
    if (!value || value->empty()) {
      complain(key, "must be a list of texts in quotes");
      return all;
    }
    all.push_back(*value);
  }
  return all;
}

bool Settings::flag(const std::string& key, bool otherwise) {
  known_.push_back(key);
  const toml::node* const node = table_->table->get(key);
  if (node == nullptr) {
    return otherwise;
  }
  const std::optional<bool> value = node->value_exact<bool>();
  if (!value) {
    complain(key, "must be true or false");
  }
  return value.value_or(otherwise);
}

std::int64_t Settings::number(const std::string& key, std::int64_t otherwise, Range range) {
  known_.push_back(key);
  const toml::node* const node = table_->table->get(key);
  if (node == nullptr) {
    return otherwise;
  }
  const std::optional<std::int64_t> value = node->value_exact<std::int64_t>();
  if (!value || *value < range.least || *value > range.most) {
    complain(key, fmt::format("must be a whole number from {} to {}", range.least, range.most));
    return otherwise;
  }
  return *value;
}

std::string Settings::file(const std::string& key) {
  std::string name = text_or(key, "");
  if (!name.empty() && !(name.starts_with('/'))) {
    complain(key, fmt::format("'{}' must be a whole path, with a '/' in front", name));
  } else if (!name.empty() && access(name.c_str(), R_OK) != 0) {
    complain(key, fmt::format("cannot read {}: {}", name, annalctl::system_message(errno)));
  } else if (has(key) && name.empty()) {
    complain(key, "must not be empty");
  }
  return name;
}

Settings::Secret Settings::SecretSource::read() const {
  if (!file.empty()) {
    return first_line_of(file);
  }
  const char* const value =
      variable.empty() ? nullptr : std::getenv(variable.c_str());  // NOLINT(concurrency-mt-unsafe)
  return value == nullptr ? Secret() : Secret(value);
}

Settings::SecretSource Settings::secret_source(const std::string& key) {
  if (has(key)) {
    known_.push_back(key);
    complain(key, fmt::format("belongs into a file or the environment: use {0}_file or {0}_env", key));
  }
  const std::string of_file = key + "_file";
  const std::string of_variable = key + "_env";
  SecretSource source{.file = file(of_file), .variable = text_or(of_variable, "")};
  if (!source.file.empty() && !source.variable.empty()) {
    complain(of_variable, fmt::format("is given beside {}: keep one of them", of_file));
  } else if (!source.variable.empty() && !source.read()) {
    complain(of_variable, fmt::format("the environment has no variable {}", source.variable));
  }
  return source;
}

Settings::Secret Settings::secret(const std::string& key) {
  return secret_source(key).read();
}

void Settings::end() {
  for (const auto& [key, node] : *table_->table) {
    const std::string name(key.str());
    if (std::find(known_.begin(), known_.end(), name) == known_.end()) {
      complain(name, "is not a known setting");
    }
  }
}

Settings Settings::table(const std::string& key) {
  static const toml::table none;
  known_.push_back(key);
  const toml::node* const node = table_->table->get(key);
  if (node != nullptr && !node->is_table()) {
    complain(key, fmt::format("must be a table: [{}]", key));
  }
  const toml::table* const below = node != nullptr && node->is_table() ? node->as_table() : &none;
  return {std::make_shared<const Table>(Table{table_->file, table_->document, below}), key, complaints_};
}

std::shared_ptr<const toml::table> parse_file(const std::string& file, std::vector<Complaint>& complaints) {
  const auto complain = [&](std::size_t line, const std::string& what) {
    complaints.push_back({file, line, "", what});
  };
  try {
    if (const std::optional<std::string> content = content_of(file)) {
      return std::make_shared<const toml::table>(toml::parse(*content));
    }
    complain(0, "there is no such file");
  } catch (const std::system_error& failure) {
    complain(0, fmt::format("cannot be read: {}", failure.code().message()));
  } catch (const toml::parse_error& error) {
    complain(error.source().begin.line, std::string(error.description()));
  }
  return nullptr;
}

std::optional<Settings> load_settings(const std::string& file, std::vector<Complaint>& complaints) {
  const std::shared_ptr<const toml::table> document = parse_file(file, complaints);
  if (!document) {
    return {};
  }
  return Settings(std::make_shared<const Settings::Table>(Settings::Table{file, document, document.get()}), "",
                  complaints);
}

}  // namespace exporter
