#include "tests/authorization/PolkitWorld.h"
#include "tests/service/OnSystemBus.h"

namespace {

using namespace veltra;

/// Each test starts with no right registered, a working tool, and no external forms of users.
class CleanStart : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo&) override
    {
        outputOf(
            "rm -rf /tmp/tool /tmp/tool-fails /tmp/tool-ends /run/user /dev/shm/veltra-auth-*");
        storeRight({});
    }
};

} // namespace

int main(int count, char** arguments)
{
    return runTestsOnSystemBus(count, arguments, std::make_unique<CleanStart>());
}
