#pragma once

#include "app/VXStatusTableVC.h"
#include "channel/client/tests/HelperTesting.h"
#include "logview/rows/tests/LogTexts.h"
#include "platform/base/tests/TemporaryFolder.h"
#include "platform/desktop/tests/QtEventLoop.h"
#include "platform/log/tests/RecordedLog.h"
#include "watch/tests/TestBundle.h"

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

namespace veltra {

/// A table controller over the test's own log, with all its dependencies.
class TableControllerTest : public testing::Test {
  protected:
    using Lines = std::vector<std::string>;
    static constexpr std::chrono::milliseconds pollInterval{10};
    static inline const std::string log1 = "vxsvc_1.log";

    /// Thrown instead of ending the process.
    struct ProcessEnd {};

    TableControllerTest()
    {
        setAgentPid("");
        folder_.write("helper", "a helper that is installed");
        // Of the same version as the copy.
        helper_.onCall = [](FakeHelperConnection&, const FakeHelperConnection::Call& call) {
            if (call.version)
                call.version("1.0.2");
        };
    }

    ~TableControllerTest() override { controller_.reset(); }

    /// Makes the controller and waits until its first pass is shown.
    VXStatusTableVC& start(const std::shared_ptr<Bundle>& mainBundle = nullptr)
    {
        make(mainBundle);
        controller_->setActivityIndicator(&indicator_);
        EXPECT_TRUE(indicator_.isAnimating());
        EXPECT_TRUE(runLoopUntil([this] { return !indicator_.isAnimating(); }));
        return *controller_;
    }

    VXStatusTableVC& make(const std::shared_ptr<Bundle>& mainBundle = nullptr)
    {
        controller_ = std::make_unique<VXStatusTableVC>(VXStatusTableDependencies{
            .notifications = notifications(),
            .resources = resources_,
            .mainBundle = mainBundle,
            .initalFilePath =
                [this] {
                    ++askedForPath_;
                    return initialPath_;
                },
            .helperController = [this] { return helper_.makeController(); },
            .helperTool = pathOf("helper"),
            .endProcess = [] { throw ProcessEnd{}; },
            .agentProcess = {.processQuery = "cat " + agentPid_,
                             .service = service_,
                             .owner = ::getuid(),
                             .pollInterval = pollInterval}});
        return *controller_;
    }

    void setInitialPath(const QString& path) { initialPath_ = path; }
    int askedForPath() const { return askedForPath_; }
    void destroyController() { controller_.reset(); }

    /// Tells the controller that a log was written to, on the calling thread.
    void notify(const QString& path)
    {
        notifications().postNotificationName(QStringLiteral("VXStatusNotification"),
                                             QVariantMap{{QStringLiteral("newLogFilePath"), path}});
    }
    void notify() { notify(initialPath_); }

    /// Lets the main thread do what has been posted to it so far, and show the passes that have
    /// ended.
    void turn()
    {
        bool isDone = false;
        MainQueue::post([&isDone] { isDone = true; });
        EXPECT_TRUE(runLoopUntil([&] { return isDone && !indicator_.isAnimating(); }));
    }

    /// The output of the search for the agent service, as text; empty at first.
    void setAgentPid(const std::string& text) const { folder_.write("agent", text); }
    /// The agent's command line.
    const std::string& service() const { return service_; }

    /// The table as its view sees it, the top row first.
    Lines table() const
    {
        Lines lines;
        for (int row = 0; row < controller_->list().rowCount(); ++row)
            lines.push_back(tabSeparatedRow(controller_->list().texts(row)));
        return lines;
    }

    const TemporaryFolder& folder() const { return folder_; }
    QString pathOf(std::string_view name) const
    {
        return QString::fromStdString(folder_.file(name));
    }
    RecordedLog& log() { return log_; }
    ActivityIndicator& indicator() { return indicator_; }
    NotificationCenter& notifications() { return helper_.notifications; }
    FakeHelperDependencies& helper() { return helper_; }

  private:
    // Every key is its own text.
    std::shared_ptr<Bundle> withoutTexts() const
    {
        bundle_.addTextsWithoutCatalogue();
        return bundle_.open();
    }

    TemporaryFolder folder_;
    std::string agentPid_ = folder_.file("agent");
    std::string service_ = folder_.file("vxsvc");
    RecordedLog log_;
    FakeHelperDependencies helper_{VELTRA_TEST_COPY_1_0_2};
    TestBundle bundle_;
    VXStatusResourceController resources_{{.logFolder = folder_.path() + "/"}, withoutTexts()};
    QString initialPath_ = pathOf(log1);
    std::atomic<int> askedForPath_ = 0;
    ActivityIndicator indicator_;
    std::unique_ptr<VXStatusTableVC> controller_;
};

} // namespace veltra
