#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include <elf.h>

namespace veltra {

/// The bytes of an ELF file that consists only of one section and its name. A value.
class CraftedExecutable {
  public:
    struct Section {
        std::string name = "info_plist";
        std::string content;
        std::uint32_t type = SHT_PROGBITS;
    };

    explicit CraftedExecutable(const Section& section)
    {
        const std::string names = '\0' + section.name + '\0' + ".shstrtab" + '\0';
        const std::uint64_t namesStart = sizeof(Elf64_Ehdr) + section.content.size();
        headersStart_ = (namesStart + names.size() + 7) / 8 * 8;

        Elf64_Ehdr file{};
        std::memcpy(file.e_ident, ELFMAG, SELFMAG);
        file.e_ident[EI_CLASS] = ELFCLASS64;
        file.e_ident[EI_DATA] = ELFDATA2LSB;
        file.e_ident[EI_VERSION] = EV_CURRENT;
        file.e_type = ET_EXEC;
        file.e_machine = EM_X86_64;
        file.e_version = EV_CURRENT;
        file.e_shoff = headersStart_;
        file.e_ehsize = sizeof file;
        file.e_shentsize = sizeof(Elf64_Shdr);
        file.e_shnum = 3;
        file.e_shstrndx = 2;
        append(file);
        bytes_ += section.content;
        bytes_ += names;
        bytes_.resize(headersStart_);
        append(Elf64_Shdr{});
        appendHeader(1, section.type, sizeof file, section.content.size());
        appendHeader(static_cast<std::uint32_t>(section.name.size() + 2), SHT_STRTAB, namesStart,
                     names.size());
    }

    [[nodiscard]] const std::string& bytes() const noexcept { return bytes_; }

    /// The offset of the section headers, which are at the end of the file.
    [[nodiscard]] std::size_t headersStart() const noexcept { return headersStart_; }

  private:
    template <typename T>
    void append(const T& part)
    {
        bytes_.append(reinterpret_cast<const char*>(&part), sizeof part);
    }

    void appendHeader(std::uint32_t name, std::uint32_t type, std::uint64_t start,
                      std::uint64_t size)
    {
        Elf64_Shdr header{};
        header.sh_name = name;
        header.sh_type = type;
        header.sh_offset = start;
        header.sh_size = size;
        header.sh_addralign = 1;
        append(header);
    }

    std::string bytes_;
    std::size_t headersStart_ = 0;
};

} // namespace veltra
