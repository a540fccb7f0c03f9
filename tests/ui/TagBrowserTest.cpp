// The tag browser on real SQLite historians through the SQLite3 ODBC driver.
#include <filesystem>

#include "platform/odbc/OdbcConnection.h"
#include "tests/support/DialogDriving.h"
#include "tests/support/FakeComponents.h"
#include "tests/support/Historian.h"
#include "ui/SelectTag.h"
#include "ui/frmTagSetup.h"

namespace {

using uitest::Control;
using uitest::Lines;

const Lines kTags = {"Line1.Temp", "Line1.Press", "line2.flow", "Quote'Tag",
                     "Abc.Weight", "x.abc.y",     "Line1.Temp"};
// Sorted, the repeated name once.
const Lines kListed = {"Abc.Weight", "Line1.Press", "Line1.Temp",
                       "Quote'Tag",  "line2.flow",  "x.abc.y"};

class TagBrowserTest : public ::testing::Test {
 protected:
  TagBrowserTest() {
    platform::OdbcConnection connection;
    connection.Open(historian, "", "");
    for (const std::string& tag : kTags) {
      connection.Execute("INSERT INTO ihTags VALUES (?)", std::vector<runtime::Variant>{tag});
    }
  }

  // A browser on `link` opened with `value`, loaded and shown.
  std::unique_ptr<ui::frmTagSetup> Open(const std::string& link, const std::string& value) {
    auto form = std::make_unique<ui::frmTagSetup>(components);
    form->SetDataLink(link);
    form->SetValue(value);
    form->Form_Load();
    uitest::ShowActive(*form);
    return form;
  }
  static QTreeWidget& List(QWidget& form) { return Control<QTreeWidget>(form, "ListView1"); }
  static std::string Selected(ui::frmTagSetup& form) {
    const auto selected = List(form).selectedItems();
    return selected.isEmpty() ? "" : selected.front()->text(0).toStdString();
  }
  static bool OkEnabled(ui::frmTagSetup& form) { return uitest::Enabled(form, "OKButton"); }
  // Types `filter` over the filter box's text, reached by its accelerator, and presses Enter,
  // which refreshes while the box has the focus.
  static void Filter(ui::frmTagSetup& form, const QString& filter) {
    uitest::Press(form, "A>txtFilter");
    QWidget* box = QApplication::focusWidget();
    QApplication::processEvents();
    if (filter.isEmpty()) QTest::keyClick(box, Qt::Key_Delete);
    QTest::keyClicks(box, filter);
    QTest::keyClick(box, Qt::Key_Return);
  }
  std::string Position(const char* key) {
    return components.OpenSettingsFile(ui::frmTagSetup::PositionFile(components))
        ->ReadString("TagSelect", key, "");
  }

