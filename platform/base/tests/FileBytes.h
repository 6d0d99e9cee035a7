#pragma once

#include <fstream>
#include <sstream>
#include <string>

namespace veltra {

/// The content of a file; empty if it cannot be read.
inline std::string bytesOf(const std::string& path)
{
    std::ostringstream bytes;
    bytes << std::ifstream{path, std::ios::binary}.rdbuf();
    return bytes.str();
}

} // namespace veltra
