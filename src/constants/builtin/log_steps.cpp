#include "constants/builtin/log_steps.h"

#include <algorithm>
#include <cmath>

#include "constants/builtin/log_relations.h"

namespace kalvor {
namespace {

// m + 1, so that m stays below 2^32.
constexpr u64 kLargest = u64(1) << 32;
// The largest prime of the relation table.
constexpr u64 kTablePrimes = 251;
constexpr u64 kBasePrimes = 7;

// The products of 2, 3, 5 and 7 up to 2^32, in order; some four thousand.
const std::vector<u64>& smooth_numbers() {
    static const std::vector<u64> numbers = [] {
        std::vector<u64> list = {1};
        for (const u64 q : {2, 3, 5, 7}) {
            // The list grows while it is read.
            for (u64 i = 0; i < list.size(); i++) {
                if (list[i] * q <= kLargest) list.push_back(list[i] * q);
            }
        }
        std::sort(list.begin(), list.end());
        return list;
    }();
    return numbers;
}

bool only_table_primes(u64 n) {
    static const std::vector<u32> primes = [] {
        std::vector<u32> list;
        for (u32 p = 2; p <= kTablePrimes; p++) {
            if (factor(p).begin()->first == p) list.push_back(p);
        }
        return list;
    }();
    for (const u32 p : primes) {
        while (n % p == 0) n /= p;
    }
    return n == 1;
}

// What the step and the removal of its other primes may cost together, roughly: a table prime takes about
// 0.1, larger ones lead to further primes.
double promise(const LogStep& step, const PrimeExponents& removed) {
    double cost = 1 / std::log(static_cast<double>(step.m));
    for (const auto& [q, exponent] : step.ratio) {
        if (q <= kBasePrimes || removed.contains(q)) continue;
        cost += 0.1;
        if (q > kTablePrimes) cost += 0.05 * std::log2(static_cast<double>(q) / 125);
    }
    return cost;
}

// Steps from s n^power to its neighbours at a distance of two, s = 1, 2 or, with `multiples`, any smooth
// number.
void add_steps(u64 n, i64 power, bool multiples, std::vector<LogStep>& steps) {
    const u64 base = power == 2 ? n * n : n;
    for (const u64 s : smooth_numbers()) {
        if (s > kLargest / base || (s > 2 && !multiples)) break;
        const u64 product = s * base;
        const bool any_neighbour = s <= 2 && power == 1;
        // m + 1 = product, or m - 1 = product
        for (const bool above : {true, false}) {
            if (above ? product < 3 : product > kLargest - 2) continue;
            const u64 neighbour = above ? product - 2 : product + 2;
            if (!any_neighbour && !only_table_primes(neighbour)) continue;
            const u64 m = above ? product - 1 : product + 1;
            if (m < 2) continue;
            steps.push_back({m, above ? power : -power, arccoth_ratio(m)});
        }
    }
}

void keep_best(std::vector<LogStep>& steps, const PrimeExponents& removed, u64 most) {
    std::stable_sort(steps.begin(), steps.end(), [&](const LogStep& a, const LogStep& b) {
        return promise(a, removed) < promise(b, removed);
    });
    if (steps.size() > most) steps.resize(most);
}

}  // namespace

const std::vector<LogStep>& LogSteps::of(u64 p) {
    const auto [at, is_new] = found_.try_emplace(p);
    std::vector<LogStep>& steps = at->second;
    if (!is_new) return steps;
    if (p <= kTablePrimes) {
        for (const LogRelation& row : log_relations_of(p)) {
            steps.push_back({row.m, 2 / row.d, arccoth_ratio(row.m)});
        }
    } else {
        add_steps(p, 1, choice_.multiples, steps);
        if (choice_.multiples && p <= kLargest / p) add_steps(p, 2, true, steps);
        // Only smaller primes, so that no chain of steps comes back to where it was.
        std::erase_if(steps, [&](const LogStep& step) {
            return step.ratio.rbegin()->first != p || step.ratio.rbegin()->second != step.exponent;
        });
    }
    keep_best(steps, {{p, 1}}, choice_.most);
    return steps;
}

std::vector<LogStep> whole_number_steps(u64 x, u64 most) {
    std::vector<LogStep> steps;
    if (x == 1) return steps;
    add_steps(x, 1, true, steps);
    keep_best(steps, factor(x), most);
    return steps;
}

}  // namespace kalvor
