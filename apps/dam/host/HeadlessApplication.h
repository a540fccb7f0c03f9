// The Qt application of a dam command without windows, and the arguments every Qt application
// of dam is given: Qt keeps them for the application's life.
#pragma once

#include <QCoreApplication>
#include <memory>

#include "apps/dam/host/LoopProgress.h"

namespace dam {

inline int qtArgumentCount = 1;
inline char qtProgramName[] = "dam";
inline char* qtArguments[] = {qtProgramName, nullptr};

// A Qt application that marks every event it delivers, on any thread, for LoopProgress: a
// watched loop is inside one while it runs.
template <class Application>
class WatchedApplication : public Application {
 public:
  using Application::Application;
  bool notify(QObject* receiver, QEvent* event) override {
    const LoopProgress::InEvent inEvent;
    return Application::notify(receiver, event);
  }
};

// A watched QCoreApplication on Qt's own event dispatcher.
std::unique_ptr<QCoreApplication> MakeHeadlessApplication();

}  // namespace dam
