// Requests that are refused before the tool is started; the rest needs polkit.

#include "platform/rights/SystemServiceManagement.h"

#include "platform/rights/fakes/FakeAuthorization.h"

#include <string>

#include <gtest/gtest.h>

namespace veltra {
namespace {

const std::string helper = "com.veltra.agentMonitor.helper";

class SystemServiceManagementTest : public testing::Test {
  protected:
    /// The error's message; empty if there is none.
    std::string bless(const std::string& domain, const std::string& label,
                      const AuthorizationRef& authorization)
    {
        const auto outcome = management_.SMJobBless(domain, label, authorization);
        EXPECT_FALSE(outcome.isDone);
        return outcome.error ? outcome.error->message() : "";
    }

    AuthorizationRef reference()
    {
        return services_.AuthorizationCreate(nullptr, nullptr, 0).object;
    }

    FakeAuthorization services_;

  private:
    SystemServiceManagement management_{services_, AdminTool{"/there/is/no/tool"}};
};

TEST_F(SystemServiceManagementTest, KnowsTheSystemsDomainOnly)
{
    services_.gained() = {kSMRightBlessPrivilegedHelper};

    EXPECT_EQ(bless("kSMDomainUserLaunchd", helper, reference()),
              "install com.veltra.agentMonitor.helper in kSMDomainUserLaunchd: "
              "Operation not supported");
}

TEST_F(SystemServiceManagementTest, KnowsTheOneHelperOnly)
{
    services_.gained() = {kSMRightBlessPrivilegedHelper};

    EXPECT_EQ(bless(kSMDomainSystemLaunchd, "com.veltra.another", reference()),
              "install com.veltra.another in kSMDomainSystemLaunchd: Operation not supported");
}

TEST_F(SystemServiceManagementTest, WantsAnAuthorization)
{
    EXPECT_EQ(bless(kSMDomainSystemLaunchd, helper, nullptr),
              "install com.veltra.agentMonitor.helper: "
              "The authorization is not valid or is valid no longer");
}

TEST_F(SystemServiceManagementTest, AsksNothingWhenTheRightWasNotGained)
{
    services_.answers = {errAuthorizationSuccess};

    EXPECT_EQ(bless(kSMDomainSystemLaunchd, helper, reference()),
              "install com.veltra.agentMonitor.helper: "
              "The user would have to be asked for credentials and cannot be");

    EXPECT_EQ(services_.answers.size(), 1U);
}

} // namespace
} // namespace veltra
