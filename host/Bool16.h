// Booleans that cross the host's interfaces are 16-bit: true is -1, false is 0.
#pragma once

#include <cstdint>

namespace host {

using Bool16 = int16_t;
inline constexpr Bool16 kTrue = -1;
inline constexpr Bool16 kFalse = 0;

constexpr Bool16 ToBool16(bool value) {
  return value ? kTrue : kFalse;
}

}  // namespace host
