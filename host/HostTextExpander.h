// The host's expansion of a template before its tag references are resolved.
#pragma once

#include <string>

namespace host {

class HostTextExpander {
 public:
  virtual ~HostTextExpander() = default;
  virtual std::string ExpandText(const std::string& text) const = 0;
};

}  // namespace host
