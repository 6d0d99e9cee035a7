#include "logview/rows/LogPass.h"

#include "logview/rows/FileReader.h"
#include "logview/rows/LogBatchReader.h"
#include "logview/rows/LogLineScanner.h"
#include "platform/log/SystemLog.h"

#include <algorithm>
#include <exception>
#include <filesystem>
#include <new>
#include <system_error>

namespace veltra {

namespace {

/// Makes rows from the lines of one pass and counts the lines that cannot be parsed.
class LineParser {
  public:
    LineParser(LogRows& rows, ShownLines shown) : rows_{rows, shown} {}

    /// Takes the next lines of the file.
    void parse(const LogBatch& batch)
    {
        std::size_t index = batch.firstLine;
        if (!rows_.hasGaps()) {
            rows_.add(batch.rows);
            index = std::max(index, batch.plainEnd);
        }
        for (; index < batch.block.lines.size(); ++index)
            parse(batch.block.lines[index]);
    }

    void finish()
    {
        for (; ranPastEnd_ > 0; --ranPastEnd_)
            SystemLog::log("the error is Range or index out of bounds");
        try {
            rows_.publish();
        } catch (const std::bad_alloc& error) {
            SystemLog::logThrown(error);
        }
    }

  private:
    // A line that cannot be processed must not prevent the others from being shown.
    void parse(std::string_view line)
    {
        const ScannedLine scanned = scanLogLine(line);
        if (!carriesShownMark(line, scanned))
            return;
        if (scanned.ranPastEnd)
            ++ranPastEnd_;
        try {
            rows_.add(scanned);
        } catch (const std::exception& error) {
            SystemLog::logThrown(error);
        }
    }

    PassRows rows_;
    std::size_t ranPastEnd_ = 0;
};

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
    LogBatchReader batches{*reader, rows, shown};
    std::uint64_t reached = offset;
    try {
        while (const LogBatch* batch = batches.next()) {
            for (const std::string_view line : batch->block.lines) {
                SystemLog::log({"read line: ", line});
                reached += line.size();
                if (stop.stop_requested())
                    return reached;
            }
            parser.parse(*batch);
            rows.addLinesRead(batch->block.lines.size());
        }
    } catch (const std::bad_alloc& error) {
        // What has been logged must not be read again, so the pass only ends early.
        SystemLog::logThrown(error);
    }
    parser.finish();
    return batches.getCurrentOffset();
}

} // namespace veltra
