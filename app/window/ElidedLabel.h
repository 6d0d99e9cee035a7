#pragma once

#include <QLabel>

namespace veltra {

/// A label for one line of plain text. It needs no width of its own: text that does not fit is cut
/// short in its middle, and a tool tip shows it. Main thread only.
class ElidedLabel : public QLabel {
    Q_OBJECT

  public:
    explicit ElidedLabel(QWidget* parent = nullptr);

    [[nodiscard]] QSize minimumSizeHint() const override;

  protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

  private:
    [[nodiscard]] QString shownText() const;
};

} // namespace veltra
