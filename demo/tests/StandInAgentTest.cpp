#include "demo/StandInAgent.h"

#include "platform/base/tests/TemporaryFolder.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include <gtest/gtest.h>

namespace veltra {
namespace {

using namespace std::chrono_literals;

class StandInAgentTest : public testing::Test {
  protected:
    StandInAgentTest() { std::filesystem::create_directory(logs()); }

    static StandInAgent makeAgent(const std::string& folder)
    {
        return StandInAgent{std::move(AgentLog::create(folder).value()), 7};
    }

    [[nodiscard]] std::set<std::filesystem::path> files() const
    {
        const std::filesystem::directory_iterator entries{logs()};
        return {begin(entries), end(entries)};
    }

    [[nodiscard]] std::string text() const
    {
        std::ostringstream text;
        for (const auto& file : files())
            if (std::filesystem::file_size(file) > 0)
                text << std::ifstream{file}.rdbuf();
        return text.str();
    }

    [[nodiscard]] std::ptrdiff_t lineCount() const { return std::ranges::count(text(), '\n'); }

    [[nodiscard]] std::string logs() const { return folder_.file("logs/"); }

    [[nodiscard]] std::string elsewhere() const { return folder_.file("elsewhere"); }

  private:
    TemporaryFolder folder_;
};

TEST_F(StandInAgentTest, BeginsAnEmptyLogWithAHistory)
{
    EXPECT_TRUE(makeAgent(logs()).writeBeginning());

    EXPECT_EQ(lineCount(), 41);
}

TEST_F(StandInAgentTest, GoesOnInTheLogThatWasWrittenLastWhenItStartsAgain)
{
    std::ofstream{logs() + "vxsvc_20260101_000000.log"} << "older\n";
    std::ofstream{logs() + "vxsvc_20250101_000000.log"} << "newest\n";
    const auto now = std::filesystem::file_time_type::clock::now();
    std::filesystem::last_write_time(logs() + "vxsvc_20260101_000000.log", now - 1h);

    StandInAgent agent{std::move(AgentLog::resume(logs()).value()), 7};
    EXPECT_TRUE(agent.writeBeginning());

    EXPECT_EQ(files().size(), 2U);
    std::ifstream newest{logs() + "vxsvc_20250101_000000.log"};
    std::string line;
    EXPECT_TRUE(std::getline(newest, line) && line == "newest") << line;
    EXPECT_TRUE(std::getline(newest, line) && line.ends_with("Agent started")) << line;
    EXPECT_FALSE(std::getline(newest, line)) << line;
}

TEST_F(StandInAgentTest, StartsANewLogWhereThereIsNone)
{
    EXPECT_TRUE(AgentLog::resume(logs()));

    EXPECT_EQ(files().size(), 1U);
}

TEST_F(StandInAgentTest, WritesFlurriesOfAFewLines)
{
    StandInAgent agent = makeAgent(logs());

    EXPECT_TRUE(agent.writeFlurry());

    EXPECT_GE(lineCount(), 2);
    EXPECT_LE(lineCount(), 6);
}

TEST_F(StandInAgentTest, WritesNoFlurryWhileItIsQuiet)
{
    StandInAgent agent = makeAgent(logs());

    EXPECT_EQ(agent.carryOut("quiet").substr(0, 4), "ok: ");
    EXPECT_TRUE(agent.writeFlurry());

    EXPECT_EQ(lineCount(), 0);
}

TEST_F(StandInAgentTest, WritesFlurriesAgainWhenItMayTalk)
{
    StandInAgent agent = makeAgent(logs());

    EXPECT_EQ(agent.carryOut("quiet").substr(0, 4), "ok: ");
    EXPECT_EQ(agent.carryOut("talk").substr(0, 4), "ok: ");
    EXPECT_TRUE(agent.writeFlurry());

    EXPECT_GE(lineCount(), 2);
}

TEST_F(StandInAgentTest, GivesEveryFileANameOfItsOwnHoweverQuicklyItRotates)
{
    StandInAgent agent = makeAgent(logs());

    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(agent.carryOut("rotate").substr(0, 4), "ok: ");

    EXPECT_EQ(files().size(), 21U);
}

TEST_F(StandInAgentTest, SaysWhatKeptItFromRotatingAndGoesOnInTheOldFile)
{
    StandInAgent agent = makeAgent(logs());
    std::filesystem::rename(logs(), elsewhere());

    const std::string answer = agent.carryOut("rotate");
    const auto written = agent.writeFlurry();

    std::filesystem::rename(elsewhere(), logs());
    EXPECT_EQ(answer.substr(0, 19), "failed: create log ");
    EXPECT_TRUE(written);
    EXPECT_GE(lineCount(), 2);
}

TEST_F(StandInAgentTest, LogsForItsToolEvenWhileItIsQuiet)
{
    StandInAgent agent = makeAgent(logs());

    EXPECT_EQ(agent.carryOut("quiet").substr(0, 4), "ok: ");
    EXPECT_EQ(agent.carryOut("log Properties sent").substr(0, 4), "ok: ");

    EXPECT_EQ(lineCount(), 1);
    EXPECT_NE(text().find(") trolex.Info: Properties sent\n"), std::string::npos) << text();
}

TEST_F(StandInAgentTest, RefusesCommandsThatItDoesNotKnow)
{
    StandInAgent agent = makeAgent(logs());

    EXPECT_EQ(agent.carryOut("dance").substr(0, 8), "failed: ");
    EXPECT_EQ(agent.carryOut("").substr(0, 8), "failed: ");
    EXPECT_EQ(lineCount(), 0);
}

TEST_F(StandInAgentTest, PausesForLessThanTwoSecondsNeverTheSame)
{
    StandInAgent agent = makeAgent(logs());
    std::set<std::chrono::milliseconds> pauses;

    for (int i = 0; i < 100; ++i)
        pauses.insert(agent.pause());

    EXPECT_LT(*pauses.rbegin(), std::chrono::seconds{2});
    EXPECT_GT(*pauses.begin(), std::chrono::milliseconds{100});
    EXPECT_GT(pauses.size(), 50U);
}

} // namespace
} // namespace veltra
