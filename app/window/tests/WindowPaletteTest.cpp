#include "app/window/WindowPalette.h"

#include <gtest/gtest.h>

namespace veltra {
namespace {

using Scheme = DesktopAppearance::ColorScheme;

const QPalette lightPalette{QColor{0xEF, 0xEF, 0xEF}};
const QPalette darkGiven{QColor{0x20, 0x20, 0x20}};

TEST(WindowPalette, IsDarkWhenTheDesktopWantsItAndQtDidNotFollow)
{
    const QPalette palette = WindowPalette::paletteFor(Scheme::dark, lightPalette);

    EXPECT_LT(palette.color(QPalette::Window).lightness(), 80);
    EXPECT_LT(palette.color(QPalette::Base).lightness(), 80);
    EXPECT_GT(palette.color(QPalette::Text).lightness(), 180);
    EXPECT_GT(palette.color(QPalette::ButtonText).lightness(), 180);
}

TEST(WindowPalette, StaysAsGivenWhenItIsDarkAlready)
{
    EXPECT_EQ(WindowPalette::paletteFor(Scheme::dark, darkGiven), darkGiven);
}

TEST(WindowPalette, StaysAsGivenWhenDarkIsNotWanted)
{
    EXPECT_EQ(WindowPalette::paletteFor(Scheme::light, lightPalette), lightPalette);
    EXPECT_EQ(WindowPalette::paletteFor(Scheme::noPreference, darkGiven), darkGiven);
}

} // namespace
} // namespace veltra
