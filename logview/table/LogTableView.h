#pragma once

#include "logview/table/UniformRowTableView.h"

namespace veltra {

/// The log table: whole rows selected, the copy shortcut. Once there are rows there is a current
/// one. Main thread only.
class LogTableView : public UniformRowTableView {
    Q_OBJECT

  public:
    explicit LogTableView(QWidget* parent = nullptr);

    void setModel(QAbstractItemModel* model) override;

    /// Puts the selected rows on the clipboard, top to bottom, one line each, their columns parted
    /// by tabulators. Does nothing when no row is selected or the model is not a LogTableModel.
    void copySelectedRows();

    /// Gives the columns their first widths, by the texts that are usual in them; the message
    /// takes the rest.
    void layOutColumns();

  protected:
    void rowsInserted(const QModelIndex& parent, int first, int last) override;

  private:
    void makeCopyAction();
    void makeTopRowCurrent();
};

} // namespace veltra
