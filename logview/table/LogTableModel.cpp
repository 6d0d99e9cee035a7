#include "logview/table/LogTableModel.h"

#include "logview/table/LogText.h"
#include "logview/table/SeverityIcon.h"

#include <QFont>

#include <algorithm>
#include <array>

namespace veltra {

namespace {

constexpr std::array fields{LogField::date, LogField::time, LogField::component,
                            LogField::messageType, LogField::message};

QString shortened(std::string_view utf8)
{
    // A character takes at most four bytes.
    const auto part = utf8.substr(0, 4 * (LogTableModel::shownCharacters + 1));
    QString text = logText(part);
    if (text.size() <= LogTableModel::shownCharacters)
        return text;
    // A character outside the basic plane takes two code units, which must not be separated.
    const bool partsOne = text.at(LogTableModel::shownCharacters).isLowSurrogate();
    text.truncate(LogTableModel::shownCharacters - (partsOne ? 1 : 0));
    return text + QChar{u'\u2026'};
}

QVariant fontFor(std::string_view messageType)
{
    if (messageType != "Error")
        return {};
    QFont font;
    font.setBold(true);
    return font;
}

} // namespace

LogTableModel::LogTableModel(const LogRows& rows, QObject* parent, std::size_t rowLimit)
    : QAbstractTableModel{parent}, rows_{rows}, rowLimit_{rowLimit}
{
}

void LogTableModel::setTitles(const QStringList& titles)
{
    titles_ = titles;
    Q_EMIT headerDataChanged(Qt::Horizontal, 0, columns - 1);
}

void LogTableModel::adoptPublishedRows()
{
    const std::size_t published = rows_.count();
    if (published == adopted_)
        return;
    const auto added = static_cast<int>(std::min(published - adopted_, rowLimit_));
    dropRowsBelow(static_cast<int>(rowLimit_) - added);
    beginInsertRows({}, 0, added - 1);
    adopted_ = published;
    shown_ += added;
    endInsertRows();
}

void LogTableModel::dropRowsBelow(int kept)
{
    if (shown_ <= kept)
        return;
    beginRemoveRows({}, kept, shown_ - 1);
    shown_ = kept;
    endRemoveRows();
}

LogLineTexts LogTableModel::texts(int row) const
{
    return rows_.row(adopted_ - 1 - static_cast<std::size_t>(row)).texts();
}

VXStatusTableHeader LogTableModel::record(int row) const
{
    return VXStatusTableHeader{texts(row)};
}

int LogTableModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : shown_;
}

int LogTableModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : columns;
}

QVariant LogTableModel::data(const QModelIndex& index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    const LogLineTexts row = texts(index.row());
    const std::string_view cell = row[fields[static_cast<std::size_t>(index.column())]];
    switch (role) {
    case Qt::DisplayRole:
        return shortened(cell);
    case Qt::DecorationRole:
        return index.column() == messageTypeColumn ? QVariant{severityIcon(cell)} : QVariant{};
    case Qt::FontRole:
        return fontFor(row[LogField::messageType]);
    default:
        return {};
    }
}

QVariant LogTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal)
        return {};
    if (role == Qt::TextAlignmentRole)
        return QVariant::fromValue(Qt::Alignment{Qt::AlignLeft | Qt::AlignVCenter});
    return role == Qt::DisplayRole ? QVariant{titles_.value(section)} : QVariant{};
}

} // namespace veltra
