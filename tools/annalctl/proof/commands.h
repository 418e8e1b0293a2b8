// "annalctl seal" and "annalctl verify", for one log and for all.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tools/annalctl/base/cli_types.h"
#include "tools/annalctl/base/log.h"
#include "tools/annalctl/output/session.h"

namespace annalctl {

// Of these logs there may be several.
[[nodiscard]] bool has_file_of_its_own(const Log& log);

// What is done with one log. Returns its exit status.
using LogWork = std::function<int(const Log& log)>;

// Added to a command, and then called for each log. Both keep what was asked for.
struct ProofCommand {
  // What is read with the caller's own rights, before any log is used.
  std::function<void()> prepare;
  LogWork work;
  // Whether something that was kept says that the log was sealed.
  std::function<bool(const Log& log)> expects = [](const Log& /*log*/) { return false; };
};

[[nodiscard]] ProofCommand add_seal_options(CLI::App& command, Session& session);
[[nodiscard]] ProofCommand add_verify_options(CLI::App& command, Session& session);

extern const char kSealNotes[];
extern const char kVerifyNotes[];

void add_seal_command(CLI::App& commands, Session& session, const Log& log);
void add_verify_command(CLI::App& commands, Session& session, const Log& log);

// Nothing about it can be told: there is no chain.
constexpr int kCannotVerify = kUsage;

// The work with the rights that the log needs, in another process where they are others than the caller's.
[[nodiscard]] int status_with_rights(const Log& log, Session& session, const LogWork& work);

}  // namespace annalctl
