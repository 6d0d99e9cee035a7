#pragma once

#include <QTableView>

namespace veltra {

/// A table whose rows all have the same height; it can have tens of millions of them.
///
/// QTableView stores data for every row in its vertical header and walks over all rows whenever
/// rows are inserted. Here that header is empty and the rows' positions are computed, so the cost
/// does not depend on the number of rows. As a consequence, QTableView's functions that use row
/// numbers (`rowAt`, `rowHeight`, `setRowHidden` and the like) do not work: use `visualRect` and
/// `indexAt`. Spans, a grid and editors are not supported, and the model has to announce its rows
/// without being asked to fetch more. Row number times row height must fit an int.
///
/// While the top row is visible, rows inserted above it push the others down; otherwise the visible
/// rows stay where they are. Stripes are counted from the bottom, so that a row keeps its colour
/// and only new rows have to be painted. Main thread only.
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
        int last; ///< less than `first` if there are none
    };

    [[nodiscard]] int rowCount() const;
    [[nodiscard]] int wholeRowsInView() const;
    [[nodiscard]] Rows rowsBetween(int top, int bottom) const;
    [[nodiscard]] QRect placeOf(Rows rows) const;
    [[nodiscard]] int visibleColumn(int visualIndex, int step) const;
    [[nodiscard]] int columnBeside(int column, int step) const;
    [[nodiscard]] QModelIndex hoveredIndex() const;
    void paintCell(QPainter& painter, QStyleOptionViewItem option, const QModelIndex& index,
                   bool isHovered) const;
    void scrollToRow(int row, ScrollHint hint);
    void scrollToColumn(int column, ScrollHint hint);
    void shiftPicture(int rows);
    void updateScrollBars();

    int rowHeight_;
    bool isLayingOut_ = false;
};

} // namespace veltra
