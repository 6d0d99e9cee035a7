// Runs the tests on a system bus of their own, by starting this program again where there is one:
// behind $VELTRA_TEST_PLACE if it is set, which is one of the scripts beside this file.
#include "tests/service/ServiceTesting.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <unistd.h>

namespace {

using namespace veltra;

// The scripts leave it where everything is a copy.
constexpr const char* mark = "/veltra-throw-away";

/// Each test finds the files as they are installed, no helper, and an empty log.
class CleanStart : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo&) override
    {
        if (const pid_t helper = helperProcess()) {
            ::kill(helper, SIGKILL);
            becomesTrue([] { return helperProcess() == 0; });
        }
        outputOf("rm -rf /tmp/go /tmp/done /tmp/pid /tmp/users; "
                 "cp -a " VELTRA_TEST_SERVICE_FILES "/. /; chown -R 0:0 /Library");
        helperLogStart = wholeHelperLog().size();
    }

    // Nobody waits for the helper's end, so that its exit status tells nothing.
    void OnTestEnd(const testing::TestInfo&) override
    {
        EXPECT_EQ(wholeHelperLog().find("Sanitizer"), std::string::npos) << wholeHelperLog();
    }
};

[[noreturn]] void runInside(char** arguments)
{
    ::setenv("VELTRA_SERVICE_FILES", VELTRA_TEST_SERVICE_FILES, 1);
    const char* const place = std::getenv("VELTRA_TEST_PLACE");
    std::string script = std::string{VELTRA_TEST_SCRIPTS "/"} + (place ? place : "on-system-bus");
    std::vector<char*> command{script.data()};
    command.push_back(::realpath("/proc/self/exe", nullptr)); // the folder is another one there
    while (*++arguments)
        command.push_back(*arguments);
    command.push_back(nullptr);
    ::execv(script.c_str(), command.data());
    std::perror(script.c_str());
    std::exit(1);
}

} // namespace

int main(int count, char** arguments)
{
    std::vector<char*> all{arguments, arguments + count + 1};
    testing::InitGoogleTest(&count, arguments);
    if (!testing::GTEST_FLAG(list_tests) && !std::filesystem::exists(mark))
        runInside(all.data());

    testing::UnitTest::GetInstance()->listeners().Append(new CleanStart);
    return RUN_ALL_TESTS();
}
