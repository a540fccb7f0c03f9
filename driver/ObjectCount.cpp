#include "driver/ObjectCount.h"

#include <atomic>

namespace driver {
namespace {

std::atomic<int> alive{0};

}  // namespace

void ObjectCount::Created() {
  ++alive;
}
void ObjectCount::Released() {
  --alive;
}
bool ObjectCount::None() {
  return alive == 0;
}

}  // namespace driver
