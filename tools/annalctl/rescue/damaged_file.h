// A damaged database as bytes, for Pages, and with a corrected header, for SQLite.
#pragma once

#include <sqlite3.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace annalctl {

constexpr std::size_t kHeaderSize = 100;  // at the start of the file
using Header = std::array<unsigned char, kHeaderSize>;

class DamagedFile {
 public:
  explicit DamagedFile(const std::string& path);
  ~DamagedFile();
  DamagedFile(const DamagedFile&) = delete;
  DamagedFile& operator=(const DamagedFile&) = delete;

  [[nodiscard]] std::uint64_t size() const { return size_; }
  [[nodiscard]] const Header& header() const { return header_; }
  // Whether the file claims to be a database.
  [[nodiscard]] bool has_header() const { return has_header_; }

  // Fills what cannot be read with zeros. False if any of it cannot be read, or is beyond the end.
  bool read(std::uint64_t place, std::span<unsigned char> bytes);

  // How many reads the disk has refused.
  [[nodiscard]] std::uint64_t refused() const { return refused_; }
  // How many bytes have been read since.
  [[nodiscard]] std::uint64_t bytes_read() const { return bytes_read_; }
  void count_from_here() { bytes_read_ = 0; }

 private:
  int file_;
  std::uint64_t size_ = 0;
  Header header_{};
  bool has_header_ = false;
  std::uint64_t refused_ = 0;
  std::uint64_t bytes_read_ = 0;
};

// While it exists, SQLite can open the file, with another header, as name(). It neither locks nor writes.
class CorrectedView {
 public:
  CorrectedView(DamagedFile& file, const Header& header);
  ~CorrectedView();
  CorrectedView(const CorrectedView&) = delete;
  CorrectedView& operator=(const CorrectedView&) = delete;

  [[nodiscard]] static std::string name();

 private:
  struct OpenFile;
  static const sqlite3_io_methods kMethods;

  static int open(sqlite3_vfs* system, const char* name, sqlite3_file* opened, int flags, int* flags_had);
  static int read(sqlite3_file* opened, void* buffer, int amount, sqlite3_int64 place);
  static int file_size(sqlite3_file* opened, sqlite3_int64* size);

  DamagedFile& file_;
  Header header_;
  sqlite3_vfs* usual_;
  sqlite3_vfs system_;
};

}  // namespace annalctl
