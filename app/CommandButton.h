#pragma once

#include "app/ActivityIndicator.h"

#include <QPushButton>

namespace veltra {

/// A push button that shows while commands of it run, and can be pressed all the same. Main thread
/// only.
class CommandButton : public QPushButton {
    Q_OBJECT

  public:
    explicit CommandButton(QWidget* parent = nullptr);

    /// One more command runs, or one fewer. `description` says so to a screen reader.
    void commandStarted(const QString& description);
    void commandEnded();

    /// How many commands run.
    [[nodiscard]] int runningCommands() const noexcept { return runningCommands_; }

    [[nodiscard]] QSize sizeHint() const override;

  protected:
    void resizeEvent(QResizeEvent* event) override;

  private:
    ActivityIndicator indicator_;
    int runningCommands_ = 0;
};

} // namespace veltra
