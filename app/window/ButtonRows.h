#pragma once

#include <QLayout>

#include <memory>
#include <vector>

namespace veltra {

/// Lays widgets out in as few rows as their texts fit into; all rows but the last have the same
/// number of widgets. They stand below each other where there is room for that. Main thread only.
class ButtonRows : public QLayout {
    Q_OBJECT

  public:
    explicit ButtonRows(QWidget* parent);
    ~ButtonRows() override;

    void addItem(QLayoutItem* item) override;
    [[nodiscard]] int count() const override;
    [[nodiscard]] QLayoutItem* itemAt(int index) const override;
    QLayoutItem* takeAt(int index) override;

    [[nodiscard]] QSize sizeHint() const override;
    /// The size that lets the rows be as they are now; fewer columns need less width.
    [[nodiscard]] QSize minimumSize() const override;
    /// Not upwards: what is above the rows gets the room.
    [[nodiscard]] Qt::Orientations expandingDirections() const override { return Qt::Horizontal; }
    [[nodiscard]] bool hasHeightForWidth() const override { return true; }
    [[nodiscard]] int heightForWidth(int width) const override;
    void setGeometry(const QRect& area) override;

  private:
    [[nodiscard]] int columnsIn(int width) const;
    [[nodiscard]] std::vector<int> widthsInRow(int first, int columns, int room) const;
    [[nodiscard]] std::vector<int> columnWidths(int columns) const;
    [[nodiscard]] std::vector<int> ownWidths(int first, int columns) const;
    [[nodiscard]] int total(const std::vector<int>& widths) const;
    [[nodiscard]] int widthOf(int columns) const;
    [[nodiscard]] int heightOf(int columns) const;
    [[nodiscard]] int rowHeight() const;

    std::vector<std::unique_ptr<QLayoutItem>> items_;
};

} // namespace veltra
