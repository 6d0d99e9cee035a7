#include "platform/desktop/DesktopAppearance.h"

#include "platform/desktop/tests/PrivateSessionBus.h"
#include "platform/desktop/tests/QtEventLoop.h"

#include <QSocketNotifier>

#include <memory>
#include <vector>

#include <gtest/gtest.h>
#include <systemd/sd-bus.h>

namespace veltra {
namespace {

using Scheme = DesktopAppearance::ColorScheme;

constexpr const char* portalPath = "/org/freedesktop/portal/desktop";
constexpr const char* settings = "org.freedesktop.portal.Settings";
constexpr const char* group = "org.freedesktop.appearance";
constexpr const char* key = "color-scheme";

/// The desktop's side: a program on the same bus that acts as a settings portal.
class Portal {
  public:
    explicit Portal(std::uint32_t scheme) : scheme_{scheme}
    {
        EXPECT_GE(sd_bus_open_user(&bus_), 0);
        EXPECT_GE(sd_bus_add_object(bus_, nullptr, portalPath, &answer, this), 0);
        EXPECT_GE(sd_bus_request_name(bus_, "org.freedesktop.portal.Desktop", 0), 0);
        readable_ = std::make_unique<QSocketNotifier>(sd_bus_get_fd(bus_), QSocketNotifier::Read);
        QObject::connect(readable_.get(), &QSocketNotifier::activated, [this] { process(); });
    }
    Portal(const Portal&) = delete;
    Portal& operator=(const Portal&) = delete;

    ~Portal()
    {
        readable_.reset();
        sd_bus_flush_close_unref(bus_);
    }

    void change(const char* inGroup, const char* ofKey, std::uint32_t value)
    {
        EXPECT_GE(sd_bus_emit_signal(bus_, portalPath, settings, "SettingChanged", "ssv", inGroup,
                                     ofKey, "u", value),
                  0);
    }

    /// Sends what a setting's change never looks like.
    void sendOddSignals()
    {
        EXPECT_GE(sd_bus_emit_signal(bus_, portalPath, settings, "SettingChanged", ""), 0);
        EXPECT_GE(sd_bus_emit_signal(bus_, portalPath, settings, "SettingChanged", "u", 1), 0);
        EXPECT_GE(
            sd_bus_emit_signal(bus_, portalPath, settings, "SettingChanged", "ss", group, key), 0);
        EXPECT_GE(
            sd_bus_emit_signal(bus_, portalPath, settings, "SettingChanged", "ssu", group, key, 1),
            0);
        EXPECT_GE(sd_bus_emit_signal(bus_, portalPath, settings, "SettingChanged", "ssv", group,
                                     key, "s", "dark"),
                  0);
        EXPECT_GE(sd_bus_emit_signal(bus_, portalPath, settings, "SettingChanged", "ssv", group,
                                     key, "v", "v", "u", 1),
                  0);
    }

  private:
    static int answer(sd_bus_message* call, void* self, sd_bus_error* /*error*/)
    {
        if (sd_bus_message_is_method_call(call, settings, "Read") <= 0)
            return 0;
        const auto scheme = static_cast<const Portal*>(self)->scheme_;
        return sd_bus_reply_method_return(call, "v", "v", "u", scheme);
    }

    void process()
    {
        while (sd_bus_process(bus_, nullptr) > 0) {
        }
    }

    std::uint32_t scheme_;
    sd_bus* bus_ = nullptr;
    std::unique_ptr<QSocketNotifier> readable_;
};

class DesktopAppearanceTest : public testing::Test, protected PrivateSessionBus {
  protected:
    auto recorder()
    {
        return [this](Scheme scheme) { told_.push_back(scheme); };
    }

    bool isTold(const std::vector<Scheme>& schemes)
    {
        return runLoopUntil([&] { return told_.size() >= schemes.size(); }) && told_ == schemes;
    }

    const std::vector<Scheme>& told() const { return told_; }

  private:
    std::vector<Scheme> told_;
};

TEST_F(DesktopAppearanceTest, TellsWhatTheDesktopAnswers)
{
    startSession();
    const Portal portal{1};

    const DesktopAppearance appearance{recorder()};

    EXPECT_TRUE(isTold({Scheme::dark}));
}

TEST_F(DesktopAppearanceTest, FollowsTheUsersChangesOfThatSettingAlone)
{
    startSession();
    Portal portal{0};
    const DesktopAppearance appearance{recorder()};
    ASSERT_TRUE(isTold({Scheme::noPreference}));

    portal.change(group, "accent-color", 1);
    portal.change("org.gnome.desktop.interface", key, 1);
    portal.change(group, key, 2);
    portal.change(group, key, 1);

    EXPECT_TRUE(isTold({Scheme::noPreference, Scheme::light, Scheme::dark}));
}

TEST_F(DesktopAppearanceTest, PassesOverSignalsOfOtherTypes)
{
    startSession();
    Portal portal{0};
    const DesktopAppearance appearance{recorder()};
    ASSERT_TRUE(isTold({Scheme::noPreference}));

    portal.sendOddSignals();
    portal.change(group, key, 2);

    EXPECT_TRUE(isTold({Scheme::noPreference, Scheme::light}));
}

TEST_F(DesktopAppearanceTest, IsSilentWhereNoDesktopAnswers)
{
    startSession();
    {
        const DesktopAppearance appearance{recorder()};
        const DesktopAppearance another{recorder()};
        waitForBus();
    }

    EXPECT_TRUE(told().empty());
}

TEST_F(DesktopAppearanceTest, IsSilentWithoutASessionBus)
{
    const DesktopAppearance appearance{recorder()};

    EXPECT_EQ(SessionBus::connection(), nullptr);
    EXPECT_TRUE(told().empty());
}

} // namespace
} // namespace veltra
