#include "app/settings/compute_settings.h"

#include <algorithm>

#include "constants/catalog/catalog.h"

namespace kalvor {

namespace {

constexpr u64 kDefaultDecimalDigits = 50000000;

}  // namespace

ComputeSettings::ComputeSettings()
    : constant(make_constant(kUsualConstant, "")), size(ComputeSize::from_decimal(kDefaultDecimalDigits)) {}

std::string ComputeSettings::set_decimal_digits(i64 digits) {
    std::string warning;
    size = ComputeSize::from_decimal(clamp_decimal_digits(digits, constant->min_decimal_digits(),
                                                          constant->max_decimal_digits(), warning));
    return warning;
}

std::string ComputeSettings::check_compression() {
    if (digits_per_file == 0) return {};
    // A negative count is a large one.
    const bool enough = static_cast<u64>(digits_per_file) >= kLeastDigitsPerFile &&
                        size.decimal_digits >= kLeastDigitsPerFile &&
                        (!enable_hex || size.hexadecimal_digits >= kLeastDigitsPerFile);
    if (enough) {
        // A file of more digits than there are has those that there are.
        const u64 fewest = enable_hex ? size.hexadecimal_digits : size.decimal_digits;
        if (digits_per_file != kOneFile) {
            digits_per_file = static_cast<i64>(std::min(static_cast<u64>(digits_per_file), fewest));
        }
        return {};
    }
    digits_per_file = 0;
    return "Digits per file below minimum: Disabling compression.";
}

}  // namespace kalvor
