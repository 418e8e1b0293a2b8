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

// The anchors that a log has to answer for. Of one without a place of its own these are those of its chain or its file,
// or all of its kind if there are none: then nothing shows which log they are of. chain: null if there is none.
[[nodiscard]] std::vector<Head> anchors_of(const Log& log, const std::vector<Head>& anchors, const ChainId* chain);

// Nothing for a log that was never sealed. Throws ReadFailure and ChainFailure.
[[nodiscard]] std::optional<Verified> verify(const Log& log, const VerifyOptions& options, const Watch& watch);

}  // namespace annalctl::proof
