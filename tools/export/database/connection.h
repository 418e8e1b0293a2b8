// One connection to a PostgreSQL server, none of whose waits lasts longer than a limit or past the request to end.
#pragma once

#include <libpq-fe.h>

#include <chrono>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>

#include "tools/export/database/target.h"
#include "tools/export/stop.h"

namespace exporter::database {

// Why something did not happen, in one line.
class Failure : public std::runtime_error {
 public:
  enum class Cause {
    kContent,  // the server will never take this
    kServer,   // or its configuration, or the way there
    kStop,     // the end was requested
  };
  Failure(Cause cause, const std::string& reason, std::string state = {});

  [[nodiscard]] Cause cause() const { return cause_; }
  // The server's code, such as "42P01"; empty if the server did not say anything.
  [[nodiscard]] const std::string& state() const { return state_; }

 private:
  Cause cause_;
  std::string state_;
};

// What a failure with this code of the server is about.
[[nodiscard]] Failure::Cause cause_of(const std::string& state);

class Connection {
 public:
  // All functions throw Failure. The stop must outlive the connection.
  Connection(const Target& target, const std::string& application, const Stop& stop);

  using Result = std::unique_ptr<PGresult, decltype(&PQclear)>;

  // Runs one or more statements, and returns the last one's result.
  Result run(const std::string& statements);
  // Runs one statement with texts in place of $1, $2, ….
  Result run(const std::string& statement, std::span<const std::string> values);
  // Runs statements whose last one is a COPY … FROM STDIN, and gives it the lines.
  void copy(const std::string& statements, const std::string& lines);

  // After a failure: whether the connection can go on, with the transaction undone.
  bool roll_back() noexcept;

  [[nodiscard]] PGconn* handle() const { return handle_.get(); }

 private:
  void connect();
  // Waits until the socket is ready.
  void wait(bool to_write, std::chrono::steady_clock::time_point limit) const;
  void flush();
  Result next_result();
  Result last_result();
  [[nodiscard]] Failure failure() const;
  [[nodiscard]] Failure failure(const PGresult* result) const;

  const Stop* stop_;
  std::string place_;  // for messages
  std::unique_ptr<PGconn, decltype(&PQfinish)> handle_;
};

}  // namespace exporter::database
