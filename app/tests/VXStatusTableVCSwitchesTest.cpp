// The switches and titles that VXStatusTableVC takes from its bundles.

#include "app/tests/TableController.h"
#include "logview/table/LogTableView.h"

namespace veltra {
namespace {

/// A controller whose log contains an info, a warning and an error.
class VXStatusTableVCSwitchesTest : public TableControllerTest {
  protected:
    VXStatusTableVCSwitchesTest()
    {
        folder().write("vxsvc_1.log", logLine("Info", "the first of a pass") +
                                          logLine("Info", "i") + logLine("Warning", "w") +
                                          logLine("Error", "e Info:"));
    }

    const Lines all{logRow("Info", "i"), logRow("Warning", "w"), logRow("Error", "e Info:")};
    const Lines withoutWarning{logRow("Info", "i"), logRow("Error", "e Info:")};

    bool hidesComponents(const std::shared_ptr<Bundle>& bundle)
    {
        LogTableView view;
        VXStatusTableVC& controller = start(bundle);
        controller.setTableview(&view);
        controller.awakeFromNib();
        return view.isColumnHidden(LogTableModel::componentColumn);
    }
};

TEST_F(VXStatusTableVCSwitchesTest, ShowsWarningsWhenAllLogsAreSwitchedOn)
{
    start(TestBundle{textEntry("SHOWALLLOGS", "YES")}.open());

    EXPECT_EQ(table(), all);
}

TEST_F(VXStatusTableVCSwitchesTest, ShowsNoWarningsForAnyOtherValue)
{
    for (const std::string value : {"NO", "yes", "Yes", "true", "1", "", "YES ", " YES"}) {
        start(TestBundle{textEntry("SHOWALLLOGS", value)}.open());
        EXPECT_EQ(table(), withoutWarning) << value;
    }
}

TEST_F(VXStatusTableVCSwitchesTest, ShowsNoWarningsForAValueThatIsNoText)
{
    start(TestBundle{"<key>SHOWALLLOGS</key><true/>"}.open());

    EXPECT_EQ(table(), withoutWarning);
}

TEST_F(VXStatusTableVCSwitchesTest, ShowsNoWarningsWithoutTheSwitch)
{
    start(TestBundle{}.open());

    EXPECT_EQ(table(), withoutWarning);
}

TEST_F(VXStatusTableVCSwitchesTest, ShowsNoWarningsWithoutABundle)
{
    start(nullptr);

    EXPECT_EQ(table(), withoutWarning);
}

TEST_F(VXStatusTableVCSwitchesTest, ShowsNoWarningsForTheSwitchOfAnotherBundle)
{
    start(TestBundle{textEntry("SHOWALLLOGS", "YES"), "com.veltra.another"}.open());

    EXPECT_EQ(table(), withoutWarning);
}

TEST_F(VXStatusTableVCSwitchesTest, HidesTheComponentsWhenSwitchedOn)
{
    EXPECT_TRUE(hidesComponents(TestBundle{textEntry("HIDECOMPONENTCOLUMN", "YES")}.open()));
}

TEST_F(VXStatusTableVCSwitchesTest, ShowsTheComponentsForAnyOtherValue)
{
    for (const std::string value : {"NO", "yes", "true", "1", ""})
        EXPECT_FALSE(hidesComponents(TestBundle{textEntry("HIDECOMPONENTCOLUMN", value)}.open()))
            << value;
}

TEST_F(VXStatusTableVCSwitchesTest, ShowsTheComponentsWithoutTheSwitchAndWithoutABundle)
{
    EXPECT_FALSE(hidesComponents(TestBundle{}.open()));
    EXPECT_FALSE(hidesComponents(nullptr));
}

TEST_F(VXStatusTableVCSwitchesTest, ShowsComponentsThatWereHiddenBefore)
{
    LogTableView view;
    VXStatusTableVC& controller = start(TestBundle{}.open());
    controller.setTableview(&view);
    view.setColumnHidden(LogTableModel::componentColumn, true);

    controller.awakeFromNib();

    EXPECT_FALSE(view.isColumnHidden(LogTableModel::componentColumn));
}

TEST_F(VXStatusTableVCSwitchesTest, HidesNoOtherColumn)
{
    LogTableView view;
    VXStatusTableVC& controller = start(TestBundle{textEntry("HIDECOMPONENTCOLUMN", "YES")}.open());
    controller.setTableview(&view);

    controller.awakeFromNib();

    for (int column = 0; column < LogTableModel::columns; ++column)
        EXPECT_EQ(view.isColumnHidden(column), column == LogTableModel::componentColumn) << column;
}

TEST_F(VXStatusTableVCSwitchesTest, TakesTheTitlesFromTheBundleOfTexts)
{
    const TestBundle bundle;
    bundle.addTexts(VELTRA_TEST_CATALOGUES);
    const VXStatusResourceController resources{{}, bundle.open()};

    VXStatusTableVC controller{{.notifications = notifications(),
                                .resources = resources,
                                .mainBundle = nullptr,
                                .initalFilePath = [] { return QString{}; },
                                .helperController = [this] { return helper().makeController(); },
                                .helperTool = pathOf("helper"),
                                .endProcess = {}}};

    EXPECT_EQ(controller.DATE(), QStringLiteral("Date"));
    EXPECT_EQ(controller.TIME(), QStringLiteral("Time"));
    EXPECT_EQ(controller.Message_Type(), QStringLiteral("Message Type"));
    EXPECT_EQ(controller.Message(), QStringLiteral("Message"));
    EXPECT_EQ(controller.Component(), QStringLiteral("Component"));
    const auto title = [&controller](LogTableModel::Column column) {
        return controller.list().headerData(column, Qt::Horizontal, Qt::DisplayRole).toString();
    };
    EXPECT_EQ(title(LogTableModel::dateColumn), QStringLiteral("Date"));
    EXPECT_EQ(title(LogTableModel::timeColumn), QStringLiteral("Time"));
    EXPECT_EQ(title(LogTableModel::componentColumn), QStringLiteral("Component"));
    EXPECT_EQ(title(LogTableModel::messageTypeColumn), QStringLiteral("Message Type"));
    EXPECT_EQ(title(LogTableModel::messageColumn), QStringLiteral("Message"));
}

} // namespace
} // namespace veltra
