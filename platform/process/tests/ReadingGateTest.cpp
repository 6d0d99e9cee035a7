#include "platform/process/ReadingGate.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace veltra {
namespace {

using Words = std::vector<std::string>;

class ReadingGateTest : public testing::Test {
  protected:
    [[nodiscard]] EventLoop& loop() const { return *loop_; }
    [[nodiscard]] ReadingGate& gate() const { return *gate_; }
    [[nodiscard]] const Words& words() const { return words_; }
    void add(const std::string& word) { words_.push_back(word); }
    void setOpen(bool isOpen) { isOpen_ = isOpen; }
    void setThrough(int count) { through_ = count; }

    void wait(const std::string& word)
    {
        gate().whenOpen([this, word] { add(word); });
    }

    /// Runs the loop for some turns.
    void runOut()
    {
        constexpr int enough = 20;
        postTurn(enough);
        EXPECT_TRUE(loop().run());
    }

  private:
    void postTurn(int turns)
    {
        loop().post([this, turns] { turns > 1 ? postTurn(turns - 1) : loop().stop(); });
    }

    bool isOpen_ = true;
    int through_ = -1;
    Words words_;
    std::unique_ptr<EventLoop> loop_ = std::move(EventLoop::open({}).value());
    std::shared_ptr<ReadingGate> gate_ =
        std::make_shared<ReadingGate>(*loop_, [this] { return isOpen_ && through_-- != 0; });
};

TEST_F(ReadingGateTest, LetsReadersThroughInTheirOrderAndNotAtOnce)
{
    wait("a");
    wait("b");
    EXPECT_EQ(words(), Words{});

    runOut();

    EXPECT_EQ(words(), (Words{"a", "b"}));
}

TEST_F(ReadingGateTest, HoldsReadersBackUntilItIsOpened)
{
    setOpen(false);
    wait("a");
    runOut();
    EXPECT_EQ(words(), Words{});

    setOpen(true);
    gate().opened();
    runOut();

    EXPECT_EQ(words(), Words{"a"});
}

TEST_F(ReadingGateTest, IsAskedBeforeEachReading)
{
    setThrough(1);
    wait("a");
    wait("b");
    runOut();
    EXPECT_EQ(words(), Words{"a"});

    setThrough(1);
    gate().opened();
    runOut();

    EXPECT_EQ(words(), (Words{"a", "b"}));
}

TEST_F(ReadingGateTest, LetsOthersTakeTheirTurnsBeforeOneReadsAgain)
{
    gate().whenOpen([this] {
        add("a");
        wait("a again");
    });
    wait("b");

    runOut();

    EXPECT_EQ(words(), (Words{"a", "b", "a again"}));
}

TEST_F(ReadingGateTest, MayBeOpenedWhenNobodyWaits)
{
    gate().opened();
    gate().opened();
    runOut();
    wait("a");

    runOut();

    EXPECT_EQ(words(), Words{"a"});
}

TEST_F(ReadingGateTest, LetsTheOthersThroughWhenOneThrows)
{
    Words thrown;
    const auto catching = std::move(EventLoop::open([&](const std::exception& error) {
                                        thrown.emplace_back(error.what());
                                    }).value());
    const auto gate = std::make_shared<ReadingGate>(*catching, [] { return true; });
    gate->whenOpen([] { throw std::runtime_error{"unreadable"}; });
    gate->whenOpen([&] { catching->stop(); });

    EXPECT_TRUE(catching->run());

    EXPECT_EQ(thrown, Words{"unreadable"});
}

} // namespace
} // namespace veltra
