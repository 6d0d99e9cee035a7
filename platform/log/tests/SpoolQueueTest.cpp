#include "platform/log/SpoolQueue.h"

#include "platform/base/tests/ForkedChild.h"
#include "platform/base/tests/SleepingThread.h"

#include <csignal>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>
#include <sys/resource.h>

namespace veltra {
namespace {

std::vector<std::string> takeMessages(SpoolQueue& queue, std::size_t count)
{
    std::vector<std::string> messages;
    std::string batch;
    while (messages.size() < count && queue.take(batch))
        for (std::string_view left{batch}; !left.empty();)
            messages.emplace_back(SpoolQueue::next(left));
    return messages;
}

TEST(SpoolQueue, LetsNoSmallMessageTakeTheRoomThatALargeOneWaitsFor)
{
    const int result = runInChild([] {
        // Nothing can be written to files, so writers wait for room in memory.
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit nothing{.rlim_cur = 0, .rlim_max = 0};
        if (::setrlimit(RLIMIT_FSIZE, &nothing) != 0)
            return 1;
        SpoolQueue queue{200};
        const std::string large(80, 'x');
        queue.push({"first"});

        SleepingThread largeWriter{[&] { queue.push({large}); }};
        const bool isLargeWaiting = largeWriter.waitUntilAsleep();
        SleepingThread smallWriter{[&] { queue.push({"small"}); }};
        const bool isSmallWaiting = smallWriter.waitUntilAsleep();
        const auto messages = takeMessages(queue, 3);
        largeWriter.join();
        smallWriter.join();

        EXPECT_TRUE(isLargeWaiting);
        EXPECT_TRUE(isSmallWaiting);
        EXPECT_EQ(messages, (std::vector<std::string>{"first", large, "small"}));
        return 0;
    });

    EXPECT_EQ(result, 0);
}

} // namespace
} // namespace veltra
