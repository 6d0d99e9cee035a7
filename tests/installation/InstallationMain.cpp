#include "tests/installation/InstallationTesting.h"
#include "tests/service/OnSystemBus.h"

namespace {

using namespace veltra;

/// Each test starts with the bundle and the policy as they are installed, and nothing else.
class CleanStart : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo&) override
    {
        killHelper();
        const auto left = installedFiles();
        for (const std::string& path : left)
            std::filesystem::remove(path);
        outputOf("rm -rf /Library /usr/local/share/dbus-1 /opt/Veltra " + rightsPath +
                 "; cp -a --no-preserve=ownership " VELTRA_TEST_SERVICE_FILES "/. /");
        if (isUnderSystemd() && !left.empty())
            outputOf("systemctl daemon-reload");
    }
};

} // namespace

int main(int count, char** arguments)
{
    return runTestsOnSystemBus(count, arguments, std::make_unique<CleanStart>());
}
