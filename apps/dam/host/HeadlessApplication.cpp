#include "apps/dam/host/HeadlessApplication.h"

namespace dam {

std::unique_ptr<QCoreApplication> MakeHeadlessApplication() {
  // Qt's own dispatcher costs about half of what GLib's does per wake.
  if (!qEnvironmentVariableIsSet("QT_NO_GLIB")) qputenv("QT_NO_GLIB", "1");
  return std::make_unique<WatchedApplication<QCoreApplication>>(qtArgumentCount, qtArguments);
}

}  // namespace dam
