#pragma once

#include "app/window/CommandButton.h"
#include "app/window/Footer.h"
#include "app/window/ToolOutputView.h"
#include "channel/client/HelperToolController.h"
#include "watch/VXStatusResourceController.h"

#include <QObject>
#include <QPointer>
#include <QPushButton>
#include <QString>

#include <array>
#include <functional>
#include <memory>

namespace veltra {

/// The dependencies of the controller of the buttons.
struct VXStatusButtonDependencies {
    const VXStatusResourceController& resources;
    /// Creates a controller of the helper, a new one for every command.
    std::function<std::shared_ptr<HelperToolController>()> helperController;
    QString logFolder;     ///< the agent's, with a trailing slash
    QString desktopFolder; ///< the user's
};

/// The controller of the six buttons under the log table. Main thread only.
class VXStatusButton : public QObject {
    Q_OBJECT

  public:
    explicit VXStatusButton(VXStatusButtonDependencies dependencies);

    // Outlets, in the order of the buttons.
    void setButton(CommandButton* button) { buttons_[0] = button; }
    void setButton1(CommandButton* button) { buttons_[1] = button; }
    void setButton2(CommandButton* button) { buttons_[2] = button; }
    void setButton3(CommandButton* button) { buttons_[3] = button; }
    void setButton4(CommandButton* button) { buttons_[4] = button; }
    void setButton5(CommandButton* button) { buttons_[5] = button; }
    void setFooter(Footer* footer) { footer_ = footer; }
    void setToolOutput(ToolOutputView* view) { toolOutput_ = view; }

    // Not used by the program itself; part of the interface.
    [[nodiscard]] CommandButton* button() const { return buttons_[0]; }
    [[nodiscard]] CommandButton* button1() const { return buttons_[1]; }
    [[nodiscard]] CommandButton* button2() const { return buttons_[2]; }
    [[nodiscard]] CommandButton* button3() const { return buttons_[3]; }
    [[nodiscard]] CommandButton* button4() const { return buttons_[4]; }
    [[nodiscard]] CommandButton* button5() const { return buttons_[5]; }

    /// Gives the buttons their titles.
    void awakeFromNib();

    // The actions of the buttons, in the same order. The sender is ignored.

    /// The four commands: have the helper run the agent's tool. The command's button shows that it
    /// runs until it ends; then the footer says how it ended. The earlier commands' output is
    /// cleared unless one of them still runs.
    Q_INVOKABLE void collectAndSend(QObject* sender);
    Q_INVOKABLE void sendEvents(QObject* sender);
    Q_INVOKABLE void checkNewPolicies(QObject* sender);
    Q_INVOKABLE void enforcePolicies(QObject* sender);
    /// Copies the newest log to the user's Desktop; it replaces an earlier copy only when it is
    /// complete. A log that cannot be read makes an empty copy. The footer says what came of it.
    Q_INVOKABLE void saveContentsToDesktop(QObject* sender);
    /// Ends the program.
    Q_INVOKABLE void close(QObject* sender);

  private:
    using Outcome = Footer::Outcome;

    void run(const QString& option, std::size_t index);
    void commandEnded(std::size_t index, const HelperToolController::CommandEnd& end);
    [[nodiscard]] QString text(const QString& key, const QStringList& arguments = {}) const;
    void tell(const QString& event, Outcome outcome);

    VXStatusButtonDependencies dependencies_;
    QPointer<Footer> footer_;
    QPointer<ToolOutputView> toolOutput_;
    int runningCommands_ = 0;
    std::array<QPointer<CommandButton>, 6> buttons_;
};

} // namespace veltra
