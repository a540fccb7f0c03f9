// One finding of a driver module's check of a configuration text: what its reader would
// silently ignore or misread there, or stop at.
#pragma once

#include <string>

namespace host {

struct CheckFinding {
  int line = 0;  // 1-based; 0 for the configuration as a whole
  bool error = false;
  std::string text;
};

}  // namespace host
