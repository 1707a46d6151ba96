// Sets of compressed digit files as a format (digit_sink.h).
#pragma once

#include "digits/files/digit_sink.h"

namespace kalvor {

const DigitFormat& kvd_format();

}  // namespace kalvor
