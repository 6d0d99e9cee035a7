#pragma once

#include <QApplication>
#include <QTableView>

#include <functional>

namespace veltra {

/// The application, which tells when a table's top row was painted. Main thread only.
class PaintWatch : public QApplication {
  public:
    using QApplication::QApplication;

    /// From now on calls `onPainted` each time that the top row of `table` was painted, as soon as
    /// the picture is on its way to the display: when the event loop has the event behind it that
    /// made the window paint. The table must stay, or watch nothing be called before it goes.
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
