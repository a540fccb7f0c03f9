#include "config/MergedNames.h"

namespace config {

void MergedNames::Merge(const std::vector<std::string>& source) {
  // Into an empty target the whole source goes, unchecked; a source that joins to an
  // empty text (one empty name) leaves the target empty.
  if (names_.empty()) {
    if (source.size() == 1 && source.front().empty()) return;
    for (const std::string& name : source) Append(name);
    return;
  }
  std::vector<const std::string*> missing;
  for (const std::string& name : source) {
    if (!held_.contains(name)) missing.push_back(&name);
  }
  for (const std::string* name : missing) Append(*name);
}

void MergedNames::Append(const std::string& name) {
  for (std::string& piece : runtime::Split(name, "\r\n")) {
    held_.insert(piece);
    names_.push_back(std::move(piece));
  }
}

}  // namespace config
