#pragma once

#include "logview/VXStatusResourceController.h"

#include <QObject>
#include <QPointer>
#include <QPushButton>

#include <array>

namespace veltra {

/// The controller of the six buttons under the log table. Main thread only.
class VXStatusButton : public QObject {
    Q_OBJECT

  public:
    explicit VXStatusButton(const VXStatusResourceController& resources);

    // Outlets, in the order of the buttons.
    void setButton(QPushButton* button) { buttons_[0] = button; }
    void setButton1(QPushButton* button) { buttons_[1] = button; }
    void setButton2(QPushButton* button) { buttons_[2] = button; }
    void setButton3(QPushButton* button) { buttons_[3] = button; }
    void setButton4(QPushButton* button) { buttons_[4] = button; }
    void setButton5(QPushButton* button) { buttons_[5] = button; }

    [[nodiscard]] QPushButton* button() const { return buttons_[0]; }
    [[nodiscard]] QPushButton* button1() const { return buttons_[1]; }
    [[nodiscard]] QPushButton* button2() const { return buttons_[2]; }
    [[nodiscard]] QPushButton* button3() const { return buttons_[3]; }
    [[nodiscard]] QPushButton* button4() const { return buttons_[4]; }
    [[nodiscard]] QPushButton* button5() const { return buttons_[5]; }

    /// Gives the buttons their titles.
    void awakeFromNib();

    /// Ends the program.
    Q_INVOKABLE void close(QObject* sender);

  private:
    const VXStatusResourceController& resources_;
    std::array<QPointer<QPushButton>, 6> buttons_;
};

} // namespace veltra
