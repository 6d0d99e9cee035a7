#include "platform/signing/CodeSigningStatus.h"

#include <optional>
#include <set>
#include <string>

#include <gtest/gtest.h>

namespace veltra {
namespace {

TEST(CodeSigningStatus, HasASentenceOfItsOwnForEachFailure)
{
    std::set<std::string> texts;
    for (OSStatus status = errSecCSInvalidRequest; status >= errSecCSNestedCodeInvalid; --status)
        texts.insert(codeSigningText(status).value_or(""));

    EXPECT_EQ(texts.size(), 14U);
    EXPECT_FALSE(texts.contains(""));
}

TEST(CodeSigningStatus, HasNoWordsForSuccessAndForWhatIsNotOurs)
{
    EXPECT_EQ(codeSigningText(errSecSuccess), std::nullopt);
    EXPECT_EQ(codeSigningText(errSecCSNestedCodeInvalid - 1), std::nullopt);
}

TEST(CodeSigningStatus, TellsItsSentenceAsAnErrorToo)
{
    EXPECT_EQ(codeSigningError(errSecCSUnsigned).message(), "The code is not signed at all");
    EXPECT_EQ(codeSigningError(-4711).message(), "Code-signing status -4711");
}

} // namespace
} // namespace veltra
