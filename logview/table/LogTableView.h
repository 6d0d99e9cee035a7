#pragma once

#include "logview/table/UniformRowTableView.h"

class QHelpEvent;

namespace veltra {

/// The log table: selects whole rows and supports the copy shortcut. Where a cell is too narrow for
/// its text, a tool tip shows it. Once there are rows, one of them is the current row. Main thread
/// only.
class LogTableView : public UniformRowTableView {
    Q_OBJECT

  public:
    explicit LogTableView(QWidget* parent = nullptr);

    void setModel(QAbstractItemModel* model) override;

    /// Copies the selected rows to the clipboard, top to bottom, one line each, with tabs between
    /// the columns. Does nothing if no row is selected or the model is not a LogTableModel.
    void copySelectedRows();

    /// Sets the initial widths of the columns according to their usual texts; the message gets the
    /// rest.
    void layOutColumns();

  protected:
    void rowsInserted(const QModelIndex& parent, int first, int last) override;
    bool viewportEvent(QEvent* event) override;

  private:
    void makeCopyAction();
    void makeTopRowCurrent();
    void showToolTip(const QHelpEvent& event);
    [[nodiscard]] bool isCutShort(const QModelIndex& index) const;
};

} // namespace veltra
