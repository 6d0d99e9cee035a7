// Compares passes over a growing log with those of LiteralLogTable.
#include "logview/rows/FileReader.h"
#include "logview/rows/LogPass.h"
#include "logview/rows/tests/LiteralLogTable.h"
#include "logview/rows/tests/LogTexts.h"
#include "platform/base/tests/FileInMemory.h"
#include "platform/log/SystemLog.h"
#include "tests/fuzz/FuzzTarget.h"

#include <array>
#include <cstdint>

namespace veltra::fuzz {

namespace {

/// One table that is read in passes, and what it should look like.
class ComparedTable {
  public:
    /// The next pass, over a log that contains `bytes`; whether it does what it should.
    bool hasSamePass(const std::string& bytes, const FileInMemory& file, ShownLines shown)
    {
        file.write(bytes);
        literal_.updatelogs(bytes, shown == ShownLines::all);
        offset_ = runLogPass(rows_, file.path(), offset_, shown);
        return offset_ == literal_.offset() && rowsFromTheTop(rows_) == literal_.rows();
    }

    [[nodiscard]] bool hasRows() const { return rows_.count() > 0; }

  private:
    LogRows rows_;
    LiteralLogTable literal_;
    std::uint64_t offset_ = 0;
};

// Lines that are cut in an odd way are still the file's bytes, all of them up to one that is not
// valid text.
bool hasAllBytes(const std::string& bytes, const FileInMemory& file, const std::string& delimiter,
                 std::uint64_t chunkSize)
{
    const auto reader = FileReader::initWithFilePath(file.path());
    reader->setLineDelimiter(delimiter);
    reader->setChunkSize(chunkSize);
    std::string lines;
    std::uint64_t readTo = 0;
    while (const auto line = reader->readLine()) {
        lines += *line;
        readTo = reader->getCurrentOffset();
    }
    return readTo == lines.size() && bytes.starts_with(lines) &&
           (reader->getCurrentOffset() > readTo || readTo == bytes.size());
}

} // namespace

Outcome read(const std::string& bytes)
{
    static const FileInMemory file;
    // What is logged would take most of the time.
    static SystemLog silence{nullptr};
    const SystemLog::Redirection redirection{silence};
    ComparedTable table;
    if (!table.hasSamePass(bytes.substr(0, bytes.size() / 2), file, ShownLines::errorsAndInfos) ||
        !table.hasSamePass(bytes, file, ShownLines::all))
        return Outcome::broken;
    for (const std::uint64_t chunkSize : {1U, 3U, 10U})
        for (const char* const delimiter : {"\r\n", ": ", "\xA9"})
            if (!hasAllBytes(bytes, file, delimiter, chunkSize))
                return Outcome::broken;
    return table.hasRows() ? Outcome::good : Outcome::refused;
}

std::vector<std::string> pieces()
{
    return {"\n",
            "\r\n",
            "Info:",
            "Warning:",
            "Error:",
            ". ",
            ": ",
            "\xC3\xA9",
            "\xFF",
            "\xE2\x80\xA8",
            logLine("Info", "m"),
            logLine("Error", ""),
            std::string(1, '\0')};
}

} // namespace veltra::fuzz
