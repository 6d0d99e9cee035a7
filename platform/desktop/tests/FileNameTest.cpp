#include "platform/desktop/FileName.h"

#include <gtest/gtest.h>

namespace veltra {
namespace {

TEST(FileName, KeepsNamesThatAreText)
{
    const std::string bytes = "/logs/\xEF\xBB\xBFvxsvc_\xC3\xA4\xF0\x9F\x98\x80\xE2\x82\xAC.log";

    const QString text = pathFromBytes(bytes);

    EXPECT_EQ(text, QStringLiteral(u"/logs/\uFEFFvxsvc_\u00E4\U0001F600\u20AC.log"));
    EXPECT_EQ(bytesOfPath(text), bytes);
}

TEST(FileName, LosesNothingOfNamesThatAreNot)
{
    for (const std::string bytes :
         {"vxsvc_\xFF.log", "\x80\xBF", "\xC3", "a\xE2\x82z\xC3\xA4\xF0\x9F\x98", "\xED\xB2\x80"})
        EXPECT_EQ(bytesOfPath(pathFromBytes(bytes)), bytes);
}

TEST(FileName, GivesEveryByteItsOwnText)
{
    EXPECT_EQ(pathFromBytes("a\x80\xFF"), (QString{u'a'} + QChar{0xDC80} + QChar{0xDCFF}));
    EXPECT_EQ(pathFromBytes(""), QString{});
    EXPECT_EQ(bytesOfPath(QString{}), "");
}

} // namespace
} // namespace veltra
