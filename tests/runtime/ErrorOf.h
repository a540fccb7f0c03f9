// The runtime::Error a call throws, or error 0 when it returns normally.
#pragma once

#include <cstdint>

#include "runtime/Error.h"

template <typename Call>
runtime::Error ErrorFrom(Call&& call) {
  try {
    call();
  } catch (const runtime::Error& e) {
    return e;
  }
  return runtime::Error(0, "nothing raised");
}

template <typename Call>
int32_t ErrorOf(Call&& call) {
  return ErrorFrom(call).Number();
}