  testsupport::FakeComponents components;
  std::string historian = testsupport::CreateSqliteDatabase(components.Root().File("historian.db"),
                                                            testsupport::kHistorianTables);
};

TEST_F(TagBrowserTest, OpensSortedWithTheTypeAndTagOfTheGivenValueSelected) {
  const struct {
    std::string value, type, selected;
  } cases[] = {
      {"", "Value", "Abc.Weight"},
      {"Lot %TAG( DATE , line2.flow ) and %TAG(Value, Line1.Temp)", "Date", "line2.flow"},
      {"%TAG(Size, Line1.Temp)", "Value", "Line1.Temp"},
      {"%TAG(Value, line1.temp)", "Value", "Abc.Weight"},  // keys match exactly
      {"%TAG(Value, Gone)", "Value", "Abc.Weight"},
  };
  for (const auto& c : cases) {
    auto form = Open(historian, c.value);
    EXPECT_EQ(uitest::Rows(List(*form)), kListed);
    EXPECT_EQ(Control<QComboBox>(*form, "cboType").currentText().toStdString(), c.type) << c.value;
    EXPECT_EQ(Selected(*form), c.selected) << c.value;
    EXPECT_TRUE(OkEnabled(*form));
    EXPECT_EQ(QApplication::focusWidget(), &List(*form)) << "on the preselected row";
  }
  // So Enter takes the row given.
  auto form = Open(historian, "%TAG(date, line2.flow)");
  QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
  EXPECT_TRUE(form->OKPressed());
  EXPECT_EQ(form->Value(), "%TAG(Date, line2.flow)");
}

TEST_F(TagBrowserTest, TheFilterIsBoundSoQuotesAreOrdinaryCharacters) {
  auto form = Open(historian, "%TAG(Value, Line1.Temp)");
  const struct {
    QString filter;
    Lines rows;
    std::string selected;
  } cases[] = {
      {"abc", {"Abc.Weight", "x.abc.y"}, "Abc.Weight"},  // SQLite's LIKE ignores ASCII case
      {"LINE1", {"Line1.Press", "Line1.Temp"}, "Line1.Temp"},     {"'", {"Quote'Tag"}, "Quote'Tag"},
      {"%'; DROP TABLE ihTags; --", {"<No Tags Available>"}, ""}, {"", kListed, "Line1.Temp"},
  };
  for (const auto& c : cases) {
    Filter(*form, c.filter);
    EXPECT_EQ(uitest::Rows(List(*form)), c.rows) << c.filter.toStdString();
    EXPECT_EQ(Selected(*form), c.selected) << c.filter.toStdString();
    EXPECT_EQ(OkEnabled(*form), !c.selected.empty()) << c.filter.toStdString();
    EXPECT_TRUE(form->isVisible()) << "Enter in the filter refreshes, it does not press OK";
  }
  platform::OdbcConnection connection;
  connection.Open(historian, "", "");
  EXPECT_EQ(runtime::ToLong(connection.Execute("SELECT COUNT(*) AS N FROM ihTags")->Field("N")),
            int64_t(kTags.size()))
      << "the historian's table is intact";

  // The filter's text is selected as it gets the focus; leaving it makes OK the default.
  QLineEdit& box = uitest::Box(*form, "txtFilter");
  box.setText("Line");
  List(*form).setFocus();
  EXPECT_TRUE(Control<QPushButton>(*form, "OKButton").isDefault());
  QTest::keyClick(form.get(), Qt::Key_A, Qt::AltModifier);
  QApplication::processEvents();
  EXPECT_EQ(box.selectedText(), "Line");
  EXPECT_TRUE(Control<QPushButton>(*form, "bnRefresh").isDefault());
}

TEST_F(TagBrowserTest, FailuresShowOnePlaceholderRowWithOkDisabled) {
  const std::string noTable = testsupport::CreateSqliteDatabase(
      components.Root().File("other.db"), {"CREATE TABLE Something (A TEXT)"});
  const std::string noTags = testsupport::CreateSqliteDatabase(components.Root().File("empty.db"),
                                                               testsupport::kHistorianTables);
  const struct {
    std::string link, row;
    bool tooltip;
  } cases[] = {
      {"Driver=NoSuchOdbcDriver;Database=x", "<Connection Error>", true},
      {noTable, "<Tag Access Error>", true},
      {noTags, "<No Tags Available>", false},
  };
  for (const auto& c : cases) {
    auto form = Open(c.link, "%TAG(Value, Line1.Temp)");
    QTreeWidget& list = List(*form);
    EXPECT_EQ(uitest::Rows(list), Lines{c.row});
    EXPECT_FALSE(OkEnabled(*form)) << c.row;
    EXPECT_EQ(list.toolTip().isEmpty(), !c.tooltip)
        << c.row << ": " << list.toolTip().toStdString();
    EXPECT_TRUE(components.shownErrors.empty()) << "shown in the list, not in a message box";

    // Double-clicking the placeholder reaches nothing.
    list.setCurrentItem(list.topLevelItem(0));
    uitest::DoubleClick(list, 0);
    EXPECT_EQ(std::tuple(form->isVisible(), form->OKPressed(), form->Value(), components.beeps),
              std::tuple(true, false, "%TAG(Value, Line1.Temp)", 0))
        << c.row;
  }
}

TEST_F(TagBrowserTest, SelectTagBuildsTheExpressionOnOkAndNoRowBeeps) {
  config::Configuration1 configuration(components);
  configuration.SetDataLink(historian);
  uitest::WhenModal([&](QDialog& form) {
    auto& list = List(form);
    list.clearSelection();
    uitest::Click(form, "OKButton");
    EXPECT_EQ(components.beeps, 1);
    EXPECT_TRUE(form.isVisible());
    Control<QComboBox>(form, "cboType").setCurrentText("Date");
    uitest::DoubleClick(list, list.indexOfTopLevelItem(list.findItems("Line1.Press", {})[0]));
  });
  std::string text = "%TAG(Value, Line1.Temp)";
  EXPECT_TRUE(ui::SelectTag(components, configuration, text));
  EXPECT_EQ(text, "%TAG(Date, Line1.Press)");

  // OK on the tag and type given keeps the text; Cancel keeps it whatever was chosen.
  for (const char* button : {"OKButton", "CancelButton"}) {
    uitest::WhenModal([&](QDialog& form) {
      if (std::string(button) == "CancelButton") {
        Control<QComboBox>(form, "cboType").setCurrentIndex(0);
      }
      uitest::Click(form, button);
    });
    text = "%TAG(Date, line2.flow)";
    EXPECT_EQ(ui::SelectTag(components, configuration, text), std::string(button) == "OKButton");
    EXPECT_EQ(text, "%TAG(Date, line2.flow)");
  }
}

TEST_F(TagBrowserTest, PositionIsSavedOnEveryCloseAndRestoredOnlyWithAWidth) {
  auto form = Open(historian, "");
  const QSize designed = form->size();
  form->move(40, 60);
  form->resize(500, 480);
  uitest::Click(*form, "CancelButton");
  const int twips = 1440 / form->logicalDpiX();
  EXPECT_EQ(Position("Width"), std::to_string(500 * twips));
  EXPECT_EQ(Position("Height"), std::to_string(480 * twips));
  EXPECT_EQ(Position("Left"), std::to_string(form->x() * twips));

  form = Open(historian, "");
  EXPECT_EQ(form->size(), QSize(500, 480)) << "restored";
  form->resize(450, 470);
  uitest::Click(*form, "OKButton");
  EXPECT_EQ(Position("Width"), std::to_string(450 * twips)) << "saved on OK as well";

  auto settings = components.OpenSettingsFile(ui::frmTagSetup::PositionFile(components));
  settings->WriteString("TagSelect", "Width", "0");
  settings->WriteString("TagSelect", "Height", "9000");
  form = Open(historian, "");
  EXPECT_EQ(form->size(), designed) << "a width of 0 keeps the designed size";
  form->close();
  EXPECT_EQ(Position("Width"), std::to_string(designed.width() * twips)) << "the close box saves";

  // A position file that can be neither read nor written costs only the position.
  std::filesystem::remove(ui::frmTagSetup::PositionFile(components));
  std::filesystem::create_directory(ui::frmTagSetup::PositionFile(components));
  form = Open(historian, "");
  EXPECT_EQ(form->size(), designed);
  form->close();
  EXPECT_FALSE(form->isVisible());
  EXPECT_TRUE(components.shownErrors.empty());
}

}  // namespace
