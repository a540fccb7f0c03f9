// The activity window over a real engine collecting from an SQLite historian.
#include <map>

#include "platform/odbc/OdbcConnection.h"
#include "tests/engine/EngineFixture.h"
#include "tests/support/DialogDriving.h"
#include "ui/frmActivity.h"

namespace {

using enginetest::Lines;

const char* const kLists[] = {"lvwGeneral", "lvwDescriptors", "lvwTests", "lvwTagItems",
                              "lvwConditions"};

class ActivityWindowTest : public enginetest::EngineTest {
 protected:
  ActivityWindowTest() {
    SetValue("PART", "P-100", "2024-05-01 09:30:00");
    SetValue("LOT", "L-7", "2024-05-01 09:30:00");
    SetValue("W", "2.5", "2024-05-01 09:30:15");
    Load({"DESCRIPTOR=1\tParts\t%TAG(PART)", "DESCRIPTOR=4\t\t%TAG(LOT)",
          "TEST=Dims\tWidth\t%TAG(W)\t", "TEST=Dims\tHeight\t%TAG(W)\tscratch",
          "CONDITION=0\t%TAG(W)\t2\t1"});
    window.SetConfiguration(configuration);
    window.SetEngine(&engine);
    window.show();
  }

  QTreeWidget& List(const char* name) { return uitest::Control<QTreeWidget>(window, name); }
  Lines Rows(const char* name) { return uitest::Rows(List(name)); }
  // Every list of `form`, in the order of kLists.
  static std::vector<Lines> AllRows(const QWidget& form) {
    std::vector<Lines> rows;
    for (const char* list : kLists)
      rows.push_back(uitest::Rows(uitest::Control<QTreeWidget>(form, list)));
    return rows;
  }

