// Signs deletions into the chain once they are done; a failure only warns, because the entries are gone by then.
#include "tools/annalctl/proof/declared_deletions.h"

#include <fmt/format.h>
#include <unistd.h>

#include <optional>
#include <stdexcept>
#include <utility>

#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/log/place.h"
#include "tools/annalctl/maintenance/noted_deletions.h"
#include "tools/annalctl/proof/key_files.h"
#include "tools/annalctl/proof/seal.h"

namespace annalctl {

namespace {

bool has_chain(const Log& log) {
  return access(proof::chain_path(log.path).c_str(), F_OK) == 0;
}

// Root's key, which the rights that a log is used with may not open any more.
std::optional<proof::KeyRing>& keys_at_hand() {
  static std::optional<proof::KeyRing> keys;
  return keys;
}

// Locked while entries are deleted: a verification would find those that are gone and not declared yet.
std::optional<proof::ChainFile>& chain_at_hand() {
  static std::optional<proof::ChainFile> chain;
  return chain;
}

void begun(const Log& log) {
  try {
    chain_at_hand() = proof::ChainFile::open(proof::chain_path(log.path), proof::Access::kWrite);
  } catch (const proof::ChainFailure&) {  // This is told when they are declared.
  }
}

void ended() {
  chain_at_hand().reset();
}

void take_keys() {
  proof::start_hashing();
  if (!keys_at_hand()) {
    keys_at_hand().emplace(proof::load_keys(proof::usual_key_file()));
  }
}

// A failure is told when something has been deleted.
void take_keys_early(const Log& log) {
  if (has_chain(log)) {
    try {
      take_keys();
    } catch (const std::runtime_error&) {
    }
  }
}

template <typename Declare>
void declare(const Log& log, const Declare& declare_with) {
  try {
    take_keys();
    declare_with(*keys_at_hand());
  } catch (const std::runtime_error& failure) {
    complain(fmt::format("what was deleted is not declared in {}, and 'annalctl verify' will miss it: {}",
                         proof::chain_path(log.path), failure.what()));
  }
}

proof::Reason reason_for(const char* verb) {
  return proof::reason_of(verb).value_or(proof::Reason::kDelete);
}

void deleted(const Log& log, const char* verb, std::span<const std::int64_t> ids) {
  declare(log, [&](const proof::KeyRing& keys) {
    proof::declare_gone(log, keys, std::exchange(chain_at_hand(), {}), ids, reason_for(verb));
  });
}

void emptied(const Log& log, const char* verb) {
  declare(log, [&](const proof::KeyRing& keys) {
    proof::declare_all_gone(log, keys, std::exchange(chain_at_hand(), {}), reason_for(verb));
  });
}

}  // namespace

void declare_deletions() {
  keys_at_hand().reset();
  before_deleting(take_keys_early);
  tell_of_deletions({has_chain, begun, ended, deleted, emptied});
}

}  // namespace annalctl
