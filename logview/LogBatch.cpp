#include "logview/LogBatch.h"

namespace veltra {

void makePlainRows(LogBatch& batch, ShownLines shown, RowMemory& memory)
{
    batch.rows.clear();
    batch.plainEnd = 0;
    std::size_t index = batch.firstLine;
    for (; index < batch.block.lines.size(); ++index) {
        const std::string_view line = batch.block.lines[index];
        const ScannedLine scanned = scanLogLine(line);
        if (!carriesShownMark(line, scanned))
            continue;
        // So is one whose separators are missing.
        if (!isComplete(scanned.texts))
            break;
        if (isShown(shown, scanned.texts[LogField::messageType]))
            batch.rows.push_back(LogRows::makeRow(scanned.texts, memory));
    }
    batch.plainEnd = index;
}

} // namespace veltra
