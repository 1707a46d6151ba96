#include "constants/polynomials/complex_line.h"

#include <algorithm>

#include "base/errors/exceptions.h"
#include "base/names/names.h"
#include "constants/polynomials/binomials.h"
#include "constants/polynomials/rounded_sturm.h"
#include "constants/polynomials/sturm_sequence.h"

namespace kalvor::Polynomials {
namespace {

u64 longest(const IntegerPolynomial& p) {
    u64 bits = 0;
    for (const SimpleInt& n : p.coefficients()) bits = std::max(bits, n.bit_length());
    return bits;
}

// Zeros of p between two points that are none, in any order.
u64 zeros_between(const IntegerPolynomial& p, const Dyadic& a, const Dyadic& b) {
    return SturmSequence::generate(p).zeros(std::min(a, b), std::max(a, b));
}

}  // namespace

// With z = (u + v t) / 2^k and C = 2^(k n) p: the coefficient of t^j is v^j times the sum over i of
// binomial(i, j) c_i u^(i-j) 2^(k (n-i)).
//
// Along a parallel of an axis t is the coordinate itself, so that coefficients are short and Sturm sequences
// lose little precision when they are rounded; other lines run from t = 0 to 1.
ComplexLine::ComplexLine(const IntegerPolynomial& p, const ComplexPoint& from, const ComplexPoint& to) {
    if (!p.is_square_free()) {
        throw AlgorithmFailedException("ComplexLine()",
                                       "GCD(real, imag) is not 1. Input polynomial is not square-free.");
    }
    u64 k = std::max({from.x.k, from.y.k, to.x.k, to.y.k});
    ComplexInt u, v;
    if (from.x == to.x) {
        k = from.x.k;
        u = {from.x.n, 0};
        v = {0, SimpleInt::power_of_2(k)};
        from_ = from.y;
        to_ = to.y;
    } else if (from.y == to.y) {
        k = from.y.k;
        u = {0, from.y.n};
        v = {SimpleInt::power_of_2(k), 0};
        from_ = from.x;
        to_ = to.x;
    } else {
        u = {from.x.over(k), from.y.over(k)};
        v = ComplexInt{to.x.over(k), to.y.over(k)} - u;
        from_ = {0, 0};
        to_ = {1, 0};
    }
    const u64 n = static_cast<u64>(p.degree());
    std::vector<ComplexInt> u_power(n + 1);
    u_power[0] = {1, 0};
    for (u64 i = 1; i <= n; i++) u_power[i] = u_power[i - 1] * u;

    std::vector<SimpleInt> re(n + 1), im(n + 1);
    ComplexInt v_power{1, 0};
    for (u64 j = 0; j <= n; j++) {
        ComplexInt sum;
        for (u64 i = j; i <= n; i++) {
            const SimpleInt& c = p.coefficients()[i];
            if (c.is_zero()) continue;
            const SimpleInt factor = c * SimpleInt::from_u64(binomial_coefficient_u64(i, j)) << k * (n - i);
            sum.re += u_power[i - j].re * factor;
            sum.im += u_power[i - j].im * factor;
        }
        sum = sum * v_power;
        re[j] = sum.re;
        im[j] = sum.im;
        v_power = v_power * v;
    }
    // A common power of two is of no use.
    u64 zeros = ~u64(0);
    for (const std::vector<SimpleInt>* part : {&re, &im}) {
        for (const SimpleInt& c : *part) {
            if (!c.is_zero()) zeros = std::min(zeros, c.trailing_zeros());
        }
    }
    for (std::vector<SimpleInt>* part : {&re, &im}) {
        for (SimpleInt& c : *part) c = c >> zeros;
    }
    real_ = IntegerPolynomial(std::move(re));
    imag_ = IntegerPolynomial(std::move(im));
}

ComplexLine::Index ComplexLine::index(const ComplexInt& rotation) const {
    // On an axis the polynomial keeps its direction.
    if (real_.is_zero() || imag_.is_zero()) {
        const IntegerPolynomial& p = real_.is_zero() ? imag_ : real_;
        return {0, zeros_between(p, from_, to_)};
    }
    const IntegerPolynomial re_factor({rotation.re}), im_factor({rotation.im});
    const IntegerPolynomial f = real_ * re_factor - imag_ * im_factor;
    const IntegerPolynomial g = real_ * im_factor + imag_ * re_factor;
    if (f.is_zero() || g.is_zero()) {
        const IntegerPolynomial& p = f.is_zero() ? g : f;
        return {0, zeros_between(p, from_, to_)};
    }
    // With rounded numbers first. They fail where there is a common divisor, which is rare.
    const u64 bits = std::max(longest(f), longest(g)) + 40 * static_cast<u64>(f.degree()) + 64;
    for (const u64 precision : {bits, 2 * bits, 4 * bits, 8 * bits}) {
        if (const std::optional<i64> rounded = rounded_cauchy_index(f, g, from_, to_, precision))
            return {*rounded, 0};
    }
    const SturmSequence sequence = SturmSequence::generate(f, g);
    const i64 index =
        static_cast<i64>(sequence.sign_changes(from_)) - static_cast<i64>(sequence.sign_changes(to_));
    if (sequence.last().degree() == 0) return {index, 0};
    return {index, zeros_between(sequence.last(), from_, to_)};
}

}  // namespace kalvor::Polynomials
