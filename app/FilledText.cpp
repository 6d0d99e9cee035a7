#include "app/FilledText.h"

namespace veltra {

QString filledText(const QString& format, const QStringList& arguments)
{
    QStringList pieces = format.split(QStringLiteral("%@"));
    QString text = pieces.takeFirst();
    for (int index = 0; index < pieces.size(); ++index) {
        const QString argument = arguments.value(index);
        text += argument.isNull() ? QStringLiteral("(null)") : argument;
        text += pieces[index];
    }
    return text;
}

} // namespace veltra
