// The number of the runtime::Error a call throws, or 0 when it returns normally.
#pragma once

#include <cstdint>

#include "runtime/Error.h"

template <typename Call>
int32_t ErrorOf(Call&& call) {
  try {
    call();
  } catch (const runtime::Error& e) {
    return e.Number();
  }
  return 0;
}
