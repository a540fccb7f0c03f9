#include "apps/dam/windows/WindowsApplication.h"

#include <QApplication>

#include "apps/dam/host/HeadlessApplication.h"
#include "apps/shared/Failures.h"
#include "platform/windows/QtHostWindows.h"

namespace dam {
namespace {

// The host's dialogs and boxes are shown while the application lives.
class WindowsApplication : public WatchedApplication<QApplication> {
 public:
  WindowsApplication() : WatchedApplication(qtArgumentCount, qtArguments) {
    platform::InstallHostWindows(&windows_);
  }
  ~WindowsApplication() override { platform::InstallHostWindows(nullptr); }

 private:
  platform::QtHostWindows windows_;
};

}  // namespace

std::unique_ptr<QCoreApplication> MakeWindowsApplication() {
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") && qEnvironmentVariableIsEmpty("DISPLAY") &&
      qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")) {
    throw apps::Failure(apps::kExitFailure,
                        "cannot show windows: no display (DISPLAY is not set); run it in a "
                        "desktop session or over ssh -X");
  }
  return std::make_unique<WindowsApplication>();
}

}  // namespace dam
