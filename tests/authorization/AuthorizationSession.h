#pragma once

#include "channel/client/HelperAuthorization.h"
#include "channel/client/HelperAuthorizationError.h"
#include "platform/rights/AuthorizationServices.h"
#include "platform/rights/ServiceManagement.h"

#include <algorithm>
#include <sstream>
#include <string>
#include <thread>

namespace veltra {

/// Calls authorization services as told by commands, one per line, and reports each result in a
/// line. Statuses are reported as numbers.
class AuthorizationSession {
  public:
    AuthorizationSession(AuthorizationServices& services, ServiceManagement& management)
        : services_{services}, management_{management}
    {
    }

    std::string obey(const std::string& line)
    {
        std::istringstream words{line};
        std::string command;
        std::string subject;
        AuthorizationFlags flags = 0;
        words >> command >> subject >> flags;
        if (command == "get")
            return get(subject);
        if (command == "set")
            return set(subject);
        if (command == "set-prompt")
            return setPrompt(subject);
        if (command == "update")
            return thrown(
                [this] { HelperAuthorization::authorizationRightsUpdateDatabase(services_); });
        if (command == "create")
            return create(subject, flags);
        if (command == "create-twice")
            return createTwice(subject, flags);
        if (command == "has")
            return std::to_string(
                services_.AuthorizationCopyRights(own_, {{subject}}, nullptr, flags));
        if (command == "other-has")
            return std::to_string(
                services_.AuthorizationCopyRights(other_, {{subject}}, nullptr, flags));
        if (command == "form")
            return form(own_);
        if (command == "other-form")
            return form(other_);
        if (command == "resolve")
            return resolve(subject);
        if (command == "verify")
            return thrown([&] {
                HelperAuthorization::verifyAuthorization(bytes(subject), right().command,
                                                         services_);
            });
        if (command == "bless")
            return bless(subject);
        return "what is " + command + "?";
    }

    /// The right that is registered.
    static const HelperAuthorizationRight& right()
    {
        return HelperAuthorization::authorizationRights().at(0);
    }

  private:
    template <typename Call>
    static std::string thrown(const Call& call)
    {
        try {
            call();
            return "nothing thrown";
        } catch (const HelperAuthorizationError& error) {
            return error.message();
        }
    }

    std::string get(const std::string& name)
    {
        const auto stored = services_.AuthorizationRightGet(name);
        return stored.object ? stored.object->dump() : std::to_string(stored.status);
    }

    // With the right's own definition and text, unless another version is requested.
    std::string set(const std::string& version)
    {
        RightDefinition definition = right().rule();
        if (!version.empty())
            definition[kAuthorizationRightKeyVersion] = std::stoi(version);
        return std::to_string(
            services_.AuthorizationRightSet(own_, right().name, definition, right().description));
    }

    std::string setPrompt(const std::string& text)
    {
        return std::to_string(
            services_.AuthorizationRightSet(own_, right().name, right().rule(), text));
    }

    // Without a right and flags, unless they are given.
    std::string create(const std::string& name, AuthorizationFlags flags)
    {
        const AuthorizationItemSet rights{{name}};
        auto made = services_.AuthorizationCreate(name.empty() ? nullptr : &rights, nullptr, flags);
        own_ = made.object;
        return std::to_string(made.status);
    }

    std::string createTwice(const std::string& name, AuthorizationFlags flags)
    {
        const AuthorizationItemSet rights{{name}};
        OSStatus other = 0;
        std::thread thread{
            [&] { other = services_.AuthorizationCreate(&rights, nullptr, flags).status; }};
        const OSStatus one = services_.AuthorizationCreate(&rights, nullptr, flags).status;
        thread.join();
        return std::to_string(one) + " " + std::to_string(other);
    }

    std::string form(const AuthorizationRef& authorization)
    {
        const auto made = services_.AuthorizationMakeExternalForm(authorization);
        if (!made.object)
            return std::to_string(made.status);
        std::string text;
        for (const unsigned byte : *made.object) {
            text += "0123456789abcdef"[byte / 16];
            text += "0123456789abcdef"[byte % 16];
        }
        return text;
    }

    static HelperAuthorization::Data bytes(const std::string& hex)
    {
        HelperAuthorization::Data data;
        for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
            data.push_back(static_cast<std::uint8_t>(std::stoi(hex.substr(i, 2), nullptr, 16)));
        return data;
    }

    std::string resolve(const std::string& hex)
    {
        AuthorizationExternalForm given{};
        std::ranges::copy(bytes(hex), given.begin());
        auto found = services_.AuthorizationCreateFromExternalForm(given);
        other_ = found.object;
        return std::to_string(found.status);
    }

    std::string bless(const std::string& label)
    {
        const auto outcome = management_.SMJobBless(kSMDomainSystemLaunchd, label, own_);
        if (outcome.isDone)
            return "done";
        return outcome.error ? outcome.error->message() : "refused";
    }

    AuthorizationServices& services_;
    ServiceManagement& management_;
    AuthorizationRef own_;
    AuthorizationRef other_;
};

} // namespace veltra
