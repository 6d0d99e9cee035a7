// The texts that VXStatusResourceController gives, and what it does not look them up by.

#include "logview/VXStatusResourceController.h"
#include "logview/tests/TestBundle.h"

#include <QVariant>

#include <gtest/gtest.h>

namespace veltra {
namespace {

TEST(LocalisedTexts, KeepsWhatItsPropertiesAreSetToAndLooksNothingUpByThem)
{
    const TestBundle bundle;
    bundle.addTexts(VELTRA_TEST_CATALOGUES);
    VXStatusResourceController controller{{}, bundle.open()};

    EXPECT_TRUE(controller.setProperty("languageCode", QVariant{u"de"_qs}));
    EXPECT_TRUE(controller.setProperty("localeCode", QVariant{u"de_AT"_qs}));
    EXPECT_TRUE(controller.setProperty("currentUser", QVariant{u"someone"_qs}));

    EXPECT_EQ(controller.languageCode(), u"de"_qs);
    EXPECT_EQ(controller.localeCode(), u"de_AT"_qs);
    EXPECT_EQ(controller.currentUser(), u"someone"_qs);
    EXPECT_EQ(controller.getLocalisedString(u"CLOSE"_qs), u"Close"_qs);
}

TEST(LocalisedTexts, GivesTheTextsOfTheProjectsCatalogue)
{
    const TestBundle bundle;
    bundle.addTexts(VELTRA_TEST_CATALOGUES);
    const VXStatusResourceController controller{{}, bundle.open()};

    EXPECT_EQ(controller.getLocalisedString(u"CLOSE"_qs), u"Close"_qs);
    EXPECT_EQ(controller.getLocalisedString(u"ENFORECE_POLICIES"_qs), u"Enforce Policies"_qs);
}

TEST(LocalisedTexts, GivesTheKeyForAnUnknownOne)
{
    const TestBundle bundle;
    bundle.addTexts(VELTRA_TEST_CATALOGUES);
    const VXStatusResourceController controller{{}, bundle.open()};

    EXPECT_EQ(controller.getLocalisedString(u"close"_qs), u"close"_qs);
    EXPECT_EQ(controller.getLocalisedString(u"NO_SUCH_TEXT"_qs), u"NO_SUCH_TEXT"_qs);
}

TEST(LocalisedTexts, GivesTheKeyWithoutACatalogue)
{
    const TestBundle bundle;
    bundle.addTextsWithoutCatalogue();
    const VXStatusResourceController controller{{}, bundle.open()};

    EXPECT_EQ(controller.getLocalisedString(u"CLOSE"_qs), u"CLOSE"_qs);
}

TEST(LocalisedTexts, GivesANullTextWithoutABundleOfTexts)
{
    const TestBundle bundle;
    const VXStatusResourceController withoutTexts{{}, bundle.open()};
    const VXStatusResourceController withoutBundle{{}, nullptr};

    EXPECT_TRUE(withoutTexts.getLocalisedString(u"CLOSE"_qs).isNull());
    EXPECT_TRUE(withoutBundle.getLocalisedString(u"CLOSE"_qs).isNull());
}

} // namespace
} // namespace veltra
