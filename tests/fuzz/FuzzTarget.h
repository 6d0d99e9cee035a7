#pragma once

#include <string>
#include <vector>

/// A reader of bytes that strangers wrote; each has a source of its own here, which defines these.
namespace veltra::fuzz {

enum class Outcome {
    good,
    refused,
    broken, ///< the reader did not keep a promise
};

/// Gives `bytes` to the reader. Always has the same outcome for the same bytes.
[[nodiscard]] Outcome read(const std::string& bytes);

/// What an attacker who knows the format would insert.
[[nodiscard]] std::vector<std::string> pieces();

} // namespace veltra::fuzz
