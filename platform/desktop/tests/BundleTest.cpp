#include "platform/desktop/Bundle.h"

#include "platform/base/tests/TemporaryFolder.h"

#include <QProcess>
#include <QProcessEnvironment>

#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace veltra {
namespace {

namespace fs = std::filesystem;

std::string informationWith(const std::string& identifier)
{
    return R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict>
<key>CFBundleIdentifier</key><string>)" +
           identifier + R"(</string>
<key>SWITCH</key><string>YES</string>
<key>COUNT</key><integer>3</integer>
</dict></plist>
)";
}

/// A bundle in a temporary folder, to which tests can add catalogues.
class BundleFolder {
  public:
    BundleFolder() { addBundle("Main.app", informationWith("com.veltra.test.main")); }

    void addNested(const std::string& name, const std::string& information)
    {
        addBundle("Main.app/Contents/Resources/" + name, information);
    }

    /// Installs the catalogue `source` ("de" or "en") as the one for `language`.
    void addCatalogue(const std::string& language, const std::string& source,
                      const std::string& bundle = "Main.app")
    {
        fs::copy_file(VELTRA_TEST_CATALOGUES "/Texts_" + source + ".qm",
                      folder_.file(bundle + "/Contents/Resources/Texts_" + language + ".qm"));
    }

    void addDamagedCatalogue(const std::string& language)
    {
        folder_.write("Main.app/Contents/Resources/Texts_" + language + ".qm", "damaged");
    }

    QString path() const { return QString::fromStdString(folder_.file("Main.app")); }

    /// Runs a program from the bundle, for a user with the given languages, and returns the lines
    /// that it prints.
    QStringList run(const QString& languages, const QStringList& arguments,
                    const std::string& place = "Linux") const
    {
        fs::create_directories(folder_.file("Main.app/Contents/" + place));
        const std::string program = folder_.file("Main.app/Contents/" + place + "/program");
        fs::copy_file(VELTRA_TEST_SHOW_BUNDLE, program, fs::copy_options::overwrite_existing);
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
        environment.insert(QStringLiteral("LANGUAGE"), languages);

        QProcess process;
        process.setProcessEnvironment(environment);
        process.start(QString::fromStdString(program), arguments);
        EXPECT_TRUE(process.waitForFinished());
        EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardError().toStdString();
        return QString::fromUtf8(process.readAllStandardOutput()).split(u'\n');
    }

    /// The text that a user with the given languages gets for `key`.
    QString textFor(const QString& languages, const QString& key) const
    {
        return run(languages,
                   {QStringLiteral("com.veltra.test.main"), key, QStringLiteral("Texts")})
            .value(2);
    }

  private:
    void addBundle(const std::string& name, const std::string& information)
    {
        fs::create_directories(folder_.file(name + "/Contents/Resources"));
        folder_.write(name + "/Contents/Info.plist", information);
    }

    TemporaryFolder folder_;
};

TEST(Bundle, OpensAFolderWithAnInformationDictionary)
{
    const BundleFolder folder;

    const auto bundle = Bundle::open(folder.path() + QStringLiteral("/"));

    ASSERT_TRUE(bundle);
    EXPECT_EQ(bundle.value()->path(), folder.path());
    EXPECT_EQ(bundle.value()->resourcePath(),
              folder.path() + QStringLiteral("/Contents/Resources"));
}

TEST(Bundle, MakesARelativePathAbsolute)
{
    const BundleFolder folder;
    const auto relative = fs::relative(folder.path().toStdString());

    const auto bundle = Bundle::open(QString::fromStdString(relative.string()));

    ASSERT_TRUE(bundle);
    EXPECT_EQ(bundle.value()->path(), folder.path());
}

TEST(Bundle, DoesNotOpenWithoutAReadableInformationDictionary)
{
    BundleFolder folder;
    folder.addNested("Damaged.bundle", "<plist><dict><key>");

    const auto missing = Bundle::open(folder.path() + QStringLiteral("/Contents"));
    const auto damaged =
        Bundle::open(folder.path() + QStringLiteral("/Contents/Resources/Damaged.bundle"));

    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error().code(), std::errc::no_such_file_or_directory);
    ASSERT_FALSE(damaged);
    EXPECT_EQ(damaged.error().code(), std::errc::bad_message);
}

TEST(Bundle, GivesTextsOfTheInformationDictionary)
{
    const BundleFolder folder;
    const auto bundle = Bundle::open(folder.path()).value();

    EXPECT_EQ(bundle->objectForInfoDictionaryKey(QStringLiteral("SWITCH")), QStringLiteral("YES"));
    EXPECT_EQ(bundle->objectForInfoDictionaryKey(QStringLiteral("COUNT")), std::nullopt);
    EXPECT_EQ(bundle->objectForInfoDictionaryKey(QStringLiteral("MISSING")), std::nullopt);
}

