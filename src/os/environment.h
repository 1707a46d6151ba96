// Environment variables.
#pragma once

#include <optional>
#include <string>

namespace trel::os {

// Empty optional when the variable is not set.
std::optional<std::string> environment_variable(const char* name);

}  // namespace trel::os
