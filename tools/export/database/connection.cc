// Drives libpq without blocking: connects, runs statements, copies rows and classifies errors by SQLSTATE.
#include "tools/export/database/connection.h"

#include <fmt/format.h>
#include <poll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <string_view>
#include <utility>
#include <vector>

namespace exporter::database {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kConnectLimit{15};
// A server that works on a batch answers within seconds, even if it waits for a lock.
constexpr std::chrono::seconds kAnswerLimit{60};

// The server's messages have several lines, and a line end at their end.
std::string one_line(std::string_view message) {
  std::string line;
  for (const char c : message) {
    if (c == '\n') {
      line += "; ";
    } else if (c != '\t' && c != '\r') {
      line += c;
    }
  }
  while (line.ends_with("; ")) {
    line.resize(line.size() - 2);
  }
  return line;
}

const char* mode_of(const Target& target) {
  switch (target.tls) {
    case Tls::kVerifyAuthority:
      return "verify-ca";
    case Tls::kOff:
      return "disable";
    default:
      return "verify-full";
  }
}

// What helps, for the failures that every new set-up meets.
std::string advice(std::string_view state) {
  if (state == "3F000" || state == "42P01") {
    return ": apply the schema with 'annal-database apply'";
  }
  if (state == "42501") {
    return ": grant the role annal_writer to this user";
  }
  if (state == "28P01") {
    return ": check password_file or password_env";
  }
  return {};
}

}  // namespace

Failure::Failure(Cause cause, const std::string& reason, std::string state)
    : std::runtime_error(reason), cause_(cause), state_(std::move(state)) {}

Failure::Cause cause_of(const std::string& state) {
  // Wrong values, broken constraints, too much for a row, and what an operator's own trigger raises.
  constexpr std::array<std::string_view, 4> kOfContent{"22", "23", "54", "P0"};
  return std::any_of(kOfContent.begin(), kOfContent.end(),
                     [&state](std::string_view prefix) { return state.starts_with(prefix); })
             ? Failure::Cause::kContent
             : Failure::Cause::kServer;
}

Connection::Connection(const Target& target, const std::string& application, const Stop& stop)
    : stop_(&stop),
      place_(target.local() ? fmt::format("database {} in {}", target.database, target.host)
                            : fmt::format("database {} on {}:{}", target.database, target.host, target.port)),
      handle_(nullptr, &PQfinish) {
  std::vector<std::pair<const char*, std::string>> options{
      {"host", target.host},
      {"port", target.port},
      {"dbname", target.database},
      {"user", target.user},
      {"application_name", application},
      {"client_encoding", "UTF8"},
      {"target_session_attrs", "read-write"},
      {"gssencmode", "disable"},
      {"keepalives_idle", "30"},
      {"keepalives_interval", "10"},
      {"keepalives_count", "3"},
      {"tcp_user_timeout", "60000"},
  };
  if (target.password.given()) {
    const Settings::Secret secret = target.password.read();
    if (!secret) {
      throw Failure(Failure::Cause::kServer,
                    fmt::format("{}: cannot read the password from {}", place_,
                                target.password.file.empty() ? target.password.variable : target.password.file));
    }
    options.emplace_back("password", *secret);
  }
  if (!target.local()) {
    options.emplace_back("sslmode", mode_of(target));
    options.emplace_back("sslrootcert", target.authorities);
    if (!target.certificate.empty()) {
      options.emplace_back("sslcert", target.certificate);
      options.emplace_back("sslkey", target.key);
    }
  }
  std::vector<const char*> names;
  std::vector<const char*> values;
  for (const auto& [name, value] : options) {
    names.push_back(name);
    values.push_back(value.c_str());
  }
  names.push_back(nullptr);
  values.push_back(nullptr);
  constexpr int kNameIsNoConnectionString = 0;
  handle_.reset(PQconnectStartParams(names.data(), values.data(), kNameIsNoConnectionString));
  connect();
}

void Connection::connect() {
  if (handle_ == nullptr || PQstatus(handle()) == CONNECTION_BAD) {
    throw failure();
  }
  const Clock::time_point limit = Clock::now() + kConnectLimit;
  for (PostgresPollingStatusType status = PGRES_POLLING_WRITING; status != PGRES_POLLING_OK;
       status = PQconnectPoll(handle())) {
    if (status == PGRES_POLLING_FAILED) {
      throw failure();
    }
    wait(status == PGRES_POLLING_WRITING, limit);
  }
  PQsetnonblocking(handle(), 1);
  // Notices, such as that a table exists already, are of no use to anyone.
  PQsetNoticeProcessor(
      handle(), [](void*, const char*) {}, nullptr);
}

