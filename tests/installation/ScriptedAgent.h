#pragma once

#include "tests/installation/PolkitTesting.h"

#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

namespace veltra {

/// An authentication agent for one process, which root runs and which therefore needs no password.
/// It answers each question as it is told, and knows what it was asked.
class ScriptedAgent {
  public:
    enum class Answer { authenticate, dismiss };

    ScriptedAgent(pid_t process, Answer answer) : answer_{answer}
    {
        object_->registerMethod("BeginAuthentication")
            .onInterface(interface_)
            .implementedAs([this](const std::string& action, const std::string& message,
                                  const std::string&, const std::map<std::string, std::string>&,
                                  const std::string& cookie,
                                  const std::vector<Identity>& identities) {
                begin(action, message, cookie, identities);
            });
        object_->registerMethod("CancelAuthentication")
            .onInterface(interface_)
            .implementedAs([](const std::string&) {});
        object_->finishRegistration();
        bus_->enterEventLoopAsync();
        polkit(*bus_)
            ->callMethod("RegisterAuthenticationAgent")
            .onInterface(polkitInterface)
            .withArguments(subjectOf(process), std::string{"C.UTF-8"}, std::string{path_});
    }

    /// What was asked so far: the action and the words for the user.
    [[nodiscard]] std::vector<std::string> questions() const
    {
        const std::lock_guard lock{mutex_};
        return questions_;
    }

  private:
    using Identity = sdbus::Struct<std::string, std::map<std::string, sdbus::Variant>>;

    static Identity subjectOf(pid_t process)
    {
        std::ifstream stat{"/proc/" + std::to_string(process) + "/stat"};
        std::string word;
        std::getline(stat, word, ')');
        for (int i = 3; i <= 22; ++i)
            stat >> word;
        return {"unix-process",
                {{"pid", sdbus::Variant{static_cast<std::uint32_t>(process)}},
                 {"start-time", sdbus::Variant{static_cast<std::uint64_t>(std::stoull(word))}}}};
    }

    void begin(const std::string& action, const std::string& message, const std::string& cookie,
               const std::vector<Identity>& identities)
    {
        {
            const std::lock_guard lock{mutex_};
            questions_.push_back(action + ": " + message);
        }
        if (answer_ == Answer::dismiss)
            throw sdbus::Error{"org.freedesktop.PolicyKit1.Error.Cancelled", "dismissed"};
        polkit(*bus_)
            ->callMethod("AuthenticationAgentResponse2")
            .onInterface(polkitInterface)
            .withArguments(static_cast<std::uint32_t>(::getuid()), cookie, identities.at(0));
    }

    static constexpr const char* interface_ = "org.freedesktop.PolicyKit1.AuthenticationAgent";
    static constexpr const char* path_ = "/agent";

    Answer answer_;
    mutable std::mutex mutex_;
    std::vector<std::string> questions_;
    // polkit calls back whoever registers on the connection that he registers on.
    std::unique_ptr<sdbus::IConnection> bus_ = sdbus::createSystemBusConnection();
    std::unique_ptr<sdbus::IObject> object_ = sdbus::createObject(*bus_, path_);
};

} // namespace veltra
