#include "apps/dam/DamApplication.h"

#include <QApplication>

#include "apps/dam/LoopProgress.h"
#include "apps/shared/Failures.h"

namespace dam {
namespace {

// Qt keeps the arguments it was given for the application's life.
int argc = 1;
char name[] = "dam";
char* argv[] = {name, nullptr};

// Every event of every thread passes here: a watched loop is inside one while it runs.
template <class Application>
class WatchedApplication : public Application {
 public:
  using Application::Application;
  bool notify(QObject* receiver, QEvent* event) override {
    const LoopProgress::InEvent inEvent;
    return Application::notify(receiver, event);
  }
};

}  // namespace

std::unique_ptr<QCoreApplication> MakeApplication(bool windows) {
  if (!windows) {
    // Qt's own dispatcher costs about half of what GLib's does per wake.
    if (!qEnvironmentVariableIsSet("QT_NO_GLIB")) qputenv("QT_NO_GLIB", "1");
    return std::make_unique<WatchedApplication<QCoreApplication>>(argc, argv);
  }
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") && qEnvironmentVariableIsEmpty("DISPLAY") &&
      qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")) {
    throw apps::Failure(apps::kExitFailure,
                        "cannot show windows: no display (DISPLAY is not set); run it in a "
                        "desktop session or over ssh -X");
  }
  return std::make_unique<WatchedApplication<QApplication>>(argc, argv);
}

}  // namespace dam
