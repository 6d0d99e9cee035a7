#include "helper/RefusalLog.h"

#include "platform/log/tests/RecordingSink.h"

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace veltra {
namespace {

using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

class RefusalLogTest : public testing::Test {
  protected:
    void refuse(RefusalLog& refusals, int count)
    {
        for (int i = 1; i <= count; ++i)
            refusals.add("refused " + std::to_string(i));
    }

    Lines logged()
    {
        log_.drain();
        return recording_->messages();
    }

    [[nodiscard]] EventLoop& loop() const { return *loop_; }

  private:
    std::unique_ptr<EventLoop> loop_ = std::move(EventLoop::open({}).value());
    std::shared_ptr<Recording> recording_ = std::make_shared<Recording>();
    SystemLog log_{Recording::sink(recording_)};
    SystemLog::Redirection redirection_{log_};
};

TEST_F(RefusalLogTest, LogsALineForEach)
{
    RefusalLog refusals{loop()};

    refuse(refusals, 2);

    EXPECT_EQ(logged(), (Lines{"refused 1", "refused 2"}));
}

TEST_F(RefusalLogTest, SumsUpAFloodOnceAPeriod)
{
    RefusalLog refusals{loop(), 10ms};

    refuse(refusals, 100'000);
    EXPECT_EQ(logged().size(), RefusalLog::mostLines);
    const auto end = loop().callAfter(50ms, [this] { loop().stop(); });
    ASSERT_TRUE(loop().run());

    EXPECT_EQ(logged().size(), RefusalLog::mostLines + 1);
    EXPECT_EQ(logged().back(), "refused 99980 more");
    refuse(refusals, 1);
    EXPECT_EQ(logged().back(), "refused 1");
}

TEST_F(RefusalLogTest, SumsUpWhatIsLeftAtItsEnd)
{
    {
        RefusalLog refusals{loop()};
        refuse(refusals, 21);
    }

    EXPECT_EQ(logged().back(), "refused 1 more");
}

} // namespace
} // namespace veltra
