#include "platform/bundle/PropertyListOutline.h"

#include "platform/base/Utf8.h"

#include <algorithm>
#include <vector>

namespace veltra {

namespace {

constexpr std::string_view whiteSpace = " \t\r\n";

bool isBlank(std::string_view text)
{
    return text.find_first_not_of(whiteSpace) == std::string_view::npos;
}

// This scan and the parser that runs after it must agree on where a tag ends.
bool isUnambiguous(std::string_view tag)
{
    return tag.find('<') == std::string_view::npos && std::ranges::count(tag, '"') % 2 == 0 &&
           std::ranges::count(tag, '\'') % 2 == 0;
}

class Scanner {
  public:
    explicit Scanner(std::string_view xml) : rest_{xml} {}

    bool scan()
    {
        while (!rest_.empty())
            if (!text() || !(rest_.empty() || markup()))
                return false;
        return hasRoot_ && open_.empty();
    }

  private:
    struct Element {
        std::string_view name;
        std::size_t children = 0;

        bool holdsElements() const { return name == "plist" || name == "dict" || name == "array"; }
        bool isWhole() const
        {
            return name == "plist" ? children == 1 : name != "dict" || children % 2 == 0;
        }
    };

    std::string_view take(std::size_t size)
    {
        const std::string_view taken = rest_.substr(0, size);
        rest_.remove_prefix(taken.size());
        return taken;
    }

    bool skipPast(std::string_view end, std::size_t from)
    {
        const std::size_t at = rest_.find(end, from);
        if (at == std::string_view::npos)
            return false;

        take(at + end.size());
        return true;
    }

    bool text()
    {
        const bool mayHoldText = !open_.empty() && !open_.back().holdsElements();
        return isBlank(take(rest_.find('<'))) || mayHoldText;
    }

    bool markup()
    {
        using namespace std::string_view_literals;
        if (rest_.starts_with("<!--"sv))
            return skipPast("-->"sv, "<!--"sv.size());
        if (rest_.starts_with("<![CDATA["sv))
            return !open_.empty() && !open_.back().holdsElements() && skipPast("]]>"sv, 0);
        if (rest_.starts_with("<?"sv))
            return skipPast("?>"sv, "<?"sv.size());
        return tag();
    }

    bool tag()
    {
        const std::size_t end = rest_.find('>');
        if (end == std::string_view::npos)
            return false;

        const std::string_view inside = take(end + 1).substr(1, end - 1);
        if (!isUnambiguous(inside))
            return false;
        if (inside.starts_with("!DOCTYPE"))
            return !hasRoot_ && inside.find('[') == std::string_view::npos;
        return inside.starts_with('/') ? endTag(inside.substr(1)) : startTag(inside);
    }

    bool startTag(std::string_view inside)
    {
        const bool isEmptyElement = inside.ends_with('/');
        const std::string_view name = inside.substr(0, inside.find_first_of(" \t\r\n/"));
        if (!mayBegin(name))
            return false;

        if (!open_.empty())
            ++open_.back().children;
        hasRoot_ = true;
        open_.push_back({.name = name});
        return !isEmptyElement || endTag(name);
    }

    bool mayBegin(std::string_view name) const
    {
        if (open_.empty())
            return !hasRoot_ && name == "plist";
        return open_.back().holdsElements() && open_.size() < deepestPropertyList;
    }

    bool endTag(std::string_view inside)
    {
        const std::string_view name = inside.substr(0, inside.find_first_of(whiteSpace));
        if (open_.empty() || open_.back().name != name || !open_.back().isWhole() ||
            !isBlank(inside.substr(name.size())))
            return false;

        open_.pop_back();
        return true;
    }

    std::string_view rest_;
    std::vector<Element> open_;
    bool hasRoot_ = false;
};

} // namespace

bool hasPropertyListOutline(std::string_view xml)
{
    return xml.find('\0') == std::string_view::npos && isValidUtf8(xml) && Scanner{xml}.scan();
}

} // namespace veltra
