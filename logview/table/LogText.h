#pragma once

#include <QString>
#include <QStringConverter>

#include <string_view>

namespace veltra {

/// The text of valid UTF-8, with a U+FEFF at its beginning, which Qt leaves out by default.
[[nodiscard]] inline QString logText(std::string_view utf8)
{
    QStringDecoder decoder{QStringDecoder::Utf8, QStringDecoder::Flag::ConvertInitialBom};
    return decoder(QByteArrayView{utf8.data(), static_cast<qsizetype>(utf8.size())});
}

} // namespace veltra
