#include "channel/protocol/HelperAuthorizationRight.h"

#include "channel/protocol/HelperConstants.h"

#include <utility>

namespace veltra {

HelperAuthorizationRight::HelperAuthorizationRight(Selector forCommand,
                                                   const std::optional<std::string>& ownName,
                                                   std::string prompt,
                                                   std::optional<RightDefinition> custom,
                                                   std::optional<std::string> constant)
    : command{std::move(forCommand)}, name{ownName.value_or(
                                          std::string{HelperConstants::machServiceName} + "." +
                                          command)},
      description{std::move(prompt)}, ruleCustom{std::move(custom)}, ruleConstant{
                                                                         std::move(constant)}
{
}

RightDefinition HelperAuthorizationRight::rule() const
{
    if (ruleCustom)
        return *ruleCustom;
    return ruleConstant.value_or("authenticate-admin");
}

const std::vector<HelperAuthorizationRight>& helperAuthorizationRights()
{
    static const std::vector<HelperAuthorizationRight> rights{
        {"runCommandWithPath:authData:completion:", std::nullopt,
         // This is not the tool's actual folder, but the text must not change.
         "Quorrel wants to run the command /Library/Veltra/ovra/bin/trolex",
         RightDefinition{{kAuthorizationRightKeyClass, "user"},
                         {kAuthorizationRightKeyGroup, "admin"},
                         {kAuthorizationRightKeyVersion, 1}},
         std::nullopt}};
    return rights;
}

} // namespace veltra
