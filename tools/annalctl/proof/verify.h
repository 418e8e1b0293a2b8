// Verifying: compares a log with its chain, the chain with its head, and the head with those that were kept elsewhere.
#pragma once

#include <optional>
#include <vector>

#include "tools/annalctl/base/log.h"
#include "tools/annalctl/proof/findings.h"
#include "tools/annalctl/proof/head.h"
#include "tools/annalctl/proof/survey.h"

namespace annalctl::proof {

struct VerifyOptions {
  std::vector<PublicKey> trusted;
  std::vector<Head> anchors;  // of any logs
};

struct Verified {
  Head head;
  Report report;
};

// Nothing for a log that was never sealed. Throws ReadFailure and ChainFailure.
[[nodiscard]] std::optional<Verified> verify(const Log& log, const VerifyOptions& options, const Watch& watch);

}  // namespace annalctl::proof
