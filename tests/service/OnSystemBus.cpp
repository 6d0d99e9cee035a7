#include "tests/service/OnSystemBus.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <linux/close_range.h>
#include <unistd.h>

namespace veltra {

namespace {

// The scripts leave it in the place where everything is a copy.
constexpr const char* mark = "/veltra-throw-away";

[[noreturn]] void runInside(char** arguments)
{
    ::setenv("VELTRA_SERVICE_FILES", VELTRA_TEST_SERVICE_FILES, 1);
    const char* const place = std::getenv("VELTRA_TEST_PLACE");
    std::string script = std::string{VELTRA_TEST_SCRIPTS "/"} + (place ? place : "on-system-bus");
    std::vector<char*> command{script.data()};
    command.push_back(::realpath("/proc/self/exe", nullptr)); // the folder is a different one there
    while (*++arguments)
        command.push_back(*arguments);
    command.push_back(nullptr);
    ::execv(script.c_str(), command.data());
    std::perror(script.c_str());
    std::exit(1);
}

} // namespace

int runTestsOnSystemBus(int count, char** arguments,
                        std::unique_ptr<testing::TestEventListener> listener)
{
    std::vector<char*> all{arguments, arguments + count + 1};
    testing::InitGoogleTest(&count, arguments);
    if (!testing::GTEST_FLAG(list_tests) && !std::filesystem::exists(mark))
        runInside(all.data());

    // The program that started us may have left descriptors open, which the programs that we start
    // must not get.
    ::close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
    testing::UnitTest::GetInstance()->listeners().Append(listener.release());
    return RUN_ALL_TESTS();
}

} // namespace veltra
