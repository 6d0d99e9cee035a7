#include "platform/signing/AppendedSignature.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>

#include <sys/stat.h>
#include <unistd.h>

namespace veltra {

namespace {

constexpr std::string_view magic{"\xF7VxSign\n", 8};
constexpr std::size_t lengthSize = 8;
constexpr std::size_t trailerSize = lengthSize + magic.size();

bool readFully(int descriptor, std::uint64_t offset, std::span<unsigned char> bytes)
{
    while (!bytes.empty()) {
        const ssize_t count =
            ::pread(descriptor, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return false;

        bytes = bytes.subspan(static_cast<std::size_t>(count));
        offset += static_cast<std::uint64_t>(count);
    }
    return true;
}

std::uint64_t lengthIn(std::span<const unsigned char, trailerSize> trailer)
{
    std::uint64_t length = 0;
    for (std::size_t i = 0; i < lengthSize; ++i)
        length |= std::uint64_t{trailer[i]} << (8 * i);
    return length;
}

} // namespace

SecOutcome<AppendedSignature> AppendedSignature::read(int descriptor)
{
    struct stat status {};
    if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode))
        return {errSecCSCodeUnreadable, {}};
    const auto size = static_cast<std::uint64_t>(status.st_size);
    if (size > largestFile)
        return {errSecCSCodeTooLarge, {}};
    if (size < trailerSize)
        return {errSecCSUnsigned, {}};

    std::array<unsigned char, trailerSize> trailer{};
    if (!readFully(descriptor, size - trailerSize, trailer))
        return {errSecCSCodeUnreadable, {}};
    if (!std::ranges::equal(std::span{trailer}.subspan(lengthSize), magic, {}, {},
                            [](char byte) { return static_cast<unsigned char>(byte); }))
        return {errSecCSUnsigned, {}};

    const std::uint64_t length = lengthIn(trailer);
    if (length == 0 || length > largestDer || length > size - trailerSize)
        return {errSecCSSignatureMalformed, {}};

    AppendedSignature signature{.signedSize = size - trailerSize - length,
                                .der = std::vector<unsigned char>(length)};
    if (!readFully(descriptor, signature.signedSize, signature.der))
        return {errSecCSCodeUnreadable, {}};
    return {errSecSuccess, std::move(signature)};
}

std::string AppendedSignature::ending(std::span<const unsigned char> der)
{
    std::string bytes{der.begin(), der.end()};
    for (std::size_t i = 0; i < lengthSize; ++i)
        bytes.push_back(static_cast<char>(der.size() >> (8 * i) & 0xFF));
    return bytes.append(magic);
}

} // namespace veltra
