#include "logview/rows/LogLineScanner.h"

#include <string>

#include <gtest/gtest.h>

namespace veltra {
namespace {

LogLineTexts texts(std::string_view date, std::string_view time, std::string_view component,
                   std::string_view messageType, std::string_view message)
{
    LogLineTexts result;
    result[LogField::date] = date;
    result[LogField::time] = time;
    result[LogField::component] = component;
    result[LogField::messageType] = messageType;
    result[LogField::message] = message;
    return result;
}

void expectWhole(std::string_view line, const LogLineTexts& expected)
{
    const ScannedLine scanned = scanLogLine(line);

    EXPECT_FALSE(scanned.ranPastEnd) << line;
    for (std::size_t field = 0; field < logFieldCount; ++field)
        EXPECT_EQ(scanned.texts[static_cast<LogField>(field)],
                  expected[static_cast<LogField>(field)])
            << field << " of " << line;
}

void expectPastEnd(std::string_view line, const LogLineTexts& expected)
{
    const ScannedLine scanned = scanLogLine(line);

    EXPECT_TRUE(scanned.ranPastEnd) << line;
    for (std::size_t field = 0; field < logFieldCount; ++field)
        EXPECT_EQ(scanned.texts[static_cast<LogField>(field)],
                  expected[static_cast<LogField>(field)])
            << field << " of " << line;
}

const LogLineTexts wellFormed = texts("2024-03-05", "10:22:33", "vxsvc", "Info", "Agent started");

TEST(LogLineScanner, TakesTheFiveTextsOfALine)
{
    expectWhole("2024-03-05 10:22:33.456 (1234.5678) vxsvc.Info: Agent started\n", wellFormed);
}

// The first 64 bytes are examined all at once.
TEST(LogLineScanner, TakesPiecesOfEveryLength)
{
    for (std::size_t length = 1; length < 150; ++length) {
        const std::string w(length, 'w');
        expectWhole(w + " 10:22:33.456 (1.2) vxsvc.Info: m\n",
                    texts(w, "10:22:33", "vxsvc", "Info", "m"));
        expectWhole("D " + w + ".456 (1.2) vxsvc.Info: m\n", texts("D", w, "vxsvc", "Info", "m"));
        expectWhole("D T." + w + " (1.2) vxsvc.Info: m\n", texts("D", "T", "vxsvc", "Info", "m"));
        expectWhole("D T.456 " + w + " vxsvc.Info: m\n", texts("D", "T", "vxsvc", "Info", "m"));
        expectWhole("D T.456 (1.2) " + w + ".Info: m\n", texts("D", "T", w, "Info", "m"));
        expectWhole("D T.456 (1.2) vxsvc." + w + ": m\n", texts("D", "T", "vxsvc", w, "m"));
        expectWhole("D T.456 (1.2) vxsvc.Info: " + w + "\n", texts("D", "T", "vxsvc", "Info", w));
    }
}

TEST(LogLineScanner, RunsPastTheEndOfPiecesOfEveryLength)
{
    for (std::size_t length = 1; length < 150; ++length) {
        const std::string w(length, 'w');
        expectPastEnd(w, texts(w, "", "", "", ""));
        expectPastEnd("D " + w, texts("D", w, "", "", ""));
        expectPastEnd("D T.456 (1.2) " + w, texts("D", "T", w, "", ""));
        expectPastEnd("D T.456 (1.2) vxsvc." + w, texts("D", "T", "vxsvc", w, ""));
    }
}

TEST(LogLineScanner, NeedsNoLineBreakAtTheEnd)
{
    expectWhole("2024-03-05 10:22:33.456 (1234.5678) vxsvc.Info: Agent started", wellFormed);
}

TEST(LogLineScanner, LeavesACarriageReturnInTheMessage)
{
    expectWhole("D T.f t C.Info: text\r\n", texts("D", "T", "C", "Info", "text\r"));
}

TEST(LogLineScanner, TakesTheSeveritySoFarAsTheColonAndTheMessageWithColons)
{
    expectWhole("D T.f t C.Warning:a:b: c\n", texts("D", "T", "C", "Warning", "a:b: c"));
}

TEST(LogLineScanner, KeepsWhiteSpaceAtTheEndsOfPieces)
{
    expectWhole("D T .f t C .Info : text  \n", texts("D", "T ", "C ", "Info ", "text  "));
}

TEST(LogLineScanner, PassesOverWhiteSpaceInFrontOfEveryPiece)
{
    expectWhole(" \tD  T. f  t \t C. Info:\v text\n", texts("D", "T", "C", "Info", "text"));
}

TEST(LogLineScanner, PassesOverUnicodeSpacesInFrontOfEveryPiece)
{
    expectWhole("\xC2\xA0"
                "D \xE2\x80\x83T.\xE3\x80\x80"
                "f \xC2\x85t \xE2\x80\xA8"
                "C."
                "\xE2\x80\xA9Info:\xE1\x9A\x80text\n",
                texts("D", "T", "C", "Info", "text"));
}

TEST(LogLineScanner, PassesOverLineBreaksInFrontOfAPiece)
{
    expectWhole("D T.f t C.Info:\n\r\ntext\n", texts("D", "T", "C", "Info", "text"));
}

TEST(LogLineScanner, SplitsAtASpaceOnlyAndNotAtOtherWhiteSpace)
{
    expectWhole("D\tx T.f t\xC2\xA0y C.Info:text\n", texts("D\tx", "T", "C", "Info", "text"));
}

TEST(LogLineScanner, LetsTheTimeHoldSpacesUpToThePoint)
{
    expectWhole("D T and more.f t C.Info:text\n", texts("D", "T and more", "C", "Info", "text"));
}

TEST(LogLineScanner, TakesTheComponentUpToItsFirstPoint)
{
    expectWhole("D T.f t com.veltra.Info:text\n", texts("D", "T", "com", "veltra.Info", "text"));
}

TEST(LogLineScanner, LeavesOutAnEmptyTime)
{
    expectWhole("D .f t C.Info:text\n", texts("D", "", "C", "Info", "text"));
}

TEST(LogLineScanner, LeavesOutAnEmptyComponent)
{
    expectWhole("D T.f t .Info:text\n", texts("D", "T", "", "Info", "text"));
}

TEST(LogLineScanner, LeavesOutAnEmptySeverity)
{
    expectWhole("D T.f t C.:Info:text\n", texts("D", "T", "C", "", "Info:text"));
}

TEST(LogLineScanner, LeavesOutAMessageOfWhiteSpaceOnly)
{
    expectWhole("D T.f t C.Info:", texts("D", "T", "C", "Info", ""));
    expectWhole("D T.f t C.Info:\n", texts("D", "T", "C", "Info", ""));
    expectWhole("D T.f t C.Info: \t\r\n", texts("D", "T", "C", "Info", ""));
}

TEST(LogLineScanner, RunsPastTheEndWithoutTheSpaceBehindTheDate)
{
    expectPastEnd("Info:text", texts("Info:text", "", "", "", ""));
    expectPastEnd("D\n", texts("D\n", "", "", "", ""));
}

TEST(LogLineScanner, RunsPastTheEndWithoutThePointBehindTheTime)
{
    expectPastEnd("D Info:text\n", texts("D", "Info:text\n", "", "", ""));
}

TEST(LogLineScanner, RunsPastTheEndWithoutTheSpaceBehindTheFraction)
{
    expectPastEnd("D T.Info:text\n", texts("D", "T", "", "", ""));
}

TEST(LogLineScanner, RunsPastTheEndWithoutTheSpaceBehindTheThread)
{
    expectPastEnd("D T.f Info:text\n", texts("D", "T", "", "", ""));
}

TEST(LogLineScanner, RunsPastTheEndWithoutThePointBehindTheComponent)
{
    expectPastEnd("D T.f t Info:text\n", texts("D", "T", "Info:text\n", "", ""));
}

TEST(LogLineScanner, RunsPastTheEndWithoutTheColonBehindTheSeverity)
{
    expectPastEnd("D T.f t C.Info text\n", texts("D", "T", "C", "Info text\n", ""));
}

TEST(LogLineScanner, RunsPastTheEndOfNothing)
{
    expectPastEnd("", texts("", "", "", "", ""));
    expectPastEnd(" \t\r\n", texts("", "", "", "", ""));
    expectPastEnd("D \n", texts("D", "", "", "", ""));
}

TEST(LogLineScanner, TakesTextOutsideAscii)
{
    expectWhole("5.\xE2\x80\xAF"
                "M\xC3\xA4rz T.f t \xE6\x97\xA5.Info: Gr\xC3\xBC\xC3\x9F"
                "e \xF0\x9F\x98\x80\n",
                texts("5.\xE2\x80\xAF"
                      "M\xC3\xA4rz",
                      "T", "\xE6\x97\xA5", "Info",
                      "Gr\xC3\xBC\xC3\x9F"
                      "e \xF0\x9F\x98\x80"));
}

TEST(LogLineScanner, TakesNulBytesAsText)
{
    const std::string line{"D\0 T.f t C.Info:a\0b\n", 20};

    expectWhole(line, texts({"D\0", 2}, "T", "C", "Info", {"a\0b", 3}));
}

} // namespace
} // namespace veltra
