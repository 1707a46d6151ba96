// Gaussian integers of any size, and points of the complex plane with binary fractions as coordinates.
#pragma once

#include "constants/polynomials/simple_int.h"

namespace kalvor::Polynomials {

struct ComplexInt {
    SimpleInt re, im;

    bool is_zero() const { return re.is_zero() && im.is_zero(); }
    // re^2 + im^2
    SimpleInt norm() const { return re * re + im * im; }
    ComplexInt conjugate() const { return {re, -im}; }

    friend ComplexInt operator+(const ComplexInt& a, const ComplexInt& b) {
        return {a.re + b.re, a.im + b.im};
    }
    friend ComplexInt operator-(const ComplexInt& a, const ComplexInt& b) {
        return {a.re - b.re, a.im - b.im};
    }
    friend ComplexInt operator*(const ComplexInt& a, const ComplexInt& b) {
        return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
    }
    ComplexInt operator<<(u64 bits) const { return {re << bits, im << bits}; }
    friend bool operator==(const ComplexInt& a, const ComplexInt& b) = default;
};

// n / 2^k. A number has many forms; comparisons are of values.
struct Dyadic {
    SimpleInt n;
    u64 k = 0;

    // m * 2^e
    static Dyadic scaled(const SimpleInt& m, i64 e) {
        return e >= 0 ? Dyadic{m << static_cast<u64>(e), 0} : Dyadic{m, static_cast<u64>(-e)};
    }
    // The numerator over 2^bits, bits >= k.
    SimpleInt over(u64 bits) const { return n << (bits - k); }
    // With the smallest k.
    Dyadic reduced() const {
        const u64 bits = n.is_zero() ? k : n.trailing_zeros() < k ? n.trailing_zeros() : k;
        return {n >> bits, k - bits};
    }
    int sign() const { return n.sign(); }
    Dyadic operator-() const { return {-n, k}; }
    friend Dyadic operator+(const Dyadic& a, const Dyadic& b) {
        const u64 bits = a.k > b.k ? a.k : b.k;
        return {a.over(bits) + b.over(bits), bits};
    }
    friend Dyadic operator-(const Dyadic& a, const Dyadic& b) { return a + -b; }
    friend std::strong_ordering operator<=>(const Dyadic& a, const Dyadic& b) {
        const u64 bits = a.k > b.k ? a.k : b.k;
        return a.over(bits) <=> b.over(bits);
    }
    friend bool operator==(const Dyadic& a, const Dyadic& b) { return (a <=> b) == 0; }
    Dyadic half() const { return {n, k + 1}; }
    // Floor of the value.
    SimpleInt floor() const {
        SimpleInt whole = n >> k;
        if (n.sign() < 0 && !(whole << k == n)) whole -= 1;
        return whole;
    }
    ScaledDoubleDouble to_double_double() const {
        ScaledDoubleDouble x = n.to_double_double();
        if (!n.is_zero()) x.exponent -= static_cast<i64>(k);
        return x;
    }
};

struct ComplexPoint {
    Dyadic x, y;

    friend bool operator==(const ComplexPoint& a, const ComplexPoint& b) = default;
};

}  // namespace kalvor::Polynomials
