// Derives a Machin-like formula for the logarithm of any integer.
#pragma once

#include <string>

#include "constants/builtin/log_tables.h"
#include "constants/builtin/prime_exponents.h"

namespace kalvor {

struct GeneratedLogFormula {
    LogFormula formula;
    // x is a prime of the table, and its row costs more.
    bool better_than_table = false;
    // Points that the search visited, at most 20,000 a strategy; its time is proportional to them.
    u64 points = 0;
    double seconds = 0;  // that it took
};

// The report of such a result.
inline constexpr const char* kHeuristicIsBetter =
    "The heuristic has found a better formula than the table entry.";

// The cheapest formula of a kind that the search finds, checked exactly; at most 12 terms, 6 up to x = 1000.
// The formula of 1 has no terms. The formulas of one x of the two kinds differ. Well below a second. Throws
// InvalidParametersException "Error: Log(0)", AlgorithmFailedException "Unable to derive formula." (also
// above 2^31 - 1) and "Unable to verify correctness of formula.".
GeneratedLogFormula generate_log_formula(u64 x, LogFormulaKind kind);

// Both formulas of x. The secondary one depends on the primary one, which is not to be found again.
struct GeneratedLogFormulas {
    GeneratedLogFormula primary, secondary;

    const GeneratedLogFormula& of(LogFormulaKind kind) const {
        return kind == LogFormulaKind::primary ? primary : secondary;
    }
};
GeneratedLogFormulas generate_log_formulas(u64 x);

// The formula that the tables alone give: rows of the formula table for primes that have one, else the first
// relation of the largest prime. Throws InvalidParametersException "Non-base prime found in queue." when a
// prime has neither.
LogFormula table_route(u64 x, LogFormulaKind kind);

// The exact check: for every prime, c (v(m + 1) - v(m - 1)) summed over the terms is 2 v(x). Throws
// AlgorithmFailedException "Unable to verify correctness of formula.".
void verify_log_formula(u64 x, const LogFormula& formula);

// "Log[10] = " and a line for each term, then the cost.
std::string log_formula_text(u64 x, const LogFormula& formula);
// "Generating Primary Formula...       ", to which the time is added.
const char* generating_label(LogFormulaKind kind);

}  // namespace kalvor
