// fuzz READER SECONDS SEED: gives READER (signature, property-list or section) damaged bytes for
// that many seconds. Prints how many inputs it was given and how many of them it accepted. If the
// reader broke a promise, the exit status is 1 and the bytes are in the file fuzz-READER.bytes;
// crashes are reported by the sanitizers.
#include "platform/base/tests/FileBytes.h"
#include "platform/bundle/ExecutableInformation.h"
#include "platform/bundle/tests/CraftedExecutable.h"
#include "platform/signing/CodeSignature.h"
#include "platform/signing/CodeSigningStatus.h"
#include "platform/signing/tests/CraftedSignature.h"
#include "platform/signing/tests/SignedFile.h"
#include "platform/signing/tests/SigningChain.h"
#include "tests/fuzz/Damage.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

namespace {

using namespace veltra;

enum class Outcome { good, refused, broken };

/// A reader, with valid bytes to damage.
struct Target {
    std::string whole;
    std::vector<std::string> pieces;
    std::function<Outcome(const std::string&)> read;
};

void fill(const Fd& file, const std::string& bytes)
{
    check(::ftruncate(file.get(), 0) == 0 && ::pwrite(file.get(), bytes.data(), bytes.size(), 0) ==
                                                 static_cast<ssize_t>(bytes.size()),
          "write the file");
}

const std::string list = R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict><!-- a --><key>a</key><string>&lt;&#228;<![CDATA[<raw>]]></string>
<key>b</key><array><dict><key>c</key><true/></dict><integer>7</integer></array></dict></plist>)";

const std::vector<std::string> marks{
    "<dict>",  "</dict>",   "<array>",       "</array>",         "<!--",
    "-->",     "<![CDATA[", "]]>",           "&#x10FFFF;",       "<key>a</key>",
    "<plist>", "</plist>",  "<!DOCTYPE a [", "<data>AA==</data>"};

Outcome outcomeOf(const Result<PropertyList>& result)
{
    if (result)
        return Outcome::good;
    const std::error_code code = result.error().code();
    return code == std::errc::bad_message || code == std::errc::executable_format_error
               ? Outcome::refused
               : Outcome::broken;
}

// A file may count as signed only while its signed bytes and its certificates are unchanged.
Target signature()
{
    const std::string content = "\x7F"
                                "ELF" +
                                std::string(200, 'c');
    const auto file = std::make_shared<const Fd>(::memfd_create("fuzz", MFD_CLOEXEC));
    return {withSignature(content, craftSignature(content, {})),
            {std::string("\x30\x80", 2), std::string("\x30\x84\xFF\xFF\xFF\xFF", 6),
             std::string("\x06\x09\x2A\x86\x48\x86\xF7\x0D\x01\x07\x02", 11),
             std::string("\0\0", 2), std::string("\xA0\x82\x01\0", 4), "\x31\x82\x7F"},
            [content, file](const std::string& bytes) {
                fill(*file, bytes);
                const OSStatus status = CodeSignature::check(file->get());
                if (status != errSecSuccess)
                    return codeSigningText(status) ? Outcome::refused : Outcome::broken;
                const auto read = CodeSignature::read(file->get()).object;
                const bool isTheSame = read && read->signedSize() == content.size() &&
                                       bytes.starts_with(content) &&
                                       read->certificates() == sharedChain().certificates();
                return isTheSame ? Outcome::good : Outcome::broken;
            }};
}

Target propertyList()
{
    return {list, marks,
            [](const std::string& bytes) { return outcomeOf(PropertyList::parse(bytes)); }};
}

Target section()
{
    const CraftedExecutable executable{{.content = list}};
    const auto file = std::make_shared<const Fd>(::memfd_create("fuzz", MFD_CLOEXEC));
    const std::string path = "/proc/self/fd/" + std::to_string(file->get());
    return {executable.bytes(),
            {executable.bytes().substr(executable.headersStart()), std::string("info_plist\0", 11),
             std::string(64, '\0')},
            [file, path](const std::string& bytes) {
                fill(*file, bytes);
                return outcomeOf(informationOfExecutable(path));
            }};
}

int run(const std::string& name, const Target& target, std::chrono::seconds time,
        std::uint32_t seed)
{
    Damage damage{seed, target.pieces};
    check(target.read(target.whole) == Outcome::good, "read what is whole");
    std::map<Outcome, std::size_t> counts;
    const auto end = std::chrono::steady_clock::now() + time;
    while (std::chrono::steady_clock::now() < end && counts[Outcome::broken] == 0) {
        const std::string bytes = damage.of(target.whole);
        const Outcome outcome = target.read(bytes);
        if (outcome == Outcome::broken)
            std::ofstream{"fuzz-" + name + ".bytes", std::ios::binary} << bytes;
        ++counts[outcome];
    }
    std::printf("%s, seed %u: %zu refused, %zu good, %zu broken\n", name.c_str(), seed,
                counts[Outcome::refused], counts[Outcome::good], counts[Outcome::broken]);
    return counts[Outcome::broken] == 0 && counts[Outcome::refused] > 0 ? EXIT_SUCCESS
                                                                        : EXIT_FAILURE;
}

} // namespace

int main(int count, char** arguments)
{
    const std::map<std::string, Target (*)()> targets{
        {"signature", signature}, {"property-list", propertyList}, {"section", section}};
    const auto target = count == 4 ? targets.find(arguments[1]) : targets.end();
    if (target == targets.end()) {
        std::fputs("usage: fuzz signature|property-list|section SECONDS SEED\n", stderr);
        return 2;
    }
    try {
        return run(target->first, target->second(), std::chrono::seconds{std::stol(arguments[2])},
                   static_cast<std::uint32_t>(std::stoul(arguments[3])));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "fuzz: %s\n", error.what());
        return 2;
    }
}
