// The windows need one QApplication for the whole program. CTest runs it offscreen; so does
// test discovery and a plain run, which have no display either.
#include <gtest/gtest.h>

#include <QApplication>

int main(int argc, char** argv) {
  if (qgetenv("QT_QPA_PLATFORM").isEmpty()) qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication application(argc, argv);
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
