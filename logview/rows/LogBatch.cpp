#include "logview/rows/LogBatch.h"

namespace veltra {

void makePlainRows(LogBatch& batch, ShownLines shown, RowMemory& memory)
{
    batch.rows.clear();
    // Updated for every line, so that it is also correct if memory runs out.
    std::size_t& index = batch.plainEnd;
    for (index = batch.firstLine; index < batch.block.lines.size(); ++index) {
        const std::string_view line = batch.block.lines[index];
        const ScannedLine scanned = scanLogLine(line);
        if (!carriesShownMark(line, scanned))
            continue;
        // A line with a missing separator also lacks the texts after it.
        if (!isComplete(scanned.texts))
            return;
        if (isShown(shown, scanned.texts[LogField::messageType]))
            batch.rows.push_back(LogRows::makeRow(scanned.texts, memory));
    }
}

} // namespace veltra
