#include "logview/table/tests/GrowingTable.h"

#include <QCursor>
#include <QImage>
#include <QPaintEvent>
#include <QScreen>
#include <QStyledItemDelegate>

#include <cstdlib>
#include <map>

namespace veltra {
namespace {

/// Adds up the painted regions of a widget.
class PaintedRegion : public QObject {
  public:
    explicit PaintedRegion(QWidget& widget) { widget.installEventFilter(this); }

    QRegion region;

  protected:
    bool eventFilter(QObject* /*widget*/, QEvent* event) override
    {
        if (event->type() == QEvent::Paint)
            region += static_cast<QPaintEvent*>(event)->region();
        return false;
    }
};

/// Paints as usual and records what it was asked to paint.
class TellingDelegate : public QStyledItemDelegate {
  public:
    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override
    {
        QStyledItemDelegate::paint(painter, option, index);
        painted[index] = option.state;
    }

    mutable std::map<QModelIndex, QStyle::State> painted;
};

// A style's gradients look slightly different if only a part of them is painted.
bool looksTheSame(const QImage& one, const QImage& other)
{
    const auto isNear = [](int left, int right) { return std::abs(left - right) <= 2; };
    for (int y = 0; y < one.height(); ++y)
        for (int x = 0; x < one.width(); ++x) {
            const QRgb left = one.pixel(x, y);
            const QRgb right = other.pixel(x, y);
            if (!isNear(qRed(left), qRed(right)) || !isNear(qGreen(left), qGreen(right)) ||
                !isNear(qBlue(left), qBlue(right)))
                return false;
        }
    return one.size() == other.size();
}

/// The pixels on the display, as opposed to what would be painted now.
class UniformRowTableViewPictureTest : public UniformRowTableViewTest {
  protected:
    QImage display()
    {
        QCoreApplication::processEvents(); // may end with the layout
        QCoreApplication::processEvents(); // that is painted now
        return view().screen()->grabWindow(view().winId()).toImage();
    }

    bool showsWhatItWouldPaint()
    {
        const QImage shown = display();
        view().viewport()->update();
        return looksTheSame(shown, display());
    }

