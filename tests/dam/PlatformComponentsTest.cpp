#include "platform/components/PlatformComponents.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

#include "platform/spcdb/SpcSession.h"
#include "tests/support/TempFolder.h"

namespace {

bool StrictTestsOfANewSession() {
  platform::PlatformComponents components;
  auto session =
      std::dynamic_pointer_cast<platform::SpcSession>(components.CreateDatabaseSession());
  return session->Settings().StrictTests();
}

TEST(PlatformComponents, TheHostSettingMakesEverySessionStrict) {
  testsupport::TempFolder settings;
  setenv("DAM_SETTINGS_DIR", settings.Path().c_str(), 1);
  EXPECT_FALSE(StrictTestsOfANewSession());
  std::ofstream(settings.File("dam.ini")) << "[Database]\r\nStrictTests=1\r\n";
  EXPECT_TRUE(StrictTestsOfANewSession());
  unsetenv("DAM_SETTINGS_DIR");
}

}  // namespace
