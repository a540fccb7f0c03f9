// Reading configuration files that an editor or a deployment tool may be writing.
#include "apps/dam/host/ConfigFile.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>

#include "apps/shared/Failures.h"
#include "tests/support/TempFolder.h"

namespace {

using namespace std::chrono_literals;

// A reload that caught a file truncated and half written took its few TEST lines, and the
// line saved other subgroups until the next reload. A file that goes on changing across
// the pause is refused; one written long ago is read at once, with no pause.
TEST(ConfigFile, AFileChangedJustNowIsReadAgainAfterOnePauseAndRefusedWhileItStillChanges) {
  testsupport::TempFolder folder;
  const std::string old = folder.File("old.cfg"), writing = folder.File("writing.cfg"),
                    written = folder.File("written.cfg");
  for (const std::string& file : {old, writing, written}) {
    std::ofstream(file) << "NAME=Line\nTEST=Fill\tWeight\t%TAG(W)\t\n\n";
  }
  const auto now = std::filesystem::file_time_type::clock::now();
  std::filesystem::last_write_time(old, now - 1h);
  // Ahead of the clock, so that they count as just written however slow the test runs.
  std::filesystem::last_write_time(writing, now + 1h);
  std::filesystem::last_write_time(written, now + 1h);
  int pauses = 0;
  const dam::Pause writerGoesOn = [&](std::chrono::milliseconds) {
    ++pauses;
    std::ofstream(writing, std::ios::app) << "TEST=Fill\tWidth\t%TAG(X)\t\n";
  };

  std::vector<dam::ConfigurationRead> reads = dam::ReadConfigurationFiles({old}, writerGoesOn);
  EXPECT_EQ(pauses, 0);
  EXPECT_EQ(reads[0].text, "NAME=Line\r\nTEST=Fill\tWeight\t%TAG(W)\t");

  reads =
      dam::ReadConfigurationFiles({writing, old, written, folder.File("none.cfg")}, writerGoesOn);
  EXPECT_EQ(pauses, 1);
  const auto failure = [](const dam::ConfigurationRead& read) -> std::string {
    if (!read.failure) return "read: " + read.text;
    try {
      std::rethrow_exception(read.failure);
    } catch (const apps::Failure& e) {
      return std::to_string(e.Code()) + " " + e.what();
    }
  };
  EXPECT_EQ(failure(reads[0]),
            "1 " + writing + " is being written; reload or run again once it is complete");
  for (const size_t i : {1, 2})
    EXPECT_EQ(reads[i].text, "NAME=Line\r\nTEST=Fill\tWeight\t%TAG(W)\t");
  EXPECT_EQ(failure(reads[3]), "6 there is no configuration file " + folder.File("none.cfg"));
}

}  // namespace
