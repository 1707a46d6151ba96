#include "constants/catalog/constant_argument.h"

#include <limits>
#include <string>

#include "base/command_line/shown_text.h"
#include "base/command_line/value_text.h"
#include "base/errors/exceptions.h"

namespace kalvor {

i64 parsed_argument(std::string_view text, const char* function) {
    const std::optional<i64> count = text.empty() ? 0 : CommandLine::parse_count(text);
    if (!count) {
        throw InvalidParametersException(
            function, CommandLine::quoted(text) + " is not a number. " + CommandLine::kRightNumber);
    }
    // Counts end at the ends of their type; the constant of another number than the one that was named is not
    // an answer.
    if (*count == std::numeric_limits<i64>::max() && text != std::to_string(*count)) {
        throw InvalidParametersException(function, CommandLine::shown(text) + " is out of range.");
    }
    return *count;
}

u64 digits_of_number(u64 n, u32 radix) {
    u64 digits = 1;
    for (; n >= radix; n /= radix) digits++;
    return digits;
}

}  // namespace kalvor
