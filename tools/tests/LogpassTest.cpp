// Runs the built program logpass from end to end.

#include "platform/base/tests/FinishedProgram.h"
#include "platform/base/tests/TemporaryFolder.h"

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

namespace veltra {
namespace {

namespace fs = std::filesystem;

using Arguments = std::vector<std::string>;

const std::string first = "2024-03-05 10:22:33.456 (1.2) vxsvc.Info: the first\n";

std::string line(const std::string& rest)
{
    return "2024-03-05 10:22:33.456 (1.2) vxsvc." + rest + "\n";
}

std::string row(const std::string& messageType, const std::string& message)
{
    return "2024-03-05\t10:22:33\tvxsvc\t" + messageType + "\t" + message + "\n";
}

class LogpassTest : public testing::Test {
  protected:
    /// Runs logpass and waits for its end.
    FinishedProgram run(Arguments arguments, const std::string& output = {}) const
    {
        arguments.insert(arguments.begin(), VELTRA_LOGPASS);
        return execute(arguments, "/dev/null", output);
    }

    /// Runs any program; its output is kept unless it is redirected.
    FinishedProgram execute(Arguments arguments, const std::string& input = "/dev/null",
                            const std::string& output = {}) const
    {
        const std::string kept = folder_.file("output");
        const std::string error = folder_.file("error");
        const int status = runProgram(arguments, {input, output.empty() ? kept : output, error});
        return {status, output.empty() ? bytesOf(kept) : std::string{}, bytesOf(error)};
    }

    std::string log(const std::string& bytes, const std::string& name = "log") const
    {
        folder_.write(name, bytes);
        return folder_.file(name);
    }

    const TemporaryFolder& folder() const { return folder_; }

