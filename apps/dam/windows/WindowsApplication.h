// The Qt application of a dam command that shows windows. Windows need a display: a command
// that shows them fails with one plain sentence when there is none, where Qt would abort.
#pragma once

#include <QCoreApplication>
#include <memory>

namespace dam {

// A watched QApplication (see WatchedApplication), with the host's windows installed for its
// life (HostWindows.h). Fails with apps::Failure (exit 1) when no display is named.
std::unique_ptr<QCoreApplication> MakeWindowsApplication();

}  // namespace dam
