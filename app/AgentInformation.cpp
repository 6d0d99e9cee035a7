#include "app/AgentInformation.h"

#include <QHash>
#include <QStringList>

#include <cstdlib>

namespace veltra {

namespace {

// The number at the start of a text, after any white space; 0 if there is none.
long long integerValue(const QString& text)
{
    return std::strtoll(text.toUtf8().constData(), nullptr, 10);
}

} // namespace

std::optional<AgentInformation> parseAgentInformation(const QString& output)
{
    QHash<QString, QString> values;
    const QStringList lines = output.split(QLatin1Char{'\n'});
    for (const QString& line : lines) {
        const QStringList pieces = line.split(QStringLiteral(": "));
        if (pieces.size() >= 2)
            values[pieces[0]] = pieces[1];
    }
    if (values.isEmpty())
        return std::nullopt;
    return AgentInformation{.mode = integerValue(values.value(QStringLiteral("AgentMode"))),
                            .server = values.value(QStringLiteral("ZelServerLastUsed")),
                            .version = values.value(QStringLiteral("Version"))};
}

} // namespace veltra
