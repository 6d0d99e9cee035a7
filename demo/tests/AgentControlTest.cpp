#include "demo/AgentControl.h"

#include "platform/base/tests/TemporaryFolder.h"

#include <thread>

#include <gtest/gtest.h>
#include <poll.h>

namespace veltra {
namespace {

class AgentControlTest : public testing::Test {
  protected:
    [[nodiscard]] std::string path() const { return folder_.file("agent"); }

    void serveOnce(const AgentControl::Command& carryOut)
    {
        pollfd waiting{control_.descriptor(), POLLIN, 0};
        ASSERT_EQ(::poll(&waiting, 1, -1), 1);
        control_.serve(carryOut);
    }

  private:
    TemporaryFolder folder_;
    AgentControl control_ = std::move(AgentControl::listen(path()).value());
};

TEST_F(AgentControlTest, AnswersACommandWithWhatCameOfIt)
{
    const std::string longCommand(500, 'x');
    std::thread agent{[this] {
        serveOnce([](std::string_view command) { return std::to_string(command.size()); });
    }};

    const auto answer = AgentControl::ask(path(), longCommand);

    agent.join();
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer.value(), "500");
}

TEST_F(AgentControlTest, GivesNoAnswerWhenTheAgentHasNone)
{
    std::thread agent{[this] { serveOnce([](std::string_view) { return std::string{}; }); }};

    const auto answer = AgentControl::ask(path(), "anything");

    agent.join();
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer.value(), "");
}

TEST_F(AgentControlTest, FailsWhereNobodyListens)
{
    const auto answer = AgentControl::ask(path() + "-elsewhere", "anything");

    EXPECT_FALSE(answer);
}

} // namespace
} // namespace veltra
