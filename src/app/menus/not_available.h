// What a menu entry or an action answers that this version does not have.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "base/errors/expected_exceptions.h"

namespace kalvor {

// The top level shows its message as an error line. It is an answer, not a failure, and has no report.
TREL_EXPECTED_EXCEPTION(NotAvailableException);

// Throws NotAvailableException "<what> is not available in this version.".
[[noreturn]] void not_available(const std::string& what);

// How menus show an entry that is missing: behind its name, in this colour.
inline constexpr const char* kNotAvailableYet = "  (not available yet)";
inline constexpr char kDim = 'd';

// Runs what a menu's entry does and returns what that returns. Nothing when it is not available: the error
// line is printed, and the menu comes again.
std::optional<bool> leads_on(const std::function<bool()>& run);

// What is missing, by the names that menus, action words and settings files answer with.
namespace Missing {
inline constexpr const char* kIoAnalysis = "The I/O Performance Analysis";
inline constexpr const char* kLogFormulaGenerator = "The Log(n) Formula Generator";
inline constexpr const char* kSwapMultiplyTest = "The swap multiply test";
inline constexpr const char* kSlaveMode = "Slave mode";
}  // namespace Missing

}  // namespace kalvor