void Connection::wait(bool to_write, Clock::time_point limit) const {
  while (true) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(limit - Clock::now()).count();
    if (left <= 0) {
      throw Failure(Failure::Cause::kServer, fmt::format("{} does not answer", place_));
    }
    const auto events = static_cast<short>(to_write ? POLLIN | POLLOUT : POLLIN);
    std::array<struct pollfd, 2> watched{{{PQsocket(handle()), events, 0}, {stop_->descriptor(), POLLIN, 0}}};
    const int ready = poll(watched.data(), watched.size(), static_cast<int>(left));
    if (ready < 0 && errno != EINTR) {
      throw Failure(Failure::Cause::kServer, fmt::format("{}: cannot wait for an answer", place_));
    }
    if (ready > 0 && watched[1].revents != 0) {
      throw Failure(Failure::Cause::kStop, "the end was requested");
    }
    if (ready > 0 && watched[0].revents != 0) {
      return;
    }
  }
}

Failure Connection::failure() const {
  const std::string message = handle_ == nullptr ? "out of memory" : one_line(PQerrorMessage(handle()));
  return {Failure::Cause::kServer, fmt::format("{}: {}", place_, message)};
}

Failure Connection::failure(const PGresult* result) const {
  const char* const state = PQresultErrorField(result, PG_DIAG_SQLSTATE);
  if (state == nullptr) {
    return failure();
  }
  const char* const message = PQresultErrorField(result, PG_DIAG_MESSAGE_PRIMARY);
  const char* const detail = PQresultErrorField(result, PG_DIAG_MESSAGE_DETAIL);
  std::string reason = message == nullptr ? std::string("no reason given") : one_line(message);
  if (detail != nullptr && cause_of(state) == Failure::Cause::kServer) {
    reason += fmt::format(" ({})", one_line(detail));  // of a row it would be the row's content
  }
  return {cause_of(state), fmt::format("{}: {} ({}){}", place_, reason, state, advice(state)), state};
}

void Connection::flush() {
  const Clock::time_point limit = Clock::now() + kAnswerLimit;
  for (int left = PQflush(handle()); left != 0; left = PQflush(handle())) {
    if (left < 0) {
      throw failure();
    }
    wait(true, limit);
    if (PQconsumeInput(handle()) == 0) {
      throw failure();
    }
  }
}

Connection::Result Connection::next_result() {
  const Clock::time_point limit = Clock::now() + kAnswerLimit;
  while (PQisBusy(handle()) != 0) {
    wait(false, limit);
    if (PQconsumeInput(handle()) == 0) {
      throw failure();
    }
  }
  return {PQgetResult(handle()), &PQclear};
}

Connection::Result Connection::last_result() {
  Result last(nullptr, &PQclear);
  std::unique_ptr<Failure> failed;
  for (Result result = next_result(); result != nullptr; result = next_result()) {
    const ExecStatusType status = PQresultStatus(result.get());
    if (status == PGRES_COPY_IN) {
      return result;
    }
    if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK && failed == nullptr) {
      failed = std::make_unique<Failure>(failure(result.get()));
    }
    last = std::move(result);
  }
  if (failed != nullptr) {
    throw Failure(*failed);
  }
  if (last == nullptr) {
    throw failure();
  }
  return last;
}

Connection::Result Connection::run(const std::string& statements) {
  if (PQsendQuery(handle(), statements.c_str()) == 0) {
    throw failure();
  }
  flush();
  return last_result();
}

Connection::Result Connection::run(const std::string& statement, std::span<const std::string> values) {
  std::vector<const char*> texts;
  texts.reserve(values.size());
  for (const std::string& value : values) {
    texts.push_back(value.c_str());
  }
  constexpr int kTextResults = 0;
  if (PQsendQueryParams(handle(), statement.c_str(), static_cast<int>(texts.size()), nullptr, texts.data(), nullptr,
                        nullptr, kTextResults) == 0) {
    throw failure();
  }
  flush();
  return last_result();
}

void Connection::copy(const std::string& statements, const std::string& lines) {
  const Result begun = run(statements);
  if (PQresultStatus(begun.get()) != PGRES_COPY_IN) {
    throw failure();
  }
  constexpr std::size_t kPiece = 65536;
  for (std::size_t sent = 0; sent < lines.size(); sent += kPiece) {
    const std::string_view piece = std::string_view(lines).substr(sent, kPiece);
    // Without waiting it is refused only for want of memory, or if the connection has broken.
    if (PQputCopyData(handle(), piece.data(), static_cast<int>(piece.size())) != 1) {
      throw failure();
    }
    flush();
  }
  if (PQputCopyEnd(handle(), nullptr) != 1) {
    throw failure();
  }
  flush();
  last_result();
}

bool Connection::roll_back() noexcept {
  try {
    if (PQstatus(handle()) != CONNECTION_OK || PQtransactionStatus(handle()) == PQTRANS_ACTIVE ||
        PQtransactionStatus(handle()) == PQTRANS_UNKNOWN) {
      return false;
    }
    if (PQtransactionStatus(handle()) != PQTRANS_IDLE) {
      run("ROLLBACK");
    }
    return true;
  } catch (...) {
    return false;
  }
}

}  // namespace exporter::database
