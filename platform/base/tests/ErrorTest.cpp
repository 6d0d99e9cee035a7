#include "platform/base/Error.h"

#include <memory>

#include <gtest/gtest.h>

namespace veltra {
namespace {

TEST(Error, ReadsActionSubjectAndReason)
{
    const Error error{std::make_error_code(std::errc::permission_denied), "open", "/a/b"};

    EXPECT_EQ(error.message(), "open /a/b: Permission denied");
    EXPECT_EQ(error.code(), std::errc::permission_denied);
}

TEST(Error, LeavesOutAnEmptySubject)
{
    const Error error{std::make_error_code(std::errc::bad_message), "read property list"};

    EXPECT_EQ(error.message(), "read property list: Bad message");
}

TEST(Error, IsItsReasonAloneWithoutAnAction)
{
    const Error error{std::make_error_code(std::errc::bad_message), {}};

    EXPECT_EQ(error.message(), "Bad message");
}

TEST(Error, KeepsTheNumberOfTheLastFailure)
{
    errno = ENOSPC;

    const Error error = Error::last("write", "file");

    EXPECT_EQ(error.code(), std::error_code(ENOSPC, std::generic_category()));
    EXPECT_EQ(error.message(), "write file: No space left on device");
}

TEST(Result, HoldsAValue)
{
    const Result<int> result{7};

    ASSERT_TRUE(result);
    EXPECT_EQ(result.value(), 7);
    EXPECT_THROW(static_cast<void>(result.error()), std::bad_variant_access);
}

TEST(Result, HoldsAnError)
{
    Result<int> result{Error{std::make_error_code(std::errc::io_error), "read"}};

    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().code(), std::errc::io_error);
    EXPECT_THROW(static_cast<void>(result.value()), std::bad_variant_access);
}

TEST(Result, HandsOverAValueThatCannotBeCopied)
{
    Result<std::unique_ptr<int>> result{std::make_unique<int>(7)};

    const std::unique_ptr<int> value = std::move(result.value());

    EXPECT_EQ(*value, 7);
}

} // namespace
} // namespace veltra
