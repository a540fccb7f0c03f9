#include "apps/dam/windows/WindowsApplication.h"

#include <QApplication>

#include "apps/dam/host/HeadlessApplication.h"
#include "apps/shared/Failures.h"

namespace dam {

std::unique_ptr<QCoreApplication> MakeWindowsApplication() {
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") && qEnvironmentVariableIsEmpty("DISPLAY") &&
      qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")) {
    throw apps::Failure(apps::kExitFailure,
                        "cannot show windows: no display (DISPLAY is not set); run it in a "
                        "desktop session or over ssh -X");
  }
  return std::make_unique<WatchedApplication<QApplication>>(qtArgumentCount, qtArguments);
}

}  // namespace dam
