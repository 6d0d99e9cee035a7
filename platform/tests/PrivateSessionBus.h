#pragma once

#include "platform/tests/TemporaryFolder.h"

#include <QProcess>
#include <QString>

#include <csignal>

#include <gtest/gtest.h>
#include <sys/prctl.h>

namespace veltra {

/// A session bus of one test's own, in place of the one that the test program's user may have.
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
        daemon_.start(u"dbus-daemon"_qs,
                      {u"--session"_qs, u"--nofork"_qs, u"--nopidfile"_qs,
                       u"--address=%1"_qs.arg(address()), u"--print-address"_qs});
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
        return u"unix:path="_qs + QString::fromStdString(folder_.file("bus"));
    }

  private:
    TemporaryFolder folder_;
    QProcess daemon_;
};

} // namespace veltra
