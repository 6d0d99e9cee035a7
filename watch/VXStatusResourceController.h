#pragma once

#include "platform/base/AgentInstallation.h"
#include "platform/desktop/Bundle.h"

#include <QObject>
#include <QString>

#include <memory>

namespace veltra {

/// Provides the texts that the program shows, and the name of the agent's newest log.
///
/// Lookups may be made from any thread. The properties may be used on the main thread only; no
/// lookup reads them.
class VXStatusResourceController : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString languageCode READ languageCode WRITE setLanguageCode)
    Q_PROPERTY(QString localeCode READ localeCode WRITE setLocaleCode)
    Q_PROPERTY(QString currentUser READ currentUser WRITE setCurrentUser)

  public:
    /// The instance that the whole program uses.
    static VXStatusResourceController& sharedVXStatusResourceController();

    /// Looks for logs in the folder of `installation` and for texts in the bundle of texts inside
    /// `mainBundle`, which may be null.
    explicit VXStatusResourceController(
        AgentInstallation installation = {},
        const std::shared_ptr<Bundle>& mainBundle = Bundle::mainBundle());

    /// The text for `key` in the user's language; the key itself if the catalogue does not contain
    /// it; a null string if there is no bundle of texts.
    [[nodiscard]] Q_INVOKABLE QString getLocalisedString(const QString& key) const;

    /// The name of the newest log, without its folder. Among the files whose name contains "vxsvc_"
    /// but not "backup", this is the one that changed last; among several, the first one listed.
    ///
    /// Empty if there is none, or if the folder cannot be listed, which is logged. A file whose
    /// date cannot be read is left out, and so are all files that are listed after it.
    [[nodiscard]] Q_INVOKABLE QString getLogFileName() const;

    /// Whether a file with this name is one of the agent's logs.
    [[nodiscard]] static bool isLogFileName(std::string_view name) noexcept;

    // The properties are not used by the program itself; they are part of the interface.
    [[nodiscard]] QString languageCode() const { return languageCode_; }
    void setLanguageCode(const QString& code) { languageCode_ = code; }
    [[nodiscard]] QString localeCode() const { return localeCode_; }
    void setLocaleCode(const QString& code) { localeCode_ = code; }
    [[nodiscard]] QString currentUser() const { return currentUser_; }
    void setCurrentUser(const QString& user) { currentUser_ = user; }

  private:
    AgentInstallation installation_;
    std::shared_ptr<Bundle> texts_;
    QString languageCode_ = QStringLiteral("en");
    QString localeCode_;
    QString currentUser_;
};

} // namespace veltra
