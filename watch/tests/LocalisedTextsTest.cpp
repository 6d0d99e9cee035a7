// The texts that VXStatusResourceController provides, and what does not influence them.

#include "watch/VXStatusResourceController.h"
#include "watch/tests/TestBundle.h"

#include <QVariant>

#include <gtest/gtest.h>

namespace veltra {
namespace {

TEST(LocalisedTexts, KeepsWhatItsPropertiesAreSetToAndLooksNothingUpByThem)
{
    const TestBundle bundle;
    bundle.addTexts(VELTRA_TEST_CATALOGUES);
    VXStatusResourceController controller{{}, bundle.open()};

    EXPECT_TRUE(controller.setProperty("languageCode", QVariant{QStringLiteral("de")}));
    EXPECT_TRUE(controller.setProperty("localeCode", QVariant{QStringLiteral("de_AT")}));
    EXPECT_TRUE(controller.setProperty("currentUser", QVariant{QStringLiteral("someone")}));

    EXPECT_EQ(controller.languageCode(), QStringLiteral("de"));
    EXPECT_EQ(controller.localeCode(), QStringLiteral("de_AT"));
    EXPECT_EQ(controller.currentUser(), QStringLiteral("someone"));
    EXPECT_EQ(controller.getLocalisedString(QStringLiteral("CLOSE")), QStringLiteral("Close"));
}

TEST(LocalisedTexts, GivesTheTextsOfTheProjectsCatalogue)
{
    const TestBundle bundle;
    bundle.addTexts(VELTRA_TEST_CATALOGUES);
    const VXStatusResourceController controller{{}, bundle.open()};

    EXPECT_EQ(controller.getLocalisedString(QStringLiteral("CLOSE")), QStringLiteral("Close"));
    EXPECT_EQ(controller.getLocalisedString(QStringLiteral("ENFORECE_POLICIES")),
              QStringLiteral("Enforce Policies"));
}

TEST(LocalisedTexts, GivesTheKeyForAnUnknownOne)
{
    const TestBundle bundle;
    bundle.addTexts(VELTRA_TEST_CATALOGUES);
    const VXStatusResourceController controller{{}, bundle.open()};

    EXPECT_EQ(controller.getLocalisedString(QStringLiteral("close")), QStringLiteral("close"));
    EXPECT_EQ(controller.getLocalisedString(QStringLiteral("NO_SUCH_TEXT")),
              QStringLiteral("NO_SUCH_TEXT"));
}

TEST(LocalisedTexts, GivesTheKeyWithoutACatalogue)
{
    const TestBundle bundle;
    bundle.addTextsWithoutCatalogue();
    const VXStatusResourceController controller{{}, bundle.open()};

    EXPECT_EQ(controller.getLocalisedString(QStringLiteral("CLOSE")), QStringLiteral("CLOSE"));
}

TEST(LocalisedTexts, GivesANullTextWithoutABundleOfTexts)
{
    const TestBundle bundle;
    const VXStatusResourceController withoutTexts{{}, bundle.open()};
    const VXStatusResourceController withoutBundle{{}, nullptr};

    EXPECT_TRUE(withoutTexts.getLocalisedString(QStringLiteral("CLOSE")).isNull());
    EXPECT_TRUE(withoutBundle.getLocalisedString(QStringLiteral("CLOSE")).isNull());
}

} // namespace
} // namespace veltra
