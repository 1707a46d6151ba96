// The ways to get rid of a prime in the logarithm of a rational number, each at the price of one arccoth.
#pragma once

#include <map>
#include <vector>

#include "constants/builtin/prime_exponents.h"

namespace kalvor {

// 2 arccoth(m) = ln of `ratio`, in which the prime concerned stands with `exponent` and all others are
// smaller.
struct LogStep {
    u64 m;
    i64 exponent;  // 1, -1, 2 or -2
    PrimeExponents ratio;
};

// Which steps are looked at.
struct LogStepChoice {
    bool multiples;  // multiples of primes above 251, not only p and 2p
    u64 most;        // of one prime, the most promising first
};

// Steps of primes above 7, found once each.
class LogSteps {
  public:
    explicit LogSteps(const LogStepChoice& choice) : choice_(choice) {}
    // Up to 251 the relations of the table. Above, those of the numbers beside p and 2p:
    //     ln p = ln(p - 1) + 2 arccoth(2p - 1) = ln(p + 1) - 2 arccoth(2p + 1),
    // likewise p - 2 and p + 2; and those of s p and s p^2 with s a product of 2, 3, 5 and 7, where the
    // number two away has no prime above 251.
    const std::vector<LogStep>& of(u64 p);

  private:
    LogStepChoice choice_;
    std::map<u64, std::vector<LogStep>> found_;
};

// Steps that remove all primes of x at once: `exponent` is that of x in the ratio, 1 or -1. The other primes
// may be larger than those of x. Empty for x = 1.
std::vector<LogStep> whole_number_steps(u64 x, u64 most);

}  // namespace kalvor
