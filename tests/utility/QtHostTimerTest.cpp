#include "platform/utility/QtHostTimer.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QThread>
#include <QTimer>

namespace {

TEST(QtHostTimerTest, TicksArriveOnTheOwningThreadsEventLoopUntilStopped) {
  int argc = 1;
  char name[] = "test_utility";
  char* argv[] = {name, nullptr};
  QCoreApplication app(argc, argv);

  platform::QtHostTimer timer;
  int ticks = 0;
  bool onOwner = true;
  runtime::Subscription subscription = timer.OnTimer.Subscribe([&] {
    onOwner = onOwner && QThread::currentThread() == app.thread();
    if (++ticks == 3) {
      timer.StopTimer();
      QTimer::singleShot(50, &app, &QCoreApplication::quit);  // time for a wrong fourth tick
    }
  });
  QTimer::singleShot(5000, &app, &QCoreApplication::quit);
  timer.StartTimer(10);
  app.exec();

  EXPECT_EQ(ticks, 3);
  EXPECT_TRUE(onOwner);
}

}  // namespace
