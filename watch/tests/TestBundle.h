#pragma once

#include "platform/base/tests/TemporaryFolder.h"
#include "platform/desktop/Bundle.h"

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace veltra {

/// Bundles in a test's own folder: the program's, and inside it the one of texts.
class TestBundle {
  public:
    /// `entries` are the lines of the program's information dictionary, in addition to its
    /// identifier.
    explicit TestBundle(std::string_view entries = {},
                        std::string_view identifier = "com.veltra.vxStatusMonitorApp")
    {
        writeInformation("Contents", identifier, entries);
    }

    /// Adds the bundle of texts, with the catalogues in `folder`.
    void addTexts(const std::filesystem::path& folder) const
    {
        addTextsWithoutCatalogue();
        std::filesystem::copy(folder, folder_.file(textContents + "/Resources"));
    }

    void addTextsWithoutCatalogue() const
    {
        writeInformation(textContents, "com.veltra.agentMonitor.helperApplication", {});
    }

    /// Makes a catalogue that of the fallback language, so that it is used whatever the user's is.
    void addCatalogue(const QString& path) const
    {
        const std::string resources = folder_.file(textContents + "/Resources");
        std::filesystem::create_directories(resources);
        std::filesystem::copy(path.toStdString(), resources + "/VeltraAgentStatusMonitor_en.qm");
    }

    [[nodiscard]] std::shared_ptr<Bundle> open() const
    {
        return Bundle::open(QString::fromStdString(folder_.path())).value();
    }

  private:
    void writeInformation(const std::string& contents, std::string_view identifier,
                          std::string_view entries) const
    {
        std::filesystem::create_directories(folder_.file(contents));
        std::string list = "<plist version=\"1.0\"><dict><key>CFBundleIdentifier</key><string>";
        list.append(identifier).append("</string>").append(entries).append("</dict></plist>");
        folder_.write(contents + "/Info.plist", list);
    }

    const std::string textContents = "Contents/Resources/HelperApplication.bundle/Contents";
    TemporaryFolder folder_;
};

/// An entry of an information dictionary whose value is a text.
[[nodiscard]] inline std::string textEntry(std::string_view key, std::string_view value)
{
    std::string entry = "<key>";
    return entry.append(key).append("</key><string>").append(value).append("</string>");
}

} // namespace veltra
