#include "os/environment.h"

#include <cstdlib>

namespace trel::os {

std::optional<std::string> environment_variable(const char* name) {
    const char* value = std::getenv(name);
    if (!value) return std::nullopt;
    return std::string(value);
}

}  // namespace trel::os
