// Shows what a program learns about the bundle that contains it. Prints three lines: the main
// bundle's path, the path of the bundle with the identifier in the first argument, and from that
// bundle the text for the key in the second argument, of the table in the third.

#include "platform/desktop/Bundle.h"

#include <QString>

#include <cstdio>

using veltra::Bundle;

namespace {

void show(const QString& text)
{
    std::puts(text.toUtf8().constData());
}

QString pathOf(const std::shared_ptr<Bundle>& bundle)
{
    return bundle ? bundle->path() : QStringLiteral("none");
}

} // namespace

int main(int count, char** arguments)
{
    if (count != 4)
        return 2;

    const auto argument = [arguments](int index) { return QString::fromUtf8(arguments[index]); };
    const auto bundle = Bundle::bundleWithIdentifier(argument(1), Bundle::mainBundle());
    show(pathOf(Bundle::mainBundle()));
    show(pathOf(bundle));
    show(bundle ? bundle->localizedStringForKey(argument(2), {}, argument(3)) : QString{});
    return 0;
}
