// Digits that a run is asked for and cannot vouch for.
#pragma once

#include <optional>

#include "base/names/names.h"
#include "base/status/status.h"
#include "constants/evaluator/error_bound.h"

namespace kalvor {

// Warns when the error of the value leaves fewer digits behind the point certain than are wanted, and returns
// how many these are.
std::optional<u64> warn_of_lost_digits(const ErrorBound& error, u64 decimal_digits, Status& status);

}  // namespace kalvor
