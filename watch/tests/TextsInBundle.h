#pragma once

#include "watch/VXStatusResourceController.h"
#include "watch/tests/TestBundle.h"

#include <memory>

namespace veltra {

/// A bundle with the program's own texts in one language, whatever the user's is, and the resources
/// that are looked up in it.
class TextsInBundle {
  public:
    explicit TextsInBundle(const QString& language = QStringLiteral("en"))
    {
        bundle_.addTextsWithoutCatalogue();
        bundle_.addCatalogue(QStringLiteral(VELTRA_TEST_CATALOGUES) +
                             QStringLiteral("/VeltraAgentStatusMonitor_%1.qm").arg(language));
    }

    [[nodiscard]] VXStatusResourceController
    resources(const AgentInstallation& installation = {}) const
    {
        return VXStatusResourceController{installation, bundle_.open()};
    }

  private:
    TestBundle bundle_;
};

/// The same without any texts: every key is its own text.
[[nodiscard]] inline std::shared_ptr<Bundle> bundleWithoutTexts(const TestBundle& bundle)
{
    bundle.addTextsWithoutCatalogue();
    return bundle.open();
}

} // namespace veltra