TEST(Bundle, FindsItselfAndItsNestedBundlesByIdentifier)
{
    BundleFolder folder;
    folder.addNested("A.bundle", "damaged");
    folder.addNested("B.bundle", informationWith("com.veltra.test.b"));
    folder.addNested("C.bundle", informationWith("com.veltra.test.c"));
    folder.addNested("D.folder", informationWith("com.veltra.test.d"));
    const auto main = Bundle::open(folder.path()).value();

    const auto itself = Bundle::bundleWithIdentifier(QStringLiteral("com.veltra.test.main"), main);
    const auto nested = Bundle::bundleWithIdentifier(QStringLiteral("com.veltra.test.c"), main);

    EXPECT_EQ(itself, main);
    ASSERT_TRUE(nested);
    EXPECT_EQ(nested->path(), folder.path() + QStringLiteral("/Contents/Resources/C.bundle"));
    EXPECT_EQ(Bundle::bundleWithIdentifier(QStringLiteral("com.veltra.test.d"), main), nullptr);
    EXPECT_EQ(Bundle::bundleWithIdentifier(QStringLiteral("com.veltra.test.x"), main), nullptr);
    EXPECT_EQ(Bundle::bundleWithIdentifier(QStringLiteral("com.veltra.test.main"), nullptr),
              nullptr);
}

TEST(Bundle, IsNotThereForAProgramOutsideOfOne)
{
    EXPECT_EQ(Bundle::mainBundle(), nullptr);
}

TEST(Bundle, IsFoundByTheProgramThatStandsInIt)
{
    BundleFolder folder;
    folder.addNested("Texts.bundle", informationWith("com.veltra.test.texts"));
    folder.addCatalogue("de", "de", "Main.app/Contents/Resources/Texts.bundle");
    const QString nested = folder.path() + QStringLiteral("/Contents/Resources/Texts.bundle");

    const QStringList lines =
        folder.run(QStringLiteral("de"), {QStringLiteral("com.veltra.test.texts"),
                                          QStringLiteral("CLOSE"), QStringLiteral("Texts")});
    const QStringList linesWithoutBundle =
        folder.run(QStringLiteral("de"), {QStringLiteral("com.veltra.test.x"),
                                          QStringLiteral("CLOSE"), QStringLiteral("Texts")});

    EXPECT_EQ(lines.mid(0, 3), (QStringList{folder.path(), nested, QStringLiteral("Schließen")}));
    EXPECT_EQ(linesWithoutBundle.value(1), QStringLiteral("none"));
}

TEST(Bundle, IsNotFoundByAProgramThatStandsElsewhereInIt)
{
    const BundleFolder folder;

    const QStringList lines = folder.run(
        QStringLiteral("de"),
        {QStringLiteral("com.veltra.test.main"), QStringLiteral("CLOSE"), QStringLiteral("Texts")},
        "Tools");

    EXPECT_EQ(lines.mid(0, 2), (QStringList{QStringLiteral("none"), QStringLiteral("none")}));
}

TEST(Bundle, AnswersTheValueOrElseTheKeyWithoutATable)
{
    const BundleFolder folder;
    const auto bundle = Bundle::open(folder.path()).value();

    EXPECT_EQ(bundle->localizedStringForKey(QStringLiteral("CLOSE"), QStringLiteral("value"),
                                            QStringLiteral("Texts")),
              QStringLiteral("value"));
    EXPECT_EQ(bundle->localizedStringForKey(QStringLiteral("CLOSE"), {}, QStringLiteral("Texts")),
              QStringLiteral("CLOSE"));
}

TEST(Bundle, AnswersTheValueOrElseTheKeyWithoutAnEntry)
{
    BundleFolder folder;
    folder.addCatalogue("en", "en");
    const auto bundle = Bundle::open(folder.path()).value();

    EXPECT_EQ(bundle->localizedStringForKey(QStringLiteral("NONE"), QStringLiteral("value"),
                                            QStringLiteral("Texts")),
              QStringLiteral("value"));
    EXPECT_EQ(bundle->localizedStringForKey(QStringLiteral("NONE"), {}, QStringLiteral("Texts")),
              QStringLiteral("NONE"));
    EXPECT_EQ(bundle->localizedStringForKey(QStringLiteral("EMPTY"), {}, QStringLiteral("Texts")),
              QStringLiteral("EMPTY"));
    EXPECT_EQ(bundle->localizedStringForKey(QStringLiteral("CLOSE"), QStringLiteral("value"),
                                            QStringLiteral("Texts")),
              QStringLiteral("Close"));
}

