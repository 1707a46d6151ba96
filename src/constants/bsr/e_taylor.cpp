#include "constants/bsr/e_taylor.h"

#include <bit>
#include <cmath>

#include "constants/bsr/merge_steps.h"
#include "constants/polynomials/term_counts.h"

namespace kalvor::BinarySplitting {
namespace {

constexpr u64 kLeafThreshold = 16;
constexpr u64 kGrowthWords = 10;
// Ranges of fewer terms are computed term by term.
constexpr u64 kDirectTerms = 8;

}  // namespace

ETaylor::ETaylor(bool alternating, u64 precision_words)
    : Series({Polynomials::e_taylor_terms(precision_words), precision_words, kLeafThreshold, kGrowthWords,
              alternating, 1, true},
             {1, 1}) {}

// ln k! by Stirling's formula, less what it is above 1/12k: that is the same for both ends of a range, but
// for what makes the size of the range too large.
double ETaylor::log_size_to(u64 k) const {
    const double x = static_cast<double>(k);
    return (x + 0.5) * std::log(x) - x - dd::stirling().high;
}

DoubleDouble ETaylor::log_size_to_dd(u64 k) const {
    const DoubleDouble x = DoubleDouble::from_u64(k);
    return (x + DoubleDouble(0.5)) * ln(x) - x - dd::stirling();
}

// n! has n - popcount(n) factors of two.
u64 ETaylor::zero_bits_Q(u64 a, u64 b) const {
    const auto in_factorial = [](u64 n) { return n - static_cast<u64>(std::popcount(n)); };
    return in_factorial(b) - in_factorial(a);
}

void ETaylor::leaf(u64 a, u64 b, ExactFloat& P, ExactFloat& Q, Word* scratch) const {
    BasicIntR p(P.buffer, P.buffer_size), q(Q.buffer, Q.buffer_size);
    range(a, b, p, q, scratch);
    set_natural(P, p);
    set_natural(Q, q);
}

// P = P k +- 1, Q = Q k
void ETaylor::direct(u64 a, u64 b, BasicIntR& P, BasicIntR& Q) const {
    Word one_word[1];
    BasicIntR one(one_word, 1);
    one.set_word(1);
    P.set_word(1);
    Q.set_word(a + 1);
    for (u64 k = a + 2; k <= b; k++) {
        P.mul_uW(k);
        if (alternating() && (k - a) % 2 == 0) {
            P -= one;
        } else {
            P += one;
        }
        Q.mul_uW(k);
    }
}

void ETaylor::range(u64 a, u64 b, BasicIntR& P, BasicIntR& Q, Word* scratch) const {
    if (b - a < kDirectTerms) return direct(a, b, P, Q);
    const u64 m = a + (b - a) / 2;
    const auto take = [&scratch](u64 words) {
        const BasicIntR T(scratch, words);
        scratch += words;
        return T;
    };
    const TermWords left = term_words().of(m - a), right = term_words().of(b - m);
    BasicIntR P1 = take(left.P), Q1 = take(left.Q), P2 = take(right.P), Q2 = take(right.Q);
    range(a, m, P1, Q1, scratch);
    range(m, b, P2, Q2, scratch);
    Q.set_mulB(Q1, Q2);
    P.set_mulB(P1, Q2);
    if (alternating() && (m - a) % 2 != 0) {
        P -= P2;
    } else {
        P += P2;
    }
}

}  // namespace kalvor::BinarySplitting
