#pragma once

#include "platform/base/tests/TemporaryFolder.h"

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
        daemon_.terminate();
        daemon_.waitForFinished();
    }

    /// Starts the bus and makes it the one that programs of the session find.
    void startSession()
    {
        startBus();
        qputenv("DBUS_SESSION_BUS_ADDRESS", address().toUtf8());
    }

    QString address() const
    {
        return QStringLiteral("unix:path=") + QString::fromStdString(folder_.file("bus"));
    }

  private:
    TemporaryFolder folder_;
    QProcess daemon_;
};

} // namespace veltra
