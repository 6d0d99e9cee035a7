#include "tests/fuzz/PropertyListOutcome.h"

namespace veltra::fuzz {

Outcome read(const std::string& bytes)
{
    return outcomeOf(PropertyList::parse(bytes));
}

std::vector<std::string> pieces()
{
    return {"<dict>",  "</dict>",   "<array>",       "</array>",         "<!--",
            "-->",     "<![CDATA[", "]]>",           "&#x10FFFF;",       "<key>a</key>",
            "<plist>", "</plist>",  "<!DOCTYPE a [", "<data>AA==</data>"};
}

} // namespace veltra::fuzz
