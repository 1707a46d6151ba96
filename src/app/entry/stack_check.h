// The start-up check of the stack that the user's limits leave.
#pragma once

#include "base/names/names.h"
#include "os/types.h"

namespace kalvor {

// Every thread manages with this much. New threads get a stack of the same size as the limit.
inline constexpr u64 kLeastStack = u64(1) << 20;

// False, with an error line that says what to do, when the limit (os::stack_limit(): 0 = none) is lower.
bool check_stack(u64 limit);

}  // namespace kalvor
