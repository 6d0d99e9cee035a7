#include "platform/desktop/TranslationCatalogue.h"

#include <QFile>
#include <QFileInfo>
#include <QStringDecoder>
#include <QtEndian>

#include <cstdint>
#include <exception>
#include <optional>
#include <system_error>
#include <utility>

namespace veltra {

namespace {

using namespace std::string_view_literals;

constexpr auto action = "read translation catalogue"sv;
constexpr auto magic = "\x3c\xb8\x64\x18\xca\xef\x9c\x95\xcd\x21\x1c\xbf\x60\xa1\xbd\xdd"sv;
constexpr qint64 largestSize = 4 << 20;

enum class Section : std::uint8_t { messages = 0x69 };

enum class Field : std::uint8_t {
    end = 1,
    translation = 3,
    obsolete = 5,
    sourceText = 6,
    context = 7,
    comment = 8,
};

// The length that stands for an empty translation.
constexpr std::uint32_t noText = 0xffffffff;

class Malformed : public std::exception {};

/// Parses a catalogue's bytes from the front; throws Malformed if bytes are missing.
class Reader {
  public:
    explicit Reader(std::string_view bytes) : rest_{bytes} {}

    [[nodiscard]] bool isAtEnd() const noexcept { return rest_.empty(); }

    std::string_view take(std::size_t size)
    {
        if (size > rest_.size())
            throw Malformed{};

        const std::string_view taken = rest_.substr(0, size);
        rest_.remove_prefix(size);
        return taken;
    }

    template <typename Tag>
    Tag tag()
    {
        return static_cast<Tag>(take(1).front());
    }
    std::uint32_t length() { return qFromBigEndian<std::uint32_t>(take(4).data()); }
    std::string_view block() { return take(length()); }

  private:
    std::string_view rest_;
};

QString fromUtf16(std::string_view bytes)
{
    if (bytes.size() % 2 != 0)
        throw Malformed{};

    QStringDecoder decode{QStringDecoder::Utf16BE};
    return decode(QByteArrayView{bytes.data(), static_cast<qsizetype>(bytes.size())});
}

QString translation(Reader& reader)
{
    const std::uint32_t length = reader.length();
    return length == noText ? QString{} : fromUtf16(reader.take(length));
}

struct Message {
    QString id;
    QString text;
};

Message nextMessage(Reader& reader)
{
    Message message;
    while (true) {
        switch (reader.tag<Field>()) {
        case Field::end:
            return message;
        case Field::translation: {
            const QString text = translation(reader);
            if (message.text.isEmpty())
                message.text = text;
            break;
        }
        case Field::obsolete:
            reader.take(4);
            break;
        case Field::sourceText:
            message.id = QString::fromUtf8(reader.block());
            break;
        case Field::context:
        case Field::comment:
            reader.block();
            break;
        default:
            throw Malformed{};
        }
    }
}

QHash<QString, QString> messagesIn(std::string_view section)
{
    QHash<QString, QString> texts;
    Reader reader{section};
    while (!reader.isAtEnd()) {
        const Message message = nextMessage(reader);
        texts.insert(message.id, message.text);
    }
    return texts;
}

QHash<QString, QString> textsOf(std::string_view catalogue)
{
    QHash<QString, QString> texts;
    Reader reader{catalogue};
    if (reader.take(magic.size()) != magic)
        throw Malformed{};

    while (!reader.isAtEnd()) {
        const auto section = reader.tag<Section>();
        const std::string_view content = reader.block();
        if (section == Section::messages)
            texts.insert(messagesIn(content));
    }
    return texts;
}

} // namespace

Result<TranslationCatalogue> TranslationCatalogue::parse(std::string_view bytes)
{
    try {
        TranslationCatalogue catalogue;
        catalogue.texts_ = textsOf(bytes);
        return catalogue;
    } catch (const Malformed&) {
        return Error{std::make_error_code(std::errc::bad_message), action};
    }
}

Result<TranslationCatalogue> TranslationCatalogue::read(const QString& path)
{
    const auto failure = [&path](std::errc reason) {
        return Error{std::make_error_code(reason), action, path.toStdString()};
    };
    // Opening a named pipe would make the program wait for a writer.
    QFile file{path};
    if (!QFileInfo{path}.isFile() || !file.open(QIODevice::ReadOnly))
        return failure(std::errc::no_such_file_or_directory);

    const QByteArray bytes = file.read(largestSize + 1);
    if (bytes.size() > largestSize)
        return failure(std::errc::file_too_large);

    auto catalogue = parse({bytes.constData(), static_cast<std::size_t>(bytes.size())});
    if (!catalogue)
        return failure(std::errc::bad_message);

    return catalogue;
}

} // namespace veltra
