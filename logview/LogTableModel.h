#pragma once

#include "logview/LogRows.h"
#include "logview/VXStatusTableHeader.h"

#include <QAbstractTableModel>
#include <QStringList>

namespace veltra {

/// Serves log rows to a table view, the newest on top. Main thread only.
///
/// The view sees the rows that the model has adopted; rows published later appear with the next
/// call of adoptPublishedRows().
class LogTableModel : public QAbstractTableModel {
    Q_OBJECT

  public:
    enum Column : int { dateColumn, timeColumn, componentColumn, messageTypeColumn, messageColumn };
    static constexpr int columns = 5;

    /// How many characters of a text a cell shows; laying out a line of many megabytes would
    /// hold up the window.
    static constexpr qsizetype shownCharacters = 2000;

    /// How many rows a view can hold: Qt counts the height of a table in an int. Of more rows
    /// the newest are shown.
    static constexpr std::size_t mostRows = 50'000'000;

    /// How many rows come at once, since a view may do something for each.
    static constexpr std::size_t rowsAtOnce = 300'000;

    /// A model of `rows`, which must outlive it.
    explicit LogTableModel(const LogRows& rows, QObject* parent = nullptr,
                           std::size_t rowLimit = mostRows);

    void setTitles(const QStringList& titles);

    /// Shows the rows that were published since the last call: at once as many as a view takes in
    /// without holding up the window, and the others while the event loop turns. The newest come
    /// first into an empty table, and last on top of others.
    void adoptPublishedRows();

    /// Whether all rows that were published so far are shown, as far as the limit allows.
    [[nodiscard]] bool isUpToDate() const;

    /// The texts and the record of a row, counted from the top. The row must exist.
    [[nodiscard]] LogLineTexts texts(int row) const;
    [[nodiscard]] VXStatusTableHeader record(int row) const;

    /// The key under which a record holds the value of a column.
    [[nodiscard]] static QString identifier(Column column);

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation,
                                      int role) const override;

  private:
    void adoptPortion(std::size_t published);
    void putOnTop(std::size_t added);
    void putBelow(std::size_t added);
    void dropRowsBeyondLimit();
    /// The age of the lowest row that is to be shown.
    [[nodiscard]] std::size_t lowest() const;

    const LogRows& rows_;
    std::size_t rowLimit_;
    std::size_t adopted_ = 0; // shown are rows younger than that,
    std::size_t bottom_ = 0;  // from this age on
    QStringList titles_;
};

} // namespace veltra
