// The Qt application of a dam command without windows, and the arguments every Qt application
// of dam is given: Qt keeps them for the application's life.
#pragma once

#include <QCoreApplication>
#include <memory>

namespace dam {

inline int qtArgumentCount = 1;
inline char qtProgramName[] = "dam";
inline char* qtArguments[] = {qtProgramName, nullptr};

// A QCoreApplication on Qt's own event dispatcher.
std::unique_ptr<QCoreApplication> MakeHeadlessApplication();

}  // namespace dam
