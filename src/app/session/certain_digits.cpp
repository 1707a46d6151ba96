#include "app/session/certain_digits.h"

#include <algorithm>
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

namespace {

// Rows are by chance once in 10^20 values.
constexpr u64 kShortestRow = 20;

// How many of the first n digits stand before a row of one digit at their end.
u64 before_row(const FloatReaderB& digits, u64 n, u64 digit) {
    constexpr u64 kWordDigits = 19;
    while (n > 0) {
        Word word;
        digits.load_words(&word, static_cast<i64>((n - 1) / kWordDigits), 1);
        u64 in_word = (n - 1) % kWordDigits + 1;
        for (u64 i = in_word; i < kWordDigits; i++) word /= 10;
        for (; in_word > 0 && word % 10 == digit; in_word--, n--) word /= 10;
        if (in_word > 0) break;
    }
    return n;
}

}  // namespace

std::optional<u64> warn_of_open_carry(const ErrorBound& error, const FloatReaderB& digits, u64 wanted,
                                      Status& status) {
    const u64 per_word = digits.digits_per_word();
    const u64 words = (digits.total_digits() + per_word - 1) / per_word;
    const u64 known = std::min(words * per_word, certain_decimal_digits(error));
    if (error.exact || known < wanted || wanted == 0) return std::nullopt;
    for (const u64 digit : {9, 0}) {
        const u64 row = before_row(digits, known, digit);
        // A row that begins behind the wanted digits changes none of them. A number with no other digits is
        // nearer to zero than these tell.
        if (row > wanted || known - row < kShortestRow) continue;
        if (row == 0 && digit == 0 && digits.integer_part() == 0) continue;
        // The digit before the row is what a carry changes.
        const u64 certain = row == 0 ? 0 : row - 1;
        status.Status_ColoredLine(
            {{'w', "Warning: "},
             {'Y', std::string("The digits end in a row of ") + (digit == 9 ? "nines" : "zeros") +
                       ": those behind the first " + Console::format_commas(certain) +
                       " may be rounded either way."}});
        return certain;
    }
    return std::nullopt;
}

}  // namespace kalvor
