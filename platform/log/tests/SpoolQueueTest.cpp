#include "platform/log/SpoolQueue.h"

#include "platform/base/tests/ForkedChild.h"

#include <csignal>
#include <functional>
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

// In a child, whose disks are full for ever.
int withFullDisks(const std::function<void()>& body)
{
    return runInChild([&body] {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit nothing{.rlim_cur = 0, .rlim_max = 0};
        if (::setrlimit(RLIMIT_FSIZE, &nothing) != 0)
            return 1;
        body();
        return 0;
    });
}

using Messages = std::vector<std::string>;

TEST(SpoolQueue, LeavesMessagesOutWhenThereIsNoRoomAndSaysHowMany)
{
    const int result = withFullDisks([] {
        SpoolQueue queue{200};
        const std::string large(80, 'x');
        const std::string first(50, 'f');

        queue.push({first});
        for (int i = 0; i < 3; ++i)
            queue.push({large});

        EXPECT_EQ(takeMessages(queue, 1), Messages{first});
        EXPECT_EQ(takeMessages(queue, 1), Messages{"3 log messages were left out: File too large"});
        queue.push({large});
        EXPECT_EQ(takeMessages(queue, 1), Messages{large});
    });

    EXPECT_EQ(result, 0);
}

TEST(SpoolQueue, TakesASmallMessageOnlyBehindTheNoteAboutALargeOne)
{
    const int result = withFullDisks([] {
        SpoolQueue queue{400};

        queue.push({"first"});
        queue.push({std::string(190, 'x')});
        queue.push({"small"});

        EXPECT_EQ(takeMessages(queue, 3),
                  (Messages{"first", "1 log messages were left out: File too large", "small"}));
    });

    EXPECT_EQ(result, 0);
}

TEST(SpoolQueue, TakesAMessageThatFitsNeitherMemoryNorDisk)
{
    const int result = withFullDisks([] {
        SpoolQueue queue{200};
        const std::string huge(100'000, 'x');

        queue.push({huge});

        EXPECT_EQ(takeMessages(queue, 1), Messages{huge});
    });

    EXPECT_EQ(result, 0);
}

} // namespace
} // namespace veltra
