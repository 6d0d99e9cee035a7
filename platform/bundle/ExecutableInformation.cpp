#include "platform/bundle/ExecutableInformation.h"

#include "platform/base/Fd.h"

#include <memory>
#include <optional>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <gelf.h>
#include <libelf.h>

namespace veltra {

namespace {

constexpr std::string_view action = "read information of";
constexpr std::string_view sectionName = "info_plist";
constexpr std::size_t largestSize = 1 << 20;

struct EndElf {
    void operator()(Elf* elf) const noexcept { elf_end(elf); }
};
using ElfPointer = std::unique_ptr<Elf, EndElf>;

bool isNamed(Elf* elf, std::size_t names, const GElf_Shdr& header)
{
    const char* const name = elf_strptr(elf, names, header.sh_name);
    return name && name == sectionName;
}

// The bytes are valid as long as `elf`.
std::optional<std::string_view> section(Elf* elf)
{
    std::size_t names = 0;
    if (elf_getshdrstrndx(elf, &names) != 0)
        return std::nullopt;
    for (Elf_Scn* part = elf_nextscn(elf, nullptr); part; part = elf_nextscn(elf, part)) {
        GElf_Shdr header{};
        if (!gelf_getshdr(part, &header) || !isNamed(elf, names, header))
            continue;
        if (header.sh_size > largestSize)
            return std::nullopt;
        const Elf_Data* const data = elf_rawdata(part, nullptr);
        // A section without bytes in the file still has a size.
        if (!data || !data->d_buf)
            return std::nullopt;
        return std::string_view{static_cast<const char*>(data->d_buf), data->d_size};
    }
    return std::nullopt;
}

} // namespace

Result<PropertyList> informationOfExecutable(const std::string& path)
{
    // Without O_NONBLOCK, opening a FIFO would wait for a writer.
    const Fd file{::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)};
    if (!file)
        return Error::last(action, path);
    elf_version(EV_CURRENT);
    // Read, not mapped: truncating a mapped file would crash the program.
    const ElfPointer elf{elf_begin(file.get(), ELF_C_READ, nullptr)};
    const auto bytes = elf ? section(elf.get()) : std::nullopt;
    return bytes ? PropertyList::parse(*bytes)
                 : Error{std::make_error_code(std::errc::executable_format_error), action, path};
}

} // namespace veltra
