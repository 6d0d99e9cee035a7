#include "platform/base/tests/FileInMemory.h"
#include "platform/bundle/ExecutableInformation.h"
#include "tests/fuzz/PropertyListOutcome.h"

#include <cstdint>

#include <elf.h>

namespace veltra::fuzz {

namespace {

std::string headerOfSection(std::uint32_t name, std::uint64_t start, std::uint64_t size)
{
    Elf64_Shdr header{};
    header.sh_name = name;
    header.sh_type = SHT_PROGBITS;
    header.sh_offset = start;
    header.sh_size = size;
    return {reinterpret_cast<const char*>(&header), sizeof header};
}

} // namespace

Outcome read(const std::string& bytes)
{
    static const FileInMemory file;
    file.write(bytes);
    return outcomeOf(informationOfExecutable(file.path()));
}

std::vector<std::string> pieces()
{
    return {headerOfSection(1, sizeof(Elf64_Ehdr), 64), headerOfSection(1, UINT64_MAX - 8, 16),
            headerOfSection(UINT32_MAX, 0, UINT64_MAX), std::string("info_plist\0", 11),
            std::string(64, '\0')};
}

} // namespace veltra::fuzz
