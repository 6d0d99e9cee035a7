// The texts of the window, from the program's own catalogues.

#include "app/VXStatusButton.h"
#include "app/VXStatusMonitorWC.h"
#include "app/tests/AppTesting.h"
#include "app/window/MainWindow.h"
#include "platform/desktop/TranslationCatalogue.h"

#include <QSet>

#include <algorithm>
#include <array>
#include <map>

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
                      QStringLiteral("VERSION"),
                      QStringLiteral("LOG_TABLE"),
                      QStringLiteral("AGENT_STATE"),
                      QStringLiteral("AGENT_VERSION"),
                      QStringLiteral("AGENT_SERVER"),
                      QStringLiteral("EMPTY_TABLE"),
                      QStringLiteral("FOLLOWED_LOG"),
                      QStringLiteral("NEWEST_EVENT"),
                      QStringLiteral("LASTING_STATE"),
                      QStringLiteral("LOG_TITLE"),
                      QStringLiteral("NO_LOG_FOLLOWED"),
                      QStringLiteral("TOOL_OUTPUT"),
                      QStringLiteral("COMMAND_RUNNING")};

/// The texts that are filled in, and in how many places.
const std::map<QString, int> places{{QStringLiteral("Zel Server IP %@"), 1},
                                    {QStringLiteral("FOLLOWED_LOG_ROW"), 1},
                                    {QStringLiteral("FOLLOWED_LOG_ROWS"), 2},
                                    {QStringLiteral("NEWER_LOG"), 1},
                                    {QStringLiteral("NO_LOG_FOLDER"), 1},
                                    {QStringLiteral("LOG_FOLDER_UNREADABLE"), 2},
                                    {QStringLiteral("NO_LOG_IN_FOLDER"), 1},
                                    {QStringLiteral("LOG_UNREADABLE"), 2},
                                    {QStringLiteral("NO_ROWS_YET"), 2},
                                    {QStringLiteral("SAVED"), 1},
                                    {QStringLiteral("SAVED_UNREAD"), 2},
                                    {QStringLiteral("NOT_SAVED"), 1},
                                    {QStringLiteral("COMMAND_DONE"), 1},
                                    {QStringLiteral("COMMAND_STATUS"), 2},
                                    {QStringLiteral("COMMAND_NOT_AUTHORIZED"), 1},
                                    {QStringLiteral("COMMAND_NOT_RUN"), 2},
                                    {QStringLiteral("HELPER_NOT_REACHABLE"), 2}};

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

TEST_P(EveryLanguage, TextsHaveThePlacesThatAreFilledIn)
{
    for (const auto& [key, count] : places) {
        EXPECT_NE(catalogue_.text(key), key) << key.toStdString();
        EXPECT_EQ(catalogue_.text(key).count(QStringLiteral("%@")), count) << key.toStdString();
    }
    for (const QString& key : keys)
        EXPECT_FALSE(catalogue_.text(key).contains(QStringLiteral("%@"))) << key.toStdString();
}

TEST_P(EveryLanguage, EveryButtonAndTheTableHaveAKeyOfTheirOwn)
{
    QSet<QString> mnemonics;
    for (const char* const key : {"LOG_TITLE", "TOOL_OUTPUT"}) {
        const QString text = catalogue_.text(QLatin1String{key});
        EXPECT_EQ(text.count(u'&'), 1) << text.toStdString();
        mnemonics += text.mid(text.indexOf(u'&') + 1, 1).toLower();
    }
    for (std::size_t button = 1; button <= 6; ++button) {
        const QString letter = catalogue_.text(keys[button] + QLatin1String{"_LETTER"});
        EXPECT_EQ(letter.size(), 1) << letter.toStdString();
        EXPECT_TRUE(catalogue_.text(keys[button]).contains(letter)) << letter.toStdString();
        mnemonics += letter.toLower();
    }
    EXPECT_EQ(mnemonics.size(), 8);
}

TEST_P(EveryLanguage, SaysWhichOneItIs)
{
    EXPECT_EQ(catalogue_.text(QStringLiteral("LANGUAGE")), QLatin1String{GetParam()});
}

TEST_P(EveryLanguage, TheWindowFitsASmallScreen)
{
    const TextsInBundle texts{QString::fromLatin1(GetParam())};
    const auto resources = texts.resources();
    ASSERT_EQ(resources.getLocalisedString(QStringLiteral("LANGUAGE")), QLatin1String{GetParam()});
    NotificationCenter notifications;
    MainWindow window{notifications};
    window.setTexts(resources);
    VXStatusButton controller{buttonDependencies(resources)};
    const auto buttons = window.buttons();
    controller.setButton(buttons[0]);
    controller.setButton1(buttons[1]);
    controller.setButton2(buttons[2]);
    controller.setButton3(buttons[3]);
    controller.setButton4(buttons[4]);
    controller.setButton5(buttons[5]);
    controller.awakeFromNib();
    window.serverLabel()->setText(QString(300, QLatin1Char{'s'}));
    window.footer()->showState(QStringLiteral("a state"));

    window.resize(640, 480);
    window.show();
    QCoreApplication::processEvents();

    EXPECT_EQ(window.size(), (QSize{640, 480}));
    QSet<int> rows;
    for (const CommandButton* button : buttons) {
        const QRect place{button->mapTo(&window, QPoint{}), button->size()};
        EXPECT_TRUE(window.rect().contains(place)) << button->text().toStdString();
        EXPECT_GE(button->width(), button->sizeHint().width()) << button->text().toStdString();
        rows += place.y();
    }
    EXPECT_EQ(rows.size(), 2);
    EXPECT_GT(window.table()->height(), 150);
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
    EXPECT_TRUE(
        std::ranges::all_of(titles, [](const auto& title) { return title.contains(u'&'); }));
    EXPECT_EQ(titles.join(u'|').remove(u'&'), expected.join(u'|'));
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
