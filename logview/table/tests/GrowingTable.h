#pragma once

#include "logview/table/UniformRowTableView.h"

#include <QAbstractTableModel>
#include <QHeaderView>
#include <QScrollBar>
#include <QTest>

#include <algorithm>
#include <vector>

#include <gtest/gtest.h>

namespace veltra {

/// Rows that are inserted on top, as in a log. A cell contains its row, counted from the bottom,
/// and its column.
class GrowingTable : public QAbstractTableModel {
  public:
    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override
    {
        return parent.isValid() ? 0 : rows_;
    }

    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override
    {
        return parent.isValid() ? 0 : 4;
    }

    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override
    {
        if (role != Qt::DisplayRole)
            return {};
        return QStringLiteral("%1/%2").arg(rows_ - 1 - index.row()).arg(index.column());
    }

    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation,
                                      int role) const override
    {
        if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
            return {};
        return QStringLiteral("title %1").arg(section);
    }

    void insert(int first, int count)
    {
        beginInsertRows({}, first, first + count - 1);
        rows_ += count;
        endInsertRows();
    }

    void removeLast(int count)
    {
        beginRemoveRows({}, rows_ - count, rows_ - 1);
        rows_ -= count;
        endRemoveRows();
    }

    void reset(int rows)
    {
        beginResetModel();
        rows_ = rows;
        endResetModel();
    }

  private:
    int rows_ = 0;
};

/// A shown table of whole rows, whose second column is hidden.
class UniformRowTableViewTest : public testing::Test {
  protected:
    UniformRowTableViewTest()
    {
        view_.setModel(&model_);
        view_.setColumnHidden(1, true);
        view_.setAlternatingRowColors(true);
        view_.setSelectionBehavior(QAbstractItemView::SelectRows);
        view_.horizontalHeader()->setStretchLastSection(true);
        view_.resize(400, 200);
        view_.show();
        view_.activateWindow();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&view_));
        view_.setFocus();
    }

    UniformRowTableView& view() { return view_; }
    GrowingTable& model() { return model_; }
    QScrollBar& bar() { return *view_.verticalScrollBar(); }

    void add(int count)
    {
        model_.insert(0, count);
        QCoreApplication::processEvents();
    }

    [[nodiscard]] QModelIndex cell(int row, int column) const { return model_.index(row, column); }
    [[nodiscard]] int rowHeight() const { return view_.visualRect(cell(0, 0)).height(); }
    [[nodiscard]] int rowsInView() const { return view_.viewport()->height() / rowHeight(); }

    void press(int key, Qt::KeyboardModifiers modifiers = {})
    {
        QTest::keyClick(&view_, static_cast<Qt::Key>(key), modifiers);
    }

    void click(int row, Qt::KeyboardModifiers modifiers = {})
    {
        QTest::mouseClick(view_.viewport(), Qt::LeftButton, modifiers,
                          view_.visualRect(cell(row, 0)).center());
    }

    [[nodiscard]] std::vector<int> selectedRows() const
    {
        std::vector<int> rows;
        for (const QModelIndex& index : view_.selectionModel()->selectedRows())
            rows.push_back(index.row());
        std::ranges::sort(rows);
        return rows;
    }

  private:
    GrowingTable model_;
    UniformRowTableView view_;
};

} // namespace veltra
