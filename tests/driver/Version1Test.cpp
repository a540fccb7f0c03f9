#include "driver/Version1.h"

#include <gtest/gtest.h>

#include "driver/VersionInfo.h"
#include "runtime/Clock.h"
#include "tests/support/FakeComponents.h"

namespace {

using testsupport::FakeComponents;

class FixedClock : public runtime::Clock {
 public:
  runtime::Date Now() const override { return now; }
  runtime::Date now = runtime::MakeDate({.year = 1980, .month = 1, .day = 2, .hour = 1});
};

class FakeSettings : public host::DatabaseSettings {
 public:
  std::string Connection() const override { return connection; }
  void SetConnection(const std::string& value) override { connection = value; }
  std::string connection;
};

class FakeSession : public host::DatabaseSession {
 public:
  void Initialize(int32_t number) override { sessionNumber = number; }
  host::DatabaseSettings& Settings() override { return settings; }
  void Open(int32_t mode, int32_t options) override { opened = {mode, options}; }
  int32_t sessionNumber = -1;
  std::pair<int32_t, int32_t> opened{-1, -1};
  FakeSettings settings;
};

class FakeParent : public host::DriverParent,
                   public host::HostNotify,
                   public host::ApplicationDatabase {
 public:
  std::shared_ptr<host::ApplicationDatabase> Database() override {
    return std::shared_ptr<host::ApplicationDatabase>(shared_from_parent(), this);
  }
  std::shared_ptr<host::DatabaseSession> Session() override { return hostSession; }
  void StateChanged(host::IDriver& driver) override { states.push_back(driver.State()); }
  void ConfigurationChanged(host::IDriver&) override { ++configurationChanges; }

  std::shared_ptr<FakeParent> shared_from_parent() { return self.lock(); }
  std::weak_ptr<FakeParent> self;
  std::shared_ptr<FakeSession> hostSession = std::make_shared<FakeSession>();
  std::vector<int32_t> states;
  int configurationChanges = 0;
};

class QuietTimer : public host::HostTimer {
 public:
  void StartTimer(int32_t) override {}
  void StopTimer() override {}
};

class Version1Test : public ::testing::Test {
 protected:
  Version1Test() {
    parent->self = parent;
    parent->hostSession->settings.connection = "Driver=SQLite3;Database=/plant/spc.db";
    components.databaseSessionFactory = [this] { return driverSession; };
    components.timerFactory = [] { return std::make_unique<QuietTimer>(); };
  }

  std::shared_ptr<driver::Version1> Initialized(const std::string& name = "Line 3") {
    auto version1 = std::make_shared<driver::Version1>(components);
    EXPECT_EQ(version1->Initialize(parent, name), host::kTrue);
    return version1;
  }

