// What a menu entry or an action answers that this version does not have.
#pragma once

#include <string>

namespace kalvor {

// Throws InvalidParametersException "<what> is not available in this version.".
[[noreturn]] void not_available(const std::string& function, const std::string& what);

}  // namespace kalvor
