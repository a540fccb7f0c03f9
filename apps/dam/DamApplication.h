// The Qt application a dam command runs on. Windows need a display: a command that shows
// them fails with one plain sentence when there is none, where Qt would abort.
#pragma once

#include <QCoreApplication>
#include <memory>

namespace dam {

// A QApplication when `windows`, else a QCoreApplication on Qt's own event dispatcher;
// either marks the events it delivers for LoopProgress. Fails with apps::Failure (exit 1)
// when windows are asked for and no display is named.
std::unique_ptr<QCoreApplication> MakeApplication(bool windows);

}  // namespace dam
