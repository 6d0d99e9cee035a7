#pragma once

#include <QString>
#include <QStringList>

namespace veltra {

/// `format` with each "%@" replaced by the next of `arguments`; a null text becomes "(null)".
[[nodiscard]] QString filledText(const QString& format, const QStringList& arguments);

} // namespace veltra
