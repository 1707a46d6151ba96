#include "base/errors/exceptions.h"
#include "base/names/names.h"
#include "digits/convert/convert.h"

namespace kalvor::CBRv2 {

namespace {

const char kRange[] =
    "\n\nKalvor's radix conversion and digit output is only equipped to handle\npositive numbers with a "
    "magnitude "
    "near 1.\n\nThe exact range that Kalvor can handle is:\n    32-bit binaries: 2^-32 < x < 2^32\n    "
    "64-bit "
    "binaries: 2^-64 < x < 2^64";

}  // namespace

void words_to_dec(Status& status, int sign, i64 magnitude,
                  const std::function<std::vector<std::string>()>& dump) {
    if (sign == 0) {
        throw InvalidParametersException("words_to_dec()",
                                         std::string("Number is zero and out of range.") + kRange);
    }
    if (sign < 0) {
        status.Warning(
            "Warning: Kalvor's digit output cannot handle negative numbers.\nOutput will be flipped "
            "positive...\n");
    }
    if (magnitude <= 1) return;
    status.Status_Line("");
    for (const std::string& line : dump()) status.Status_Line(line);
    throw InvalidParametersException("words_to_dec()", std::string("Number is out of range.") + kRange);
}

}  // namespace kalvor::CBRv2