  FixedClock clock;
  runtime::ScopedClock scopedClock{clock};
  FakeComponents components;
  std::shared_ptr<FakeParent> parent = std::make_shared<FakeParent>();
  std::shared_ptr<FakeSession> driverSession = std::make_shared<FakeSession>();
};

TEST_F(Version1Test, InitializeOpensASessionOnTheHostsDatabase) {
  auto version1 = Initialized();
  EXPECT_EQ(version1->Parent(), parent);
  EXPECT_EQ(version1->Name(), "Line 3");
  EXPECT_EQ(version1->State(), 0);
  EXPECT_EQ(driverSession->sessionNumber, 24 * 60 + 60);
  EXPECT_EQ(driverSession->settings.connection, "Driver=SQLite3;Database=/plant/spc.db");
  EXPECT_EQ(driverSession->opened, std::make_pair(1, 0));
  EXPECT_EQ(version1->ProductName(), driver::kProductName);
  EXPECT_TRUE(components.shownErrors.empty());
}

TEST_F(Version1Test, InitializeFailuresAreShownAndReturnFalse) {
  components.databaseSessionFactory = nullptr;
  driver::Version1 noDatabase(components);
  EXPECT_EQ(noDatabase.Initialize(parent, "x"), host::kFalse);
  ASSERT_EQ(components.shownErrors.size(), 1u);
  EXPECT_EQ(components.shownErrors[0].location, "Version1.IDriver_Initialize");
  EXPECT_EQ(components.shownErrors[0].number, 429);
  EXPECT_EQ(components.shownErrors[0].source, "Version1.InitializeDatabaseObject");
  EXPECT_EQ(components.shownErrors[0].module, "oxaGEPDAD6");

  components.databaseSessionFactory = [this] { return driverSession; };
  parent->hostSession = nullptr;
  driver::Version1 noHostSession(components);
  EXPECT_EQ(noHostSession.Initialize(parent, "x"), host::kFalse);
  EXPECT_EQ(components.shownErrors.back().number, 91);
}

TEST_F(Version1Test, LoadTakesTheFirstLineAndRefusesEmptyData) {
  auto version1 = Initialized();
  EXPECT_EQ(version1->Load(runtime::Variant(std::string("NAME=First"))), host::kTrue);
  EXPECT_EQ(version1->Name(), "First");
  EXPECT_EQ(version1->GetConfiguration().substr(0, 12), "NAME=First\r\n");

  EXPECT_EQ(version1->Load(runtime::Variant(std::string("NAME=Second\r\nNAME=Ignored"))),
            host::kTrue);
  EXPECT_EQ(version1->Name(), "Second");

  EXPECT_EQ(version1->Load(runtime::Variant(std::string())), host::kFalse);
  EXPECT_EQ(version1->Name(), "Second");
  ASSERT_EQ(components.shownErrors.size(), 1u);
  EXPECT_EQ(components.shownErrors[0].location, "Version1.IDriver_Load");
  EXPECT_EQ(components.shownErrors[0].number, 9);

  EXPECT_EQ(version1->Load(runtime::Variant(runtime::Null)), host::kFalse);
  EXPECT_EQ(components.shownErrors.back().number, 94);
}

TEST_F(Version1Test, StartAndStopFollowTheEngine) {
  auto version1 = Initialized();
  EXPECT_EQ(version1->StartDriver(), host::kFalse) << "inactive configuration";
  EXPECT_EQ(version1->StopDriver(), host::kFalse) << "no engine was created";
  ASSERT_EQ(components.shownErrors.size(), 1u);
  EXPECT_EQ(components.shownErrors[0].location, "Version1.IDriver_StopDriver");
  EXPECT_EQ(components.shownErrors[0].number, 91);
  EXPECT_TRUE(parent->states.empty());

  ASSERT_EQ(version1->Load(runtime::Variant(std::string("ACTIVE=1"))), host::kTrue);
  EXPECT_EQ(version1->StartDriver(), host::kTrue);
  EXPECT_EQ(version1->State(), driver::kRunning);
  EXPECT_EQ(version1->StopDriver(), host::kTrue);
  EXPECT_EQ(version1->State(), driver::kStopped);
  EXPECT_EQ(parent->states, (std::vector<int32_t>{3, 0})) << "the stop is notified once";

  EXPECT_EQ(version1->StopDriver(), host::kFalse) << "the engine exists but is not running";
  EXPECT_EQ(parent->states.size(), 2u);
  EXPECT_EQ(components.shownErrors.size(), 1u);
}

TEST_F(Version1Test, PauseNotifiesOnceAndPropertiesAreIgnored) {
  auto version1 = Initialized();
  EXPECT_EQ(version1->PauseDriver(), host::kTrue);
  EXPECT_EQ(version1->PauseDriver(), host::kFalse);
  EXPECT_EQ(parent->states, std::vector<int32_t>{5});

  version1->LetProperty(runtime::Variant("Anything"), runtime::Variant(42));
  version1->SetProperty(runtime::Variant("Anything"), parent);
  EXPECT_TRUE(version1->Property(runtime::Variant("Anything")).IsEmpty());

  host::Bool16 cancel = host::kFalse;
  version1->QueryUnload(cancel, 0);
  EXPECT_EQ(cancel, host::kFalse);
  EXPECT_EQ(components.beeps, 0);
  version1->Unload();
  EXPECT_EQ(version1->Parent(), nullptr);
  EXPECT_EQ(version1->Name(), "Line 3") << "unloading keeps the configuration";
}

}  // namespace
