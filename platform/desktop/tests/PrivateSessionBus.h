#pragma once

#include "platform/base/tests/TemporaryFolder.h"
#include "platform/desktop/SessionBus.h"
#include "platform/desktop/tests/QtEventLoop.h"

#include <QProcess>
#include <QString>

#include <csignal>

#include <gtest/gtest.h>
#include <sys/prctl.h>

namespace veltra {

/// A test's own session bus, instead of the one that the user of the test may have.
class PrivateSessionBus {
  public:
    PrivateSessionBus()
    {
        qputenv("XDG_RUNTIME_DIR", QByteArray::fromStdString(folder_.path()));
        qunsetenv("DBUS_SESSION_BUS_ADDRESS");
    }
    PrivateSessionBus(const PrivateSessionBus&) = delete;
    PrivateSessionBus& operator=(const PrivateSessionBus&) = delete;

    ~PrivateSessionBus() { stopBus(); }

    void startBus()
    {
        daemon_.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
        daemon_.start(QStringLiteral("dbus-daemon"),
                      {QStringLiteral("--session"), QStringLiteral("--nofork"),
                       QStringLiteral("--nopidfile"), QStringLiteral("--address=%1").arg(address()),
                       QStringLiteral("--print-address")});
        ASSERT_TRUE(daemon_.waitForReadyRead()) << daemon_.errorString().toStdString();
    }

    void stopBus()
    {
        resumeBus();
        daemon_.terminate();
        daemon_.waitForFinished();
    }

    /// Starts the bus and makes it the one that programs of the session find.
    void startSession()
    {
        startBus();
        qputenv("DBUS_SESSION_BUS_ADDRESS", address().toUtf8());
    }

    /// Has the bus answer nobody, even though programs can still connect to it.
    void hangBus() { ASSERT_EQ(::kill(daemonId(), SIGSTOP), 0); }

    void resumeBus()
    {
        if (daemon_.state() == QProcess::Running) {
            ASSERT_EQ(::kill(daemonId(), SIGCONT), 0);
        }
    }

    /// Waits until the bus has done what this program has asked it so far: it answers in order.
    static void waitForBus()
    {
        const auto bus = SessionBus::connection();
        ASSERT_NE(bus, nullptr);
        bool isAnswered = false;
        const auto fence = bus->call(
            {"org.freedesktop.DBus", "/", "org.freedesktop.DBus", "NoSuchMethod"}, {"", ""},
            [](sd_bus_message*, void* answered, sd_bus_error*) {
                *static_cast<bool*>(answered) = true;
                return 0;
            },
            &isAnswered);
        ASSERT_TRUE(runLoopUntil([&] { return isAnswered; }));
    }

    QString address() const
    {
        return QStringLiteral("unix:path=") + QString::fromStdString(folder_.file("bus"));
    }

  private:
    pid_t daemonId() const { return static_cast<pid_t>(daemon_.processId()); }

    TemporaryFolder folder_;
    QProcess daemon_;
};

} // namespace veltra
