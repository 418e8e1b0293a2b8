// Signs deletions into the chain once they are done; a failure only warns, because the entries are gone by then.
#include "tools/annalctl/proof/declared_deletions.h"

#include <fmt/format.h>
#include <unistd.h>

#include <stdexcept>

#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/maintenance/noted_deletions.h"
#include "tools/annalctl/proof/key_files.h"
#include "tools/annalctl/proof/seal.h"

namespace annalctl {

namespace {

bool has_chain(const Log& log) {
  return access(proof::chain_path(log.path).c_str(), F_OK) == 0;
}

template <typename Declare>
void declare(const Log& log, const Declare& declare_with) {
  try {
    proof::start_hashing();
    declare_with(proof::load_keys(proof::usual_key_file()));
  } catch (const std::runtime_error& failure) {
    complain(fmt::format("what was deleted is not declared in {}, and 'annalctl verify' will miss it: {}",
                         proof::chain_path(log.path), failure.what()));
  }
}

proof::Reason reason_for(const char* verb) {
  return proof::reason_of(verb).value_or(proof::Reason::kDelete);
}

void deleted(const Log& log, const char* verb, std::span<const std::int64_t> ids) {
  declare(log, [&](const proof::KeyRing& keys) { proof::declare_gone(log, keys, ids, reason_for(verb)); });
}

void emptied(const Log& log, const char* verb) {
  declare(log, [&](const proof::KeyRing& keys) { proof::declare_all_gone(log, keys, reason_for(verb)); });
}

}  // namespace

void declare_deletions() {
  tell_of_deletions({has_chain, deleted, emptied});
}

}  // namespace annalctl