    QColor colourOf(int row)
    {
        const QRect place = view().visualRect(cell(row, 0));
        return display().pixelColor(
            view().viewport()->mapTo(&view(), place.topRight() - QPoint{2, -2}));
    }
};

TEST_F(UniformRowTableViewPictureTest, ShowsWhatItWouldPaint)
{
    add(1);
    const QImage empty = display();

    for (const int count : {1, 2, 3, 1, 5, 60}) {
        add(count);
        EXPECT_TRUE(showsWhatItWouldPaint()) << count << " rows more";
    }

    EXPECT_NE(display(), empty);
}

TEST_F(UniformRowTableViewPictureTest, ShowsWhatItWouldPaintWhileItIsScrolled)
{
    add(60);

    for (const int top : {1, 0, 3, 2, 30, 27, 28, bar().maximum(), 0}) {
        bar().setValue(top);
        EXPECT_TRUE(showsWhatItWouldPaint()) << "scrolled to " << top;
    }
}

TEST_F(UniformRowTableViewPictureTest, ShowsWhatItWouldPaintWhenRowsComeOutOfView)
{
    add(60);
    bar().setValue(4);

    for (const int count : {1, 2, 40}) {
        const QImage before = display();
        model().insert(0, count);
        const QImage after = display();
        EXPECT_TRUE(showsWhatItWouldPaint()) << count << " rows more";
        EXPECT_EQ(after.copy(0, 40, 300, 100), before.copy(0, 40, 300, 100));
    }
}

TEST_F(UniformRowTableViewPictureTest, ShowsWhatItWouldPaintWhenRowsComeBelowOrGo)
{
    add(4);

    model().insert(2, 1);
    EXPECT_TRUE(showsWhatItWouldPaint());
    model().insert(5, 1);
    EXPECT_TRUE(showsWhatItWouldPaint());
    model().removeLast(3);
    EXPECT_TRUE(showsWhatItWouldPaint());
    model().reset(2);
    EXPECT_TRUE(showsWhatItWouldPaint());
}

TEST_F(UniformRowTableViewPictureTest, MovesTheSelectionAlongWithItsRows)
{
    add(20);
    click(2);
    const QColor selected = colourOf(2);

    add(1);

    EXPECT_EQ(colourOf(3), selected);
    EXPECT_NE(colourOf(2), selected);
    EXPECT_TRUE(showsWhatItWouldPaint());
}

TEST_F(UniformRowTableViewPictureTest, PaintsNewRowsOnly)
{
    add(4);
    display();
    const PaintedRegion painted{*view().viewport()};

    add(1);

    EXPECT_EQ(painted.region.boundingRect().top(), 0);
    EXPECT_EQ(painted.region.boundingRect().height(), rowHeight());
}

TEST_F(UniformRowTableViewPictureTest, AsksForTheCellsOnlyThatHaveToBePainted)
{
    TellingDelegate delegate;
    view().setItemDelegate(&delegate);
    add(4);
    display();
    delegate.painted.clear();

    view().update(cell(1, 0));
    view().update(cell(3, 2));
    display();

    EXPECT_EQ(delegate.painted.size(), 2U);
    EXPECT_TRUE(delegate.painted.contains(cell(1, 0)));
    EXPECT_TRUE(delegate.painted.contains(cell(3, 2)));
}

TEST_F(UniformRowTableViewPictureTest, TellsTheStyleOfFocusAndSelection)
{
    TellingDelegate delegate;
    view().setItemDelegate(&delegate);
    add(4);
    view().setCurrentIndex(cell(2, 0));

    display();
    EXPECT_TRUE(delegate.painted[cell(2, 0)].testFlag(QStyle::State_HasFocus));
    EXPECT_FALSE(delegate.painted[cell(2, 2)].testFlag(QStyle::State_HasFocus));
    EXPECT_TRUE(delegate.painted[cell(2, 2)].testFlag(QStyle::State_Selected));
    EXPECT_FALSE(delegate.painted[cell(1, 2)].testFlag(QStyle::State_Selected));
    EXPECT_TRUE(delegate.painted[cell(1, 2)].testFlag(QStyle::State_Enabled));

    view().clearFocus();
    display();
    EXPECT_FALSE(delegate.painted[cell(2, 0)].testFlag(QStyle::State_HasFocus));
}

TEST_F(UniformRowTableViewPictureTest, TellsTheStyleOfTheCellUnderTheMouse)
{
    TellingDelegate delegate;
    view().setItemDelegate(&delegate);
    add(4);
    QWidget& viewport = *view().viewport();
    QCursor::setPos(viewport.mapToGlobal(view().visualRect(cell(1, 0)).center()));
    QCoreApplication::processEvents();

    viewport.setAttribute(Qt::WA_UnderMouse);
    viewport.grab();
    EXPECT_TRUE(delegate.painted[cell(1, 0)].testFlag(QStyle::State_MouseOver));
    EXPECT_FALSE(delegate.painted[cell(2, 0)].testFlag(QStyle::State_MouseOver));
    EXPECT_FALSE(delegate.painted[cell(1, 2)].testFlag(QStyle::State_MouseOver));

    viewport.setAttribute(Qt::WA_UnderMouse, false);
    viewport.grab();
    EXPECT_FALSE(delegate.painted[cell(1, 0)].testFlag(QStyle::State_MouseOver));
}

TEST_F(UniformRowTableViewPictureTest, KeepsTheStripesOfItsRows)
{
    add(5);
    const QColor top = colourOf(0);
    ASSERT_NE(top, colourOf(1));

    add(1);

    EXPECT_EQ(colourOf(1), top);
    EXPECT_NE(colourOf(0), top);
}

TEST_F(UniformRowTableViewPictureTest, PaintsASelectionThatReachesOutOfView)
{
    add(100);
    bar().setValue(30);
    view().setCurrentIndex(cell(35, 0));
    const QColor plain = colourOf(32);

    view().selectAll();

    EXPECT_NE(colourOf(32), plain);
    EXPECT_TRUE(showsWhatItWouldPaint());
}

} // namespace
} // namespace veltra
