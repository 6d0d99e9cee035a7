#pragma once

#include <QApplication>
#include <QTableView>

#include <functional>

namespace veltra {

/// The application, which reports when a table's top row was painted. Main thread only.
class PaintWatch : public QApplication {
  public:
    using QApplication::QApplication;

    /// From now on, calls `onPainted` each time the top row of `table` was painted, as soon as the
    /// picture is on its way to the display: when the event loop has finished the event in which
    /// the window painted. Call watchNothing() before the table is destroyed.
    void watchTopRow(const QTableView& table, std::function<void()> onPainted);
    void watchNothing();

    bool notify(QObject* receiver, QEvent* event) override;

  private:
    [[nodiscard]] bool paintsTopRow(const QObject* receiver, const QEvent& event) const;

    const QTableView* table_ = nullptr;
    std::function<void()> onPainted_;
    int depth_ = 0;
    bool isPainted_ = false;
};

} // namespace veltra
