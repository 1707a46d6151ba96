// The argument of a constant, as it stands behind the token's colon.
#pragma once

#include <string_view>

#include "base/names/names.h"
#include "os/types.h"

namespace kalvor {

// A count as people write it (value_text.h); 0 where there is none. Throws InvalidParametersException naming
// the function for text that is not a number, and text + " is out of range." for one that i64 does not hold.
i64 parsed_argument(std::string_view text, const char* function);

// How many digits a number has in a radix.
u64 digits_of_number(u64 n, u32 radix);

}  // namespace kalvor
