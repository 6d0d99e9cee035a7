// The registration of the rights, and the removal of everything.
#include "tests/installation/InstallationTesting.h"
#include "tests/installation/PolkitTesting.h"

using namespace veltra;

namespace {

const std::string rightId = helperName + ".runCommandWithPath-authData-completion-";

const std::string expectedPolicy = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE policyconfig PUBLIC "-//freedesktop//DTD PolicyKit Policy Configuration 1.0//EN"
    "http://www.freedesktop.org/standards/PolicyKit/1/policyconfig.dtd">
<policyconfig>
  <vendor>Veltra</vendor>
  <action id="com.veltra.agentMonitor.helper.runCommandWithPath-authData-completion-">
    <description><![CDATA[Quorrel wants to run the command /Library/Veltra/ovra/bin/trolex]]></description>
    <message><![CDATA[Quorrel wants to run the command /Library/Veltra/ovra/bin/trolex]]></message>
    <defaults>
      <allow_any>auth_admin_keep</allow_any>
      <allow_inactive>auth_admin_keep</allow_inactive>
      <allow_active>auth_admin_keep</allow_active>
    </defaults>
    <annotate key="com.veltra.right.name">com.veltra.agentMonitor.helper.runCommandWithPath:authData:completion:</annotate>
    <annotate key="com.veltra.right.definition">{"class":"user","group":"admin","version":1}</annotate>
  </action>
</policyconfig>
)";

void expectRegistered()
{
    const auto actions = monitorActions();
    ASSERT_EQ(actions.count(rightId), 1U);
    const PolkitAction& action = actions.at(rightId);
    EXPECT_EQ(action.description, rightText);
    EXPECT_EQ(action.message, rightText);
    EXPECT_EQ(action.allowedAnyone, authAdminKeep);
    EXPECT_EQ(action.allowedInactive, authAdminKeep);
    EXPECT_EQ(action.allowedActive, authAdminKeep);
    EXPECT_EQ(action.annotations, (std::map<std::string, std::string>{
                                      {"com.veltra.right.name", rightName},
                                      {"com.veltra.right.definition",
                                       R"({"class":"user","group":"admin","version":1})"}}));
}

} // namespace

TEST(AddRight, WritesThePolicy)
{
    EXPECT_EQ(admin("add-right"), "");

    EXPECT_EQ(contentOf(rightsPath), expectedPolicy);
    EXPECT_EQ(ownershipOf(rightsPath), "0:0 644");
}

TEST(AddRight, ReturnsWhenPolkitKnowsTheRight)
{
    for (int i = 0; i < 10; ++i) {
        outputOf("rm -f " + rightsPath);
        ASSERT_TRUE(becomesTrue([] { return monitorActions().count(rightId) == 0; }));

        EXPECT_EQ(admin("add-right"), "");

        expectRegistered();
    }
}

TEST(AddRight, LeavesWhatIsThereAlone)
{
    std::ofstream{rightsPath} << "something";

    EXPECT_EQ(admin("add-right"),
              "veltra-admin-tool: cannot add " + rightsPath + ": It exists already\nstatus 73");

    EXPECT_EQ(contentOf(rightsPath), "something");
}

TEST(AddRight, FollowsNoLink)
{
    std::filesystem::create_symlink("/tmp/nothing", rightsPath);

    EXPECT_NE(admin("add-right").find("status 73"), std::string::npos);

    EXPECT_FALSE(std::filesystem::exists("/tmp/nothing"));
}

TEST(AddRight, LetsOneOfManyAddIt)
{
    const std::string many = outputOf("for i in 1 2 3 4 5 6 7 8; do { " + adminTool +
                                      " add-right 2>&-; echo $?; } & done; wait");

    EXPECT_EQ(std::ranges::count(many, '0'), 1) << many;
    EXPECT_EQ(std::ranges::count(many, '7'), 7) << many;
    EXPECT_EQ(contentOf(rightsPath), expectedPolicy);
}

TEST(ChangeRight, WritesThePolicyAnew)
{
    EXPECT_EQ(admin("add-right"), "");
    outputOf("sed -i 's/\"version\":1/\"version\":0/' " + rightsPath);
    ASSERT_TRUE(becomesTrue([] {
        return monitorActions()
                   .at(rightId)
                   .annotations.at("com.veltra.right.definition")
                   .find(":0}") != std::string::npos;
    }));

    EXPECT_EQ(admin("change-right"), "");

    EXPECT_EQ(contentOf(rightsPath), expectedPolicy);
    expectRegistered();
}

TEST(ChangeRight, AddsOneThatIsMissing)
{
    EXPECT_EQ(admin("change-right"), "");

    EXPECT_EQ(contentOf(rightsPath), expectedPolicy);
}

TEST(Remove, LeavesNothing)
{
    EXPECT_EQ(admin("bless") + admin("add-right"), "");
    const pid_t helper = startHelper();
    std::ofstream{"/etc/dbus-1/system.d/." + helperName + ".conf.new-abcdef"};

    EXPECT_EQ(admin("remove"), "");

    EXPECT_EQ(installedFiles(), std::set<std::string>{});
    EXPECT_FALSE(std::filesystem::exists(rightsPath));
    EXPECT_FALSE(std::filesystem::exists("/Library"));
    EXPECT_FALSE(std::filesystem::exists("/usr/local/share/dbus-1"));
    EXPECT_TRUE(ends(helper));
    EXPECT_EQ(helperProcess(), 0);
    EXPECT_TRUE(becomesTrue([] { return monitorActions().count(rightId) == 0; }));
    EXPECT_NE(outputOf("dbus-send --system --print-reply --dest=" + helperName +
                       " / org.freedesktop.DBus.Introspectable.Introspect")
                  .find("ServiceUnknown"),
              std::string::npos);
}

TEST(Remove, LeavesFoldersThatOthersUse)
{
    EXPECT_EQ(admin("bless"), "");
    std::ofstream{"/Library/theirs"};

    EXPECT_EQ(admin("remove"), "");

    EXPECT_TRUE(std::filesystem::exists("/Library/theirs"));
    EXPECT_TRUE(std::filesystem::exists("/etc/dbus-1/system.d"));
}

TEST(Remove, DoesNotMindThatThereIsNothing)
{
    EXPECT_EQ(admin("remove"), "");
    EXPECT_EQ(admin("remove"), "");
}

TEST(RemoveWithoutSystemd, LeavesAHelperThatIsNotTheInstalledOne)
{
    EXPECT_EQ(admin("bless"), "");
    outputOf("cp " + helperPath +
             " /opt/Veltra/other; sed -i 's|^Exec=.*|Exec=/opt/Veltra/other|' " + busServicePath);
    const pid_t other = startHelper();
    ASSERT_EQ(programOf(other), "/opt/Veltra/other");

    EXPECT_EQ(admin("remove"), "");

    EXPECT_EQ(helperProcess(), other);
}
