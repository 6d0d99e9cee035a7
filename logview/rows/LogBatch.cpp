#include "logview/rows/LogBatch.h"

namespace veltra {

void makePlainRows(LogBatch& batch, ShownLines shown, RowMemory& memory)
{
    batch.rows.clear();
    // Kept up to date, so that it is right also where memory runs out.
    std::size_t& index = batch.plainEnd;
    for (index = batch.firstLine; index < batch.block.lines.size(); ++index) {
        const std::string_view line = batch.block.lines[index];
        const ScannedLine scanned = scanLogLine(line);
        if (!carriesShownMark(line, scanned))
            continue;
        // A line that lacks a separator lacks the texts behind it.
        if (!isComplete(scanned.texts))
            return;
        if (isShown(shown, scanned.texts[LogField::messageType]))
            batch.rows.push_back(LogRows::makeRow(scanned.texts, memory));
    }
}

} // namespace veltra
