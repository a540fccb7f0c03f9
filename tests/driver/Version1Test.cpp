#include "driver/Version1.h"

#include <gtest/gtest.h>

#include "host/ComponentsWrapper.h"
#include "tests/runtime/ErrorOf.h"
#include "tests/support/FakeComponents.h"
#include "tests/support/FakeDriverHost.h"
#include "tests/support/ManualTimer.h"
#include "tests/support/TestClock.h"

namespace {

using testsupport::FakeParent;
using testsupport::FakeSession;

class Version1Test : public ::testing::Test {
 protected:
  Version1Test() {
    parent->hostSession->connection = "Driver=SQLite3;Database=/plant/spc.db";
    components.databaseSessionFactory = [this] { return driverSession; };
    components.timerFactory = [] { return std::make_unique<testsupport::ManualTimer>(); };
    EXPECT_EQ(version1->Initialize(parent, "Line 3"), host::kTrue);
  }
  // The last error shown, as "location number".
  std::string Shown() const {
    const auto& shown = components.shownErrors.back();
    return shown.location + " " + std::to_string(shown.number);
  }

  testsupport::TestClock clock{runtime::MakeDate({.year = 1980, .month = 1, .day = 2, .hour = 1})};
  testsupport::FakeComponents components;
  std::shared_ptr<FakeParent> parent = std::make_shared<FakeParent>();
  std::shared_ptr<FakeSession> driverSession = std::make_shared<FakeSession>();
  std::shared_ptr<driver::Version1> version1 =
      std::make_shared<driver::Version1>(components, driver::LoadWindowsLibrary);
};

TEST_F(Version1Test, InitializeOpensASessionOnTheHostsDatabaseOrShowsWhyNot) {
  EXPECT_EQ(driverSession->sessionNumber, 24 * 60 + 60);
  EXPECT_EQ(driverSession->connection, "Driver=SQLite3;Database=/plant/spc.db");
  EXPECT_EQ(driverSession->opened, std::make_pair(1, 0));
  EXPECT_TRUE(components.shownErrors.empty());

  // The host cannot make a session; everything else works.
  struct NoSessions : host::ComponentsWrapper {
    using ComponentsWrapper::ComponentsWrapper;
    std::shared_ptr<host::DatabaseSession> CreateDatabaseSession() override {
      throw runtime::Error(runtime::kCannotCreateObject);
    }
  } noSessions(components);
  EXPECT_EQ(driver::Version1(noSessions, driver::LoadWindowsLibrary).Initialize(parent, "x"),
            host::kFalse);
  ASSERT_EQ(components.shownErrors.size(), 1u);
  EXPECT_EQ(Shown(), "Version1.IDriver_Initialize 429");
  EXPECT_EQ(components.shownErrors[0].module, "oxaGEPDAD6");

  parent->hostSession = nullptr;
  EXPECT_EQ(driver::Version1(components, driver::LoadWindowsLibrary).Initialize(parent, "x"),
            host::kFalse);
  EXPECT_EQ(Shown(), "Version1.IDriver_Initialize 91");
  for (const auto& shown : components.shownErrors) {
    EXPECT_FALSE(shown.source.empty()) << shown.location << " " << shown.number;
  }
}

TEST_F(Version1Test, LoadTakesTheFirstLineAndRefusesEmptyData) {
  EXPECT_EQ(version1->Load(runtime::Variant(std::string("NAME=First"))), host::kTrue);
  EXPECT_EQ(version1->GetConfiguration().substr(0, 12), "NAME=First\r\n");
  EXPECT_EQ(version1->Load(runtime::Variant(std::string("NAME=Second\r\nNAME=Ignored"))),
            host::kTrue);
  EXPECT_EQ(version1->Name(), "Second");

  EXPECT_EQ(version1->Load(runtime::Variant(std::string())), host::kFalse);
  EXPECT_EQ(version1->Name(), "Second");
  EXPECT_EQ(Shown(), "Version1.IDriver_Load 9");
  EXPECT_EQ(version1->Load(runtime::Variant(runtime::Null)), host::kFalse);
  EXPECT_EQ(Shown(), "Version1.IDriver_Load 94");
}

TEST_F(Version1Test, StateChangesFollowTheEngineAndAreNotifiedOnce) {
  EXPECT_EQ(version1->StartDriver(), host::kFalse) << "inactive configuration";
  EXPECT_EQ(version1->StopDriver(), host::kFalse) << "no engine was created";
  ASSERT_EQ(components.shownErrors.size(), 1u);
  EXPECT_EQ(Shown(), "Version1.IDriver_StopDriver 91");
  EXPECT_EQ(components.shownErrors.back().source, "oxaGEPDAD6");
  EXPECT_TRUE(parent->states.empty());

  ASSERT_EQ(version1->Load(runtime::Variant(std::string("ACTIVE=1"))), host::kTrue);
  EXPECT_EQ(version1->StartDriver(), host::kTrue);
  EXPECT_EQ(version1->StopDriver(), host::kTrue);
  EXPECT_EQ(version1->StopDriver(), host::kFalse) << "the engine exists but is not running";
  EXPECT_EQ(components.shownErrors.size(), 1u);

  EXPECT_EQ(version1->PauseDriver(), host::kTrue);
  EXPECT_EQ(version1->PauseDriver(), host::kFalse);
  EXPECT_EQ(parent->states, (std::vector<int32_t>{3, 0, 5}));
}

// The windows library is looked for beside this program, which has none: a host without the
// package dam-gui.
TEST_F(Version1Test, WindowsWithoutTheirLibraryAreShownErrors) {
  EXPECT_EQ(version1->ShowActivity(), host::kFalse);
  EXPECT_EQ(Shown(), "Version1.IDriver_ShowActivity 429");
  EXPECT_NE(components.shownErrors.back().description.find("windows/oxaGEPDAD6-windows.so"),
            std::string::npos)
      << components.shownErrors.back().description;
  // The about box has no error handler: its failure reaches the host.
  const size_t shown = components.shownErrors.size();
  EXPECT_EQ(ErrorOf([&] { version1->ShowAbout(); }), runtime::kCannotCreateObject);
  EXPECT_EQ(components.shownErrors.size(), shown);
  host::Bool16 cancel = host::kFalse;
  version1->QueryUnload(cancel, 0);
  EXPECT_EQ(cancel, host::kFalse);
  EXPECT_EQ(components.beeps, 0);
}

}  // namespace
