#include "constants/polynomials/zeros.h"

namespace kalvor::Polynomials {
namespace {

constexpr u64 kDigits = 10;
// Halvings after which two ends that still round differently must lie about half of a last place.
constexpr u64 kMostHalvings = 400;

SimpleInt power_of_10(u64 n) {
    SimpleInt power = 1;
    for (u64 i = 0; i < n; i++) power = power * SimpleInt(10);
    return power;
}

// |x| rounded to `kDigits` digits at its own place or at that of `digits_before_point`.
std::string rounded(const Dyadic& x) {
    const SimpleInt n = x.n.abs();
    if (n.is_zero()) return "0";
    const SimpleInt one = SimpleInt::power_of_2(x.k);
    // 10^(before - 1) <= |x| < 10^before
    i64 before = 0;
    while (n >= one * power_of_10(static_cast<u64>(before))) before++;
    if (before == 0) {
        while (n * power_of_10(static_cast<u64>(1 - before)) < one) before--;
    }
    // The digits as an integer: |x| 10^places
    const auto digits_at = [&](i64 places) {
        const SimpleInt numerator = places >= 0 ? n * power_of_10(static_cast<u64>(places)) : n;
        const SimpleInt denominator = places >= 0 ? one : one * power_of_10(static_cast<u64>(-places));
        return SimpleInt::divmod(numerator + numerator + denominator, denominator << 1).quotient;
    };
    i64 places = static_cast<i64>(kDigits) - before;
    SimpleInt digits = digits_at(places);
    std::string text = digits.to_string();
    if (places <= 0) {
        text.append(static_cast<u64>(-places), '0');
    } else {
        const u64 after = static_cast<u64>(places);
        if (text.size() <= after) text.insert(0, after + 1 - text.size(), '0');
        text.insert(text.size() - after, ".");
        while (text.back() == '0') text.pop_back();
        if (text.back() == '.') text.pop_back();
    }
    return x.sign() < 0 ? "-" + text : text;
}

}  // namespace

std::string isolating_value(RealZero zero) {
    for (u64 i = 0; i < kMostHalvings && rounded(zero.low) != rounded(zero.high); i++) zero.halve();
    return rounded(zero.high);
}

}  // namespace kalvor::Polynomials
