#include "platform/spcdb/SpcSaveCount.h"

namespace platform {

void SpcSaveCount::Add(int32_t id) {
  lastId_.store(id);
  count_.fetch_add(1);
}

void SpcSaveCount::AddKept() {
  count_.fetch_add(1);
}

}  // namespace platform
