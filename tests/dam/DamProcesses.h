// Runs the real programs (dam, histsim) in a folder of their own: every folder dam uses
// points into it, and the driver module is registered there.
#pragma once

#include <gtest/gtest.h>

#include <QProcess>
#include <QProcessEnvironment>
#include <QStringList>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "tests/support/TempFolder.h"

namespace damtest {

class DamProcesses : public ::testing::Test {
 protected:
  DamProcesses();

  // stderr goes with stdout unless `channels` keeps them apart.
  std::unique_ptr<QProcess> Start(const char* program, const QStringList& args,
                                  QProcess::ProcessChannelMode channels = QProcess::MergedChannels);
  // Runs to the end: the exit code and the output, stderr included.
  std::pair<int, std::string> Run(const char* program, const QStringList& args);
  // The collection log as it stands.
  std::string Log() const;
  // SIGTERM: dam stops the driver and ends within two seconds, whatever it was doing.
  static void Terminate(QProcess& run);
  // Waits up to `seconds` for `done`, checking ten times a second.
  static bool WaitFor(const std::function<bool()>& done, int seconds);

  testsupport::TempFolder work_;
  QProcessEnvironment environment_ = QProcessEnvironment::systemEnvironment();
};

}  // namespace damtest
