#include "logview/rows/ReadLine.h"

namespace veltra {

ByteRange rangeOfData_dd(std::string_view haystack, std::string_view needle) noexcept
{
    ByteRange range{.length = needle.size()};
    if (needle.empty())
        return range;

    std::size_t matched = 0;
    for (std::size_t i = 0; i < haystack.size() && matched < needle.size(); ++i) {
        if (haystack[i] == needle[matched]) {
            if (matched++ == 0)
                range.location = i;
        } else {
            range.location = ByteRange::notFound;
            matched = 0;
        }
    }
    return range;
}

} // namespace veltra
