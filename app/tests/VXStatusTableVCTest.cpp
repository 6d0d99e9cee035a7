#include "app/VXStatusTableVC.h"

#include "app/tests/TableController.h"
#include "logview/table/LogTableView.h"

#include <QCoreApplication>
#include <QTableView>
#include <QTimer>

#include <filesystem>

namespace veltra {
namespace {

const std::string first = logLine("Info", "the first of a pass");

class VXStatusTableVCTest : public TableControllerTest {};

TEST_F(VXStatusTableVCTest, ShowsWhatItsFirstPassReads)
{
    folder().write(log1, first + logLine("Info", "a") + logLine("Info", "b"));

    const VXStatusTableVC& controller = start();

    EXPECT_EQ(table(), (Lines{logRow("Info", "a"), logRow("Info", "b")}));
    EXPECT_EQ(controller.offset(), std::filesystem::file_size(folder().file(log1)));
}

TEST_F(VXStatusTableVCTest, IsEmptyUntilTheMainThreadHasHadItsTurn)
{
    folder().write(log1, first + logLine("Info", "a"));

    const VXStatusTableVC& controller = make();

    EXPECT_EQ(controller.numberOfRowsInTableView(nullptr), 0);
    EXPECT_TRUE(runLoopUntil([&] { return controller.numberOfRowsInTableView(nullptr) == 1; }));
}

TEST_F(VXStatusTableVCTest, AsksForTheStartUpPathTwiceAndGetsOneText)
{
    const VXStatusTableVC& controller = start();

    EXPECT_EQ(askedForPath(), 2);
    EXPECT_EQ(controller.filepath(), pathOf(log1));
    EXPECT_EQ(controller.filepath().constData(), controller.lastfilepath().constData());
}

TEST_F(VXStatusTableVCTest, BeginsAtTheFilesBeginning)
{
    EXPECT_EQ(start().offset(), 0U);
}

TEST_F(VXStatusTableVCTest, RunsAPassOnTheThreadThatPostsANotification)
{
    const VXStatusTableVC& controller = start();
    folder().write(log1, first + logLine("Info", "a"));

    notify();
    const std::uint64_t reached = controller.offset();
    const Lines before = table();
    turn();

    EXPECT_EQ(reached, first.size() + logLine("Info", "a").size());
    EXPECT_EQ(before, Lines{});
    EXPECT_EQ(table(), Lines{logRow("Info", "a")});
}

TEST_F(VXStatusTableVCTest, PutsLaterRowsOnTop)
{
    folder().write(log1, first + logLine("Info", "a"));
    start();

    folder().append(log1, first + logLine("Info", "b"));
    notify();
    turn();

    EXPECT_EQ(table(), (Lines{logRow("Info", "b"), logRow("Info", "a")}));
}

TEST_F(VXStatusTableVCTest, LeavesTheTableAsItIsWithoutNewBytes)
{
    folder().write(log1, first + logLine("Info", "a"));
    const VXStatusTableVC& controller = start();
    const std::uint64_t reached = controller.offset();

    notify();
    notify();
    turn();

    EXPECT_EQ(table(), Lines{logRow("Info", "a")});
    EXPECT_EQ(controller.offset(), reached);
}

TEST_F(VXStatusTableVCTest, StaysWithItsLogWhenANotificationNamesAnother)
{
    folder().write(log1, first + logLine("Info", "a"));
    folder().write("vxsvc_2.log", first + logLine("Info", "of the other"));
    const VXStatusTableVC& controller = start();
    const std::uint64_t reached = controller.offset();

    folder().append(log1, first + logLine("Info", "b"));
    notify(pathOf("vxsvc_2.log"));
    turn();

    EXPECT_EQ(controller.filepath(), pathOf(log1));
    EXPECT_EQ(controller.lastfilepath(), pathOf(log1));
    EXPECT_EQ(controller.offset(), reached + first.size() + logLine("Info", "b").size());
    EXPECT_EQ(table(), (Lines{logRow("Info", "b"), logRow("Info", "a")}));
}

TEST_F(VXStatusTableVCTest, AdoptsAPathFromItsBeginningWhenItsTwoPathsAreTwoTexts)
{
    folder().write(log1, first + logLine("Info", "a"));
    const std::string other = first + logLine("Info", "b");
    folder().write("vxsvc_2.log", other);
    VXStatusTableVC& controller = start();

    controller.setLastfilepath(pathOf("vxsvc_0.log"));
    notify(pathOf("vxsvc_2.log"));
    turn();

    EXPECT_EQ(controller.filepath(), pathOf("vxsvc_2.log"));
    EXPECT_EQ(controller.lastfilepath(), pathOf("vxsvc_2.log"));
    EXPECT_EQ(controller.offset(), other.size());
    EXPECT_EQ(table(), (Lines{logRow("Info", "b"), logRow("Info", "a")}));
}

TEST_F(VXStatusTableVCTest, TellsItsTwoPathsApartByIdentityAndNotByTheirCharacters)
{
    folder().write(log1, first + logLine("Info", "a"));
    VXStatusTableVC& controller = start();
    const std::uint64_t reached = controller.offset();

    controller.setLastfilepath(pathOf(log1));
    notify();
    turn();

    EXPECT_EQ(controller.offset(), reached);
    EXPECT_EQ(table(), (Lines{logRow("Info", "a"), logRow("Info", "a")}));
}

TEST_F(VXStatusTableVCTest, ShowsPassesAtMostOnceAFrame)
{
    VXStatusTableVC& controller = start();
    const auto begin = std::chrono::steady_clock::now();
    int uptakes = 0;
    QObject::connect(&controller.list(), &QAbstractItemModel::rowsInserted, &controller.list(),
                     [&uptakes] { ++uptakes; });
    constexpr int passes = 200;

    EXPECT_TRUE(runOnWorker([this] {
        for (int pass = 0; pass < passes; ++pass) {
            folder().append(log1, first + logLine("Info", "a"));
            notify();
        }
    }));
    turn();
    const auto frames = (std::chrono::steady_clock::now() - begin) / OncePerFrame::frame;

    EXPECT_EQ(table(), Lines(passes, logRow("Info", "a")));
    EXPECT_GE(uptakes, 1);
    EXPECT_LE(uptakes, frames + 1);
}

TEST_F(VXStatusTableVCTest, StaysWithAnAdoptedPath)
{
    folder().write("vxsvc_2.log", first);
    VXStatusTableVC& controller = start();
    controller.setFilepath(pathOf("vxsvc_0.log"));
    notify(pathOf("vxsvc_2.log"));

    notify(pathOf("vxsvc_3.log"));

    EXPECT_EQ(controller.filepath(), pathOf("vxsvc_2.log"));
    EXPECT_EQ(controller.offset(), first.size());
}

TEST_F(VXStatusTableVCTest, AdoptsNothingWhenBothPathsAreSetToOneText)
{
    const QString path = pathOf("vxsvc_2.log");
    folder().write("vxsvc_2.log", first);
    VXStatusTableVC& controller = start();

    controller.setFilepath(path);
    controller.setLastfilepath(path);
    notify(pathOf("vxsvc_3.log"));

    EXPECT_EQ(controller.filepath(), path);
    EXPECT_EQ(controller.offset(), first.size());
}

TEST_F(VXStatusTableVCTest, RunsNoPassWithoutAPath)
{
    setInitialPath({});
    start();
    const Lines before = log().messages();

    notify(pathOf(log1));
    turn();

    EXPECT_EQ(before, Lines{"No vxsvc log file present"});
    EXPECT_EQ(log().messages(), before);
    EXPECT_FALSE(indicator().isAnimating());
}

TEST_F(VXStatusTableVCTest, StandsNotificationsWithoutADictionary)
{
    folder().write(log1, first + logLine("Info", "a"));
    VXStatusTableVC& controller = start();

    notifications().postNotificationName(QStringLiteral("VXStatusNotification"));
    notifications().postNotificationName(QStringLiteral("VXStatusNotification"), 42);
    turn();

    EXPECT_EQ(controller.filepath(), pathOf(log1));
    EXPECT_EQ(table(), Lines{logRow("Info", "a")});
}

TEST_F(VXStatusTableVCTest, HearsOnlyItsOwnNotification)
{
    start();
    folder().write(log1, first + logLine("Info", "a"));

    notifications().postNotificationName(
        QStringLiteral("VXStatusQueueFileWrittenToNotification"),
        QVariantMap{{QStringLiteral("newLogFilePath"), pathOf(log1)}});
    turn();

    EXPECT_EQ(table(), Lines{});
}

TEST_F(VXStatusTableVCTest, HearsNothingOnceDestroyed)
{
    start();
    const std::size_t before = log().messages().size();
    destroyController();
    folder().write(log1, first);

    notify();
    turn();

    EXPECT_EQ(log().messages().size(), before);
}

TEST_F(VXStatusTableVCTest, ReadsOnByItsInvokableMethod)
{
    VXStatusTableVC& controller = start();
    folder().write(log1, first + logLine("Info", "a"));

    EXPECT_TRUE(QMetaObject::invokeMethod(&controller, "updatelogs"));

    EXPECT_TRUE(runLoopUntil([&] { return controller.list().rowCount() > 0; }));
    EXPECT_EQ(table(), Lines{logRow("Info", "a")});
}

TEST_F(VXStatusTableVCTest, LogsALogThatDisappeared)
{
    folder().write(log1, first + logLine("Info", "a"));
    const VXStatusTableVC& controller = start();
    const std::uint64_t reached = controller.offset();
    std::filesystem::remove(folder().file(log1));

    notify();
    turn();

    EXPECT_EQ(log().complaints(), Lines{"No vxsvc log file present"});
    EXPECT_EQ(controller.offset(), reached);
    EXPECT_EQ(table(), Lines{logRow("Info", "a")});
    EXPECT_FALSE(indicator().isAnimating());
}

TEST_F(VXStatusTableVCTest, LogsAFolderInTheLogsPlace)
{
    std::filesystem::create_directory(folder().file(log1));

    start();

    EXPECT_EQ(log().messages(), Lines{"No logs available to parse"});
    EXPECT_EQ(table(), Lines{});
}

TEST_F(VXStatusTableVCTest, GivesTheValueOfACellByTheColumnsIdentifier)
{
    folder().write(log1, first + logLine("Info", "a") + logLine("Info", "b"));
    const VXStatusTableVC& controller = start();

    EXPECT_EQ(controller.numberOfRowsInTableView(nullptr), 2);
    EXPECT_EQ(controller.tableView(nullptr, QStringLiteral("Date"), 0),
              QVariant{QStringLiteral("2024-03-05")});
    EXPECT_EQ(controller.tableView(nullptr, QStringLiteral("Time"), 0),
              QVariant{QStringLiteral("10:22:33")});
    EXPECT_EQ(controller.tableView(nullptr, QStringLiteral("logComponent"), 0),
              QVariant{QStringLiteral("vxsvc")});
    EXPECT_EQ(controller.tableView(nullptr, QStringLiteral("message_type"), 0),
              QVariant{QStringLiteral("Info")});
    EXPECT_EQ(controller.tableView(nullptr, QStringLiteral("message"), 0),
              QVariant{QStringLiteral("a")});
    EXPECT_EQ(controller.tableView(nullptr, QStringLiteral("message"), 1),
              QVariant{QStringLiteral("b")});
}

TEST_F(VXStatusTableVCTest, GivesNothingForRowFiveOfThree)
{
    folder().write(log1,
                   first + logLine("Info", "a") + logLine("Info", "b") + logLine("Info", "c"));
    const VXStatusTableVC& controller = start();
    ASSERT_EQ(controller.numberOfRowsInTableView(nullptr), 3);

    EXPECT_TRUE(controller.tableView(nullptr, QStringLiteral("message"), 2).isValid());
    for (const int row : {3, 5, -1})
        EXPECT_FALSE(controller.tableView(nullptr, QStringLiteral("message"), row).isValid())
            << row;
    EXPECT_FALSE(controller.tableView(nullptr, QStringLiteral("NoColumn"), 0).isValid());
}

TEST_F(VXStatusTableVCTest, GivesNothingOfAnEmptyList)
{
    const VXStatusTableVC& controller = start();

    EXPECT_EQ(controller.numberOfRowsInTableView(nullptr), 0);
    EXPECT_FALSE(controller.tableView(nullptr, QStringLiteral("message"), 0).isValid());
}

TEST_F(VXStatusTableVCTest, FillsTheTableViewItIsConnectedTo)
{
    folder().write(log1, first + logLine("Info", "a"));
    LogTableView view;
    VXStatusTableVC& controller = make();

    controller.setTableview(&view);

    EXPECT_TRUE(runLoopUntil([&] { return view.model()->rowCount() == 1; }));
    EXPECT_EQ(view.model()->index(0, LogTableModel::messageColumn).data(),
              QVariant{QStringLiteral("a")});
}

TEST_F(VXStatusTableVCTest, GoesOnWhenItsOutletsAreGone)
{
    VXStatusTableVC& controller = make();
    {
        LogTableView view;
        ActivityIndicator indicator;
        controller.setTableview(&view);
        controller.setActivityIndicator(&indicator);
    }
    folder().write(log1, first + logLine("Info", "a"));

    notify();
    turn();
    controller.awakeFromNib();

    EXPECT_GE(controller.offset(), first.size());
}

TEST_F(VXStatusTableVCTest, EndsTheProgramsEventLoopWhenClosed)
{
    VXStatusTableVC& controller = start();
    QTimer deadline;
    deadline.setSingleShot(true);
    QObject::connect(&deadline, &QTimer::timeout, [] { QCoreApplication::exit(1); });
    deadline.start(std::chrono::minutes{1});

    MainQueue::post([&controller] {
        QMetaObject::invokeMethod(&controller, "close", Q_ARG(QObject*, nullptr));
    });
    const int status = QCoreApplication::exec();

    EXPECT_EQ(status, 0);
}

} // namespace
} // namespace veltra
