#include "digits/files/digit_counts.h"

#include "base/errors/exceptions.h"

namespace kalvor {

DigitCounts::DigitCounts(trel::u8 radix) : radix(radix) {
    if (radix < 2 || radix > 16) {
        throw trel::InvalidParametersException("DigitCounts::DigitCounts()", "Radix is too large.");
    }
}

DigitCounts& DigitCounts::operator+=(const DigitCounts& other) {
    for (trel::u64 i = 0; i < count.size(); i++) count[i] += other.count[i];
    return *this;
}

}  // namespace kalvor
