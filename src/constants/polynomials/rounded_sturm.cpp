#include "constants/polynomials/rounded_sturm.h"

#include <algorithm>

namespace kalvor::Polynomials {
namespace {

// A polynomial up to a positive factor: each coefficient is known to less than 2^error (exactly if error <
// 0).
struct Rounded {
    std::vector<SimpleInt> c;
    i64 error = -1;

    i64 degree() const { return static_cast<i64>(c.size()) - 1; }
};

// The sign of a number that is known to less than 2^error; 2 when it is not known.
constexpr int kUnknown = 2;
int known_sign(const SimpleInt& n, i64 error) {
    if (error < 0 || static_cast<i64>(n.bit_length()) > error) return n.sign();
    return kUnknown;
}

void round_to(Rounded& p, u64 bits) {
    u64 longest = 0;
    for (const SimpleInt& n : p.c) longest = std::max(longest, n.bit_length());
    if (longest <= bits) return;
    const u64 shift = longest - bits;
    bool exact = p.error < 0;
    for (SimpleInt& n : p.c) {
        exact = exact && n.trailing_zeros() >= shift;
        n = n >> shift;
    }
    // The old error, and less than 1 of the shift.
    if (!exact) p.error = std::max<i64>(p.error - static_cast<i64>(shift), 0) + 1;
}

// a becomes a positive multiple of -(a mod b). False when a leading coefficient may be zero.
bool remainder(Rounded& a, const Rounded& b, u64 bits) {
    const int sign = known_sign(b.c.back(), b.error);
    if (sign == kUnknown || sign == 0) return false;
    while (a.degree() >= b.degree()) {
        // |b_n| a - sgn(b_n) a_m x^(m-n) b, without its leading coefficient, which is zero
        const SimpleInt factor = b.c.back().abs();
        const SimpleInt top = sign < 0 ? -a.c.back() : a.c.back();
        const u64 offset = a.c.size() - b.c.size();
        u64 longest = std::max(factor.bit_length(), top.bit_length());
        for (u64 i = 0; i + 1 < a.c.size(); i++) {
            longest = std::max(longest, a.c[i].bit_length());
            a.c[i] = a.c[i] * factor;
            if (i >= offset) {
                longest = std::max(longest, b.c[i - offset].bit_length());
                a.c[i] -= top * b.c[i - offset];
            }
        }
        a.c.pop_back();
        // Two products, each with two errors beside factors below 2^longest, and their product.
        if (a.error >= 0 || b.error >= 0) {
            const i64 worse = std::max(a.error, b.error);
            a.error = std::max(static_cast<i64>(longest), worse) + worse + 3;
        }
        round_to(a, bits);
        if (a.c.empty()) return false;
    }
    for (SimpleInt& n : a.c) n = -n;
    return true;
}

// The scale in which the lowest and the highest coefficient are about equal.
i64 balance(const IntegerPolynomial& p) {
    const std::vector<SimpleInt>& c = p.coefficients();
    i64 first = 0;
    while (c[static_cast<u64>(first)].is_zero()) first++;
    if (first == p.degree()) return 0;
    return (static_cast<i64>(c[static_cast<u64>(first)].bit_length()) -
            static_cast<i64>(c.back().bit_length())) /
           (p.degree() - first);
}

// p(2^scale y), times a power of two.
std::vector<SimpleInt> scaled(const IntegerPolynomial& p, i64 scale) {
    std::vector<SimpleInt> c = p.coefficients();
    for (u64 i = 0; i < c.size(); i++) {
        const u64 power = scale > 0 ? i : c.size() - 1 - i;
        c[i] = c[i] << power * static_cast<u64>(scale > 0 ? scale : -scale);
    }
    return c;
}

// x / 2^scale
Dyadic divided(const Dyadic& x, i64 scale) {
    if (scale >= 0) return {x.n, x.k + static_cast<u64>(scale)};
    return {x.n << static_cast<u64>(-scale), x.k};
}

// By Horner's rule at x = n / 2^k, times 2^(k degree).
int sign_at(const Rounded& p, const Dyadic& x) {
    SimpleInt value;
    for (u64 i = p.c.size(), shift = 0; i-- > 0; shift += x.k) value = value * x.n + (p.c[i] << shift);
    // At most 64 errors, each times n^i 2^(k (degree - i)).
    const u64 power = std::max(x.n.bit_length(), x.k) * static_cast<u64>(p.degree());
    return known_sign(value, p.error < 0 ? -1 : p.error + 6 + static_cast<i64>(power));
}

}  // namespace

std::optional<i64> rounded_cauchy_index(const IntegerPolynomial& p0, const IntegerPolynomial& p1,
                                        const Dyadic& from, const Dyadic& to, u64 bits) {
    if (p0.is_zero() || p1.is_zero() || p0.degree() >= 64 || p1.degree() >= 64) return {};
    // In x = 2^scale y the first and the last coefficient are about equal.
    const i64 scale = balance(p0.degree() >= p1.degree() ? p0 : p1);
    const Dyadic ends[2] = {divided(from, scale), divided(to, scale)};
    Rounded a{scaled(p0, scale), -1}, b{scaled(p1, scale), -1};
    round_to(a, bits);
    round_to(b, bits);
    i64 changes = 0;
    int last[2] = {0, 0};
    // Counts a polynomial's signs at the ends.
    const auto count = [&](const Rounded& p) {
        for (int end = 0; end < 2; end++) {
            const int sign = sign_at(p, ends[end]);
            if (sign == kUnknown) return false;
            if (sign == 0) continue;
            if (last[end] == -sign) changes += end == 0 ? 1 : -1;
            last[end] = sign;
        }
        return true;
    };
    if (!count(a) || !count(b)) return {};
    // The last polynomial is a constant that is known not to be zero: its sign was counted.
    while (b.degree() > 0) {
        if (a.degree() < b.degree()) {
            // -(a mod b) = -a
            for (SimpleInt& n : a.c) n = -n;
        } else if (!remainder(a, b, bits)) {
            return {};
        }
        std::swap(a, b);
        if (!count(b)) return {};
    }
    if (b.c.front().is_zero()) return {};
    return changes;
}

}  // namespace kalvor::Polynomials
