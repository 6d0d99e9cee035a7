#include "platform/PollLoop.h"

#include "platform/tests/RecordingSink.h"

#include <array>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

namespace veltra {
namespace {

using namespace std::chrono_literals;
using Words = std::vector<std::string>;

struct Pipe {
    Pipe()
    {
        std::array<int, 2> ends{};
        if (::pipe2(ends.data(), O_CLOEXEC) != 0)
            throw std::system_error{errno, std::generic_category(), "pipe2"};
        readEnd = Fd{ends[0]};
        writeEnd = Fd{ends[1]};
    }

    void write() const { EXPECT_EQ(::write(writeEnd.get(), "x", 1), 1); }
    void readOne() const
    {
        char byte = 0;
        EXPECT_EQ(::read(readEnd.get(), &byte, 1), 1);
    }

    Fd readEnd;
    Fd writeEnd;
};

class PollLoopTest : public testing::Test {
  protected:
    [[nodiscard]] PollLoop& loop() const { return *loop_; }
    void add(const std::string& word) { words_.push_back(word); }
    [[nodiscard]] const Words& words() const { return words_; }

    PollLoop::Registration watch(const Pipe& pipe, const std::string& word,
                                 PollLoop::Reading reading = PollLoop::Reading::always)
    {
        auto registration = loop().watch(
            pipe.readEnd.get(),
            [this, &pipe, word] {
                pipe.readOne();
                add(word);
            },
            reading);
        return std::move(registration.value());
    }

    /// Runs the loop until it has nothing to do.
    void runOut()
    {
        loop().post([this] { loop().post([this] { loop().stop(); }); });
        loop().run();
    }

  private:
    std::unique_ptr<PollLoop> loop_ = std::move(PollLoop::open().value());
    Words words_;
};

TEST_F(PollLoopTest, RunsWhatIsPostedInOrderOnItsOwnThread)
{
    std::thread poster{[this] {
        for (const char* word : {"a", "b", "c"})
            loop().post([this, word] { add(word); });
        loop().post([this] { loop().stop(); });
    }};

    loop().run();

    poster.join();
    EXPECT_EQ(words(), (Words{"a", "b", "c"}));
}

TEST_F(PollLoopTest, RunsWhatWasPostedBeforeItRan)
{
    loop().post([this] { add("early"); });

    runOut();

    EXPECT_EQ(words(), Words{"early"});
}

TEST_F(PollLoopTest, ReturnsAtOnceWhenItWasStoppedBeforeItRan)
{
    loop().stop();

    loop().run();

    runOut();
    SUCCEED() << "and can be run again";
}

TEST_F(PollLoopTest, CallsTheHandlerOfAReadableDescriptorAsOftenAsItIs)
{
    const Pipe pipe;
    const auto registration = watch(pipe, "read");
    pipe.write();
    pipe.write();

    loop().post([this] { loop().post([this] { runOut(); }); });
    runOut();

    EXPECT_EQ(words(), (Words{"read", "read"}));
}

TEST_F(PollLoopTest, CallsTheHandlerWhenTheOtherEndIsClosed)
{
    Pipe pipe;
    auto registration = loop().watch(pipe.readEnd.get(), [this] { loop().stop(); });
    ASSERT_TRUE(registration);

    pipe.writeEnd = Fd{};

    loop().run();
}

TEST_F(PollLoopTest, ForgetsADescriptorWithItsRegistration)
{
    const Pipe pipe;
    auto registration = watch(pipe, "read");
    pipe.write();

    registration = {};
    runOut();

    EXPECT_EQ(words(), Words{});
}

TEST_F(PollLoopTest, WatchesADescriptorAgainOnceItIsForgotten)
{
    const Pipe pipe;
    auto registration = watch(pipe, "first");
    pipe.write();

    registration = {};
    registration = watch(pipe, "second");
    runOut();

    EXPECT_EQ(words(), Words{"second"});
}

TEST_F(PollLoopTest, LetsAHandlerEndItsOwnRegistrationAndAnother)
{
    const Pipe pipe;
    const Pipe other;
    pipe.write();
    other.write();
    std::array<PollLoop::Registration, 2> registrations;
    const auto endBoth = [&] {
        add("ended");
        registrations = {};
    };

    registrations[0] = std::move(loop().watch(pipe.readEnd.get(), endBoth).value());
    registrations[1] = std::move(loop().watch(other.readEnd.get(), endBoth).value());
    runOut();

    EXPECT_EQ(words(), Words{"ended"});
}

TEST_F(PollLoopTest, RefusesADescriptorThatCannotBeWatched)
{
    const Fd file{::open("/proc/self/exe", O_RDONLY | O_CLOEXEC)};

    const auto registration = loop().watch(file.get(), [] {});

    ASSERT_FALSE(registration);
    EXPECT_EQ(registration.error().message(), "watch descriptor: Operation not permitted");
}

TEST_F(PollLoopTest, CallsTimersInTheOrderOfTheirTimesAndNotBefore)
{
    const auto start = std::chrono::steady_clock::now();
    const auto last = loop().callAfter(400ms, [this] { loop().stop(); });
    const auto second = loop().callAfter(200ms, [this] { add("second"); });
    const auto first = loop().callAfter(5ms, [this] { add("first"); });

    loop().run();

    EXPECT_GE(std::chrono::steady_clock::now() - start, 400ms);
    EXPECT_EQ(words(), (Words{"first", "second"}));
}

TEST_F(PollLoopTest, ForgetsATimerWithItsRegistration)
{
    const auto last = loop().callAfter(5ms, [this] { loop().stop(); });
    auto forgotten = loop().callAfter(0ms, [this] { add("forgotten"); });

    forgotten = {};
    loop().run();

    EXPECT_EQ(words(), Words{});
}

TEST_F(PollLoopTest, LetsGoOfATimersHandlerWhenItHasBeenCalled)
{
    auto used = std::make_shared<int>();
    const std::weak_ptr kept = used;
    const auto registration =
        loop().callAfter(0ms, [this, used = std::move(used)] { loop().stop(); });
    EXPECT_FALSE(kept.expired());

    loop().run();

    EXPECT_TRUE(kept.expired());
}

TEST_F(PollLoopTest, LogsWhatAHandlerThrowsAndGoesOn)
{
    const auto recording = std::make_shared<Recording>();
    SystemLog log{Recording::sink(recording)};
    const SystemLog::Redirection redirection{log};
    loop().post([] { throw std::runtime_error{"too bad"}; });
    loop().post([this] { add("next"); });

    runOut();

    log.drain();
    EXPECT_EQ(recording->messages(), Words{"the error is too bad"});
    EXPECT_EQ(words(), Words{"next"});
}

TEST_F(PollLoopTest, TakesRegistrationsThatItsHandlersHold)
{
    const Pipe pipe;
    auto own = std::make_shared<PollLoop::Registration>();
    *own = std::move(loop().watch(pipe.readEnd.get(), [own] {}).value());
    const std::weak_ptr held = own;

    own.reset();

    EXPECT_FALSE(held.expired());
}

/// A source that waits for a pipe and may have something unsent.
class PipeSource : public PollSource {
  public:
    PollSource::Wish wish() override
    {
        return {.descriptor = pipe.readEnd.get(),
                .events = POLLIN,
                .deadline = deadline,
                .hasUnsent = hasUnsent};
    }
    void dispatch() override { onDispatch(); }

