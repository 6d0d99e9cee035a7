#pragma once

#include "logview/rows/LogRows.h"
#include "logview/table/VXStatusTableHeader.h"

#include <QAbstractTableModel>
#include <QStringList>

namespace veltra {

/// Provides log rows to a table view, the newest on top. Main thread only.
///
/// The view sees the rows that the model has adopted; rows published later appear with the next
/// call of adoptPublishedRows().
class LogTableModel : public QAbstractTableModel {
    Q_OBJECT

  public:
    enum Column : int { dateColumn, timeColumn, componentColumn, messageTypeColumn, messageColumn };
    static constexpr int columns = 5;

    /// How many characters of a text a cell shows; laying out a line of many megabytes would block
    /// the window.
    static constexpr qsizetype shownCharacters = 2000;

    /// How many rows a view can hold: Qt stores the height of a table in an int. If there are more
    /// rows, the newest are shown.
    static constexpr std::size_t mostRows = 50'000'000;

    /// A model of `rows`, which must outlive it.
    explicit LogTableModel(const LogRows& rows, QObject* parent = nullptr,
                           std::size_t rowLimit = mostRows);

    void setTitles(const QStringList& titles);

    /// Shows the rows that were published since the last call.
    void adoptPublishedRows();

    /// The texts and the record of a row, counted from the top. The row must exist.
    [[nodiscard]] LogLineTexts texts(int row) const;
    [[nodiscard]] VXStatusTableHeader record(int row) const;

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation,
                                      int role) const override;

  private:
    void dropRowsBelow(int kept);

    const LogRows& rows_;
    std::size_t rowLimit_;
    std::size_t adopted_ = 0;
    int shown_ = 0;
    QStringList titles_;
};

} // namespace veltra
