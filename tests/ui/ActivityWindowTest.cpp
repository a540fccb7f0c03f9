// The activity window over a real engine collecting from an SQLite historian.
#include <QApplication>
#include <QTabWidget>
#include <QTest>
#include <QTreeWidget>
#include <map>

#include "platform/odbc/OdbcConnection.h"
#include "tests/engine/EngineFixture.h"
#include "tests/ui/ListText.h"
#include "ui/frmActivity.h"

namespace {

using enginetest::Lines;

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

  QTreeWidget& List(const char* name) { return *window.findChild<QTreeWidget*>(name); }
  Lines Rows(const char* name) { return uitest::Rows(List(name)); }
  // Every list's rows, general first.
  std::vector<Lines> AllRows() {
    return {Rows("lvwGeneral"), Rows("lvwDescriptors"), Rows("lvwTests"), Rows("lvwTagItems"),
            Rows("lvwConditions")};
  }

  ui::frmActivity window{components};
};

TEST_F(ActivityWindowTest, ListsFollowTheEngineFromStartThroughCollectionsAndErrors) {
  EXPECT_EQ(AllRows(), std::vector<Lines>(5)) << "empty before the first event";
  EXPECT_EQ(uitest::Headers(List("lvwGeneral")), (Lines{"Item", "Description"}));
  EXPECT_EQ(uitest::Headers(List("lvwDescriptors")), (Lines{"Descriptor", "Item", "Group"}));
  EXPECT_EQ(uitest::Headers(List("lvwTests")),
            (Lines{"Characteristic", "Group", "Value", "Defect"}));
  EXPECT_EQ(uitest::Headers(List("lvwTagItems")), (Lines{"Tag Name", "Value", "DateTime"}));
  EXPECT_EQ(uitest::Headers(List("lvwConditions")), (Lines{"Condition", "Results"}));

  Start();
  EXPECT_EQ(Rows("lvwGeneral"),
            (Lines{"Status | Running", "Subgroups Collected | 0", "Last Saved Subgroup | ----",
                   "Next Collection Time | 2024-05-01 10:15:00", "Last Error Time | ----",
                   "    Description | ----", "    Details | ----", "    Extended Details | ----"}));
  EXPECT_EQ(AllRows()[1], Lines{}) << "only the general list follows a start";

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
  EXPECT_EQ(general[4], "Last Error Time | " + runtime::FormatGeneralDate(engine.LastErrorTime()));
  EXPECT_EQ(general[5], "    Description | " + engine.LastErrorDescription());
  EXPECT_EQ(general[6], "    Details | " + engine.LastErrorDetail());
  EXPECT_EQ(general[7], "    Extended Details | " + (engine.LastErrorExtended().empty()
                                                         ? std::string("----")
                                                         : engine.LastErrorExtended()));
  EXPECT_EQ(Rows("lvwTagItems").size(), 3u);

  engine.StopEngine();
  EXPECT_EQ(Rows("lvwGeneral")[0], "Status | Stopped");
}

TEST_F(ActivityWindowTest, TagsTheHistorianDidNotReturnShowDashes) {
  Load({"TEST=Dims\tWidth\t%TAG(W)\t", "TEST=Dims\tGone\t%TAG(NOWHERE)\t"});
  Start();
  TickDue();
  EXPECT_EQ(Rows("lvwTagItems"), (Lines{"W | 2.5 | 2024-05-01 09:30:15", "NOWHERE | ---- | ----"}));
}

// Each event refreshes its own list and no other: a list that was refreshed no longer
// shows the stale text written into its first row.
TEST_F(ActivityWindowTest, EachEngineEventRefreshesExactlyItsList) {
  Start();
  TickDue();
  const char* lists[] = {"lvwGeneral", "lvwDescriptors", "lvwTests", "lvwTagItems",
                         "lvwConditions"};
  const struct {
    runtime::Event<>* event;
    const char* refreshed;
  } cases[] = {{&engine.EngineStarted, "lvwGeneral"},
               {&engine.EngineStopped, "lvwGeneral"},
               {&engine.CollectionError, "lvwGeneral"},
               {&engine.CollectionTimeSet, "lvwGeneral"},
               {&engine.SubgroupSaved, "lvwGeneral"},
               {&engine.DescriptorsRefreshed, "lvwDescriptors"},
               {&engine.TestsRefreshed, "lvwTests"},
               {&engine.TagsRefreshed, "lvwTagItems"},
               {&engine.ConditionsRefreshed, "lvwConditions"}};
  std::map<std::string, int> counts;
  for (const char* list : lists) counts[list] = List(list).topLevelItemCount();
  for (const auto& c : cases) {
    for (const char* list : lists) List(list).topLevelItem(0)->setText(1, "stale");
    c.event->Raise();
    for (const char* list : lists) {
      const bool stale = List(list).topLevelItem(0)->text(1) == "stale";
      EXPECT_EQ(stale, std::string(list) != c.refreshed)
          << list << " after the event refreshing " << c.refreshed;
      EXPECT_EQ(List(list).topLevelItemCount(), counts[list])
          << list << ": rows are replaced or updated in place, never added twice";
    }
  }
}

TEST_F(ActivityWindowTest, TabsShowTheirOwnListAndResizingKeepsThemFitted) {
  const struct {
    const char* key;
    const char* list;
  } tabs[] = {{"TESTS", "lvwTests"},
              {"TAGITEMS", "lvwTagItems"},
              {"CONDITIONS", "lvwConditions"},
              {"DESCRIPTORS", "lvwDescriptors"},
              {"GENERAL", "lvwGeneral"}};
  for (const auto& tab : tabs) {
    window.SelectTab(tab.key);
    for (const auto& other : tabs) {
      EXPECT_EQ(List(other.list).isVisible(), other.list == tab.list)
          << other.list << " with tab " << tab.key;
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
