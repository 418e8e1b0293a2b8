// A log with a chain, which tests change behind its back.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/appliance.h"
#include "tools/annalctl/base/log.h"
#include "tools/annalctl/proof/head.h"
#include "tools/annalctl/proof/key_files.h"
#include "tools/annalctl/proof/seal.h"
#include "tools/annalctl/proof/verify.h"

namespace annalctl::proof {

struct LogKind {
  const Log* log;
  int (*create)(const char* path, int limit, int batch);
  const char* columns;  // of an entry: its id, then a text; the rest as it is usual
  const char* values;   // for ?1, ?2
};
extern const std::array<LogKind, 4> kLogKinds;

class SealedLog {
 public:
  // A tenth of the entries goes before the log is sealed, so that there are free ids. Copies are taken of what is there
  // after two thirds, and at the end.
  SealedLog(const LogKind& kind, const KeyRing& keys, int entries);

  [[nodiscard]] const Log& log() const { return log_; }
  [[nodiscard]] std::string chain() const { return chain_path(log_.path); }

  void run(const std::string& statements) const;
  void add(std::optional<std::int64_t> id, const std::string& text) const;
  [[nodiscard]] std::vector<std::int64_t> ids() const;
  [[nodiscard]] std::vector<std::int64_t> free_ids() const { return free_; }
  // One that is there; the number may be any.
  [[nodiscard]] std::int64_t some_id(int number) const;
  void set_limit(int limit) const;

  Sealed seal(const SealOptions& options = {});
  // With all heads there ever were as anchors.
  [[nodiscard]] Report verify() const;

  void restore() const;
  // Puts log and chain back to what they were, keeping the newer one of the heads elsewhere.
  void roll_back(int which) const;
  void change_chain(std::size_t record, std::size_t byte) const;
  void cut_chain(std::uintmax_t bytes) const;

  std::vector<Head> anchors;

 private:
  void copy_to(const std::string& name) const;
  void copy_from(const std::string& name) const;

  const LogKind& kind_;
  const KeyRing& keys_;
  std::string path_;
  Log log_;
  std::vector<std::int64_t> free_;
};

class SealedLogTest : public annal::test::ApplianceTest {
 protected:
  void SetUp() override;
  [[nodiscard]] const KeyRing& keys() const { return *keys_; }

 private:
  std::optional<KeyRing> keys_;
};

[[nodiscard]] bool has(const Report& report, State state);
[[nodiscard]] bool has(const Report& report, State state, std::int64_t id);

[[nodiscard]] std::string read_file(const std::string& path);
void write_file(const std::string& path, const std::string& bytes);

}  // namespace annalctl::proof
