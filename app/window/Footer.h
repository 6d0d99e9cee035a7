#pragma once

#include "app/window/ElidedLabel.h"
#include "watch/VXStatusResourceController.h"

#include <QLabel>
#include <QStatusBar>
#include <QToolButton>

namespace veltra {

/// The bottom of the window. Its last line names the followed log; above, once there is one, stands
/// the newest event with its time; above that, in bold and with a sign, a state as long as it
/// lasts. What changes is told to a screen reader. Main thread only.
class Footer : public QStatusBar {
    Q_OBJECT

  public:
    enum class Outcome { good, bad };

    explicit Footer(QWidget* parent = nullptr);

    /// Sets the fixed texts, in the user's language. The key of the log's label leads to `table`.
    void setTexts(const VXStatusResourceController& resources, QWidget* table);

    /// Says which log is followed.
    void showFollowedLog(const QString& text);

    /// Shows a state until another one, or an empty text, takes its place.
    void showState(const QString& text);

    /// Shows an event, with the time of this call, until the next one; a bad one has a sign.
    void tell(const QString& event, Outcome outcome);

    /// The button that shows and hides what a tool printed; hidden at first.
    [[nodiscard]] QToolButton* toolOutputButton() { return &toolOutputButton_; }

  private:
    void makeLine(QWidget& line, QLabel& sign, ElidedLabel& text);
    void makeLogLine();
    void setSign(QLabel& sign, const QIcon& icon);

    QWidget content_;
    QWidget stateLine_;
    QLabel stateSign_;
    ElidedLabel state_;
    QWidget eventLine_;
    QLabel eventSign_;
    ElidedLabel event_;
    QLabel logTitle_;
    ElidedLabel followedLog_;
    QToolButton toolOutputButton_;
};

} // namespace veltra