  private:
    TemporaryFolder folder_;
};

void expectOneLine(const FinishedProgram& run, const std::string& part)
{
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(std::ranges::count(run.error, '\n'), 1) << run.error;
    EXPECT_TRUE(run.error.ends_with('\n'));
    EXPECT_NE(run.error.find(part), std::string::npos) << run.error;
}

TEST_F(LogpassTest, PrintsTheRowsFromTheTopAndTheOffset)
{
    const std::string bytes = first + line("Info: a") + line("Info: b");

    const FinishedProgram result = run({log(bytes)});

    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, row("Info", "a") + row("Info", "b") + "offset " +
                                 std::to_string(bytes.size()) + "\n");
}

TEST_F(LogpassTest, PrintsOnlyTheOffsetOfALogWithoutRows)
{
    EXPECT_EQ(run({log("")}).output, "offset 0\n");
    EXPECT_EQ(run({log("x")}).output, "offset 1\n");
}

TEST_F(LogpassTest, ShowsWarningsOnlyWhenToldTo)
{
    const std::string path = log(first + line("Warning: w"));

    EXPECT_EQ(run({path}).output.find("Warning"), std::string::npos);
    EXPECT_TRUE(run({"--show-all", path}).output.starts_with(row("Warning", "w")));
    EXPECT_TRUE(run({path, "--show-all"}).output.starts_with(row("Warning", "w")));
}

TEST_F(LogpassTest, CountsTheRowsInsteadOfPrintingThem)
{
    const std::string bytes = first + line("Info: a") + line("Info: b") + line("Warning: c");

    EXPECT_EQ(run({"--count", log(bytes)}).output,
              "rows 2\noffset " + std::to_string(bytes.size()) + "\n");
    EXPECT_EQ(run({"--count", "--show-all", log(bytes)}).output,
              "rows 3\noffset " + std::to_string(bytes.size()) + "\n");
    EXPECT_EQ(run({"--count", log("")}).output, "rows 0\noffset 0\n");
}

TEST_F(LogpassTest, RunsOneMorePassForEveryFileThatFollows)
{
    const std::string one = log(first + line("Info: a"), "one");
    const std::string two = log(first + line("Info: b") + line("Info: c"), "two");
    const std::string three = log(first, "three");

    const FinishedProgram result = run({one, "--then", two, "--then", three});

    const auto length = bytesOf(one).size() + bytesOf(two).size() + bytesOf(three).size();
    EXPECT_EQ(result.output, row("Info", "b") + row("Info", "c") + row("Info", "a") + "offset " +
                                 std::to_string(length) + "\n");
}

TEST_F(LogpassTest, MayTakeOneFileTwice)
{
    const std::string path = log(first + line("Info: a"));

    EXPECT_EQ(run({path, "--then", path, "--count"}).output,
              "rows 2\noffset " + std::to_string(2 * bytesOf(path).size()) + "\n");
}

TEST_F(LogpassTest, LeavesTheFilesAsTheyAre)
{
    const std::string one = log(first, "one");
    const std::string two = log(line("Info: b"), "two");

    run({one, "--then", two});

    EXPECT_EQ(bytesOf(one), first);
    EXPECT_EQ(bytesOf(two), line("Info: b"));
}

TEST_F(LogpassTest, WritesWhatWouldBreakARowAsTwoCharacters)
{
    const std::string path = log(first + line("Info: a\tb\\c\rd"));

    EXPECT_TRUE(run({path}).output.starts_with(row("Info", "a\\tb\\\\c\\rd")));
}

TEST_F(LogpassTest, PrintsNulBytesAndTextOutsideAscii)
{
    const std::string message{"a\0b\xC3\xA4", 5};

    const FinishedProgram result = run({log(first + line("Info: " + message))});

    EXPECT_TRUE(result.output.starts_with(row("Info", message)));
}

TEST_F(LogpassTest, LogsEveryLineItReadsToStandardError)
{
    const FinishedProgram result = run({log("one\ntwo\n\nInfo: four")});

    EXPECT_EQ(result.error, "read line: one\nread line: two\nread line: \n"
                            "read line: Info: four\n"
                            "the error is Range or index out of bounds\n");
}

TEST_F(LogpassTest, LogsManyLinesCompletely)
{
    std::string bytes;
    std::string expected;
    for (int i = 0; i < 50'000; ++i) {
        const std::string next = line("Info: " + std::to_string(i));
        bytes += next;
        expected += "read line: " + next;
    }

    const FinishedProgram result = run({"--count", log(bytes)});

    EXPECT_TRUE(result.error == expected);
    EXPECT_EQ(result.output, "rows 49999\noffset " + std::to_string(bytes.size()) + "\n");
}

TEST_F(LogpassTest, LogsNothingWhenQuiet)
{
    const FinishedProgram result = run({"--quiet-log", log(first + "Info:\n" + line("Info: a"))});

    EXPECT_EQ(result.error, "");
    EXPECT_TRUE(result.output.starts_with(row("Info", "a")));
}

TEST_F(LogpassTest, StopsAPassAtALineThatIsNotUtf8)
{
    const FinishedProgram result = run({log(first + line("Info: a") + "\xFF\n" + line("Info: b"))});

    EXPECT_EQ(result.output, row("Info", "a") + "offset " +
                                 std::to_string(first.size() + line("Info: a").size() + 2) + "\n");
}

TEST_F(LogpassTest, ReadsFromAPipe)
{
    std::string bytes = first;
    while (bytes.size() < 300'000)
        bytes += line("Info: through the pipe");

    const FinishedProgram result = execute(
        {"/bin/sh", "-c", "cat \"$1\" | \"$0\" --count /dev/stdin", VELTRA_LOGPASS, log(bytes)});

    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, "rows " + std::to_string(std::ranges::count(bytes, '\n') - 1) +
                                 "\noffset " + std::to_string(bytes.size()) + "\n");
}

TEST_F(LogpassTest, ReadsFromStandardInputThatIsAFile)
{
    EXPECT_EQ(execute({VELTRA_LOGPASS, "/dev/stdin"}, log("x\n")).output, "offset 2\n");
}

TEST_F(LogpassTest, ReadsAFileWhoseLengthTheSystemDoesNotTell)
{
    const FinishedProgram result = run({"/proc/self/status"});

    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(result.error.starts_with("read line: Name:")) << result.error;
}

TEST_F(LogpassTest, RefusesToRunWithoutAFile)
{
    expectOneLine(run({}), "usage: logpass");
    expectOneLine(run({"--show-all", "--count"}), "usage: logpass");
    expectOneLine(run({""}), "usage: logpass");
}

TEST_F(LogpassTest, RefusesAnUnknownOption)
{
    expectOneLine(run({"--wrong", log("")}), "usage: logpass");
    expectOneLine(run({log(""), "--help"}), "usage: logpass");
}

TEST_F(LogpassTest, RefusesThenWithoutAFile)
{
    expectOneLine(run({log(""), "--then"}), "usage: logpass");
    expectOneLine(run({log(""), "--then", "--count"}), "usage: logpass");
    expectOneLine(run({"--then", log("")}), "usage: logpass");
}

TEST_F(LogpassTest, RefusesASecondFileWithoutThen)
{
    expectOneLine(run({log("", "one"), log("", "two")}), "usage: logpass");
}

TEST_F(LogpassTest, RefusesAMissingFile)
{
    const std::string missing = folder().file("missing");

    expectOneLine(run({missing}), missing + ": No such file or directory");
    expectOneLine(run({log(""), "--then", missing}), missing + ": No such file or directory");
}

TEST_F(LogpassTest, RefusesAFolder)
{
    expectOneLine(run({folder().path()}), folder().path() + ": Is a directory");
}

TEST_F(LogpassTest, FailsWhenItsOutputCannotBeWritten)
{
    std::string bytes = first;
    while (bytes.size() < 100'000)
        bytes += line("Info: a");
    const std::string path = log(bytes);

    EXPECT_EQ(run({"--quiet-log", path}, "/dev/full").status, 1);
    EXPECT_EQ(run({"--quiet-log", "--count", path}, "/dev/full").status, 1);
}

TEST_F(LogpassTest, LeavesNoFileBehind)
{
    const std::string path = log(first);
    const std::string temporary = folder().file("temporary");
    fs::create_directory(temporary);

    const FinishedProgram result =
        execute({"/usr/bin/env", "TMPDIR=" + temporary, VELTRA_LOGPASS, path});

    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(fs::is_empty(temporary));
}

} // namespace
} // namespace veltra
