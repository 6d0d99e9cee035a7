#include "platform/log/SystemLog.h"

#include "platform/log/tests/RecordingSink.h"

#include <atomic>
#include <filesystem>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

namespace veltra {
namespace {

using namespace std::chrono_literals;

using Messages = std::vector<std::string>;

auto makeRecording()
{
    return std::make_shared<Recording>();
}

TEST(SystemLog, HandsMessagesToTheSinkInTheirOrder)
{
    const auto recording = makeRecording();
    SystemLog log{Recording::sink(recording)};

    log.write({"first"});
    log.write({"sec", "", "ond"});
    log.write({"third"});
    log.drain();

    EXPECT_EQ(recording->messages(), (Messages{"first", "second", "third"}));
}

TEST(SystemLog, TakesAnyBytes)
{
    const auto recording = makeRecording();
    SystemLog log{Recording::sink(recording)};
    const std::string all{"a\0b\nc\xFF\n", 7};

    log.write({all});
    log.write({""});
    log.write({});
    log.write({"\n"});
    log.drain();

    EXPECT_EQ(recording->messages(), (Messages{all, "", "", "\n"}));
}

TEST(SystemLog, KeepsTheOrderOfEveryThread)
{
    constexpr int threadCount = 4;
    constexpr int messageCount = 20'000;
    const auto recording = makeRecording();
    SystemLog log{Recording::sink(recording), 10'000};

    std::vector<std::jthread> threads;
    for (int thread = 0; thread < threadCount; ++thread)
        threads.emplace_back([&log, thread] {
            for (int i = 0; i < messageCount; ++i)
                log.write({std::to_string(thread), ":", std::to_string(i)});
        });
    threads.clear();
    log.drain();

    std::vector<int> nextOf(threadCount);
    std::size_t outOfOrder = 0;
    for (const std::string& message : recording->messages()) {
        const std::size_t thread = std::stoul(message);
        const int number = std::stoi(message.substr(message.find(':') + 1));
        outOfOrder += number == nextOf.at(thread)++ ? 0 : 1;
    }
    EXPECT_EQ(outOfOrder, 0U);
    EXPECT_EQ(nextOf, std::vector<int>(threadCount, messageCount));
}

TEST(SystemLog, DoesNotWaitForTheSink)
{
    const auto recording = makeRecording();
    recording->setOpen(false);
    SystemLog log{Recording::sink(recording)};

    log.write({"first"});
    ASSERT_TRUE(recording->waitUntilHeld());
    log.write({"second"});

    EXPECT_EQ(recording->count(), 0U);
    recording->setOpen(true);
}

TEST(SystemLog, DrainsWhatWasLoggedBefore)
{
    const auto recording = makeRecording();
    recording->setOpen(false);
    SystemLog log{Recording::sink(recording)};
    for (int i = 0; i < 1000; ++i)
        log.write({"message"});
    ASSERT_TRUE(recording->waitUntilHeld());
    std::atomic<std::size_t> countAfter{0};

    std::jthread drainer{[&] {
        log.drain();
        countAfter = recording->count();
    }};
    recording->setOpen(true);
    drainer.join();

    EXPECT_EQ(countAfter, 1000U);
}

TEST(SystemLog, DrainsAtOnceWhenNothingWaits)
{
    const auto recording = makeRecording();
    SystemLog log{Recording::sink(recording)};

    log.drain();
    log.write({"message"});
    log.drain();
    log.drain();

    EXPECT_EQ(recording->count(), 1U);
}

TEST(SystemLog, WritesOutWhatWaitsWhenDestroyed)
{
    const auto recording = makeRecording();
    recording->setOpen(false);
    Messages expected;

    {
        SystemLog log{Recording::sink(recording), 1000};
        for (int i = 0; i < 1000; ++i) {
            expected.push_back(std::to_string(i));
            log.write({expected.back()});
        }
        recording->setOpen(true);
    }

    EXPECT_EQ(recording->messages(), expected);
    EXPECT_TRUE(recording->waitUntilDestroyed());
}

TEST(SystemLog, GivesUpOnASinkThatTakesNothing)
{
    const auto recording = makeRecording();
    recording->setOpen(false);

    const auto start = std::chrono::steady_clock::now();
    {
        SystemLog log{Recording::sink(recording), 1000, 50ms};
        for (int i = 0; i < 1000; ++i)
            log.write({std::to_string(i)});
        ASSERT_TRUE(recording->waitUntilHeld());
    }
    const auto duration = std::chrono::steady_clock::now() - start;

    EXPECT_GE(duration, 50ms);
    EXPECT_LT(duration, 20s);
    recording->setOpen(true);
    ASSERT_TRUE(recording->waitUntilDestroyed());
    EXPECT_EQ(recording->messages(), Messages{"0"});
}

// The patience counts only the time in which the sink takes nothing, not the total time. Both are
// real time, so the sink has to be slow.
TEST(SystemLog, DoesNotGiveUpOnASinkThatIsOnlySlow)
{
    const auto recording =
        std::make_shared<Recording>([](std::string_view) { std::this_thread::sleep_for(40ms); });

    {
        SystemLog log{Recording::sink(recording), 1000, 1500ms};
        for (int i = 0; i < 50; ++i)
            log.write({"message"});
    }

    EXPECT_EQ(recording->count(), 50U);
}

TEST(SystemLog, GoesOnAfterASinkThatThrows)
{
    const auto recording = std::make_shared<Recording>([](std::string_view message) {
        if (message == "bad")
            throw std::runtime_error{"cannot write"};
    });
    SystemLog log{Recording::sink(recording)};

    log.write({"bad"});
    log.write({"good"});
    log.drain();

    EXPECT_EQ(recording->count(), 2U);
}

std::ptrdiff_t threadCount()
{
    const std::filesystem::directory_iterator threads{"/proc/self/task"};
    return std::distance(begin(threads), end(threads));
}

TEST(SystemLog, DropsEverythingAndHasNoThreadWithoutASink)
{
    const std::ptrdiff_t before = threadCount();

    SystemLog log{nullptr};
    log.write({"message"});
    log.drain();

    EXPECT_EQ(threadCount(), before);
}

TEST(SystemLog, IsRedirectedToTheInnermostLog)
{
    const auto outerRecording = makeRecording();
    const auto innerRecording = makeRecording();
    SystemLog outer{Recording::sink(outerRecording)};
    SystemLog inner{Recording::sink(innerRecording)};

    {
        const SystemLog::Redirection toOuter{outer};
        SystemLog::log("a");
        {
            const SystemLog::Redirection toInner{inner};
            SystemLog::log({"b", "c"});
        }
        SystemLog::log("d");
    }
    outer.drain();
    inner.drain();

    EXPECT_EQ(outerRecording->messages(), (Messages{"a", "d"}));
    EXPECT_EQ(innerRecording->messages(), Messages{"bc"});
}

} // namespace
} // namespace veltra
