#include "logview/table/PlainToolTip.h"

namespace veltra {

QString plainToolTip(const QString& text)
{
    return QStringLiteral("<p style='white-space:pre-wrap'>%1</p>").arg(text.toHtmlEscaped());
}

} // namespace veltra
