#include "app/settings/compute_size.h"

#include <cmath>

#include "arith/estimate/double_double.h"
#include "base/console/format.h"

namespace kalvor {

namespace {

constexpr char kLog10Over16[] = "0.83048202372184058696757985737234754396620784825615";

u64 hexadecimal_from_decimal(u64 decimal_digits) {
    static const DoubleDouble ratio = DoubleDouble::parse(kLog10Over16);
    // Beyond 2^52 a double no longer holds the product's units.
    if (decimal_digits < (u64(1) << 52)) {
        return static_cast<u64>(static_cast<double>(decimal_digits) * ratio.high) + 1;
    }
    const DoubleDouble product = DoubleDouble::from_u64(decimal_digits) * ratio;
    const double high = std::floor(product.high);
    const i64 low = static_cast<i64>(std::floor((product.high - high) + product.low));
    return static_cast<u64>(static_cast<i64>(high) + low) + 1;
}

std::string said(u64 decimal_digits) {
    return " That is " + Console::format_commas(decimal_digits) + " decimal digits.";
}

}  // namespace

ComputeSize ComputeSize::from_decimal(u64 decimal_digits) {
    const u64 hexadecimal = hexadecimal_from_decimal(decimal_digits);
    return {decimal_digits, hexadecimal, hexadecimal / 16 + 3};
}

u64 clamp_decimal_digits(i64 digits, u64 minimum, u64 maximum, std::string& warning) {
    if (digits < 0 || static_cast<u64>(digits) < minimum) {
        warning = "Precision below minimum. Adjusting to minimum." + said(minimum);
        return minimum;
    }
    if (static_cast<u64>(digits) > maximum) {
        warning = "Precision above maximum: Clipping to maximum." + said(maximum);
        return maximum;
    }
    warning.clear();
    return static_cast<u64>(digits);
}

}  // namespace kalvor
