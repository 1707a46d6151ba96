// The keyed hash under which the program's own files are known again.
#pragma once

#include <string>
#include <string_view>

#include "base/names/names.h"
#include "os/types.h"

namespace kalvor {

// HMAC-SHA-256 of the text under the program's key: 64 lower-case hexadecimal digits.
std::string signature_of(std::string_view text);

// The key, put together from its pieces; the program's file does not hold it in one.
std::string signature_key();

}  // namespace kalvor
