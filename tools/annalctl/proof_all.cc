// Seals and verifies every log, each with the rights it needs.
#include "tools/annalctl/proof_all.h"

#include <fmt/format.h>
#include <unistd.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "tools/annalctl/all_logs.h"
#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/proof/chain_file.h"
#include "tools/annalctl/proof/commands.h"

namespace annalctl {

namespace {

struct Chosen {
  std::vector<std::string> names;
  std::vector<std::string> files;

  [[nodiscard]] bool all() const { return names.empty() && files.empty(); }
  // A file of file operations was named by its option.
  [[nodiscard]] bool takes(const Log& log) const {
    return all() || has_file_of_its_own(log) || std::find(names.begin(), names.end(), log.name) != names.end();
  }
};

// How the two commands differ that are for all logs.
struct AllCommand {
  const char* verb;
  const char* description;
  const char* notes;
  const char* examples;
  Intent intent;
  ProofCommand (*add_options)(CLI::App& command, Session& session);
  // A log that is not there, and one that was never sealed, are passed over unless the user has named them.
  bool sealed_ones_only;
  const char* none_sealed;  // the failure if there is none; null: it is no failure
};

constexpr AllCommand kSeal{
    .verb = "seal",
    .description = "Commit to the logs' new entries, so that none changes unseen",
    .notes = kSealNotes,
    .examples =
        "Fit for a timer: see annalctl-seal.timer.\n"
        "\n"
        "Examples:\n"
        "  annalctl seal\n"
        "  annalctl seal event --heads /mnt/elsewhere/heads\n"
        "  annalctl seal --db operations.db --json",
    .intent = Intent::kChanging,
    .add_options = add_seal_options,
    .sealed_ones_only = false,
    .none_sealed = nullptr,
};

constexpr AllCommand kVerify{
    .verb = "verify",
    .description = "Tell whether the logs' entries are as they were sealed",
    .notes = kVerifyNotes,
    .examples =
        "Examples:\n"
        "  annalctl verify\n"
        "  annalctl verify event --anchor /mnt/elsewhere/heads\n"
        "  annalctl --dir /mnt/customer/logs verify --public-key seal.pub --json",
    .intent = Intent::kReading,
    .add_options = add_verify_options,
    .sealed_ones_only = true,
    .none_sealed = "no log was ever sealed: run 'annalctl seal'",
};

bool is_there(const std::string& path) {
  return access(path.c_str(), F_OK) == 0;
}

// 1 says more than 2, which says more than 0.
int worse(int one, int other) {
  return one == kFailure || other == kFailure ? static_cast<int>(kFailure) : std::max(one, other);
}

void run_for_all(const AllCommand& command, const Chosen& chosen, const ProofCommand& proof, Session& session) {
  proof.prepare();
  int status = kSuccess;
  bool any = false;
  for_all_logs(chosen.files, session, command.intent, [&](const Log& log) {
    const bool sealed = is_there(proof::chain_path(log.path)) || proof.expects(log);
    const bool looked_for = !chosen.all() || (sealed && command.sealed_ones_only);
    if (!chosen.takes(log) || !(looked_for || is_there(log.path))) {
      return;
    }
    const int result = status_with_rights(log, session, proof.work);
    any = any || sealed;
    status = worse(status, looked_for || !command.sealed_ones_only ? result : static_cast<int>(kSuccess));
  });
  if (command.none_sealed != nullptr && !any && status == kSuccess) {
    complain(command.none_sealed);
    status = kCannotVerify;
  }
  session.status = status;
}

void add_for_all(CLI::App& app, Session& session, const AllCommand& row) {
  CLI::App* const command = app.add_subcommand(row.verb, row.description);
  const auto chosen = std::make_shared<Chosen>();
  command->footer(std::string(row.notes) + "\n" + row.examples);
  command->add_option("LOG", chosen->names, "event, conn, notice; without one, all that are there")
      ->type_name("")
      ->check(CLI::IsMember({"event", "conn", "notice"}));
  command->add_option("--db", chosen->files, "A log of file operations too")
      ->type_name("FILE")
      ->allow_extra_args(false);
  const ProofCommand proof = row.add_options(*command, session);
  command->fallthrough();
  command->callback([&row, chosen, proof, &session] { run_for_all(row, *chosen, proof, session); });
}

}  // namespace

void add_seal_of_all(CLI::App& app, Session& session) {
  add_for_all(app, session, kSeal);
}

void add_verify_of_all(CLI::App& app, Session& session) {
  add_for_all(app, session, kVerify);
}

}  // namespace annalctl
