// The watcher's end after the event loop's: every test creates and destroys its own application.

#include "platform/base/tests/TemporaryFolder.h"
#include "platform/desktop/MainQueue.h"
#include "platform/desktop/fakes/FakeWorkspace.h"
#include "platform/log/SystemLog.h"
#include "platform/log/tests/RecordingSink.h"
#include "watch/VXStatusQueueCentral.h"
#include "watch/tests/WatcherTesting.h"

#include <gtest/gtest.h>

namespace veltra {
namespace {

/// Reports when the watcher's thread has taken an event: the thread notes the path before anything
/// else.
class NotingGate : public FakeWorkspace {
  public:
    void noteFileSystemChanged(const QString& /*path*/) override { noted.open(); }

    Gate noted;
};

class WatcherEndTest : public testing::Test {
  protected:
    WatcherEndTest()
    {
        folder_.write("vxsvc_1.log", "");
        entry_ = central_->addPathToQueue(QString::fromStdString(folder_.file("vxsvc_1.log")),
                                          VXStatusQueueCentral::allNotes);
    }

    /// Causes a notification that the thread cannot deliver, because no event loop runs.
    void holdUpThread()
    {
        queue_->post(entry_->watchedFD(), NOTE_RENAME | NOTE_DELETE);
        ASSERT_TRUE(workspace_.noted.waitUntilOpen());
    }

    class NoReceiver : public LogPathReceiver {
      public:
        void addpath(const QString& /*path*/) override {}
    };

    int count_ = 1;
    std::string name_ = "WatcherEndTest";
    std::vector<char*> arguments_{name_.data(), nullptr};
    std::unique_ptr<QCoreApplication> application_ =
        std::make_unique<QCoreApplication>(count_, arguments_.data());
    std::shared_ptr<Recording> recording_ = std::make_shared<Recording>();
    SystemLog systemLog_{Recording::sink(recording_)};
    SystemLog::Redirection redirection_{systemLog_};
    TemporaryFolder folder_;
    const AgentInstallation installation_{.logFolder = folder_.path() + "/"};
    const VXStatusResourceController resources_{installation_, nullptr};
    NotificationCenter notifications_;
    NotingGate workspace_;
    NoReceiver receiver_;
    std::unique_ptr<FakeKernelQueue> owned_ = std::make_unique<FakeKernelQueue>();
    FakeKernelQueue* queue_ = owned_.get();
    std::unique_ptr<VXStatusQueueCentral> central_ = std::make_unique<VXStatusQueueCentral>(
        std::move(owned_), VXStatusQueueDependencies{
                               .notifications = notifications_,
                               .workspace = workspace_,
                               .resources = resources_,
                               .pathReceiver = [this]() -> LogPathReceiver& { return receiver_; },
                               .installation = installation_});
    std::shared_ptr<VXStatusQueuePathEntry> entry_;
};

TEST_F(WatcherEndTest, EndsAfterTheLoopWasClosedWhileItsThreadWaitedForIt)
{
    holdUpThread();
    MainQueue::close();
    application_.reset();

    central_.reset();

    systemLog_.drain();
    EXPECT_LE(recording_->messages().size(), 1U); // of the post that was interrupted by close()
}

TEST_F(WatcherEndTest, SaysNothingOfTheClosedLoopWhenItIsEnding)
{
    MainQueue::close();
    application_.reset();

    central_.reset();

    systemLog_.drain();
    EXPECT_TRUE(recording_->messages().empty());
}

TEST_F(WatcherEndTest, EndsWhileTheLoopNeverTurned)
{
    holdUpThread();

    central_.reset();

    systemLog_.drain();
    EXPECT_TRUE(recording_->messages().empty());
}

} // namespace
} // namespace veltra
