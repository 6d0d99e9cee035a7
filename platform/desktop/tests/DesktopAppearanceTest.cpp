#include "platform/desktop/DesktopAppearance.h"

#include "platform/desktop/tests/PrivateSessionBus.h"
#include "platform/desktop/tests/QtEventLoop.h"

#include <QSocketNotifier>

#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

namespace veltra {
namespace {

using Scheme = DesktopAppearance::ColorScheme;

constexpr const char* portalPath = "/org/freedesktop/portal/desktop";
constexpr const char* settings = "org.freedesktop.portal.Settings";
constexpr const char* group = "org.freedesktop.appearance";
constexpr const char* key = "color-scheme";

/// The desktop's side: a program on the same bus that acts as a settings portal. It answers other
/// processes only.
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
    static int answer(sd_bus_message* call, void* context, sd_bus_error* /*error*/)
    {
        if (sd_bus_message_is_method_call(call, settings, "Read") <= 0)
            return 0;
        const auto* const self = static_cast<const Portal*>(context);
        if (!self->mayReadProcessOf(sd_bus_message_get_sender(call)))
            return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_ACCESS_DENIED, "not allowed");
        return sd_bus_reply_method_return(call, "v", "v", "u", self->scheme_);
    }

    // A real one looks in the process's root folder for a sandbox, which it may not if the process
    // may not be dumped, as is the case with the monitor.
    bool mayReadProcessOf(const char* sender) const
    {
        sd_bus_creds* credentials = nullptr;
        pid_t pid = 0;
        EXPECT_GE(sd_bus_get_name_creds(bus_, sender, SD_BUS_CREDS_PID, &credentials), 0);
        EXPECT_GE(sd_bus_creds_get_pid(credentials, &pid), 0);
        sd_bus_creds_unref(credentials);
        return pid != ::getpid();
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

/// The processes that this one has started and that run.
std::string children()
{
    const std::string self = std::to_string(::getpid());
    std::string pids;
    std::getline(std::ifstream{"/proc/" + self + "/task/" + self + "/children"}, pids);
    return pids;
}

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
    waitForBus();

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
    waitForBus();

    portal.sendOddSignals();
    portal.change(group, key, 2);

    EXPECT_TRUE(isTold({Scheme::noPreference, Scheme::light}));
}

TEST_F(DesktopAppearanceTest, IsSilentWhereNoDesktopAnswers)
{
    startSession();
    const auto before = children();
    const DesktopAppearance appearance{recorder()};
    ASSERT_NE(children(), before);

    // Another program asks, and ends.
    EXPECT_TRUE(runLoopUntil([&] { return children() == before; }));

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
