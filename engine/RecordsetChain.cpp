#include "engine/RecordsetChain.h"

#include "runtime/Error.h"

namespace engine {

RecordsetChain::RecordsetChain(std::vector<std::unique_ptr<host::Recordset>> parts)
    : parts_(std::move(parts)) {
  SkipFinishedParts();
}

bool RecordsetChain::Eof() const {
  return current_ == parts_.size();
}

void RecordsetChain::MoveNext() {
  if (Eof()) throw runtime::Error(runtime::kInvalidProcedureCall);
  parts_[current_]->MoveNext();
  SkipFinishedParts();
}

runtime::Variant RecordsetChain::Field(std::string_view name) const {
  if (Eof()) throw runtime::Error(runtime::kInvalidProcedureCall);
  return parts_[current_]->Field(name);
}

void RecordsetChain::SkipFinishedParts() {
  while (current_ < parts_.size() && parts_[current_]->Eof()) parts_[current_++].reset();
}

}  // namespace engine
