// The texts of the window, from the program's own catalogues.

#include "app/MainWindow.h"
#include "app/VXStatusButton.h"
#include "app/VXStatusMonitorWC.h"
#include "app/tests/AppTesting.h"
#include "platform/desktop/TranslationCatalogue.h"

#include <QSet>

#include <array>

#include <gtest/gtest.h>

namespace veltra {
namespace {

const std::array keys{QStringLiteral("VELTRA_AGENT_MONITOR"),
                      QStringLiteral("COLLECT_SEND_PROP"),
                      QStringLiteral("SEND_EVENTS"),
                      QStringLiteral("CHECK_NEW_POLICIES"),
                      QStringLiteral("ENFORECE_POLICIES"),
                      QStringLiteral("SAVE_TO_DESKTOP"),
                      QStringLiteral("CLOSE"),
                      QStringLiteral("DATE"),
                      QStringLiteral("TIME"),
                      QStringLiteral("Message_Type"),
                      QStringLiteral("Message"),
                      QStringLiteral("COMPONENT"),
                      QStringLiteral("AGENT_SERVICE_RUNNING"),
                      QStringLiteral("AGENT_SERVICE_SHUTTING"),
                      QStringLiteral("Zel Server IP %@"),
                      QStringLiteral("VERSION")};

TranslationCatalogue catalogue(const QString& language)
{
    const QString path = QStringLiteral(VELTRA_TEST_CATALOGUES) +
                         QStringLiteral("/VeltraAgentStatusMonitor_") + language +
                         QStringLiteral(".qm");
    return TranslationCatalogue::read(path).value();
}

class EveryLanguage : public testing::TestWithParam<const char*> {
  protected:
    const TranslationCatalogue catalogue_ = catalogue(QString::fromLatin1(GetParam()));
};

TEST_P(EveryLanguage, HasATextForEveryKey)
{
    for (const QString& key : keys) {
        const QString text = catalogue_.text(key);

        EXPECT_FALSE(text.trimmed().isEmpty()) << key.toStdString();
        // The only word whose English text equals its key.
        EXPECT_TRUE(text != key || key == u"Message") << key.toStdString();
    }
}

TEST_P(EveryLanguage, TheServersTextKeepsThePlaceForTheAddress)
{
    EXPECT_EQ(catalogue_.text(QStringLiteral("Zel Server IP %@")).count(QStringLiteral("%@")), 1);
    for (const QString& key : keys) {
        const bool hasPlace = catalogue_.text(key).contains(QStringLiteral("%@"));
        EXPECT_EQ(hasPlace, key == u"Zel Server IP %@") << key.toStdString();
    }
}

TEST_P(EveryLanguage, NoTwoButtonsAreCalledTheSame)
{
    QSet<QString> titles;
    for (std::size_t button = 1; button <= 6; ++button)
        titles += catalogue_.text(keys[button]);

    EXPECT_EQ(titles.size(), 6);
}

INSTANTIATE_TEST_SUITE_P(Texts, EveryLanguage, testing::Values("en", "de"),
                         [](const auto& language) { return std::string{language.param}; });

TEST(Texts, TheRightlySpeltKeyOfTheMisspeltOneIsUnknown)
{
    EXPECT_TRUE(catalogue(QStringLiteral("en")).text(QStringLiteral("ENFORCE_POLICIES")).isEmpty());
    EXPECT_TRUE(catalogue(QStringLiteral("de")).text(QStringLiteral("ENFORCE_POLICIES")).isEmpty());
}

TEST(VXStatusMonitorWC, TitlesTheWindowWhenItIsLoaded)
{
    const TextsInBundle texts;
    const auto resources = texts.resources();
    NotificationCenter notifications;
    MainWindow window{notifications};
    VXStatusMonitorWC controller{resources};
    controller.setMainWindow(&window);
    const QString before = window.windowTitle();

    controller.windowDidLoad();

    EXPECT_EQ(controller.mainWindow(), &window);
    EXPECT_NE(before, window.windowTitle());
    EXPECT_EQ(window.windowTitle(),
              resources.getLocalisedString(QStringLiteral("VELTRA_AGENT_MONITOR")));
    EXPECT_NE(window.windowTitle(), QStringLiteral("VELTRA_AGENT_MONITOR"));
    EXPECT_FALSE(window.windowTitle().isEmpty());
}

TEST(VXStatusMonitorWC, LivesWithoutAWindow)
{
    const TextsInBundle texts;
    const auto resources = texts.resources();
    VXStatusMonitorWC controller{resources};

    controller.windowDidLoad();

    EXPECT_EQ(controller.mainWindow(), nullptr);
}

/// Six buttons under the controller that titles them.
class VXStatusButtonTest : public testing::Test {
  protected:
    QStringList titlesFrom(const VXStatusResourceController& resources)
    {
        VXStatusButton controller{buttonDependencies(resources)};
        controller.setButton(&buttons_[0]);
        controller.setButton1(&buttons_[1]);
        controller.setButton2(&buttons_[2]);
        controller.setButton3(&buttons_[3]);
        controller.setButton4(&buttons_[4]);
        controller.setButton5(&buttons_[5]);
        controller.awakeFromNib();

        QStringList titles;
        for (const QPushButton* button :
             {controller.button(), controller.button1(), controller.button2(), controller.button3(),
              controller.button4(), controller.button5()})
            titles += button->text();
        return titles;
    }

    std::array<CommandButton, 6> buttons_;
};

TEST_F(VXStatusButtonTest, TitlesTheButtonsWithTheirTextsInOrder)
{
    const TextsInBundle texts;
    const auto resources = texts.resources();

    const auto titles = titlesFrom(resources);

    QStringList expected;
    for (std::size_t button = 1; button <= 6; ++button)
        expected += resources.getLocalisedString(keys[button]);
    EXPECT_EQ(titles, expected);
    EXPECT_NE(titles[3], QStringLiteral("ENFORECE_POLICIES"));
}

TEST_F(VXStatusButtonTest, ATitleWithoutATextIsItsKeyMisspellingAndAll)
{
    const TestBundle bundle;
    const VXStatusResourceController resources{{}, bundleWithoutTexts(bundle)};

    EXPECT_EQ(
        titlesFrom(resources),
        (QStringList{QStringLiteral("COLLECT_SEND_PROP"), QStringLiteral("SEND_EVENTS"),
                     QStringLiteral("CHECK_NEW_POLICIES"), QStringLiteral("ENFORECE_POLICIES"),
                     QStringLiteral("SAVE_TO_DESKTOP"), QStringLiteral("CLOSE")}));
}

TEST_F(VXStatusButtonTest, WithoutABundleOfTextsTheButtonsAreBlank)
{
    const VXStatusResourceController resources{{}, nullptr};
    buttons_[0].setText(QStringLiteral("before"));

    EXPECT_EQ(titlesFrom(resources), (QStringList{{}, {}, {}, {}, {}, {}}));
}

TEST_F(VXStatusButtonTest, AnOutletThatIsNotConnectedIsPassedOver)
{
    const TestBundle bundle;
    const VXStatusResourceController resources{{}, bundleWithoutTexts(bundle)};
    VXStatusButton controller{buttonDependencies(resources)};
    controller.setButton5(&buttons_[5]);

    controller.awakeFromNib();

    EXPECT_EQ(controller.button(), nullptr);
    EXPECT_EQ(buttons_[5].text(), QStringLiteral("CLOSE"));
}

} // namespace
} // namespace veltra
