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

  // Without a name it is all of them; a file of file operations was named by its option.
  [[nodiscard]] bool takes(const Log& log) const {
    return (names.empty() && files.empty()) || is_named(log) || std::string_view(log.name) == "fileop";
  }
  [[nodiscard]] bool is_named(const Log& log) const {
    return std::find(names.begin(), names.end(), log.name) != names.end();
  }
};

bool is_there(const std::string& path) {
  return access(path.c_str(), F_OK) == 0;
}

// 1 says more than 2, which says more than 0.
int worse(int one, int other) {
  return one == kFailure || other == kFailure ? static_cast<int>(kFailure) : std::max(one, other);
}

void add_choice(CLI::App& command, Chosen& chosen) {
  command.add_option("LOG", chosen.names, "event, conn, notice; without one, all that are there")
      ->type_name("")
      ->check(CLI::IsMember({"event", "conn", "notice"}));
  command.add_option("--db", chosen.files, "A log of file operations too")->type_name("FILE")->allow_extra_args(false);
}

void seal_all(const Chosen& chosen, const ProofCommand& proof, Session& session) {
  proof.prepare(true);
  for_all_logs(chosen.files, session, Intent::kChanging, [&chosen, &proof, &session](const Log& log) {
    if (chosen.takes(log) && (chosen.is_named(log) || is_there(log.path))) {
      session.status = worse(session.status, status_with_rights(log, session, proof.work));
    }
  });
}

void verify_all(const Chosen& chosen, const ProofCommand& proof, Session& session) {
  proof.prepare(true);
  int status = kSuccess;
  bool any = false;
  for_all_logs(chosen.files, session, Intent::kReading, [&](const Log& log) {
    const bool asked_for = chosen.is_named(log) || !(chosen.names.empty() && chosen.files.empty());
    const bool sealed = is_there(proof::chain_path(log.path));
    if (!chosen.takes(log) || !(asked_for || sealed || is_there(log.path))) {
      return;
    }
    const int result = status_with_rights(log, session, proof.work);
    any = any || sealed;
    // One that nobody has sealed is no finding where all are looked at.
    status = worse(status, sealed || asked_for ? result : static_cast<int>(kSuccess));
  });
  if (!any && status == kSuccess) {
    complain("no log was ever sealed: run 'annalctl seal'");
    status = kCannotVerify;
  }
  session.status = status;
}

}  // namespace

void add_seal_of_all(CLI::App& app, Session& session) {
  CLI::App* const command = app.add_subcommand("seal", "Commit to the logs' new entries, so that none changes unseen");
  const auto chosen = std::make_shared<Chosen>();
  command->footer(std::string(kSealNotes) +
                  "\n"
                  "Fit for a timer: see annalctl-seal.timer.\n"
                  "\n"
                  "Examples:\n"
                  "  annalctl seal\n"
                  "  annalctl seal event --heads /mnt/elsewhere/heads\n"
                  "  annalctl seal --db operations.db --json");
  add_choice(*command, *chosen);
  const ProofCommand proof = add_seal_options(*command, session);
  command->fallthrough();
  command->callback([chosen, proof, &session] { seal_all(*chosen, proof, session); });
}

void add_verify_of_all(CLI::App& app, Session& session) {
  CLI::App* const command = app.add_subcommand("verify", "Tell whether the logs' entries are as they were sealed");
  const auto chosen = std::make_shared<Chosen>();
  command->footer(std::string(kVerifyNotes) +
                  "\n"
                  "Examples:\n"
                  "  annalctl verify\n"
                  "  annalctl verify event --anchor /mnt/elsewhere/heads\n"
                  "  annalctl --dir /mnt/customer/logs verify --public-key seal.pub --json");
  add_choice(*command, *chosen);
  const ProofCommand proof = add_verify_options(*command, session);
  command->fallthrough();
  command->callback([chosen, proof, &session] { verify_all(*chosen, proof, session); });
}

}  // namespace annalctl
