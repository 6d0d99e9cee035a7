#include "helper/Helper.h"

#include <gtest/gtest.h>

namespace veltra {
namespace {

TEST(HelperSetting, HasTheHelperLookEverySecondWhetherItShouldQuit)
{
    EXPECT_EQ(Helper::Setting{}.shouldQuitCheckInterval, std::chrono::seconds{1});
}

} // namespace
} // namespace veltra
