// A chain's file: two places for heads, of which the older is overwritten, and the records. A power cut at any write
// leaves the last head that was written as a whole, and records behind it that are overwritten next time.
#pragma once

#include <sys/types.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "tools/annalctl/proof/head.h"
#include "tools/annalctl/proof/record.h"

namespace annalctl::proof {

// The file cannot be used. The sentence says why.
class ChainFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// It was damaged, or somebody has damaged it.
class ChainDamage : public ChainFailure {
 public:
  using ChainFailure::ChainFailure;
};

// Somebody else has it locked.
class ChainInUse : public ChainFailure {
 public:
  using ChainFailure::ChainFailure;
};

[[nodiscard]] std::string chain_path(const std::string& log_path);

enum class Access {
  kRead,   // others may read meanwhile
  kWrite,  // nobody else has it meanwhile
};

class ChainFile {
 public:
  static constexpr std::chrono::milliseconds kUsualWait{20'000};
  // Nothing when there is none. Throws ChainInUse if others have it for longer than that.
  [[nodiscard]] static std::optional<ChainFile> open(const std::string& path, Access access,
                                                     std::chrono::milliseconds wait = kUsualWait);
  // Readable for whoever may read the log. Throws when there is one.
  [[nodiscard]] static ChainFile create(const std::string& path, const std::string& log_path, Head head,
                                        const SigningKey& key);
  ~ChainFile();
  ChainFile(ChainFile&& other) noexcept;
  ChainFile& operator=(ChainFile&& other) noexcept;
  ChainFile(const ChainFile&) = delete;
  ChainFile& operator=(const ChainFile&) = delete;

  [[nodiscard]] const std::string& path() const { return path_; }
  [[nodiscard]] const Head& head() const { return head_; }
  // The one before, where it is still there.
  [[nodiscard]] const std::optional<Head>& earlier_head() const { return earlier_; }
  // One was cut off while it was written, or somebody has changed it.
  [[nodiscard]] bool is_head_lost() const { return head_lost_; }
  // Where the records end that are there: before the head's end when the file was cut.
  [[nodiscard]] std::uint64_t end() const;

  // The bytes of up to so many records from a position on; fewer at the end.
  void read(std::uint64_t position, std::size_t records, std::vector<Byte>& bytes) const;

  // Behind the head's records. It counts when it has been committed.
  void append(const Record& record);
  [[nodiscard]] std::uint64_t appended() const { return appended_; }
  void commit(const SigningKey& key, std::int64_t last_id, std::int64_t time);

  // What is known of an entry by a salt alone is gone with it.
  void erase_salts(std::span<const std::uint64_t> positions) const;

  // Drops the records before a position.
  void drop_before(std::uint64_t position, const SigningKey& key);

 private:
  ChainFile(std::string path, int descriptor) : path_(std::move(path)), descriptor_(descriptor) {}

  void read_heads();
  void write_head(Head head);
  void write_out();
  void write_at(std::span<const Byte> bytes, off_t offset) const;
  void sync() const;
  [[nodiscard]] off_t offset_of(std::uint64_t position) const;
  [[nodiscard]] ChainFailure failure(const char* doing) const;

  std::string path_;
  int descriptor_;
  Head head_;
  std::optional<Head> earlier_;
  bool head_lost_ = false;
  Hash hash_{};  // with what was appended
  std::uint64_t appended_ = 0;
  std::uint64_t written_ = 0;  // of those
  std::vector<Byte> buffer_;
};

// The records of a chain as far as they are there, one after another, from a position on.
class RecordStream {
 public:
  explicit RecordStream(const ChainFile& chain, std::uint64_t from = 0)
      : chain_(chain), next_(std::max(from, chain.head().first)) {}

  // False at the end.
  [[nodiscard]] bool next();
  [[nodiscard]] std::uint64_t position() const { return next_ - 1; }
  [[nodiscard]] ConstRecordBytes bytes() const { return ConstRecordBytes(page_.data() + at_, kRecordSize); }

 private:
  const ChainFile& chain_;
  std::uint64_t next_;
  std::vector<Byte> page_;
  std::size_t at_ = 0;
};

}  // namespace annalctl::proof
