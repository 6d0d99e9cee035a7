#include "platform/desktop/Bundle.h"

#include "platform/base/ProcPath.h"

#include <QDir>
#include <QFileInfo>
#include <QLocale>
#include <QStringList>

#include <filesystem>
#include <system_error>
#include <utility>

namespace veltra {

namespace {

/// The names that a language's catalogues may have, the most specific first: for "de-Latn-AT" these
/// are "de_Latn_AT", "de-Latn-AT", "de_Latn", "de-Latn" and "de".
QStringList catalogueLanguages(const QString& language)
{
    QStringList names;
    QStringList parts = language.split(u'-');
    for (; !parts.isEmpty(); parts.removeLast())
        names << parts.join(u'_') << parts.join(u'-');
    names.removeDuplicates();
    return names;
}

QStringList userLanguages()
{
    QStringList languages = QLocale::system().uiLanguages();
    languages << QStringLiteral("en");
    return languages;
}

std::shared_ptr<Bundle> openOrNull(const QString& path)
{
    auto bundle = Bundle::open(path);
    return bundle ? bundle.value() : nullptr;
}

std::shared_ptr<Bundle> findMainBundle()
{
    const QString programFolder = QStringLiteral("/Contents/Linux");
    std::error_code error;
    const auto program = std::filesystem::read_symlink(ownExecutablePath(), error);
    const QString folder = QString::fromStdString(program.parent_path().string());
    if (error || !folder.endsWith(programFolder))
        return nullptr;

    return openOrNull(folder.chopped(programFolder.size()));
}

bool isNamed(const Bundle& bundle, const QString& identifier)
{
    return bundle.objectForInfoDictionaryKey(QStringLiteral("CFBundleIdentifier")) == identifier;
}

} // namespace

Bundle::Bundle(QString path, PropertyList information)
    : path_{std::move(path)}, information_{std::move(information)}
{
}

Result<std::shared_ptr<Bundle>> Bundle::open(const QString& path)
{
    const QString absolutePath = QDir::cleanPath(QFileInfo{path}.absoluteFilePath());
    auto information =
        PropertyList::read((absolutePath + QStringLiteral("/Contents/Info.plist")).toStdString());
    if (!information)
        return information.error();

    return std::shared_ptr<Bundle>{new Bundle{absolutePath, std::move(information.value())}};
}

std::shared_ptr<Bundle> Bundle::mainBundle()
{
    static const std::shared_ptr<Bundle> bundle = findMainBundle();
    return bundle;
}

std::shared_ptr<Bundle> Bundle::bundleWithIdentifier(const QString& identifier,
                                                     const std::shared_ptr<Bundle>& in)
{
    if (!in || isNamed(*in, identifier))
        return in;

    const QDir resources{in->resourcePath()};
    for (const QString& name : resources.entryList({QStringLiteral("*.bundle")}, QDir::Dirs)) {
        auto bundle = openOrNull(resources.filePath(name));
        if (bundle && isNamed(*bundle, identifier))
            return bundle;
    }
    return nullptr;
}

QString Bundle::resourcePath() const
{
    return path_ + QStringLiteral("/Contents/Resources");
}

std::optional<QString> Bundle::objectForInfoDictionaryKey(const QString& key) const
{
    const auto text = information_.text(key.toStdString());
    return text ? std::optional{QString::fromStdString(*text)} : std::nullopt;
}

QString Bundle::localizedStringForKey(const QString& key, const QString& value,
                                      const QString& table) const
{
    QString found = text(key, table);
    if (!found.isEmpty())
        return found;
    return value.isEmpty() ? key : value;
}

QString Bundle::text(const QString& key, const QString& table) const
{
    const std::lock_guard lock{cataloguesMutex_};
    auto catalogue = catalogues_.find(table);
    if (catalogue == catalogues_.end())
        catalogue = catalogues_.emplace(table, readCatalogue(table)).first;
    return catalogue->second.text(key);
}

TranslationCatalogue Bundle::readCatalogue(const QString& table) const
{
    for (const QString& language : userLanguages()) {
        for (const QString& name : catalogueLanguages(language)) {
            const auto path = QStringLiteral("%1/%2_%3.qm").arg(resourcePath(), table, name);
            auto catalogue = TranslationCatalogue::read(path);
            if (catalogue)
                return std::move(catalogue.value());
        }
    }
    return {};
}

} // namespace veltra
