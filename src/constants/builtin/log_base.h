// Sets of arguments that express all logarithms of the first primes at once.
#pragma once

#include <initializer_list>
#include <span>
#include <vector>

#include "constants/builtin/log_tables.h"
#include "constants/builtin/prime_exponents.h"

namespace kalvor {

// n arguments whose ratios (m + 1) / (m - 1) are independent products of the first n primes.
class LogBase {
  public:
    explicit LogBase(std::initializer_list<u32> arguments);

    u64 size() const { return arguments_.size(); }
    u64 largest_prime() const;
    // ratio(m_1)^c_1 ratio(m_2)^c_2 ... = r, terms with c = 0 left out. False when r has another prime or a
    // c is not a 64-bit integer.
    [[nodiscard]] bool solve(const PrimeExponents& r, std::vector<LogTerm>& terms) const;

  private:
    std::vector<u32> arguments_;
    std::vector<std::vector<i64>> adjugate_;  // [argument][prime]
    i64 determinant_;
};

// The bases of a kind, smallest first. Primary: the arguments of least cost for the primes up to 7, and up to
// 13; secondary: others for 7, and up to 11.
std::span<const LogBase> log_bases(LogFormulaKind kind);

}  // namespace kalvor
