#include "platform/Bundle.h"

#include "platform/tests/TemporaryFolder.h"

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

/// A bundle in a folder of the test's own, with the test's catalogues where they are asked for.
class BundleFolder {
  public:
    BundleFolder() { addBundle("Main.app", informationWith("com.veltra.test.main")); }

    void addNested(const std::string& name, const std::string& information)
    {
        addBundle("Main.app/Contents/Resources/" + name, information);
    }

    /// Makes the catalogue of `source` ("de", "en") the one that bears `language`.
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

    /// Runs a program that stands in the bundle, for a user with the given languages, and returns
    /// the lines that it prints.
    QStringList run(const QString& languages, const QStringList& arguments,
                    const std::string& place = "Linux") const
    {
        fs::create_directories(folder_.file("Main.app/Contents/" + place));
        const std::string program = folder_.file("Main.app/Contents/" + place + "/program");
        fs::copy_file(VELTRA_TEST_SHOW_BUNDLE, program, fs::copy_options::overwrite_existing);
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"LC_ALL"_qs, u"C.UTF-8"_qs);
        environment.insert(u"LANGUAGE"_qs, languages);

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
        return run(languages, {u"com.veltra.test.main"_qs, key, u"Texts"_qs}).value(2);
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

    const auto bundle = Bundle::open(folder.path() + u"/"_qs);

    ASSERT_TRUE(bundle);
    EXPECT_EQ(bundle.value()->path(), folder.path());
    EXPECT_EQ(bundle.value()->resourcePath(), folder.path() + u"/Contents/Resources"_qs);
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

    const auto missing = Bundle::open(folder.path() + u"/Contents"_qs);
    const auto damaged = Bundle::open(folder.path() + u"/Contents/Resources/Damaged.bundle"_qs);

    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error().code(), std::errc::no_such_file_or_directory);
    ASSERT_FALSE(damaged);
    EXPECT_EQ(damaged.error().code(), std::errc::bad_message);
}

TEST(Bundle, GivesTextsOfTheInformationDictionary)
{
    const BundleFolder folder;
    const auto bundle = Bundle::open(folder.path()).value();

    EXPECT_EQ(bundle->objectForInfoDictionaryKey(u"SWITCH"_qs), u"YES"_qs);
    EXPECT_EQ(bundle->objectForInfoDictionaryKey(u"COUNT"_qs), std::nullopt);
    EXPECT_EQ(bundle->objectForInfoDictionaryKey(u"MISSING"_qs), std::nullopt);
}

TEST(Bundle, FindsItselfAndItsNestedBundlesByIdentifier)
{
    BundleFolder folder;
    folder.addNested("A.bundle", "damaged");
    folder.addNested("B.bundle", informationWith("com.veltra.test.b"));
    folder.addNested("C.bundle", informationWith("com.veltra.test.c"));
    folder.addNested("D.folder", informationWith("com.veltra.test.d"));
    const auto main = Bundle::open(folder.path()).value();

    const auto itself = Bundle::bundleWithIdentifier(u"com.veltra.test.main"_qs, main);
    const auto nested = Bundle::bundleWithIdentifier(u"com.veltra.test.c"_qs, main);

    EXPECT_EQ(itself, main);
    ASSERT_TRUE(nested);
    EXPECT_EQ(nested->path(), folder.path() + u"/Contents/Resources/C.bundle"_qs);
    EXPECT_EQ(Bundle::bundleWithIdentifier(u"com.veltra.test.d"_qs, main), nullptr);
    EXPECT_EQ(Bundle::bundleWithIdentifier(u"com.veltra.test.x"_qs, main), nullptr);
    EXPECT_EQ(Bundle::bundleWithIdentifier(u"com.veltra.test.main"_qs, nullptr), nullptr);
}

TEST(Bundle, IsNotThereForAProgramOutsideOfOne)
{
    EXPECT_EQ(Bundle::mainBundle(), nullptr);
    EXPECT_EQ(Bundle::bundleWithIdentifier(u"com.veltra.test.main"_qs), nullptr);
}

TEST(Bundle, IsFoundByTheProgramThatStandsInIt)
{
    BundleFolder folder;
    folder.addNested("Texts.bundle", informationWith("com.veltra.test.texts"));
    folder.addCatalogue("de", "de", "Main.app/Contents/Resources/Texts.bundle");
    const QString nested = folder.path() + u"/Contents/Resources/Texts.bundle"_qs;

    const QStringList lines =
        folder.run(u"de"_qs, {u"com.veltra.test.texts"_qs, u"CLOSE"_qs, u"Texts"_qs});
    const QStringList linesWithoutBundle =
        folder.run(u"de"_qs, {u"com.veltra.test.x"_qs, u"CLOSE"_qs, u"Texts"_qs});

    EXPECT_EQ(lines.mid(0, 3), (QStringList{folder.path(), nested, u"Schließen"_qs}));
    EXPECT_EQ(linesWithoutBundle.value(1), u"none"_qs);
}

TEST(Bundle, IsNotFoundByAProgramThatStandsElsewhereInIt)
{
    const BundleFolder folder;

    const QStringList lines =
        folder.run(u"de"_qs, {u"com.veltra.test.main"_qs, u"CLOSE"_qs, u"Texts"_qs}, "Tools");

    EXPECT_EQ(lines.mid(0, 2), (QStringList{u"none"_qs, u"none"_qs}));
}

