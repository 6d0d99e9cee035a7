// Runs the log table's passes over a file, without a window, and prints the rows.

#include "logview/rows/LogPass.h"

#include "logview/rows/LogRows.h"
#include "logview/rows/TabSeparatedRow.h"
#include "platform/log/SystemLog.h"
#include "tools/PrivateLog.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace veltra;

constexpr const char* usage =
    "usage: logpass [--show-all] [--count] [--quiet-log] FILE [--then FILE]...\n";

enum class Printed { rows, countOnly };
enum class LogLines { toStandardError, nowhere };

struct Options {
    ShownLines shown = ShownLines::errorsAndInfos;
    Printed printed = Printed::rows;
    LogLines logLines = LogLines::toStandardError;
    std::vector<std::string> files;
};

// The first file has no option before it; every further one follows "--then".
bool takeFile(Options& options, std::string_view argument, bool behindThen)
{
    if (argument.empty() || argument.starts_with("--") || options.files.empty() == behindThen)
        return false;
    options.files.emplace_back(argument);
    return true;
}

std::optional<Options> parse(std::span<char*> arguments)
{
    Options options;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string_view argument = arguments[i];
        if (argument == "--show-all") {
            options.shown = ShownLines::all;
        } else if (argument == "--count") {
            options.printed = Printed::countOnly;
        } else if (argument == "--quiet-log") {
            options.logLines = LogLines::nowhere;
        } else if (argument == "--then") {
            if (++i == arguments.size() || !takeFile(options, arguments[i], true))
                return std::nullopt;
        } else if (!takeFile(options, argument, false)) {
            return std::nullopt;
        }
    }
    if (options.files.empty())
        return std::nullopt;
    return options;
}

void print(const LogRows& rows, Printed printed, std::uint64_t offset)
{
    if (printed == Printed::countOnly)
        std::printf("rows %zu\n", rows.count());
    else
        for (std::size_t age = rows.count(); age > 0; --age) {
            const std::string line = tabSeparatedRow(rows.row(age - 1).texts()) + '\n';
            std::fwrite(line.data(), 1, line.size(), stdout);
        }
    std::printf("offset %llu\n", static_cast<unsigned long long>(offset));
}

int fail(const Error& error)
{
    std::fprintf(stderr, "logpass: cannot %s\n", error.message().c_str());
    return 2;
}

// A single file that has a length need not be copied, because nothing will be appended to it.
bool standsForItself(const std::vector<std::string>& files)
{
    struct stat status {};
    return files.size() == 1 && ::access(files.front().c_str(), R_OK) == 0 &&
           ::stat(files.front().c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
           status.st_size > 0;
}

// The offset at which the next pass would start.
Result<std::uint64_t> runPasses(LogRows& rows, const Options& options)
{
    if (standsForItself(options.files))
        return runLogPass(rows, options.files.front(), 0, options.shown);

    auto privateLog = PrivateLog::create();
    if (!privateLog)
        return privateLog.error();
    std::uint64_t offset = 0;
    for (const std::string& file : options.files) {
        if (const auto appended = privateLog.value().appendFile(file); !appended)
            return appended.error();
        offset = runLogPass(rows, privateLog.value().path(), offset, options.shown);
    }
    return offset;
}

int run(const Options& options)
{
    SystemLog log{options.logLines == LogLines::nowhere ? nullptr : makeStreamSink(STDERR_FILENO)};
    const SystemLog::Redirection redirection{log};

    LogRows rows;
    const auto offset = runPasses(rows, options);
    if (!offset)
        return fail(offset.error());
    print(rows, options.printed, offset.value());
    return std::fflush(stdout) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        const auto options = parse(std::span{argv, static_cast<std::size_t>(argc)}.subspan(1));
        if (!options) {
            std::fputs(usage, stderr);
            return 2;
        }
        return run(*options);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "logpass: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
