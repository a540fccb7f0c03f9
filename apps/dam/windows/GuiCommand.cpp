#include <QCoreApplication>
#include <QPointer>

#include "apps/dam/host/StopSignals.h"
#include "apps/dam/windows/MainWindow.h"
#include "apps/dam/windows/WindowsApplication.h"
#include "apps/dam/windows/WindowsCommands.h"
#include "platform/odbc/OdbcCancel.h"

namespace dam {
namespace {

// On the main thread, for a stopping signal: closes the window as the user would, stopping and
// unloading every driver first, and ends the program. When a setup dialog keeps its edits open,
// the window stays, as it does for the user, with its drivers stopped.
void CloseOnSignal(const QPointer<MainWindow>& window, StopSignals& stop) {
  if (!window || !window->isVisible()) return;
  if (window->close()) {
    QCoreApplication::quit();
  } else {
    stop.Stopped();
  }
}

}  // namespace

int GuiCommand(const GuiOptions& options) {
  // Made before the display's threads start.
  QPointer<MainWindow> shown;
  StopSignals stop(
      [&] {
        if (QCoreApplication* application = QCoreApplication::instance()) {
          QMetaObject::invokeMethod(
              application, [&] { CloseOnSignal(shown, stop); }, Qt::QueuedConnection);
        }
      },
      [] { platform::CancelRunningStatements(); });
  const auto application = MakeWindowsApplication();
  MainWindow window(options.configs, options.spc, options.driverClass);
  shown = &window;
  window.show();
  // A signal that came before there was an application to take it.
  if (stop.Requested()) {
    QMetaObject::invokeMethod(
        application.get(), [&] { CloseOnSignal(shown, stop); }, Qt::QueuedConnection);
  }
  const int status = application->exec();
  stop.Stopped();
  stop.EndAsSignalled();
  return status;
}

}  // namespace dam