TEST(Bundle, AnswersTheValueOrElseTheKeyWithoutATable)
{
    const BundleFolder folder;
    const auto bundle = Bundle::open(folder.path()).value();

    EXPECT_EQ(bundle->localizedStringForKey(u"CLOSE"_qs, u"value"_qs, u"Texts"_qs), u"value"_qs);
    EXPECT_EQ(bundle->localizedStringForKey(u"CLOSE"_qs, {}, u"Texts"_qs), u"CLOSE"_qs);
}

TEST(Bundle, AnswersTheValueOrElseTheKeyWithoutAnEntry)
{
    BundleFolder folder;
    folder.addCatalogue("en", "en");
    const auto bundle = Bundle::open(folder.path()).value();

    EXPECT_EQ(bundle->localizedStringForKey(u"NONE"_qs, u"value"_qs, u"Texts"_qs), u"value"_qs);
    EXPECT_EQ(bundle->localizedStringForKey(u"NONE"_qs, {}, u"Texts"_qs), u"NONE"_qs);
    EXPECT_EQ(bundle->localizedStringForKey(u"EMPTY"_qs, {}, u"Texts"_qs), u"EMPTY"_qs);
    EXPECT_EQ(bundle->localizedStringForKey(u"CLOSE"_qs, u"value"_qs, u"Texts"_qs), u"Close"_qs);
}

TEST(Bundle, SpeaksTheFirstOfTheUsersLanguagesThatHasACatalogue)
{
    BundleFolder folder;
    folder.addCatalogue("en", "en");
    folder.addCatalogue("de", "de");

    EXPECT_EQ(folder.textFor(u"de"_qs, u"CLOSE"_qs), u"Schließen"_qs);
    EXPECT_EQ(folder.textFor(u"fr:de"_qs, u"CLOSE"_qs), u"Schließen"_qs);
    EXPECT_EQ(folder.textFor(u"en_US:de"_qs, u"CLOSE"_qs), u"Close"_qs);
    EXPECT_EQ(folder.textFor(u"de:en"_qs, u"CLOSE"_qs), u"Schließen"_qs);
}

TEST(Bundle, DoesNotMixLanguages)
{
    BundleFolder folder;
    folder.addCatalogue("en", "en");
    folder.addCatalogue("de", "de");

    EXPECT_EQ(folder.textFor(u"de:en"_qs, u"ENGLISH_ONLY"_qs), u"ENGLISH_ONLY"_qs);
    EXPECT_EQ(folder.textFor(u"en:de"_qs, u"ENGLISH_ONLY"_qs), u"Only English"_qs);
}

TEST(Bundle, SpeaksEnglishWhenNoneOfTheUsersLanguagesHasACatalogue)
{
    BundleFolder folder;
    folder.addCatalogue("en", "en");
    folder.addCatalogue("de", "de");

    EXPECT_EQ(folder.textFor(u"fr:pt_BR"_qs, u"CLOSE"_qs), u"Close"_qs);
    EXPECT_EQ(folder.textFor(u"C"_qs, u"CLOSE"_qs), u"Close"_qs);
    EXPECT_EQ(folder.textFor(u""_qs, u"CLOSE"_qs), u"Close"_qs);
}

TEST(Bundle, PrefersTheCatalogueOfTheUsersCountry)
{
    BundleFolder folder;
    folder.addCatalogue("de", "de");
    folder.addCatalogue("de_AT", "en");
    folder.addCatalogue("pt-BR", "de");

    EXPECT_EQ(folder.textFor(u"de_AT"_qs, u"CLOSE"_qs), u"Close"_qs);
    EXPECT_EQ(folder.textFor(u"de_CH"_qs, u"CLOSE"_qs), u"Schließen"_qs);
    EXPECT_EQ(folder.textFor(u"pt_BR"_qs, u"CLOSE"_qs), u"Schließen"_qs);
}

TEST(Bundle, PassesADamagedCatalogueOver)
{
    BundleFolder folder;
    folder.addDamagedCatalogue("de_AT");
    folder.addDamagedCatalogue("fr");
    folder.addCatalogue("de", "de");

    EXPECT_EQ(folder.textFor(u"de_AT"_qs, u"CLOSE"_qs), u"Schließen"_qs);
    EXPECT_EQ(folder.textFor(u"fr:de"_qs, u"CLOSE"_qs), u"Schließen"_qs);
    EXPECT_EQ(folder.textFor(u"fr"_qs, u"CLOSE"_qs), u"CLOSE"_qs);
}

TEST(Bundle, ReadsACatalogueOnce)
{
    BundleFolder folder;
    const auto bundle = Bundle::open(folder.path()).value();

    const QString before = bundle->localizedStringForKey(u"CLOSE"_qs, {}, u"Texts"_qs);
    folder.addCatalogue("en", "en");
    const QString after = bundle->localizedStringForKey(u"CLOSE"_qs, {}, u"Texts"_qs);

    EXPECT_EQ(before, u"CLOSE"_qs);
    EXPECT_EQ(after, u"CLOSE"_qs);
}

TEST(Bundle, AnswersManyThreads)
{
    BundleFolder folder;
    folder.addCatalogue("en", "en");
    const auto bundle = Bundle::open(folder.path()).value();
    std::vector<std::thread> threads;

    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            const QString text = bundle->localizedStringForKey(u"CLOSE"_qs, {}, u"Texts"_qs);
            EXPECT_EQ(text, u"Close"_qs);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

} // namespace
} // namespace veltra
