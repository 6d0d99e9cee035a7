#pragma once

#include "app/window/ActivityIndicator.h"

#include <QPushButton>

namespace veltra {

/// A push button that shows when its commands run, and can still be pressed meanwhile. The Enter
/// key presses it as the space bar does. Main thread only.
class CommandButton : public QPushButton {
    Q_OBJECT

  public:
    explicit CommandButton(QWidget* parent = nullptr);

    /// Call them when a command starts and ends. `description` tells a screen reader that one runs.
    void commandStarted(const QString& description);
    void commandEnded();

    /// How many commands are running.
    [[nodiscard]] int runningCommands() const noexcept { return runningCommands_; }

    [[nodiscard]] QSize sizeHint() const override;

  protected:
    void keyPressEvent(QKeyEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

  private:
    ActivityIndicator indicator_;
    int runningCommands_ = 0;
};

} // namespace veltra
