// The windows need one QApplication for the whole program, and the host's windows installed.
// CTest runs it offscreen; so does test discovery and a plain run, which have no display
// either.
#include <gtest/gtest.h>

#include <QApplication>

#include "platform/windows/QtHostWindows.h"

int main(int argc, char** argv) {
  if (qgetenv("QT_QPA_PLATFORM").isEmpty()) qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication application(argc, argv);
  platform::QtHostWindows windows;
  platform::InstallHostWindows(&windows);
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
