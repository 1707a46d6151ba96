// Machin-like formulas for logarithms, and the two tables of them that were found offline.
//
// ln x = c_1 arccoth(m_1) + c_2 arccoth(m_2) + ..., where arccoth(m) = 1/2 ln((m + 1) / (m - 1)). Each term
// is a series of one-word numbers (m < 2^32, so that m^2 is a word) of about precision / (2 ln m) terms,
// whence the cost of a formula. (Machin 1706 for the arctangent; Gauss; Stormer 1897 for logarithms.)
#pragma once

#include <span>
#include <vector>

#include "base/names/names.h"
#include "os/types.h"

namespace kalvor {

// Two formulas for every number, so that one confirms the other. Single terms may occur in both.
enum class LogFormulaKind { primary, secondary };

struct LogTerm {
    i64 c;  // coefficient
    u32 m;  // argument of arccoth

    friend bool operator==(const LogTerm&, const LogTerm&) = default;
};

// In the order of the arguments.
struct LogFormula {
    std::vector<LogTerm> terms;

    // The sum of 1 / ln m.
    double cost() const;
    friend bool operator==(const LogFormula&, const LogFormula&) = default;
};

// A formula of a table for the logarithm of a prime.
struct LogRecord {
    static constexpr u64 kTerms = 10;

    u32 p;
    u32 n;                  // terms
    LogTerm terms[kTerms];  // the rest is 0
    double cost;            // rounded to six decimals

    LogFormula formula() const;
};

std::span<const LogRecord> log_table(LogFormulaKind kind);
// Null when the table has no row for p.
const LogRecord* find_log_record(LogFormulaKind kind, u64 p);

}  // namespace kalvor
