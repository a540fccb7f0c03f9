// Tag-name lists merged one after another into one growing list, in time linear in the
// total number of names: the names already held sit in a case-blind set instead of being
// joined, searched and split again for every list. A configuration gathers its tags this
// way, one list per item.
#pragma once

#include <string>
#include <unordered_set>
#include <vector>

#include "runtime/Text.h"

namespace config {

class MergedNames {
 public:
  // Appends each name of `source` that the names held before this call lack, compared
  // without regard to case; a name repeated inside `source` is appended each time, and a
  // name holding CR LF becomes several names.
  void Merge(const std::vector<std::string>& source);
  const std::vector<std::string>& Names() const { return names_; }

 private:
  void Append(const std::string& name);

  std::vector<std::string> names_;
  std::unordered_set<std::string, runtime::NoCaseHash, runtime::NoCaseEqual> held_;
};

}  // namespace config
