// What an administrator does about who may call the helper.
#include "tests/service/LoggedClient.h"
#include "tests/service/ServiceTesting.h"

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

using namespace veltra;

namespace {

constexpr const char* localPolicy = "/etc/dbus-1/system-local.conf";

void reloadBus()
{
    EXPECT_NE(outputOf("dbus-send --system --print-reply --dest=org.freedesktop.DBus / "
                       "org.freedesktop.DBus.ReloadConfig")
                  .find("method return"),
              std::string::npos);
}

/// Has the bus keep to the example as long as it lives.
class ExampleInForce {
  public:
    ExampleInForce()
    {
        std::filesystem::copy_file(VELTRA_TEST_EXAMPLE_POLICY, localPolicy);
        reloadBus();
    }
    ExampleInForce(const ExampleInForce&) = delete;
    ExampleInForce& operator=(const ExampleInForce&) = delete;
    ~ExampleInForce()
    {
        std::filesystem::remove(localPolicy);
        reloadBus();
    }
};

/// A user who is a member of the group that the example names, and one who is not.
class Users {
  public:
    Users()
    {
        EXPECT_EQ(outputOf("groupadd agent-operators && useradd -M -G agent-operators member && "
                           "useradd -M other"),
                  "");
    }
    Users(const Users&) = delete;
    Users& operator=(const Users&) = delete;
    ~Users() { outputOf("userdel member; userdel other; groupdel agent-operators"); }
};

Words as(const std::string& user)
{
    return {"setpriv", "--reuid=" + user, "--regid=" + user, "--init-groups", trusted};
}

} // namespace

TEST(Administrator, LetsOnlyMembersOfAGroupCallTheHelper)
{
    const Users users;
    const ExampleInForce example;

    Client member{as("member")};
    EXPECT_EQ(member.version(), "a version 1.0.0");
    member.tell("run a true");
    EXPECT_TRUE(member.hears("a exit 0"));
    Client root;
    EXPECT_EQ(root.version(), "a version 1.0.0");

    LoggedClient other{as("other")};
    EXPECT_EQ(other.refusal(), "the system bus's policy does not let this user call it");
    member.tell("run a true");
    EXPECT_TRUE(member.hears("a exit 0"));
}

TEST(Administrator, LetsEverybodyCallTheHelperWithoutSuchAPolicy)
{
    const Users users;

    Client other{as("other")};
    EXPECT_EQ(other.version(), "a version 1.0.0");
}
