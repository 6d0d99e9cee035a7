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

    /// Waits until the bus has done what this program has asked it so far: it does so in order, and
    /// the last thing that it is asked for here are the signals of another program.
    static void waitForBus()
    {
        const auto bus = SessionBus::connection();
        ASSERT_NE(bus, nullptr);
        bool isDelivered = false;
        const auto fence = bus->match(
            "com.veltra.Fence", "Passed",
            [](sd_bus_message*, void* delivered, sd_bus_error*) {
                *static_cast<bool*>(delivered) = true;
                return 0;
            },
            &isDelivered);
        sd_bus* other = nullptr;
        ASSERT_GE(sd_bus_open_user(&other), 0);
        EXPECT_TRUE(runLoopUntil([&] {
            sd_bus_emit_signal(other, "/", "com.veltra.Fence", "Passed", "");
            sd_bus_flush(other);
            return isDelivered;
        }));
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
