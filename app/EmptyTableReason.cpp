#include "app/EmptyTableReason.h"

#include "app/ErrorReason.h"
#include "app/FilledText.h"
#include "app/RegularFile.h"
#include "platform/base/Folder.h"
#include "platform/desktop/FileName.h"

#include <QLocale>

namespace veltra {

namespace {

QString whyThereIsNoLog(const QString& folder, const VXStatusResourceController& resources)
{
    const auto listed = contentsOfDirectory(bytesOfPath(folder));
    const auto text = [&](const QString& key) {
        return filledText(resources.getLocalisedString(key),
                          {folder, listed ? QString{} : reasonOf(listed.error())});
    };
    if (listed)
        return text(QStringLiteral("NO_LOG_IN_FOLDER"));
    if (listed.error().code() == std::errc::no_such_file_or_directory)
        return text(QStringLiteral("NO_LOG_FOLDER"));
    return text(QStringLiteral("LOG_FOLDER_UNREADABLE"));
}

} // namespace

QString whyTableIsEmpty(const QString& logPath, std::size_t linesRead,
                        const VXStatusResourceController& resources)
{
    if (logPath.isEmpty() || logPath.endsWith(u'/'))
        return whyThereIsNoLog(logPath, resources);
    if (const auto log = openRegularFile(logPath); !log)
        return filledText(resources.getLocalisedString(QStringLiteral("LOG_UNREADABLE")),
                          {logPath, reasonOf(log.error())});
    const QLocale locale{resources.getLocalisedString(QStringLiteral("LANGUAGE"))};
    return filledText(resources.getLocalisedString(QStringLiteral("NO_ROWS_YET")),
                      {logPath, locale.toString(static_cast<qulonglong>(linesRead))});
}

} // namespace veltra
