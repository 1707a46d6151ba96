#include "app/session/certain_digits.h"

#include <string>

#include "base/console/format.h"

namespace kalvor {

void warn_of_lost_digits(const ErrorBound& error, u64 decimal_digits, Status& status) {
    const u64 certain = certain_decimal_digits(error);
    if (certain >= decimal_digits) return;
    status.Status_ColoredLine({{'w', "Warning: "},
                               {'Y', "Cancellation in the formula: only the first " +
                                         Console::format_commas(certain) + " decimal digits are certain."}});
}

}  // namespace kalvor
