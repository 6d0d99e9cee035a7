#include "platform/desktop/FileName.h"

#include "platform/base/Utf8.h"

#include <QStringConverter>
#include <QStringView>

namespace veltra {

namespace {

// What stands for the byte 0; only bytes from 0x80 are not UTF-8.
constexpr char16_t firstStandIn = 0xDC00;

bool isStandIn(QChar unit) noexcept
{
    return unit.unicode() >= firstStandIn + 0x80 && unit.unicode() <= firstStandIn + 0xFF;
}

void appendText(QString& path, std::string_view utf8)
{
    QStringDecoder decoder{QStringDecoder::Utf8, QStringDecoder::Flag::ConvertInitialBom};
    const QString text = decoder(QByteArrayView{utf8.data(), static_cast<qsizetype>(utf8.size())});
    path += text;
}

} // namespace

QString pathFromBytes(std::string_view bytes)
{
    QString path;
    while (!bytes.empty()) {
        const std::size_t valid = validUtf8Prefix(bytes);
        appendText(path, bytes.substr(0, valid));
        bytes.remove_prefix(valid);
        if (!bytes.empty()) {
            path += QChar{
                static_cast<char16_t>(firstStandIn + static_cast<unsigned char>(bytes.front()))};
            bytes.remove_prefix(1);
        }
    }
    return path;
}

std::string bytesOfPath(const QString& path)
{
    std::string bytes;
    for (qsizetype start = 0; start < path.size();) {
        // A low surrogate that follows a high one is part of a character.
        const bool isPair = path[start].isHighSurrogate() && start + 1 < path.size();
        if (!isPair && isStandIn(path[start])) {
            bytes += static_cast<char>(path[start].unicode() - firstStandIn);
            ++start;
        } else {
            const qsizetype length = isPair ? 2 : 1;
            bytes += QStringView{path}.mid(start, length).toUtf8().toStdString();
            start += length;
        }
    }
    return bytes;
}

} // namespace veltra
