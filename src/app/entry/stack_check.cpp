#include "app/entry/stack_check.h"

#include "base/console/error_output.h"
#include "base/console/format.h"

namespace kalvor {

bool check_stack(u64 limit) {
    if (limit == 0 || limit >= kLeastStack) return true;
    const auto kibibytes = [](u64 bytes) { return Console::format_commas(bytes >> 10) + " KiB"; };
    Console::print_problem("The stack is limited to " + kibibytes(limit) + "; Kalvor needs " +
                           kibibytes(kLeastStack) + ".\nRun \"ulimit -s 8192\" and try again.");
    return false;
}

}  // namespace kalvor
