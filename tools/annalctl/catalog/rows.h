// How rows of the catalog are written.
#pragma once

#include <memory>

#include "tools/annalctl/catalog/model.h"
#include "tools/annalctl/output/session.h"

namespace annalctl::catalog {

class RowWriter {
 public:
  explicit RowWriter(Session& session);
  void row(const CatalogEntry& entry);
  void finish();

 private:
  std::unique_ptr<RowSink> sink_;
};

}  // namespace annalctl::catalog
