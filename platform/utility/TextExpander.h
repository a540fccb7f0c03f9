// host::HostTextExpander: this platform's host has no expansion rules of its own, so a
// template reaches the tag resolution unchanged.
#pragma once

#include "host/HostTextExpander.h"

namespace platform {

class TextExpander : public host::HostTextExpander {
 public:
  std::string ExpandText(const std::string& text) const override { return text; }
};

}  // namespace platform
