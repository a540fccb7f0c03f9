#include <QCoreApplication>

#include "apps/dam/host/DamHost.h"
#include "apps/dam/host/StopSignals.h"
#include "apps/dam/windows/MainWindow.h"
#include "apps/dam/windows/WindowsApplication.h"
#include "apps/dam/windows/WindowsCommands.h"
#include "platform/odbc/OdbcCancel.h"

namespace dam {

int GuiCommand(const GuiOptions& options) {
  // Made before anything starts a thread. A stopping signal leaves every event loop, a
  // dialog's too, so that the window is closed from the outermost one, where no dialog of a
  // driver is still on the stack.
  StopSignals stop(
      [] {
        if (QCoreApplication* application = QCoreApplication::instance()) {
          QMetaObject::invokeMethod(application, &QCoreApplication::quit, Qt::QueuedConnection);
        }
      },
      [] { platform::CancelRunningStatements(); });
  platform::PlatformComponents settings;
  ReadHostSettings(settings);
  const auto application = MakeWindowsApplication();
  MainWindow window(options.configs, options.spc, options.driverClass);
  window.show();
  int status = stop.Requested() ? 0 : application->exec();
  // Closed as the user would close it: every driver is stopped and unloaded. A driver's window
  // that refuses to close keeps it open, as it does for the user, with its drivers stopped.
  while (stop.Requested() && window.isVisible() && !window.close()) {
    stop.Stopped();
    status = application->exec();
  }
  stop.Stopped();
  stop.EndAsSignalled();
  return status;
}

}  // namespace dam
