#include "constants/polynomials/binomials.h"

#include <algorithm>
#include <array>
#include <mutex>
#include <vector>

#include "base/errors/exceptions.h"

namespace kalvor::Polynomials {
namespace {

constexpr u64 kLargest = 62;

// Row n holds C(n, 0) .. C(n, n / 2); the other half mirrors it.
const std::vector<u64>& row(u64 n) {
    static std::array<std::vector<u64>, kLargest + 1> rows;
    static std::array<std::once_flag, kLargest + 1> made;
    std::call_once(made[n], [n] {
        std::vector<u64> list(n / 2 + 1, 1);
        for (u64 k = 1; k < list.size(); k++) {
            const std::vector<u64>& above = row(n - 1);
            list[k] = above[k - 1] + above[std::min(k, n - 1 - k)];
        }
        rows[n] = std::move(list);
    });
    return rows[n];
}

}  // namespace

u64 binomial_coefficient_u64(u64 n, u64 k) {
    if (n > kLargest) {
        throw InvalidParametersException("binomial_coefficient_u64()", "Cannot go beyond degree 62.");
    }
    if (k > n) return 0;
    return row(n)[std::min(k, n - k)];
}

}  // namespace kalvor::Polynomials
