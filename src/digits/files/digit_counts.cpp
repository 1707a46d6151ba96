#include "digits/files/digit_counts.h"

#include "base/errors/exceptions.h"

namespace kalvor {

DigitCounts::DigitCounts(u8 radix) : radix(radix) {
    if (radix < 2 || radix > 16) {
        throw InvalidParametersException("DigitCounts::DigitCounts()", "Radix is too large.");
    }
}

}  // namespace kalvor
