// How rows of the catalog are written.
#pragma once

#include <memory>

#include "tools/annalctl/catalog/model.h"
#include "tools/annalctl/program.h"

namespace annalctl::catalog {

class RowWriter {
 public:
  explicit RowWriter(Program& program);
  void row(const CatalogEntry& entry);
  void finish();

 private:
  std::unique_ptr<RowSink> sink_;
};

}  // namespace annalctl::catalog
