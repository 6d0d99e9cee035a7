// Random messages from somebody whom the helper does not know.
#include "tests/service/ServiceTesting.h"

using namespace veltra;

TEST(BusFuzz, AStrangersMessagesHarmNobody)
{
    const std::string count = numberFrom("VELTRA_TEST_MESSAGES", "10000");
    ClientProgram owner{asNobody({programs + "signed_attacker", "honest"})};
    const std::string granted = owner.line();
    ASSERT_TRUE(granted.starts_with("granted "));
    const pid_t helper = helperProcess();
    // One more is for the log, from its first line on.
    const long descriptors = descriptorsOf(helper) + 1;
    const long threads = statusOf(helper, "Threads") + 1;

    ClientProgram fuzzer{asNobody({programs + "fuzzer", count, numberFrom("VELTRA_TEST_SEED", "1"),
                                   granted.substr(granted.find(' ') + 1)})};
    const std::string answered = fuzzer.line(std::chrono::hours{100});

    ASSERT_TRUE(answered.starts_with("answered ")) << answered;
    // The bus itself stops many of them, but not all.
    EXPECT_GT(std::stoul(answered.substr(answered.find(' '))), std::stoul(count) / 10);
    EXPECT_EQ(helperProcess(), helper);
    EXPECT_TRUE(
        becomesTrue([&] { return descriptorsOf(helper) <= descriptors; }, std::chrono::minutes{1}))
        << descriptorsOf(helper) << " instead of " << descriptors;
    EXPECT_TRUE(becomesTrue([&] { return statusOf(helper, "Threads") <= threads; },
                            std::chrono::minutes{1}))
        << statusOf(helper, "Threads") << " instead of " << threads;
    Client other{asNobody({trusted})};
    EXPECT_EQ(other.version(), "a version 1.0.0");
    EXPECT_EQ(helperProcess(), helper);
}
