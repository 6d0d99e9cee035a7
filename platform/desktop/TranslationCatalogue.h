#pragma once

#include "platform/base/Error.h"

#include <QHash>
#include <QString>

#include <string_view>

namespace veltra {

/// The texts of a Qt translation catalogue whose keys are ids (made by lrelease -idbased).
///
/// QTranslator trusts the lengths in a catalogue and crashes on a damaged one; this class checks
/// every length. Plural forms are not supported: the first form is used. A value; may be copied
/// between threads.
class TranslationCatalogue {
  public:
    /// A catalogue without texts.
    TranslationCatalogue() = default;

    /// Anything malformed is an error (EBADMSG).
    [[nodiscard]] static Result<TranslationCatalogue> parse(std::string_view bytes);

    /// Reads and parses a file of at most four megabytes.
    [[nodiscard]] static Result<TranslationCatalogue> read(const QString& path);

    /// The text for `id`; empty if there is none.
    [[nodiscard]] QString text(const QString& id) const { return texts_.value(id); }

  private:
    QHash<QString, QString> texts_;
};

} // namespace veltra