    Pipe pipe;
    std::optional<std::chrono::steady_clock::time_point> deadline;
    bool hasUnsent = false;
    std::function<void()> onDispatch = [] {};
};

TEST_F(PollLoopTest, DispatchesItsSourceWhenItsDescriptorIsReady)
{
    PipeSource source;
    loop().setSource(&source);
    int dispatched = 0;
    source.onDispatch = [&] {
        if (++dispatched == 2)
            loop().stop();
    };

    source.pipe.write();
    loop().run();

    EXPECT_EQ(dispatched, 2);
}

TEST_F(PollLoopTest, DispatchesItsSourceAtItsDeadline)
{
    PipeSource source;
    loop().setSource(&source);
    source.deadline = std::chrono::steady_clock::now() + 10ms;
    source.onDispatch = [&] {
        if (std::chrono::steady_clock::now() >= *source.deadline)
            loop().stop();
    };

    loop().run();

    EXPECT_GE(std::chrono::steady_clock::now(), *source.deadline);
}

TEST_F(PollLoopTest, LeavesDescriptorsAloneWhileItsSourceHasSomethingUnsent)
{
    PipeSource source;
    source.hasUnsent = true;
    loop().setSource(&source);
    const Pipe heldBack;
    const Pipe always;
    const auto first = watch(heldBack, "held back", PollLoop::Reading::whileAllIsSent);
    const auto second = watch(always, "always");
    heldBack.write();
    always.write();

    runOut();
    EXPECT_EQ(words(), Words{"always"});
    source.hasUnsent = false;
    runOut();

    EXPECT_EQ(words(), (Words{"always", "held back"}));
}

} // namespace
} // namespace veltra
