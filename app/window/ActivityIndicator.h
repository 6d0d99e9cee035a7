#pragma once

#include <QTimer>
#include <QWidget>

namespace veltra {

/// A small spinner that shows that something is in progress. Main thread only.
///
/// It keeps its place in the layout, becomes visible only if the activity lasts, and runs no timer
/// while there is none.
class ActivityIndicator : public QWidget {
    Q_OBJECT

  public:
    explicit ActivityIndicator(QWidget* parent = nullptr);

    void startAnimation();
    void stopAnimation();
    [[nodiscard]] bool isAnimating() const { return step_.isActive(); }

    [[nodiscard]] QSize sizeHint() const override;

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    void advance();

    QTimer step_;
    int shownStep_ = 0;
};

} // namespace veltra
