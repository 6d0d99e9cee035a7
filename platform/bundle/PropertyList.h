#pragma once

#include "platform/base/Error.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace veltra {

/// An information dictionary: the texts of a property list whose top level is a dictionary.
/// Values of other kinds are left out. A value; may be copied between threads.
class PropertyList {
  public:
    /// Reads an XML property list in UTF-8. It is an error (EBADMSG) if the list is malformed or
    /// binary, if its elements are nested more than 64 deep, or if its top level is not a
    /// dictionary. More than one megabyte is also an error (EFBIG). If a key occurs twice, the last
    /// value counts.
    [[nodiscard]] static Result<PropertyList> parse(std::string_view bytes);

    /// Reads and parses a file of at most one megabyte.
    [[nodiscard]] static Result<PropertyList> read(const std::string& path);

    /// The text under `key`; empty if there is no such key or its value is not a text.
    [[nodiscard]] std::optional<std::string> text(std::string_view key) const;

  private:
    std::map<std::string, std::string, std::less<>> texts_;
};

} // namespace veltra
