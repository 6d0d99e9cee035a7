#pragma once

#include "platform/base/Error.h"
#include "platform/bundle/PropertyList.h"
#include "platform/desktop/TranslationCatalogue.h"

#include <QString>

#include <map>
#include <memory>
#include <mutex>
#include <optional>

namespace veltra {

/// A folder that holds a program or resources in a fixed layout: `Contents/Info.plist`,
/// `Contents/Linux/` for executables, `Contents/Resources/` for everything else, including other
/// bundles. All functions may be called from any thread.
class Bundle {
  public:
    /// Opens the bundle at `path` (the folder that contains `Contents`). Fails if its information
    /// dictionary cannot be read.
    [[nodiscard]] static Result<std::shared_ptr<Bundle>> open(const QString& path);

    /// The bundle that this program runs from, found through /proc/self/exe; null if the program is
    /// not in a bundle.
    [[nodiscard]] static std::shared_ptr<Bundle> mainBundle();

    /// `in` itself or a bundle in its `Contents/Resources/` (a folder named *.bundle) whose
    /// "CFBundleIdentifier" is `identifier`; null if there is none.
    [[nodiscard]] static std::shared_ptr<Bundle>
    bundleWithIdentifier(const QString& identifier, const std::shared_ptr<Bundle>& in);

    /// The absolute path of the folder that contains `Contents`.
    [[nodiscard]] const QString& path() const noexcept { return path_; }
    [[nodiscard]] QString resourcePath() const;

    /// A text of the information dictionary; empty if the key is missing or its value is not a
    /// text.
    [[nodiscard]] std::optional<QString> objectForInfoDictionaryKey(const QString& key) const;

    /// The text for `key` in the catalogue `table`, in the user's language.
    ///
    /// Catalogues are the files `Contents/Resources/TABLE_LANGUAGE.qm`, compiled with ids as keys
    /// (see lrelease -idbased), and are read once. LANGUAGE is a name like "de_AT" or "de"; for a
    /// user's "de_AT", "de" is used if there is no "de_AT". The first of the user's interface
    /// languages that has a readable catalogue is used, otherwise English. If there is no entry,
    /// the result is `value`, or the key itself if `value` is empty.
    [[nodiscard]] QString localizedStringForKey(const QString& key, const QString& value,
                                                const QString& table) const;

  private:
    Bundle(QString path, PropertyList information);
    QString text(const QString& key, const QString& table) const;
    TranslationCatalogue readCatalogue(const QString& table) const;

    QString path_;
    PropertyList information_;
    mutable std::mutex cataloguesMutex_;
    mutable std::map<QString, TranslationCatalogue> catalogues_;
};

} // namespace veltra
