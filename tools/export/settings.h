// One table of the configuration file, as its reader sees it: each value is checked where it is taken, and a complaint
// names the file, the line and the key.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace exporter {

// One thing that is wrong in a configuration.
struct Complaint {
  std::string file;
  std::size_t line = 0;  // 0: the file as a whole
  std::string key;       // such as "sink.central.port"; may be empty
  std::string what;

  // "FILE:LINE: KEY: WHAT"
  [[nodiscard]] std::string text() const;
};

// A key that was never asked for is a complaint too, so ask for all that are known. Every function returns a usable
// value even after a complaint, so that one run reports all that is wrong.
class Settings {
 public:
  struct Table;  // of the file
  // name: of the table, for complaints.
  Settings(std::shared_ptr<const Table> table, std::string name, std::vector<Complaint>& complaints);

  [[nodiscard]] bool has(const std::string& key) const;

  // The table of this name, empty if there is none.
  Settings table(const std::string& key);

  // A text that must be there, and is not empty.
  std::string text(const std::string& key);
  std::string text_or(const std::string& key, const std::string& otherwise);
  std::vector<std::string> texts(const std::string& key);  // a list, or a single text; may be empty
  bool flag(const std::string& key, bool otherwise);

  struct Range {
    std::int64_t least = 0;
    std::int64_t most = std::numeric_limits<std::int64_t>::max();
  };
  std::int64_t number(const std::string& key, std::int64_t otherwise, Range range);

  // The name of a file that must be readable now, or empty if the key is not there.
  std::string file(const std::string& key);

  // A password or token: the first line of the file that KEY_file names, or from the environment
  // variable that KEY_env names. A value in the configuration itself is a complaint, because more people read that.
  using Secret = std::optional<std::string>;
  Secret secret(const std::string& key);

  // The same to be read later, for each new connection: a file may have been replaced by one with a newer secret.
  struct SecretSource {
    std::string file;
    std::string variable;

    [[nodiscard]] bool given() const { return !file.empty() || !variable.empty(); }
    [[nodiscard]] Secret read() const;  // nothing if it cannot be read
  };
  SecretSource secret_source(const std::string& key);

  // A key whose value is read in another way.
  void expect(const std::string& key) { known_.push_back(key); }

  // Says that the value of a key is wrong, at its line.
  void complain(const std::string& key, const std::string& what);
  [[nodiscard]] bool has_complaints() const { return complained_; }

  // After everything was asked for: complains of what was not.
  void end();

 private:
  std::shared_ptr<const Table> table_;
  std::string name_;  // for complaints
  std::vector<Complaint>& complaints_;
  std::vector<std::string> known_;
  bool complained_ = false;
};

// The top of a configuration file; nothing after a complaint.
[[nodiscard]] std::optional<Settings> load_settings(const std::string& file, std::vector<Complaint>& complaints);

}  // namespace exporter
