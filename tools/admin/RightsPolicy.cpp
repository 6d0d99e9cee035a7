#include "tools/admin/RightsPolicy.h"

#include "platform/bus/PolkitAction.h"
#include "tools/admin/AdminError.h"

#include <algorithm>
#include <string_view>

namespace veltra {

namespace {

// If a value contains an entity or a line break, polkit's parser keeps only the last part of it.
constexpr const char* head = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE policyconfig PUBLIC "-//freedesktop//DTD PolicyKit Policy Configuration 1.0//EN"
    "http://www.freedesktop.org/standards/PolicyKit/1/policyconfig.dtd">
<policyconfig>
  <vendor>Veltra</vendor>
)";
constexpr const char* tail = "</policyconfig>\n";
constexpr const char* defaults = R"(    <defaults>
      <allow_any>auth_admin_keep</allow_any>
      <allow_inactive>auth_admin_keep</allow_inactive>
      <allow_active>auth_admin_keep</allow_active>
    </defaults>
)";

bool isNamePart(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           std::string_view{".-_:"}.find(c) != std::string_view::npos;
}

bool isFit(const HelperAuthorizationRight& right)
{
    const bool hasControls = std::ranges::any_of(
        right.description, [](char c) { return static_cast<unsigned char>(c) < 0x20; });
    return !right.name.empty() && std::ranges::all_of(right.name, isNamePart) && !hasControls &&
           right.description.find("]]>") == std::string::npos;
}

std::string textElement(const std::string& name, const std::string& text)
{
    return "    <" + name + "><![CDATA[" + text + "]]></" + name + ">\n";
}

std::string annotation(const std::string& key, const std::string& value)
{
    return "    <annotate key=\"" + key + "\">" + value + "</annotate>\n";
}

std::string action(const HelperAuthorizationRight& right)
{
    return "  <action id=\"" + polkitActionId(right.name) + "\">\n" +
           textElement("description", right.description) +
           textElement("message", right.description) + defaults +
           annotation(rightNameAnnotation, right.name) +
           annotation(rightDefinitionAnnotation, definitionInPolicy(right)) + "  </action>\n";
}

} // namespace

std::string definitionInPolicy(const HelperAuthorizationRight& right)
{
    // dump() itself escapes control characters and everything that is not ASCII; these three can
    // only occur inside texts.
    std::string line;
    for (const char c : right.rule().dump(-1, ' ', true))
        if (c == '&')
            line += "\\u0026";
        else if (c == '<')
            line += "\\u003C";
        else if (c == '>')
            line += "\\u003E";
        else
            line += c;
    return line;
}

Result<std::string> rightsPolicy(const std::vector<HelperAuthorizationRight>& rights)
{
    std::string policy = head;
    for (const HelperAuthorizationRight& right : rights) {
        if (!isFit(right))
            return Error{adminError(AdminError::textUnfit), "register the right", right.name};
        policy += action(right);
    }
    return policy + tail;
}

} // namespace veltra
