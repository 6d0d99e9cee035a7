#include "logview/LogPass.h"

#include "logview/FileReader.h"
#include "logview/LineReadAhead.h"
#include "logview/LogLineScanner.h"
#include "platform/SystemLog.h"

#include <exception>
#include <filesystem>
#include <memory>
#include <system_error>

namespace veltra {

namespace {

// Below that, starting a thread takes longer than it saves.
constexpr std::uint64_t worthAnotherThread = std::uint64_t{1} << 20;

bool endsWithShownMark(std::string_view text) noexcept
{
    return text.ends_with("Info") || text.ends_with("Warning");
}

// Whether "Warning:" or "Info:" stands anywhere in the line.
bool carriesShownMark(std::string_view line) noexcept
{
    for (auto colon = line.find(':'); colon != std::string_view::npos;
         colon = line.find(':', colon + 1)) {
        if (endsWithShownMark(line.substr(0, colon)))
            return true;
    }
    return false;
}

// Most lines carry it as their message type, where it need not be searched for.
bool carriesShownMark(std::string_view line, const ScannedLine& scanned) noexcept
{
    const bool hasMessageType = !scanned.ranPastEnd;
    return (hasMessageType && endsWithShownMark(scanned.texts[LogField::messageType])) ||
           carriesShownMark(line);
}

/// Makes rows of the lines of one pass and counts those that cannot be parsed.
class LineParser {
  public:
    LineParser(LogRows& rows, ShownLines shown) : rows_{rows, shown} {}

    /// Takes the next line of the file. One that cannot be handled does not keep the others from
    /// being shown.
    void parse(std::string_view line, const ScannedLine& scanned)
    {
        if (!carriesShownMark(line, scanned))
            return;
        if (scanned.ranPastEnd)
            ++ranPastEnd_;
        try {
            rows_.add(scanned);
        } catch (const std::exception& error) {
            SystemLog::log({"the error is ", error.what()});
        }
    }

    void finish()
    {
        for (; ranPastEnd_ > 0; --ranPastEnd_)
            SystemLog::log("the error is Range or index out of bounds");
        rows_.publish();
    }

  private:
    PassRows rows_;
    std::size_t ranPastEnd_ = 0;
};

ScannedLine scannedLine(const FileReader& /*lines*/, std::string_view line)
{
    return scanLogLine(line);
}

const ScannedLine& scannedLine(const LineReadAhead& lines, std::string_view /*line*/)
{
    return lines.scannedLine();
}

// Parses all lines that `lines`, a reader, gives, and returns where it then stands.
template <typename Reader>
std::uint64_t parseLines(Reader& lines, LineParser& parser, const std::stop_token& stop)
{
    bool isFirst = true;
    while (const auto line = lines.readLine()) {
        SystemLog::log({"read line: ", *line});
        if (!isFirst)
            parser.parse(*line, scannedLine(lines, *line));
        isFirst = false;
        if (stop.stop_requested())
            return lines.getCurrentOffset();
    }
    parser.finish();
    return lines.getCurrentOffset();
}

// Null when no thread is to be had.
std::unique_ptr<LineReadAhead> readAhead(FileReader& reader)
{
    try {
        return std::make_unique<LineReadAhead>(reader);
    } catch (const std::system_error&) {
        return nullptr;
    }
}

bool fileExists(const std::string& path)
{
    std::error_code error;
    return std::filesystem::exists(path, error);
}

} // namespace

std::uint64_t runLogPass(LogRows& rows, const std::string& path, std::uint64_t offset,
                         ShownLines shown, const std::stop_token& stop)
{
    if (!fileExists(path)) {
        SystemLog::log("No vxsvc log file present");
        return offset;
    }
    const auto reader = FileReader::initWithFilePath(path, offset);
    if (!reader) {
        SystemLog::log("No logs available to parse");
        return offset;
    }

    LineParser parser{rows, shown};
    if (reader->unreadLength() >= worthAnotherThread)
        if (const auto ahead = readAhead(*reader))
            return parseLines(*ahead, parser, stop);
    return parseLines(*reader, parser, stop);
}

} // namespace veltra
