#include "logview/table/LogTableModel.h"

#include "logview/rows/tests/LogTexts.h"

#include <QAbstractItemModelTester>
#include <QFont>
#include <QIcon>
#include <QSignalSpy>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace veltra {
namespace {

/// Rows and their model, checked by Qt's model tester, which ends the program if it finds a fault.
class LogTableModelTest : public testing::Test {
  protected:
    explicit LogTableModelTest(std::size_t rowLimit = LogTableModel::mostRows)
        : model_{rows_, nullptr, rowLimit}
    {
    }

    void publish(const std::vector<std::string>& messages, std::string_view messageType = "Info")
    {
        for (const std::string& message : messages)
            rows_.append(logTexts("date", "time", "comp", messageType, message));
        rows_.publish();
    }

    std::vector<std::string> messages() const
    {
        std::vector<std::string> texts;
        for (int row = 0; row < model_.rowCount(); ++row)
            texts.emplace_back(model_.texts(row)[LogField::message]);
        return texts;
    }

    QVariant cell(int row, int column, int role = Qt::DisplayRole) const
    {
        return model_.data(model_.index(row, column), role);
    }

    QString shownMessage(const std::string& message)
    {
        publish({message});
        model_.adoptPublishedRows();
        return cell(0, LogTableModel::messageColumn).toString();
    }

    LogTableModel& model() { return model_; }

