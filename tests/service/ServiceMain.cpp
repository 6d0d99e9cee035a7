#include "tests/service/OnSystemBus.h"
#include "tests/service/ServiceTesting.h"

namespace {

using namespace veltra;

/// Each test starts with the files as they are installed, no helper, and an empty log.
class CleanStart : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo&) override
    {
        killHelper();
        outputOf("rm -rf /tmp/go /tmp/done /tmp/pid /tmp/ran /tmp/users; "
                 "cp -a --no-preserve=ownership " VELTRA_TEST_SERVICE_FILES "/. /");
        startHelperLog();
    }

    // Nobody waits for the helper's end, so its exit status says nothing. systemd starts no helper
    // with a sanitizer.
    void OnTestEnd(const testing::TestInfo&) override
    {
        const std::string log = logOfTheBussHelpers();
        EXPECT_EQ(log.find("Sanitizer"), std::string::npos) << log;
    }
};

} // namespace

int main(int count, char** arguments)
{
    return runTestsOnSystemBus(count, arguments, std::make_unique<CleanStart>());
}
