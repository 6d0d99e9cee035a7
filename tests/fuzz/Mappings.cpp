#include "platform/process/ProcessMappings.h"
#include "tests/fuzz/FuzzTarget.h"

#include <algorithm>
#include <sstream>
#include <string_view>

#include <sys/sysmacros.h>

namespace veltra::fuzz {

namespace {

std::vector<ProcessMapping> mappingsIn(const std::string& text)
{
    std::vector<ProcessMapping> mappings;
    std::istringstream smaps{text};
    // What was read before a bound was reached is looked at all the same.
    static_cast<void>(readExecutableFileMappings(smaps, [&](const ProcessMapping& mapping) {
        mappings.push_back(mapping);
        return success;
    }));
    return mappings;
}

bool endsALine(std::string_view text, std::string_view end)
{
    for (auto at = text.find(end); at != text.npos; at = text.find(end, at + 1)) {
        const std::string_view rest = text.substr(at + end.size());
        if (rest.empty() || rest.starts_with('\n'))
            return true;
    }
    return false;
}

bool isFromText(const std::vector<ProcessMapping>& mappings, std::string_view text)
{
    return std::ranges::all_of(mappings, [text](const ProcessMapping& mapping) {
        return mapping.inode != 0 && mapping.path.find('\n') == std::string::npos &&
               endsALine(text, mapping.path);
    });
}

// Whoever names a file must not be able to pass it off as another one. The kernel writes a line
// feed in a name as \012.
bool isNamed(std::string path)
{
    std::ranges::replace(path, '\n', ' ');
    path.insert(0, "/");
    const auto mappings =
        mappingsIn("1-2 r-xp 0 fe:00 3   " + path + "\nAnonymous:   4 kB\n3-4 rw-p 0 00:00 0 \n");
    return mappings == std::vector{ProcessMapping{.start = 1,
                                                  .end = 2,
                                                  .path = path,
                                                  .device = makedev(0xfe, 0),
                                                  .inode = 3,
                                                  .isWrittenTo = true}};
}

} // namespace

Outcome read(const std::string& bytes)
{
    const auto mappings = mappingsIn(bytes);
    if (!isFromText(mappings, bytes) || !isNamed(bytes))
        return Outcome::broken;
    return mappings.empty() ? Outcome::refused : Outcome::good;
}

std::vector<std::string> pieces()
{
    return {"1-2 r-xp 0 fe:00 3 /a\n",
            "Anonymous:  4 kB\n",
            "Swap:  4 kB\n",
            " (deleted)",
            "[vdso]",
            "\\012",
            " r-xp ",
            " 18446744073709551616 ",
            "-"};
}

} // namespace veltra::fuzz
