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
/// `Contents/Linux/` for executables, `Contents/Resources/` for everything else, other bundles
/// among it. All functions may be called from any thread.
class Bundle {
  public:
    /// Opens the bundle at `path` (the folder that holds `Contents`). Fails when its information
    /// dictionary cannot be read.
    [[nodiscard]] static Result<std::shared_ptr<Bundle>> open(const QString& path);

    /// The bundle that this program runs from, found through /proc/self/exe; null when the
    /// program does not stand in one.
    [[nodiscard]] static std::shared_ptr<Bundle> mainBundle();

    /// `in` itself or a bundle in its `Contents/Resources/` (a folder named *.bundle), by
    /// "CFBundleIdentifier"; null when there is none.
    [[nodiscard]] static std::shared_ptr<Bundle>
    bundleWithIdentifier(const QString& identifier, const std::shared_ptr<Bundle>& in);

    /// The folder that holds `Contents`, absolute.
    [[nodiscard]] const QString& path() const noexcept { return path_; }
    [[nodiscard]] QString resourcePath() const;

    /// A text of the information dictionary, if the key is there and its value a text.
    [[nodiscard]] std::optional<QString> objectForInfoDictionaryKey(const QString& key) const;

    /// The text for `key` in the catalogue `table`, in the user's language.
    ///
    /// Catalogues are the files `Contents/Resources/TABLE_LANGUAGE.qm`, compiled with ids as keys
    /// (see lrelease -idbased), and read once. LANGUAGE is a name like "de_AT" or "de"; the user's
    /// "de_AT" takes "de" if need be. The first of the user's interface languages that has a
    /// readable catalogue is used, else English. Without an entry the answer is `value`, or the
    /// key itself when `value` is empty.
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
