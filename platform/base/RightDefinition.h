#pragma once

#include <nlohmann/json.hpp>

namespace veltra {

/// A right's definition: the name of a predefined rule, as a text, or a rule, as an object.
using RightDefinition = nlohmann::json;

} // namespace veltra
