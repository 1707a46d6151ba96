#include <cstring>

#include "os/error.h"

namespace trel::os {

std::string system_error_text(u32 code) {
    char buffer[256];
    return strerror_r(static_cast<int>(code), buffer, sizeof buffer);
}

}  // namespace trel::os
