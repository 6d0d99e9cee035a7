#pragma once

#include "app/VXStatusButton.h"
#include "platform/desktop/tests/QtEventLoop.h"
#include "watch/VXStatusResourceController.h"
#include "watch/tests/TestBundle.h"

#include <QApplication>
#include <QTimer>

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

namespace veltra {

/// How an event loop ended.
enum class LoopEnd { quit, byTheTest, tooLate };

/// Runs the program's event loop, with `action` first in it; returns whether that ended the loop.
/// `lastly`, if set, runs in the loop's next iterations, and then the test ends the loop.
[[nodiscard]] inline LoopEnd endOfLoopAfter(const std::function<void()>& action)
{
    // Otherwise closing the last window would end the loop.
    QApplication::setQuitOnLastWindowClosed(false);
    QTimer deadline;
    deadline.setSingleShot(true);
    QObject::connect(&deadline, &QTimer::timeout, [] { QApplication::exit(2); });
    deadline.start(std::chrono::minutes{1});
    QTimer::singleShot(0, qApp, [&action] {
        action();
        // Not reached if the action has ended the loop.
        QTimer::singleShot(0, qApp, [] { QApplication::exit(1); });
    });
    switch (QApplication::exec()) {
    case 0:
        return LoopEnd::quit;
    case 1:
        return LoopEnd::byTheTest;
    default:
        return LoopEnd::tooLate;
    }
}

/// A bundle with the program's own texts in one language, whatever the user's is, and the resources
/// that are looked up in it.
class TextsInBundle {
  public:
    explicit TextsInBundle(const QString& language = QStringLiteral("en"))
    {
        bundle_.addTextsWithoutCatalogue();
        bundle_.addCatalogue(QStringLiteral(VELTRA_TEST_CATALOGUES) +
                             QStringLiteral("/VeltraAgentStatusMonitor_%1.qm").arg(language));
    }

    [[nodiscard]] VXStatusResourceController
    resources(const AgentInstallation& installation = {}) const
    {
        return VXStatusResourceController{installation, bundle_.open()};
    }

  private:
    TestBundle bundle_;
};

/// The same without any texts: every key is its own text.
[[nodiscard]] inline std::shared_ptr<Bundle> bundleWithoutTexts(const TestBundle& bundle)
{
    bundle.addTextsWithoutCatalogue();
    return bundle.open();
}

/// The dependencies of the controller of buttons that nobody presses.
[[nodiscard]] inline VXStatusButtonDependencies
buttonDependencies(const VXStatusResourceController& resources)
{
    return {.resources = resources, .helperController = {}, .logFolder = {}, .desktopFolder = {}};
}

} // namespace veltra
