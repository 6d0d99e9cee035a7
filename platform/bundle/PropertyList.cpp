#include "platform/bundle/PropertyList.h"

#include "platform/base/Fd.h"
#include "platform/base/Utf8.h"
#include "platform/bundle/PropertyListOutline.h"

#include <cstdlib>
#include <memory>

#include <fcntl.h>
#include <plist/plist.h>
#include <sys/stat.h>
#include <unistd.h>

namespace veltra {

namespace {

constexpr std::string_view action = "read property list";
constexpr std::size_t largestSize = 1 << 20;

struct FreePlist {
    void operator()(plist_t list) const noexcept { plist_free(list); }
};
using Plist = std::unique_ptr<void, FreePlist>;

struct Free {
    void operator()(void* memory) const noexcept { std::free(memory); }
};

// libplist accepts lists that end early or continue after their end, aborts the program on a NUL in
// a text, and frees nested values recursively: so every input is checked before it gets there.
Plist parseXml(std::string_view bytes)
{
    if (!hasPropertyListOutline(bytes))
        return nullptr;

    plist_t list = nullptr;
    plist_from_xml(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &list);
    return Plist{list};
}

std::optional<std::string_view> textOf(plist_t value)
{
    if (plist_get_node_type(value) != PLIST_STRING)
        return std::nullopt;

    std::uint64_t size = 0;
    const char* text = plist_get_string_ptr(value, &size);
    return std::string_view{text, size};
}

// Calls `visit(key, value)` for every pair of a dictionary until it returns false.
template <typename Visit>
bool visitPairs(plist_t dictionary, Visit visit)
{
    plist_dict_iter start = nullptr;
    plist_dict_new_iter(dictionary, &start);
    const std::unique_ptr<void, Free> iterator{start};
    while (true) {
        char* key = nullptr;
        plist_t value = nullptr;
        plist_dict_next_item(dictionary, iterator.get(), &key, &value);
        const std::unique_ptr<char, Free> keyOwner{key};
        if (!key || !value)
            return true;
        if (!visit(std::string_view{key}, value))
            return false;
    }
}

Result<std::string> contentsOf(const std::string& path)
{
    // Opening a named pipe must not make the program wait for a writer.
    const Fd file{::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)};
    if (!file)
        return Error::last(action, path);

    std::string bytes(largestSize + 1, '\0');
    std::size_t size = 0;
    while (size < bytes.size()) {
        const ssize_t count = ::read(file.get(), bytes.data() + size, bytes.size() - size);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return Error::last(action, path);
        if (count == 0)
            break;
        size += static_cast<std::size_t>(count);
    }
    bytes.resize(size);
    return bytes;
}

} // namespace

Result<PropertyList> PropertyList::parse(std::string_view bytes)
{
    const Error malformed{std::make_error_code(std::errc::bad_message), action};
    if (bytes.size() > largestSize)
        return Error{std::make_error_code(std::errc::file_too_large), action};

    const Plist list = parseXml(bytes);
    if (!list || plist_get_node_type(list.get()) != PLIST_DICT)
        return malformed;

    PropertyList result;
    // A character reference can still denote something that is not valid in UTF-8.
    const bool isWellFormed = visitPairs(list.get(), [&](std::string_view key, plist_t value) {
        const std::optional<std::string_view> text = textOf(value);
        if (text)
            result.texts_.insert_or_assign(std::string{key}, std::string{*text});
        return isValidUtf8(key) && isValidUtf8(text.value_or(std::string_view{}));
    });
    if (!isWellFormed)
        return malformed;

    return result;
}

Result<PropertyList> PropertyList::read(const std::string& path)
{
    const Result<std::string> bytes = contentsOf(path);
    if (!bytes)
        return bytes.error();

    Result<PropertyList> list = parse(bytes.value());
    if (!list)
        return Error{list.error().code(), action, path};

    return list;
}

std::optional<std::string> PropertyList::text(std::string_view key) const
{
    const auto found = texts_.find(key);
    if (found == texts_.end())
        return std::nullopt;

    return found->second;
}

} // namespace veltra
