#include "base/registry/named.h"

#include "base/console/console.h"

namespace trel {

void refuse_registration(const std::string& line) {
    Console::error_line(line);
    Console::fatal_exit(1);
}

}  // namespace trel
