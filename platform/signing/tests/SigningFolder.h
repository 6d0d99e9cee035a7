#pragma once

#include "platform/base/tests/TemporaryFolder.h"
#include "platform/signing/tests/SignedFile.h"
#include "platform/signing/tests/SigningChain.h"

#include <filesystem>
#include <fstream>
#include <string>

namespace veltra {

/// A temporary folder with programs and bundles in it, signed or not.
class SigningFolder : public TemporaryFolder {
  public:
    /// Copies a program there and returns its path. If `chain` is null, it is not signed.
    [[nodiscard]] std::string addProgram(const std::string& name, const SigningChain* chain,
                                         const std::string& program = "/bin/sleep") const
    {
        const std::string path = file(name);
        std::filesystem::create_directories(std::filesystem::path{path}.parent_path());
        std::filesystem::copy_file(program, path);
        if (chain)
            signFile(path, *chain);
        return path;
    }
};

/// A folder that contains the bundle "Test.app": its main executable "Main", a nested executable
/// "Helper", both signed, and a resource.
class BundleFolder : public SigningFolder {
  public:
    BundleFolder()
        : main_{addProgram("Test.app/Contents/Linux/Main", &sharedChain())},
          helper_{addProgram("Test.app/Contents/Library/LaunchServices/Helper", &sharedChain())}
    {
        nameExecutable("Main");
        std::filesystem::create_directories(file("Test.app/Contents/Resources"));
        write("Test.app/Contents/Resources/Text", "a resource");
    }

    [[nodiscard]] std::string bundle() const { return file("Test.app"); }
    [[nodiscard]] const std::string& main() const noexcept { return main_; }
    [[nodiscard]] const std::string& helper() const noexcept { return helper_; }

    /// Makes Info.plist name another main executable.
    void nameExecutable(const std::string& name) const
    {
        write("Test.app/Contents/Info.plist", "<plist><dict><key>CFBundleExecutable</key><string>" +
                                                  name + "</string></dict></plist>");
    }

  private:
    std::string main_;
    std::string helper_;
};

/// Changes one byte in the middle of the signed bytes.
inline void changeOneByte(const std::string& path)
{
    std::string bytes = bytesOf(path);
    const auto middle = bytes.size() / 2;
    bytes[middle] = static_cast<char>(bytes[middle] ^ 1);
    std::fstream stream{path, std::ios::binary | std::ios::in | std::ios::out};
    stream << bytes;
}

} // namespace veltra
