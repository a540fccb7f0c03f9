#include "platform/components/HostWindows.h"

#include <atomic>

namespace platform {
namespace {

std::atomic<HostWindows*> installed{nullptr};

}  // namespace

HostWindows* InstalledHostWindows() {
  return installed.load();
}

void InstallHostWindows(HostWindows* windows) {
  installed.store(windows);
}

}  // namespace platform
