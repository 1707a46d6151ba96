#include "app/session/certain_digits.h"

#include <string>

#include "base/console/format.h"

namespace kalvor {

std::optional<u64> warn_of_lost_digits(const ErrorBound& error, u64 decimal_digits, Status& status) {
    const u64 certain = certain_decimal_digits(error);
    if (certain >= decimal_digits) return std::nullopt;
    const std::string which =
        certain == 0 ? "no decimal digit is certain."
                     : "only the first " + Console::format_commas(certain) + " decimal digits are certain.";
    status.Status_ColoredLine({{'w', "Warning: "}, {'Y', "Cancellation in the formula: " + which}});
    return certain;
}

}  // namespace kalvor
