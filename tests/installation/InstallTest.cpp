// What `cmake --install` installs.
#include "platform/signing/tests/SignedFile.h"
#include "tests/installation/InstallationTesting.h"

using namespace veltra;

TEST(Install, LeavesProgramsThatAreStillSignedByOneChain)
{
    const auto certificates = certificatesIn(adminTool);

    EXPECT_EQ(certificates.size(), 3U);
    for (const std::string& path :
         {adminTool, helperCopy, bundle + "Linux/VeltraAgentStatusMonitor"}) {
        EXPECT_EQ(statusOf(path), errSecSuccess) << path;
        EXPECT_EQ(certificatesIn(path), certificates) << path;
        EXPECT_EQ(ownershipOf(path), "0:0 755") << path;
    }
}

TEST(Install, LetsNobodyElseWriteAnywhereInTheBundle)
{
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator{"/opt/Veltra"}) {
        ++count;
        const std::string ownership = ownershipOf(entry.path());
        EXPECT_TRUE(ownership == "0:0 755" || ownership == "0:0 644")
            << entry.path() << " " << ownership;
    }
    EXPECT_GT(count, 8U);
}

TEST(Install, TellsTheDesktopWhereTheProgramIs)
{
    const std::string entry =
        contentOf("/usr/share/applications/com.veltra.vxStatusMonitorApp.desktop");

    EXPECT_NE(entry.find("Exec=\"" + bundle + "Linux/VeltraAgentStatusMonitor\"\n"),
              std::string::npos);
    EXPECT_TRUE(std::filesystem::exists(
        "/usr/share/icons/hicolor/scalable/apps/com.veltra.vxStatusMonitorApp.svg"));
}
