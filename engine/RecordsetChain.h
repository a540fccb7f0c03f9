// The rows of several recordsets read as one: the collection query runs in parts when a
// configuration names more tags than one statement may bind.
#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "host/Connection.h"

namespace engine {

class RecordsetChain : public host::Recordset {
 public:
  // Reads `parts` in order; parts without rows are passed over.
  explicit RecordsetChain(std::vector<std::unique_ptr<host::Recordset>> parts);

  bool Eof() const override;
  void MoveNext() override;
  runtime::Variant Field(std::string_view name) const override;

 private:
  // Moves on from parts at their end, releasing each as it is left.
  void SkipFinishedParts();

  std::vector<std::unique_ptr<host::Recordset>> parts_;
  size_t current_ = 0;
};

}  // namespace engine
