#include "apps/dam/host/HeadlessApplication.h"

namespace dam {

std::unique_ptr<QCoreApplication> MakeHeadlessApplication() {
  // An idle host wakes ten times a second for the engine's timer; Qt's own dispatcher
  // costs about half of what GLib's does per wake.
  if (!qEnvironmentVariableIsSet("QT_NO_GLIB")) qputenv("QT_NO_GLIB", "1");
  return std::make_unique<QCoreApplication>(qtArgumentCount, qtArguments);
}

}  // namespace dam