  ui::frmActivity window{components};
};

TEST_F(ActivityWindowTest, ListsFollowTheEngineFromStartThroughCollectionsAndErrors) {
  EXPECT_EQ(AllRows(window), std::vector<Lines>(std::size(kLists))) << "before the first event";

  Start();
  EXPECT_EQ(Rows("lvwGeneral"),
            (Lines{"Status | Running", "Subgroups Collected | 0", "Last Saved Subgroup | ----",
                   "Next Collection Time | 2024-05-01 10:15:00", "Last Error Time | ----",
                   "    Description | ----", "    Details | ----", "    Extended Details | ----"}));
  EXPECT_EQ(Rows("lvwDescriptors"), Lines{}) << "only the general list follows a start";

  TickDue();
  EXPECT_EQ(Rows("lvwGeneral"),
            (Lines{"Status | Running", "Subgroups Collected | 1",
                   "Last Saved Subgroup | 2024-05-01 10:15:00",
                   "Next Collection Time | 2024-05-01 10:30:00", "Last Error Time | ----",
                   "    Description | ----", "    Details | ----", "    Extended Details | ----"}));
  EXPECT_EQ(Rows("lvwDescriptors"), (Lines{"Part | P-100 | Parts", "Lot | L-7 | ----"}));
  EXPECT_EQ(Rows("lvwTests"),
            (Lines{"Width | Dims | 2.5 | ----", "Height | Dims | 2.5 | scratch"}));
  EXPECT_EQ(Rows("lvwTagItems"),
            (Lines{"PART | P-100 | 2024-05-01 09:30:00", "LOT | L-7 | 2024-05-01 09:30:00",
                   "W | 2.5 | 2024-05-01 09:30:15"}));
  EXPECT_EQ(Rows("lvwConditions"), (Lines{"(%TAG(W) = 2.5) > (1 = 1) | True"}));

  // A failing collection: the historian loses its table; the error rows fill in, the tag
  // rows are updated in place, never repeated.
  platform::OdbcConnection historianDb;
  historianDb.Open(historian, "", "");
  historianDb.Execute("DROP TABLE ihRawData");
  TickDue();
  const Lines general = Rows("lvwGeneral");
  ASSERT_EQ(general.size(), 8u);
  const std::string extended = engine.LastErrorExtended();
  EXPECT_EQ(Lines(general.begin() + 4, general.end()),
            (Lines{"Last Error Time | " + runtime::FormatGeneralDate(engine.LastErrorTime()),
                   "    Description | " + engine.LastErrorDescription(),
                   "    Details | " + engine.LastErrorDetail(),
                   "    Extended Details | " + (extended.empty() ? "----" : extended)}));
  EXPECT_EQ(Rows("lvwTagItems").size(), 3u);

  engine.StopEngine();
  EXPECT_EQ(Rows("lvwGeneral")[0], "Status | Stopped");
}

// Not at the next engine event, which may be an hour away.
TEST_F(ActivityWindowTest, AWindowGivenARunningEngineShowsItAtOnce) {
  const auto opened = [this] {
    ui::frmActivity late(components);
    late.SetConfiguration(configuration);
    late.SetEngine(&engine);
    late.show();
    return AllRows(late);
  };
  const std::vector<Lines> empty(std::size(kLists));
  EXPECT_EQ(opened(), empty) << "an engine never started";
  Start();
  std::vector<Lines> generalOnly = empty;
  generalOnly[0] = Rows("lvwGeneral");
  EXPECT_EQ(opened(), generalOnly) << "no collection yet";
  TickDue();
  EXPECT_EQ(opened(), AllRows(window));
  engine.StopEngine();
  EXPECT_EQ(opened(), empty) << "a stopped engine";
}

TEST_F(ActivityWindowTest, TagsTheHistorianDidNotReturnShowDashes) {
  Load({"TEST=Dims\tWidth\t%TAG(W)\t", "TEST=Dims\tGone\t%TAG(NOWHERE)\t"});
  Start();
  TickDue();
  EXPECT_EQ(Rows("lvwTagItems"), (Lines{"W | 2.5 | 2024-05-01 09:30:15", "NOWHERE | ---- | ----"}));
}

// Each event refreshes its own list and no other: a list that was refreshed no longer
// shows the stale text written into its first row. Rows are written in place, so the row a
// user selected stays selected. A closed window refreshes nothing until it is shown again.
TEST_F(ActivityWindowTest, EachEngineEventRefreshesExactlyItsList) {
  Start();
  TickDue();
  // The events of each list, in the order of kLists.
  const std::vector<std::vector<runtime::Event<>*>> events = {
      {&engine.EngineStarted, &engine.EngineStopped, &engine.CollectionError,
       &engine.CollectionTimeSet, &engine.SubgroupSaved},
      {&engine.DescriptorsRefreshed},
      {&engine.TestsRefreshed},
      {&engine.TagsRefreshed},
      {&engine.ConditionsRefreshed}};
  std::map<std::string, int> counts;
  for (const char* list : kLists) {
    counts[list] = List(list).topLevelItemCount();
    List(list).setCurrentItem(List(list).topLevelItem(counts[list] - 1));
  }
  const auto stale = [this](const char* list) {
    return List(list).topLevelItem(0)->text(1) == "stale";
  };
  for (size_t refreshed = 0; refreshed < events.size(); ++refreshed) {
    for (runtime::Event<>* event : events[refreshed]) {
      for (const char* list : kLists) List(list).topLevelItem(0)->setText(1, "stale");
      event->Raise();
      for (const char* list : kLists) {
        EXPECT_EQ(stale(list), list != kLists[refreshed])
            << list << " after the event refreshing " << kLists[refreshed];
        EXPECT_EQ(List(list).topLevelItemCount(), counts[list])
            << list << ": rows are replaced or updated in place, never added twice";
        EXPECT_EQ(List(list).indexOfTopLevelItem(List(list).currentItem()), counts[list] - 1)
            << list << ": the selected row stays selected";
      }
    }
  }

  window.close();
  for (const char* list : kLists) List(list).topLevelItem(0)->setText(1, "stale");
  for (const auto& listEvents : events) {
    for (runtime::Event<>* event : listEvents) event->Raise();
  }
  for (const char* list : kLists) EXPECT_TRUE(stale(list)) << list << " while closed";
  window.show();
  for (const char* list : kLists) EXPECT_FALSE(stale(list)) << list << " shown again";
}

TEST_F(ActivityWindowTest, TabsShowTheirOwnListAndResizingKeepsThemFitted) {
  const char* const keys[] = {"GENERAL", "DESCRIPTORS", "TESTS", "TAGITEMS", "CONDITIONS"};
  for (const int tab : {2, 3, 4, 1, 0}) {
    window.SelectTab(keys[tab]);
    for (const char* list : kLists) {
      EXPECT_EQ(List(list).isVisible(), list == kLists[tab]) << list << " with tab " << keys[tab];
    }
  }
  auto* strip = window.findChild<QTabWidget*>("TabStrip1");
  for (const QSize size : {QSize(900, 600), QSize(300, 200)}) {
    window.resize(size);
    QApplication::processEvents();
    EXPECT_GE(strip->width(), size.width() - 30);
    EXPECT_GE(strip->height(), size.height() - 30);
    EXPECT_GE(List("lvwGeneral").width(), size.width() - 60);
  }
}

}  // namespace
