#include "app/window/ButtonRows.h"

#include <QCoreApplication>
#include <QVBoxLayout>
#include <QWidget>

#include <array>
#include <map>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

namespace veltra {
namespace {

/// Six buttons of 100 by 20 pixels, 10 apart, in a window.
class ButtonRowsTest : public testing::Test {
  protected:
    ButtonRowsTest()
    {
        rows_->setSpacing(10);
        for (QWidget& button : buttons_) {
            button.setMinimumSize(100, 20);
            rows_->addWidget(&button);
        }
        auto* column = new QVBoxLayout{&window_};
        column->setContentsMargins({});
        column->addWidget(area_);
        column->addStretch();
    }

    void show(int width)
    {
        window_.resize(width, 300);
        window_.show();
    }

    /// How many buttons stand in each row, from the top.
    std::vector<int> rows() const
    {
        std::map<int, int> counts;
        for (const QWidget& button : buttons_)
            ++counts[button.y()];
        std::vector<int> result;
        for (const auto& [y, count] : counts)
            result.push_back(count);
        return result;
    }

    QWidget window_;
    QWidget* area_ = new QWidget{&window_};
    ButtonRows* rows_ = new ButtonRows{area_};
    std::array<QWidget, 6> buttons_;
};

TEST_F(ButtonRowsTest, StandInOneRowAsLongAsTheyFit)
{
    show(6 * 100 + 5 * 10);
    EXPECT_EQ(rows(), std::vector<int>{6});
    EXPECT_EQ(area_->height(), 20);

    window_.resize(6 * 100 + 5 * 10 - 1, 300);

    EXPECT_EQ(rows(), (std::vector<int>{3, 3}));
    EXPECT_EQ(area_->height(), 50);
}

TEST_F(ButtonRowsTest, TakeAsManyRowsAsTheyNeed)
{
    show(3 * 100 + 2 * 10);
    EXPECT_EQ(rows(), (std::vector<int>{3, 3}));
    window_.resize(3 * 100 + 2 * 10 - 1, 300);
    EXPECT_EQ(rows(), (std::vector<int>{2, 2, 2}));
    window_.resize(100, 300);

    EXPECT_EQ(rows(), (std::vector<int>(6, 1)));
    EXPECT_EQ(window_.minimumSizeHint().width(), 100);
}

TEST_F(ButtonRowsTest, ShareTheSpareWidthAndStandBelowEachOther)
{
    show(3 * 100 + 2 * 10 + 31);

    EXPECT_EQ(buttons_[0].x(), 0);
    EXPECT_EQ(buttons_[2].geometry().right(), window_.width() - 1);
    for (std::size_t upper = 0; upper < 3; ++upper) {
        EXPECT_EQ(buttons_[upper].x(), buttons_[upper + 3].x());
        EXPECT_EQ(buttons_[upper].width(), buttons_[upper + 3].width());
    }
}

TEST_F(ButtonRowsTest, StandBelowEachOtherOnlyWhereThereIsRoomForThat)
{
    for (const std::size_t wide : {0U, 4U, 2U})
        buttons_[wide].setMinimumWidth(150);
    show(3 * 150 + 2 * 10);
    EXPECT_EQ(buttons_[1].x(), buttons_[4].x());

    window_.resize(2 * 150 + 100 + 2 * 10, 300);

    EXPECT_EQ(rows(), (std::vector<int>{3, 3}));
    EXPECT_EQ(buttons_[1].x(), 160);
    EXPECT_LT(buttons_[4].x(), buttons_[1].x());
    for (const QWidget& button : buttons_)
        EXPECT_GE(button.width(), button.minimumWidth());
}

TEST_F(ButtonRowsTest, BeginAtTheRightWhereThatIsTheCustom)
{
    window_.setLayoutDirection(Qt::RightToLeft);

    show(800);

    EXPECT_EQ(buttons_[0].geometry().right(), 799);
    EXPECT_GT(buttons_[0].x(), buttons_[1].x());
}

TEST_F(ButtonRowsTest, LetAWindowBeAsLowAsItsRowsAre)
{
    show(800);
    QCoreApplication::processEvents();
    EXPECT_EQ(window_.minimumSizeHint().height(), 20);

    window_.resize(400, 300);
    QCoreApplication::processEvents();

    EXPECT_EQ(window_.minimumSizeHint().height(), 50);
}

TEST_F(ButtonRowsTest, GiveAnItemBack)
{
    const std::unique_ptr<QLayoutItem> taken{rows_->takeAt(1)};

    ASSERT_NE(taken, nullptr);
    EXPECT_EQ(taken->widget(), &buttons_[1]);
    EXPECT_EQ(rows_->count(), 5);
    EXPECT_EQ(rows_->takeAt(5), nullptr);
    EXPECT_EQ(rows_->itemAt(-1), nullptr);
}

} // namespace
} // namespace veltra
