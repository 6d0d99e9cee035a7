#include "logview/tests/GrowingTable.h"

#include <QImage>
#include <QPaintEvent>
#include <QScreen>

namespace veltra {
namespace {

/// Adds up what of a widget is painted.
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

/// What stands on the display, as opposed to what would be painted now.
class UniformRowTableViewPictureTest : public UniformRowTableViewTest {
  protected:
    QImage display()
    {
        QCoreApplication::processEvents();
        return view().screen()->grabWindow(view().winId()).toImage();
    }

    QImage displayPaintedAfresh()
    {
        view().viewport()->update();
        return display();
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
        EXPECT_EQ(display(), displayPaintedAfresh()) << count << " rows more";
    }

    EXPECT_NE(display(), empty);
}

TEST_F(UniformRowTableViewPictureTest, ShowsWhatItWouldPaintWhileItIsScrolled)
{
    add(60);

    for (const int top : {1, 0, 3, 2, 30, 27, 28, bar().maximum(), 0}) {
        bar().setValue(top);
        EXPECT_EQ(display(), displayPaintedAfresh()) << "scrolled to " << top;
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
        EXPECT_EQ(after, displayPaintedAfresh()) << count << " rows more";
        EXPECT_EQ(after.copy(0, 40, 300, 100), before.copy(0, 40, 300, 100));
    }
}

TEST_F(UniformRowTableViewPictureTest, ShowsWhatItWouldPaintWhenRowsComeBelowOrGo)
{
    add(4);

    model().insert(2, 1);
    EXPECT_EQ(display(), displayPaintedAfresh());
    model().insert(5, 1);
    EXPECT_EQ(display(), displayPaintedAfresh());
    model().removeLast(3);
    EXPECT_EQ(display(), displayPaintedAfresh());
    model().reset(2);
    EXPECT_EQ(display(), displayPaintedAfresh());
}

TEST_F(UniformRowTableViewPictureTest, MovesTheSelectionAlongWithItsRows)
{
    add(20);
    click(2);
    const QColor selected = colourOf(2);

    add(1);

    EXPECT_EQ(colourOf(3), selected);
    EXPECT_NE(colourOf(2), selected);
    EXPECT_EQ(display(), displayPaintedAfresh());
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
    EXPECT_EQ(display(), displayPaintedAfresh());
}

} // namespace
} // namespace veltra
