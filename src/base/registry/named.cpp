#include "base/registry/named.h"

#include "base/console/console.h"
#include "base/console/error_output.h"

namespace trel {

void refuse_registration(const std::string& line) {
    Console::print_problem(line);
    Console::fatal_exit(1);
}

}  // namespace trel
