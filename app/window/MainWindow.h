#pragma once

#include "app/window/ActivityIndicator.h"
#include "app/window/CommandButton.h"
#include "app/window/Footer.h"
#include "app/window/ToolOutputView.h"
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

/// The program's only window: the agent's state at the top, its log in the middle, the buttons
/// below it and the footer at the bottom. What the agent's tool printed opens below the log. The
/// window holds the widgets; the controllers fill them.
class MainWindow : public QMainWindow {
    Q_OBJECT

  public:
    /// Posted when a window is about to close, with the window as object.
    static const QString willCloseNotification;

    explicit MainWindow(NotificationCenter& notifications);
    ~MainWindow() override;

    /// Sets the texts that never change, and what a screen reader calls the widgets.
    void setTexts(const VXStatusResourceController& resources);

    [[nodiscard]] LogTableView* table() const;
    /// Takes the place of the table's rows while there are none.
    [[nodiscard]] QLabel* emptyTableLabel() const;
    [[nodiscard]] ActivityIndicator* activityIndicator() const;
    [[nodiscard]] QLabel* statusImage() const;
    [[nodiscard]] QLabel* statusLabel() const;
    [[nodiscard]] QLabel* versionLabel() const;
    [[nodiscard]] QLabel* serverLabel() const;
    [[nodiscard]] std::array<CommandButton*, 6> buttons() const;
    [[nodiscard]] ToolOutputView* toolOutput() const;
    [[nodiscard]] Footer* footer() const;

  protected:
    void closeEvent(QCloseEvent* event) override;

  private:
    void emphasiseStatus();
    void layOutButtons();
    void connectToolOutput();
    void makeCloseAction();
    void fitScreen();

    NotificationCenter& notifications_;
    std::unique_ptr<Ui::MainWindow> ui_;
};

} // namespace veltra
