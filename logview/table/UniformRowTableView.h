#pragma once

#include <QTableView>

namespace veltra {

/// A table whose rows all have one height, which it may have tens of millions of.
///
/// QTableView keeps a record of every row in its vertical header and walks over all of them
/// whenever rows come; here that header is empty and the rows' places are computed, so that rows
/// cost the same whatever number there is. What QTableView offers with a row's number (`rowAt`,
/// `rowHeight`, `setRowHidden` and the like) knows of no rows, therefore: ask `visualRect` and
/// `indexAt`. There are neither spans nor a grid nor editors, and the model has to tell
/// of its rows without being asked to fetch more. Row number times row height must fit an int.
///
/// While the top row is in view rows that come above it push the others down; while it is not, the
/// rows in view stay where they are. Stripes are counted from the bottom, so that a row keeps its
/// colour then and only new rows have to be painted. Main thread only.
class UniformRowTableView : public QTableView {
    Q_OBJECT

  public:
    explicit UniformRowTableView(QWidget* parent = nullptr);

    void reset() override;
    void scrollTo(const QModelIndex& index, ScrollHint hint = EnsureVisible) override;
    [[nodiscard]] QModelIndex indexAt(const QPoint& position) const override;
    [[nodiscard]] QRect visualRect(const QModelIndex& index) const override;

  protected:
    QModelIndex moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers) override;
    void paintEvent(QPaintEvent* event) override;
    void rowsAboutToBeRemoved(const QModelIndex& parent, int first, int last) override;
    void rowsInserted(const QModelIndex& parent, int first, int last) override;
    void scrollContentsBy(int dx, int dy) override;
    [[nodiscard]] int sizeHintForColumn(int column) const override;
    void updateGeometries() override;
    [[nodiscard]] int verticalOffset() const override;
    [[nodiscard]] QRegion visualRegionForSelection(const QItemSelection& selection) const override;

  private:
    struct Rows {
        int first;
        int last; ///< before the first one when there are none
    };

    [[nodiscard]] int rowCount() const;
    [[nodiscard]] int wholeRowsInView() const;
    [[nodiscard]] Rows rowsBetween(int top, int bottom) const;
    [[nodiscard]] QRect placeOf(Rows rows) const;
    [[nodiscard]] int visibleColumn(int visualIndex, int step) const;
    [[nodiscard]] int columnBeside(int column, int step) const;
    void paintCell(QPainter& painter, QStyleOptionViewItem option, const QModelIndex& index) const;
    void scrollToRow(int row, ScrollHint hint);
    void scrollToColumn(int column, ScrollHint hint);
    void shiftPicture(int rows);
    void updateScrollBars();

    int rowHeight_;
    bool isLayingOut_ = false;
};

} // namespace veltra
