#pragma once

#include "platform/base/EventLoop.h"
#include "platform/base/ProcessStatus.h"
#include "tests/installation/PolkitTesting.h"

#include <chrono>
#include <cstdint>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

namespace veltra {

/// An authentication agent for one process. It runs as root and therefore needs no password. It
/// answers each question as instructed, and records what it was asked.
class ScriptedAgent {
  public:
    enum class Answer { authenticate, dismiss, giveUp, none };

    ScriptedAgent(pid_t process, Answer answer) : answer_{answer}
    {
        object_ = std::move(
            bus_->addObject(path_, interface_, methods_, [this](BusCall call) { called(call); })
                .value());
        auto registration = polkitCall(*bus_, "RegisterAuthenticationAgent");
        registration.append(subjectOf(process), std::string{"C.UTF-8"}, std::string{path_});
        EXPECT_TRUE(bus_->call(registration));
        EXPECT_TRUE(bus_->serveOn(*loop_));
        thread_ = std::thread{[this] { EXPECT_TRUE(loop_->run()); }};
    }

    ~ScriptedAgent()
    {
        loop_->stop();
        thread_.join();
    }

    /// The questions so far: the action and the text for the user.
    [[nodiscard]] std::vector<std::string> questions() const
    {
        const std::lock_guard lock{mutex_};
        return questions_;
    }

    /// Ends the wait for a question that gets no answer.
    void release() { released_.set_value(); }

  private:
    using Identity =
        std::tuple<std::string, std::map<std::string, BusVariant<std::uint32_t, std::uint64_t>>>;

    static Identity subjectOf(pid_t process)
    {
        return {"unix-process",
                {{"pid", static_cast<std::uint32_t>(process)},
                 {"start-time", processStartTime(process).value()}}};
    }

    void called(BusCall& call)
    {
        if (call.message().member() != "BeginAuthentication") {
            call.answer();
            return;
        }
        std::string action;
        std::string message;
        std::string icon;
        std::map<std::string, std::string> details;
        std::string cookie;
        std::vector<Identity> identities;
        EXPECT_TRUE(call.message().read(action, message, icon, details, cookie, identities));
        {
            const std::lock_guard lock{mutex_};
            questions_.push_back(action + ": " + message);
        }
        if (answer_ == Answer::dismiss) {
            call.refuse({"org.freedesktop.PolicyKit1.Error.Cancelled", "dismissed"});
            return;
        }
        if (answer_ == Answer::none)
            released_.get_future().wait_for(std::chrono::seconds{30});
        if (answer_ == Answer::authenticate)
            authenticate(cookie, identities.at(0));
        call.answer();
    }

    void authenticate(const std::string& cookie, const Identity& identity)
    {
        // The newer call also names a user, and polkit's releases differ in which one.
        auto response = polkitCall(*bus_, "AuthenticationAgentResponse");
        response.append(cookie, identity);
        const auto answer = bus_->call(response);
        EXPECT_TRUE(answer) << answer.error().message();
    }

    static constexpr const char* interface_ = "org.freedesktop.PolicyKit1.AuthenticationAgent";
    static constexpr const char* path_ = "/agent";
    static inline const sd_bus_vtable methods_[] = {
        SD_BUS_VTABLE_START(0),
        SD_BUS_METHOD("BeginAuthentication", "sssa{ss}sa(sa{sv})", "", &BusConnection::useMethod,
                      SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_METHOD("CancelAuthentication", "s", "", &BusConnection::useMethod,
                      SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_VTABLE_END};

    Answer answer_;
    mutable std::mutex mutex_;
    std::vector<std::string> questions_;
    std::promise<void> released_;
    std::unique_ptr<EventLoop> loop_ = std::move(
        EventLoop::open([](const auto& error) { ADD_FAILURE() << error.what(); }).value());
    // polkit calls an agent back on the connection that it registered on.
    std::unique_ptr<BusConnection> bus_ = std::move(BusConnection::open().value());
    BusSlot object_;
    std::thread thread_;
};

} // namespace veltra
