#pragma once

#include "platform/base/tests/TemporaryFolder.h"
#include "platform/desktop/SessionBus.h"
#include "platform/desktop/tests/QtEventLoop.h"

#include <QProcess>
#include <QString>
#include <QTimer>

#include <chrono>
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

    /// Waits until the bus has registered everything that this program has asked it for so far. It
    /// does so in order, so a signal that is asked for last arrives only then.
    static void waitForBus()
    {
        const auto bus = SessionBus::connection();
        ASSERT_NE(bus, nullptr);
        bool isRegistered = false;
        const auto fence = bus->match(
            "com.veltra.Test", "Fence",
            [](sd_bus_message*, void* registered, sd_bus_error*) {
                *static_cast<bool*>(registered) = true;
                return 0;
            },
            &isRegistered);
        sd_bus* other = nullptr;
        ASSERT_GE(sd_bus_open_user(&other), 0);
        QTimer again;
        QObject::connect(&again, &QTimer::timeout, [other] {
            EXPECT_GE(sd_bus_emit_signal(other, "/", "com.veltra.Test", "Fence", ""), 0);
            EXPECT_GE(sd_bus_flush(other), 0);
        });
        again.start(std::chrono::milliseconds{1});
        EXPECT_TRUE(runLoopUntil([&] { return isRegistered; }));
        sd_bus_flush_close_unref(other);
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
