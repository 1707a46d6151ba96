#include "constants/polynomials/term_counts.h"

#include <algorithm>
#include <cmath>

#include "base/names/names.h"

namespace kalvor::Polynomials {
namespace {

DoubleDouble nats(u64 words) {
    return DoubleDouble::from_u64(words) * dd::ln2_64();
}

DoubleDouble clamped(const DoubleDouble& x, const DoubleDouble& most) {
    if (x < DoubleDouble()) return {};
    return x > most ? most : x;
}

}  // namespace

u64 e_taylor_terms(u64 p) {
    const DoubleDouble target = nats(p) + DoubleDouble(1.0);
    const auto reaches = [&](u64 n) { return ln_factorial(DoubleDouble::from_u64(n)) >= target; };
    u64 high = 1;
    while (!reaches(high)) high *= 2;
    // The smallest n that reaches it lies in (high / 2, high], or is 1.
    u64 low = high / 2;
    while (high - low > 1) {
        const u64 middle = low + (high - low) / 2;
        (reaches(middle) ? high : low) = middle;
    }
    return high + 1;
}

// ln |term n|, with the degrees' logarithms as in the description of the family.
DoubleDouble HypergeometricSizes::log_term(u64 n) const {
    const DoubleDouble ln_n = ln(DoubleDouble::from_u64(n));
    const DoubleDouble r =
        R == nullptr ? DoubleDouble() : R->log_size(0, n) + DoubleDouble::from_u64(R->degree()) * ln_n;
    const DoubleDouble q = Q->log_size(0, n) + DoubleDouble::from_u64(Q->degree()) * ln_n;
    return r - q + DoubleDouble::from_u64(degree_P) * ln_n;
}

u64 HypergeometricSizes::terms(u64 p) const {
    const DoubleDouble target = -nats(p + 2);
    u64 high = 2;
    while (log_term(high) > target) high *= 2;
    u64 low = 0;
    while (high - low > 1) {
        const u64 middle = low + (high - low) / 2;
        (log_term(middle) > target ? low : high) = middle;
    }
    return high + 1;
}

DoubleDouble HypergeometricSizes::log_remaining(u64 p, u64 k) const {
    const DoubleDouble r = R == nullptr ? DoubleDouble() : R->log_size(0, k);
    const DoubleDouble extra = DoubleDouble::from_u64(degrees()) * ln(DoubleDouble::from_u64(k + 1));
    return clamped(nats(p) - Q->log_size(0, k) + r + extra, nats(p));
}

// Sums of 2^24 logarithms for each of two times 62 zeros are off by 2^-7 together.
DoubleDouble HypergeometricSizes::near_log_remaining(u64 p, u64 k) const {
    constexpr double kNearSlack = 0x1p-6;
    const double r = R == nullptr ? 0 : R->near_log_size(0, k);
    const double extra = static_cast<double>(degrees()) * std::log(static_cast<double>(k) + 1);
    return clamped(nats(p) + DoubleDouble(r - Q->near_log_size(0, k) + extra + kNearSlack), nats(p));
}

u64 binary_bbp_terms(u64 p, u64 degree_P, u64 power) {
    const DoubleDouble terms =
        DoubleDouble::from_u64(64 * (p + degree_P)) * reciprocal(DoubleDouble::from_u64(power));
    return static_cast<u64>(round_parts(terms)) + 2;
}

DoubleDouble binary_bbp_remaining(u64 p, u64 degree_P, u64 power, u64 k) {
    const DoubleDouble words = DoubleDouble::from_u64(p + degree_P) - DoubleDouble::from_u64(k) *
                                                                          DoubleDouble::from_u64(power) *
                                                                          DoubleDouble(0x1p-6);
    return clamped(words, DoubleDouble::from_u64(p)) * dd::ln2_64();
}

}  // namespace kalvor::Polynomials