TEST(Bundle, SpeaksTheFirstOfTheUsersLanguagesThatHasACatalogue)
{
    BundleFolder folder;
    folder.addCatalogue("en", "en");
    folder.addCatalogue("de", "de");

    EXPECT_EQ(folder.textFor(QStringLiteral("de"), QStringLiteral("CLOSE")),
              QStringLiteral("Schließen"));
    EXPECT_EQ(folder.textFor(QStringLiteral("fr:de"), QStringLiteral("CLOSE")),
              QStringLiteral("Schließen"));
    EXPECT_EQ(folder.textFor(QStringLiteral("en_US:de"), QStringLiteral("CLOSE")),
              QStringLiteral("Close"));
    EXPECT_EQ(folder.textFor(QStringLiteral("de:en"), QStringLiteral("CLOSE")),
              QStringLiteral("Schließen"));
}

TEST(Bundle, DoesNotMixLanguages)
{
    BundleFolder folder;
    folder.addCatalogue("en", "en");
    folder.addCatalogue("de", "de");

    EXPECT_EQ(folder.textFor(QStringLiteral("de:en"), QStringLiteral("ENGLISH_ONLY")),
              QStringLiteral("ENGLISH_ONLY"));
    EXPECT_EQ(folder.textFor(QStringLiteral("en:de"), QStringLiteral("ENGLISH_ONLY")),
              QStringLiteral("Only English"));
}

TEST(Bundle, SpeaksEnglishWhenNoneOfTheUsersLanguagesHasACatalogue)
{
    BundleFolder folder;
    folder.addCatalogue("en", "en");
    folder.addCatalogue("de", "de");

    EXPECT_EQ(folder.textFor(QStringLiteral("fr:pt_BR"), QStringLiteral("CLOSE")),
              QStringLiteral("Close"));
    EXPECT_EQ(folder.textFor(QStringLiteral("C"), QStringLiteral("CLOSE")),
              QStringLiteral("Close"));
    EXPECT_EQ(folder.textFor(QStringLiteral(""), QStringLiteral("CLOSE")), QStringLiteral("Close"));
}

TEST(Bundle, PrefersTheCatalogueOfTheUsersCountry)
{
    BundleFolder folder;
    folder.addCatalogue("de", "de");
    folder.addCatalogue("de_AT", "en");
    folder.addCatalogue("pt-BR", "de");

    EXPECT_EQ(folder.textFor(QStringLiteral("de_AT"), QStringLiteral("CLOSE")),
              QStringLiteral("Close"));
    EXPECT_EQ(folder.textFor(QStringLiteral("de_CH"), QStringLiteral("CLOSE")),
              QStringLiteral("Schließen"));
    EXPECT_EQ(folder.textFor(QStringLiteral("pt_BR"), QStringLiteral("CLOSE")),
              QStringLiteral("Schließen"));
}

TEST(Bundle, PassesADamagedCatalogueOver)
{
    BundleFolder folder;
    folder.addDamagedCatalogue("de_AT");
    folder.addDamagedCatalogue("fr");
    folder.addCatalogue("de", "de");

    EXPECT_EQ(folder.textFor(QStringLiteral("de_AT"), QStringLiteral("CLOSE")),
              QStringLiteral("Schließen"));
    EXPECT_EQ(folder.textFor(QStringLiteral("fr:de"), QStringLiteral("CLOSE")),
              QStringLiteral("Schließen"));
    EXPECT_EQ(folder.textFor(QStringLiteral("fr"), QStringLiteral("CLOSE")),
              QStringLiteral("CLOSE"));
}

TEST(Bundle, ReadsACatalogueOnce)
{
    BundleFolder folder;
    const auto bundle = Bundle::open(folder.path()).value();

    const QString before =
        bundle->localizedStringForKey(QStringLiteral("CLOSE"), {}, QStringLiteral("Texts"));
    folder.addCatalogue("en", "en");
    const QString after =
        bundle->localizedStringForKey(QStringLiteral("CLOSE"), {}, QStringLiteral("Texts"));

    EXPECT_EQ(before, QStringLiteral("CLOSE"));
    EXPECT_EQ(after, QStringLiteral("CLOSE"));
}

TEST(Bundle, AnswersManyThreads)
{
    BundleFolder folder;
    folder.addCatalogue("en", "en");
    const auto bundle = Bundle::open(folder.path()).value();
    std::vector<std::thread> threads;

    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            const QString text =
                bundle->localizedStringForKey(QStringLiteral("CLOSE"), {}, QStringLiteral("Texts"));
            EXPECT_EQ(text, QStringLiteral("Close"));
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

} // namespace
} // namespace veltra
