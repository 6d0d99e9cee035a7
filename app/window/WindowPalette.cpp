#include "app/window/WindowPalette.h"

#include <QApplication>

namespace veltra {

namespace {

bool isDark(const QPalette& palette)
{
    return palette.color(QPalette::Window).lightness() <
           palette.color(QPalette::WindowText).lightness();
}

QPalette darkPalette()
{
    const QColor window{0x2B, 0x2D, 0x30};
    const QColor base{0x1E, 0x1F, 0x22};
    const QColor text{0xE6, 0xE6, 0xE6};
    const QColor faint{0x8C, 0x8F, 0x94};

    QPalette palette{text, window};
    palette.setColor(QPalette::Base, base);
    palette.setColor(QPalette::AlternateBase, QColor{0x26, 0x28, 0x2B});
    palette.setColor(QPalette::Text, text);
    palette.setColor(QPalette::WindowText, text);
    palette.setColor(QPalette::ButtonText, text);
    palette.setColor(QPalette::Button, QColor{0x3C, 0x3F, 0x43});
    palette.setColor(QPalette::ToolTipBase, window);
    palette.setColor(QPalette::ToolTipText, text);
    palette.setColor(QPalette::PlaceholderText, faint);
    palette.setColor(QPalette::Highlight, QColor{0x2F, 0x65, 0xCA});
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Link, QColor{0x6A, 0xA9, 0xFF});
    for (const auto role : {QPalette::Text, QPalette::WindowText, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, faint);
    return palette;
}

} // namespace

WindowPalette::WindowPalette()
    : given_{QApplication::palette()}, appearance_{[this](DesktopAppearance::ColorScheme scheme) {
          QApplication::setPalette(paletteFor(scheme, given_));
      }}
{
}

QPalette WindowPalette::paletteFor(DesktopAppearance::ColorScheme scheme, const QPalette& given)
{
    const bool wantsDark = scheme == DesktopAppearance::ColorScheme::dark;
    return wantsDark && !isDark(given) ? darkPalette() : given;
}

} // namespace veltra
