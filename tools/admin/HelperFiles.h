#pragma once

#include <string_view>

/// The contents of the files that the helper needs, from resources/helper.
namespace veltra::HelperFiles {

extern const std::string_view unit;
extern const std::string_view busPolicy;
extern const std::string_view busService;

} // namespace veltra::HelperFiles
