#pragma once

#include "app/ActivityIndicator.h"
#include "app/CommandButton.h"
#include "logview/table/LogTableView.h"
#include "platform/desktop/NotificationCenter.h"

#include <QLabel>
#include <QMainWindow>

#include <array>
#include <memory>

namespace Ui {
class MainWindow;
}

namespace veltra {

/// The program's only window: the agent's state at the top, its log in the middle, the buttons at
/// the bottom. It holds the widgets; the controllers fill them.
class MainWindow : public QMainWindow {
    Q_OBJECT

  public:
    /// Posted when a window is about to close, with the window as object.
    static const QString willCloseNotification;

    explicit MainWindow(NotificationCenter& notifications);
    ~MainWindow() override;

    [[nodiscard]] LogTableView* table() const;
    [[nodiscard]] ActivityIndicator* activityIndicator() const;
    [[nodiscard]] QLabel* statusImage() const;
    [[nodiscard]] QLabel* statusLabel() const;
    [[nodiscard]] QLabel* versionLabel() const;
    [[nodiscard]] QLabel* serverLabel() const;
    [[nodiscard]] std::array<CommandButton*, 6> buttons() const;

  protected:
    void closeEvent(QCloseEvent* event) override;

  private:
    void emphasiseStatus();

    NotificationCenter& notifications_;
    std::unique_ptr<Ui::MainWindow> ui_;
};

} // namespace veltra
