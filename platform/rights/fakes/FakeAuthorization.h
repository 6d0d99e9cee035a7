#pragma once

#include "platform/rights/AuthorizationServices.h"

#include <deque>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <sys/types.h>

namespace veltra {

/// The authorization services of one process, for tests of the code that uses them; a test can give
/// a system several processes. The process lives as long as the object. For one thread.
class FakeAuthorization : public AuthorizationServices {
  public:
    struct Right {
        RightDefinition definition;
        std::string description;
    };

    struct Process {
        uid_t user = 0;
        std::set<std::string> gained; ///< rights
    };

    /// The state that the processes of a system share.
    struct System {
        std::map<std::string, Right> rights;
        std::map<AuthorizationExternalForm, std::weak_ptr<Process>> forms;
    };

    explicit FakeAuthorization(std::shared_ptr<System> system = std::make_shared<System>(),
                               uid_t user = 1000);

    [[nodiscard]] std::map<std::string, Right>& rights() noexcept { return system_->rights; }
    [[nodiscard]] std::set<std::string>& gained() noexcept { return process_->gained; }

    /// The outcomes of the prompts, in order. When they run out, nobody can be asked.
    std::deque<OSStatus> answers;
    /// Calls, by name, that always return this status.
    std::map<std::string, OSStatus> failing;
    /// Calls, by name, that succeed but return nothing.
    std::set<std::string> empty;
    /// The texts for statuses other than the system's own.
    std::map<OSStatus, std::string> texts;

    /// The calls so far, except for texts, with their arguments: "AuthorizationCreate 0".
    [[nodiscard]] const std::vector<std::string>& calls() const noexcept { return calls_; }

    [[nodiscard]] SecOutcome<AuthorizationRef>
    AuthorizationCreate(const AuthorizationItemSet* rights, const AuthorizationItemSet* environment,
                        AuthorizationFlags flags) override;
    [[nodiscard]] SecOutcome<std::optional<AuthorizationExternalForm>>
    AuthorizationMakeExternalForm(const AuthorizationRef& authorization) override;
    [[nodiscard]] SecOutcome<AuthorizationRef>
    AuthorizationCreateFromExternalForm(const AuthorizationExternalForm& form) override;
    [[nodiscard]] OSStatus AuthorizationCopyRights(const AuthorizationRef& authorization,
                                                   const AuthorizationItemSet& rights,
                                                   const AuthorizationItemSet* environment,
                                                   AuthorizationFlags flags) override;
    [[nodiscard]] SecOutcome<std::optional<RightDefinition>>
    AuthorizationRightGet(const std::string& name) override;
    [[nodiscard]] OSStatus AuthorizationRightSet(const AuthorizationRef& authorization,
                                                 const std::string& name,
                                                 const RightDefinition& definition,
                                                 const std::string& description) override;
    [[nodiscard]] std::optional<std::string>
    SecCopyErrorMessageString(OSStatus status) const override;

  private:
    [[nodiscard]] OSStatus begin(const std::string& call, const std::string& details);
    [[nodiscard]] OSStatus ask();
    [[nodiscard]] OSStatus gain(Process& process, const AuthorizationItemSet& rights, bool mayAsk);
    [[nodiscard]] std::shared_ptr<Process> processOf(const AuthorizationRef& authorization) const;

    std::shared_ptr<System> system_;
    std::shared_ptr<Process> process_;
    std::vector<std::string> calls_;
};

} // namespace veltra
