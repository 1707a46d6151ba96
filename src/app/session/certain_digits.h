// Digits that a run is asked for and cannot vouch for.
#pragma once

#include <optional>

#include "base/names/names.h"
#include "base/status/status.h"
#include "constants/evaluator/error_bound.h"
#include "digits/output/float_reader.h"

namespace kalvor {

// Warns when the error of the value leaves fewer digits behind the point certain than are wanted, and returns
// how many these are.
std::optional<u64> warn_of_lost_digits(const ErrorBound& error, u64 decimal_digits, Status& status);

// Where the digits behind those that are wanted are all 9 or all 0 as far as they are known, the error may
// carry into them. Warns of that, and returns where the row of equal digits begins. digits: of the value, all
// that were computed; wanted: how many of them are shown.
std::optional<u64> warn_of_open_carry(const ErrorBound& error, const FloatReaderB& digits, u64 wanted,
                                      Status& status);

}  // namespace kalvor
