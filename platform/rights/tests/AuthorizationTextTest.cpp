#include "platform/rights/AuthorizationText.h"

#include "platform/rights/AuthorizationServices.h"

#include <set>
#include <string>

#include <gtest/gtest.h>

namespace veltra {
namespace {

TEST(AuthorizationText, IsAnotherForEveryStatusSuccessIncluded)
{
    std::set<std::string> texts;
    for (const OSStatus status : {errAuthorizationSuccess, errAuthorizationInvalidRef,
                                  errAuthorizationDenied, errAuthorizationCanceled,
                                  errAuthorizationInteractionNotAllowed, errAuthorizationInternal})
        texts.insert(authorizationText(status).value_or(""));

    EXPECT_EQ(texts.size(), 6U);
    EXPECT_FALSE(texts.contains(""));
}

TEST(AuthorizationText, IsMissingForAStatusOfSomebodyElses)
{
    EXPECT_EQ(authorizationText(-1), std::nullopt);
    EXPECT_EQ(authorizationError(-1).message(), "Authorization status -1");
}

TEST(AuthorizationError, EndsAnErrorsMessageWithTheText)
{
    EXPECT_EQ(authorizationError(errAuthorizationDenied).message(), "The authorization was denied");
}

} // namespace
} // namespace veltra
