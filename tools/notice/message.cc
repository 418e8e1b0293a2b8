#include "tools/notice/message.h"

namespace annalctl::notice {

const CatalogEntry* find_message(const std::string& /*application*/, const std::string& /*number*/) {
  return nullptr;
}

}  // namespace annalctl::notice
