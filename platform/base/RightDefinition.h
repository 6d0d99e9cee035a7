#pragma once

#include <nlohmann/json.hpp>

namespace veltra {

/// A right's definition: the name of a predefined rule (a text) or a rule (an object).
using RightDefinition = nlohmann::json;

} // namespace veltra
