#include "platform/rights/ExternalFormRegistry.h"

#include "platform/base/Fd.h"
#include "platform/base/Folder.h"
#include "platform/base/ProcPath.h"
#include "platform/base/ProcessStatus.h"
#include "platform/base/WriteAll.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <iterator>
#include <span>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

namespace veltra {

namespace {

/// Folders are named after their users: for example PARENT/PREFIX1000SUFFIX.
struct Pattern {
    std::string_view parent;
    std::string_view prefix;
    std::string_view suffix;
};

// In the order in which they are tried.
constexpr std::array<Pattern, 2> patterns{
    {{"/run/user", "", "/veltra-auth"}, {"/dev/shm", "veltra-auth-", ""}}};
constexpr std::size_t digestSize = 32;
constexpr std::size_t largestContent = 100;

/// A folder with the forms of one user's processes.
struct Place {
    std::string path;
    uid_t user = 0;
};

Place placeOf(uid_t user, const Pattern& pattern)
{
    std::string path{pattern.parent};
    path.append("/").append(pattern.prefix).append(std::to_string(user)).append(pattern.suffix);
    return {std::move(path), user};
}

std::array<Place, patterns.size()> placesOf(uid_t user)
{
    return {placeOf(user, patterns[0]), placeOf(user, patterns[1])};
}

std::optional<uid_t> userId(std::string_view text)
{
    uid_t user = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), user);
    if (error != std::errc{} || std::to_string(user) != text)
        return std::nullopt;
    return user;
}

// The folders of all users that have one.
std::vector<Place> placesOfAll(const Pattern& pattern)
{
    std::vector<Place> places;
    const auto names = contentsOfDirectory(std::string{pattern.parent});
    if (!names)
        return places;
    for (const std::string_view name : names.value())
        if (const auto user = name.starts_with(pattern.prefix)
                                  ? userId(name.substr(pattern.prefix.size()))
                                  : std::nullopt)
            places.push_back(placeOf(*user, pattern));
    return places;
}

std::vector<Place> readablePlaces()
{
    std::vector<Place> places;
    if (::geteuid() != 0)
        std::ranges::move(placesOf(::geteuid()), std::back_inserter(places));
    else
        for (const Pattern& pattern : patterns)
            std::ranges::move(placesOfAll(pattern), std::back_inserter(places));
    return places;
}

std::string hex(std::span<const std::uint8_t> bytes)
{
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += digits[byte >> 4U];
        text += digits[byte & 0xFU];
    }
    return text;
}

std::string fileName(const AuthorizationExternalForm& form)
{
    std::array<std::uint8_t, digestSize> digest{};
    ::EVP_Digest(form.data(), form.size(), digest.data(), nullptr, ::EVP_sha256(), nullptr);
    return hex(digest);
}

bool isFileName(std::string_view name)
{
    return name.size() == 2 * digestSize &&
           name.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

std::string contentFor(pid_t process, std::uint64_t startTime)
{
    return "1 " + std::to_string(process) + " " + std::to_string(startTime) + "\n";
}

Fd openFolder(const Place& place)
{
    Fd folder{::open(place.path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)};
    struct stat status {};
    if (!folder || ::fstat(folder.get(), &status) != 0 || status.st_uid != place.user ||
        (status.st_mode & 07777U) != 0700U)
        return {};
    return folder;
}

// A file's content if only its user can have written it; otherwise empty.
std::string trustedContent(const Fd& folder, const std::string& name, uid_t user)
{
    const Fd file{
        ::openat(folder.get(), name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC)};
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode) ||
        status.st_uid != user || (status.st_mode & 07777U) != 0600U || status.st_nlink != 1)
        return {};

    std::array<char, largestContent> content{};
    const ssize_t size = ::read(file.get(), content.data(), content.size());
    return size > 0 ? std::string{content.data(), static_cast<std::size_t>(size)} : std::string{};
}

// The user is the folder's owner: the file's content must not choose it.
std::optional<RegisteredProcess> processOf(const std::string& content, uid_t user)
{
    const char* const end = content.data() + content.size();
    pid_t process = 0;
    std::uint64_t startTime = 0;
    if (!content.starts_with("1 "))
        return std::nullopt;
    const char* const afterProcess = std::from_chars(content.data() + 2, end, process).ptr;
    if (afterProcess == end)
        return std::nullopt;
    std::from_chars(afterProcess + 1, end, startTime);
    if (process <= 0 || content != contentFor(process, startTime))
        return std::nullopt;
    return RegisteredProcess::find(process, startTime, user);
}

// `isOver` says, given a file's trusted content, whether to remove the file.
template <typename Condition>
void removeFiles(const Place& place, const Fd& folder, const Condition& isOver)
{
    const auto names = contentsOfDirectory(place.path);
    if (!names)
        return;
    for (const std::string& name : names.value())
        if (isFileName(name) && isOver(trustedContent(folder, name, place.user)))
            ::unlinkat(folder.get(), name.c_str(), 0);
}

void removeFilesOfTheDead(const Place& place, const Fd& folder)
{
    removeFiles(place, folder,
                [&](const std::string& content) { return !processOf(content, place.user); });
}

// The file gets its name only once it has its complete content.
bool writeFile(const Fd& folder, const std::string& name, const std::string& content)
{
    const Fd file{::openat(folder.get(), ".", O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600)};
    const std::string link = descriptorPath(file.get());
    return file && ::fchmod(file.get(), 0600) == 0 && writeAll(file.get(), content) &&
           ::linkat(AT_FDCWD, link.c_str(), folder.get(), name.c_str(), AT_SYMLINK_FOLLOW) == 0;
}

} // namespace

// A child of fork(2) finds that none of the files is its own.
ExternalFormRegistry::~ExternalFormRegistry()
{
    const auto startTime = processStartTime(::getpid());
    if (!isUsed_.test() || !startTime)
        return;
    for (const Place& place : placesOf(::geteuid()))
        if (const Fd folder = openFolder(place))
            removeFiles(place, folder,
                        [own = contentFor(::getpid(), *startTime)](const std::string& content) {
                            return content == own;
                        });
}

Result<AuthorizationExternalForm> ExternalFormRegistry::add()
{
    AuthorizationExternalForm form{};
    const auto startTime = processStartTime(::getpid());
    if (!startTime || ::getrandom(form.data(), form.size(), 0) != ssize_t{form.size()})
        return Error::last("make an external form");

    const std::string name = fileName(form);
    const std::string content = contentFor(::getpid(), *startTime);
    const bool isFirst = !isUsed_.test_and_set();
    for (const Place& place : placesOf(::geteuid())) {
        ::mkdir(place.path.c_str(), 0700);
        const Fd folder = openFolder(place);
        if (folder && isFirst)
            removeFilesOfTheDead(place, folder);
        if (folder && writeFile(folder, name, content))
            return form;
    }
    return Error{std::make_error_code(std::errc::permission_denied), "register an external form"};
}

std::optional<RegisteredProcess> ExternalFormRegistry::find(const AuthorizationExternalForm& form)
{
    const std::string name = fileName(form);
    for (const Place& place : readablePlaces())
        if (const Fd folder = openFolder(place))
            if (auto process = processOf(trustedContent(folder, name, place.user), place.user))
                return process;
    return std::nullopt;
}

} // namespace veltra