  private:
    LogRows rows_;
    LogTableModel model_;
    QAbstractItemModelTester tester_{&model_,
                                     QAbstractItemModelTester::FailureReportingMode::Fatal};
};

using Texts = std::vector<std::string>;

TEST_F(LogTableModelTest, IsEmptyWithFiveColumnsAtFirst)
{
    EXPECT_EQ(model().rowCount(), 0);
    EXPECT_EQ(model().columnCount(), 5);
}

TEST_F(LogTableModelTest, ShowsAUFEFFAtTheBeginningOfAText)
{
    const std::string message = "\xEF\xBB\xBFmessage";

    EXPECT_EQ(shownMessage(message), QStringLiteral(u"\uFEFFmessage"));
    EXPECT_EQ(model().record(0).message(), QStringLiteral(u"\uFEFFmessage"));
}

TEST_F(LogTableModelTest, ShowsPublishedRowsOnceItAdoptsThem)
{
    publish({"a", "b"});
    const int before = model().rowCount();

    model().adoptPublishedRows();

    EXPECT_EQ(before, 0);
    EXPECT_EQ(messages(), (Texts{"a", "b"}));
}

TEST_F(LogTableModelTest, PutsLaterRowsOnTop)
{
    publish({"a", "b"});
    model().adoptPublishedRows();
    QSignalSpy inserted{&model(), &QAbstractItemModel::rowsInserted};

    publish({"c"});
    publish({"d", "e"});
    model().adoptPublishedRows();

    EXPECT_EQ(messages(), (Texts{"d", "e", "c", "a", "b"}));
    ASSERT_EQ(inserted.count(), 1);
    EXPECT_EQ(inserted[0][1], QVariant{0});
    EXPECT_EQ(inserted[0][2], QVariant{2});
}

TEST_F(LogTableModelTest, StaysAsItIsWhenNothingWasPublished)
{
    publish({"a"});
    model().adoptPublishedRows();
    QSignalSpy inserted{&model(), &QAbstractItemModel::rowsInserted};

    model().adoptPublishedRows();
    model().adoptPublishedRows();

    EXPECT_EQ(inserted.count(), 0);
    EXPECT_EQ(messages(), Texts{"a"});
}

TEST_F(LogTableModelTest, KeepsShowingTheSameRowsUntilItAdoptsOthers)
{
    publish({"a"});
    model().adoptPublishedRows();

    publish({"b"});

    EXPECT_EQ(messages(), Texts{"a"});
}

TEST_F(LogTableModelTest, KeepsAPersistentIndexOnItsRow)
{
    publish({"a", "b"});
    model().adoptPublishedRows();
    const QPersistentModelIndex index{model().index(1, LogTableModel::messageColumn)};

    publish({"c", "d"});
    model().adoptPublishedRows();

    EXPECT_EQ(index.row(), 3);
    EXPECT_EQ(index.data().toString(), QStringLiteral("b"));
}

TEST_F(LogTableModelTest, ShowsEveryTextInItsColumn)
{
    publish({"message"});
    model().adoptPublishedRows();

    EXPECT_EQ(cell(0, LogTableModel::dateColumn), QVariant{QStringLiteral("date")});
    EXPECT_EQ(cell(0, LogTableModel::timeColumn), QVariant{QStringLiteral("time")});
    EXPECT_EQ(cell(0, LogTableModel::componentColumn), QVariant{QStringLiteral("comp")});
    EXPECT_EQ(cell(0, LogTableModel::messageTypeColumn), QVariant{QStringLiteral("Info")});
    EXPECT_EQ(cell(0, LogTableModel::messageColumn), QVariant{QStringLiteral("message")});
}

// Qt shows the texts of this role as HTML if they look like it.
TEST_F(LogTableModelTest, LeavesToolTipsToTheView)
{
    publish({"message"});
    model().adoptPublishedRows();

    EXPECT_FALSE(cell(0, LogTableModel::messageColumn, Qt::ToolTipRole).isValid());
}

TEST_F(LogTableModelTest, PutsASignBesideTheMessageTypeOnly)
{
    publish({"message"});
    model().adoptPublishedRows();

    for (int column = 0; column < LogTableModel::columns; ++column)
        EXPECT_EQ(cell(0, column, Qt::DecorationRole).isValid(),
                  column == LogTableModel::messageTypeColumn);
    EXPECT_FALSE(
        cell(0, LogTableModel::messageTypeColumn, Qt::DecorationRole).value<QIcon>().isNull());
}

TEST_F(LogTableModelTest, WritesErrorsInBold)
{
    publish({"an error"}, "Error");
    publish({"an info"});
    model().adoptPublishedRows();

    for (int column = 0; column < LogTableModel::columns; ++column) {
        EXPECT_FALSE(cell(0, column, Qt::FontRole).value<QFont>().bold());
        EXPECT_TRUE(cell(1, column, Qt::FontRole).value<QFont>().bold());
    }
}

TEST_F(LogTableModelTest, AnswersOtherRolesWithNothing)
{
    publish({"message"});
    model().adoptPublishedRows();

    EXPECT_FALSE(cell(0, 0, Qt::EditRole).isValid());
    EXPECT_FALSE(cell(0, 0, Qt::UserRole).isValid());
}

TEST_F(LogTableModelTest, AnswersIndexesOutsideTheTableWithNothing)
{
    publish({"a", "b", "c"});
    model().adoptPublishedRows();

    EXPECT_FALSE(model().data(model().index(5, 0), Qt::DisplayRole).isValid());
    EXPECT_FALSE(model().data(model().index(0, 5), Qt::DisplayRole).isValid());
    EXPECT_FALSE(model().data(model().index(-1, 0), Qt::DisplayRole).isValid());
    EXPECT_FALSE(model().data({}, Qt::DisplayRole).isValid());
}

TEST_F(LogTableModelTest, AnswersIndexesOfRowsThatAreGoneWithNothing)
{
    LogRows rows;
    rows.append(logTexts("D", "T", "C", "Info", "m"));
    rows.publish();
    LogTableModel other{rows};
    other.adoptPublishedRows();

    EXPECT_FALSE(model().data(other.index(0, 0), Qt::DisplayRole).isValid());
}

TEST_F(LogTableModelTest, HasNoRowsBelowARow)
{
    publish({"a"});
    model().adoptPublishedRows();

    EXPECT_EQ(model().rowCount(model().index(0, 0)), 0);
    EXPECT_EQ(model().columnCount(model().index(0, 0)), 0);
}

TEST_F(LogTableModelTest, ShowsATextOfTheMostCharactersWhole)
{
    const std::string text(LogTableModel::shownCharacters, 'x');

    EXPECT_EQ(shownMessage(text), QString::fromStdString(text));
}

TEST_F(LogTableModelTest, ShortensALongerText)
{
    const std::string text(LogTableModel::shownCharacters + 1, 'x');

    const QString shown = shownMessage(text);

    EXPECT_EQ(shown, QString(LogTableModel::shownCharacters, u'x') + QChar{u'\u2026'});
    EXPECT_EQ(model().texts(0)[LogField::message].size(), text.size());
}

TEST_F(LogTableModelTest, ShortensATextOfManyMegabytes)
{
    const std::string text(std::size_t{20} << 20, 'x');

    EXPECT_EQ(shownMessage(text).size(), LogTableModel::shownCharacters + 1);
}

TEST_F(LogTableModelTest, ShortensATextOfWideCharactersWithoutSplittingOne)
{
    std::string smileys;
    for (int i = 0; i < 4000; ++i)
        smileys += "\xF0\x9F\x98\x80";

    for (const std::string& text : {smileys, "x" + smileys}) {
        const QString shown = shownMessage(text);
        EXPECT_LE(shown.size(), LogTableModel::shownCharacters + 1);
        EXPECT_GE(shown.size(), LogTableModel::shownCharacters);
        EXPECT_TRUE(shown.isValidUtf16());
        EXPECT_FALSE(shown.contains(QChar{QChar::ReplacementCharacter}));
    }
}

TEST_F(LogTableModelTest, BearsTheTitlesItIsGiven)
{
    QSignalSpy changed{&model(), &QAbstractItemModel::headerDataChanged};

    model().setTitles({QStringLiteral("1"), QStringLiteral("2"), QStringLiteral("3"),
                       QStringLiteral("4"), QStringLiteral("5")});

    ASSERT_EQ(changed.count(), 1);
    EXPECT_EQ(changed[0][1], QVariant{0});
    EXPECT_EQ(changed[0][2], QVariant{4});
    for (int column = 0; column < LogTableModel::columns; ++column)
        EXPECT_EQ(model().headerData(column, Qt::Horizontal, Qt::DisplayRole),
                  QVariant{QString::number(column + 1)});
}

TEST_F(LogTableModelTest, BearsEmptyTitlesAndNoneForRows)
{
    EXPECT_EQ(model().headerData(0, Qt::Horizontal, Qt::DisplayRole).toString(), QString{});
    EXPECT_EQ(model().headerData(7, Qt::Horizontal, Qt::DisplayRole).toString(), QString{});
    EXPECT_FALSE(model().headerData(0, Qt::Vertical, Qt::DisplayRole).isValid());
    EXPECT_FALSE(model().headerData(0, Qt::Horizontal, Qt::ToolTipRole).isValid());
}

/// A model that shows at most three rows.
class LimitedLogTableModelTest : public LogTableModelTest {
  protected:
    LimitedLogTableModelTest() : LogTableModelTest{3} {}
};

TEST_F(LimitedLogTableModelTest, ShowsTheNewestOfMoreRows)
{
    publish({"a", "b", "c", "d", "e"});

    model().adoptPublishedRows();

    EXPECT_EQ(messages(), (Texts{"a", "b", "c"}));
}

TEST_F(LimitedLogTableModelTest, DropsTheOldestRowsAtTheBottom)
{
    publish({"a", "b"});
    model().adoptPublishedRows();
    publish({"c", "d"});
    model().adoptPublishedRows();
    const Texts second = messages();

    publish({"e"});
    model().adoptPublishedRows();

    EXPECT_EQ(second, (Texts{"c", "d", "a"}));
    EXPECT_EQ(messages(), (Texts{"e", "c", "d"}));
    EXPECT_EQ(cell(2, LogTableModel::messageColumn), QVariant{QStringLiteral("d")});
}

TEST_F(LimitedLogTableModelTest, HoldsNoMoreRowsWhileItDropsSome)
{
    int most = 0;
    QObject::connect(&model(), &LogTableModel::rowsInserted,
                     [&] { most = std::max(most, model().rowCount()); });
    publish({"a", "b", "c"});
    model().adoptPublishedRows();
    publish({"d", "e", "f", "g"});
    model().adoptPublishedRows();

    EXPECT_EQ(most, 3);
    EXPECT_EQ(messages(), (Texts{"d", "e", "f"}));
}

TEST_F(LimitedLogTableModelTest, HoldsJustAsManyRowsAsItMay)
{
    publish({"a", "b", "c"});

    model().adoptPublishedRows();

    EXPECT_EQ(messages(), (Texts{"a", "b", "c"}));
}

} // namespace
} // namespace veltra
