// One historian tag's current value, as the engine last read it.
#pragma once

#include <string>

#include "runtime/Date.h"
#include "runtime/Variant.h"

namespace config {

struct TagItem {
  std::string TagName;
  runtime::Date TimeStamp;
  bool IsNew = false;
  // True until the first value arrives, so the first value ever read counts as new.
  bool IsEmpty = true;
  std::string DataLink;
  runtime::Variant TagValue;
};

}  // namespace config
