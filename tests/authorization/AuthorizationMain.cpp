#include "tests/authorization/PolkitWorld.h"
#include "tests/service/OnSystemBus.h"

namespace {

using namespace veltra;

/// Each test finds no right registered, a tool that works, and no user's forms.
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
