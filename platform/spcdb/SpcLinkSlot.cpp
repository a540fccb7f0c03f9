#include "platform/spcdb/SpcLinkSlot.h"

#include <map>

namespace platform {
namespace {

struct SharedSlots {
  std::mutex mutex;
  // Weak: the link closes when its last session goes.
  std::map<std::string, std::weak_ptr<SpcLinkSlot>> slots;
};

SharedSlots& Shared() {
  static SharedSlots shared;
  return shared;
}

}  // namespace

std::shared_ptr<SpcLinkSlot> FindSharedSpcLinkSlot(const std::string& key) {
  SharedSlots& shared = Shared();
  std::lock_guard lock(shared.mutex);
  auto found = shared.slots.find(key);
  return found == shared.slots.end() ? nullptr : found->second.lock();
}

std::shared_ptr<SpcLinkSlot> ShareSpcLinkSlot(const std::string& key,
                                              std::shared_ptr<SpcLinkSlot> slot) {
  SharedSlots& shared = Shared();
  std::lock_guard lock(shared.mutex);
  std::erase_if(shared.slots, [](const auto& entry) { return entry.second.expired(); });
  auto [entry, added] = shared.slots.try_emplace(key, slot);
  if (auto first = entry->second.lock(); !added && first) return first;
  entry->second = slot;
  slot->shared = true;
  return slot;
}

}  // namespace platform
