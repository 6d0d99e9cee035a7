#include "platform/rights/AdminTool.h"

#include "platform/base/tests/TemporaryFolder.h"

#include <cstdlib>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>
#include <unistd.h>

namespace veltra {
namespace {

/// Sets a variable in this process's environment until it is destroyed.
class Variable {
  public:
    Variable(const char* name, const char* value) : name_{name} { ::setenv(name, value, 1); }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;
    ~Variable() { ::unsetenv(name_); }

  private:
    const char* name_;
};

TEST(AdminTool, GetsOfTheEnvironmentTheLanguageOnlyAndNoValueThatPkexecDistrusts)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "for want of root: everybody else's tool is started by pkexec";
    const TemporaryFolder folder;
    folder.write("tool", "#!/bin/sh\nenv | grep TEST | sort >&2\n");
    std::filesystem::permissions(folder.file("tool"), std::filesystem::perms::owner_all);
    const Variable good{"LC_TEST", "de_DE.UTF-8@euro"};
    const Variable noLanguage{"TEST", "value"};
    const Variable withSlash{"LC_TEST_SLASH", "a/b"};
    const Variable withPercentSign{"LC_TEST_PERCENT_SIGN", "a%b"};
    const Variable withDots{"LC_TEST_DOTS", "a..b"};

    const auto ending = AdminTool{folder.file("tool")}.run(AdminTool::Verb::bless);

    ASSERT_TRUE(ending);
    EXPECT_EQ(ending.value().message, "LC_TEST=de_DE.UTF-8@euro\n");
}

} // namespace
} // namespace veltra
