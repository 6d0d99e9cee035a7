#pragma once

#include "app/VXStatusButton.h"
#include "platform/desktop/tests/QtEventLoop.h"
#include "watch/VXStatusResourceController.h"
#include "watch/tests/TextsInBundle.h"

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

/// The dependencies of the controller of buttons that nobody presses.
[[nodiscard]] inline VXStatusButtonDependencies
buttonDependencies(const VXStatusResourceController& resources)
{
    return {.resources = resources, .helperController = {}, .logFolder = {}, .desktopFolder = {}};
}

} // namespace veltra
