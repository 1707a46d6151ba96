#include "constants/polynomials/term_sizer.h"

#include "base/errors/exceptions.h"
#include "base/names/names.h"

namespace kalvor::Polynomials {
namespace {

// Widths of regions are tried from here on.
constexpr u64 kFirstWidth = 112;

// What log_size_to adds for a term: more than all roundings of a size, which are below 2^-98 of it for each
// of some 200 operations, up to 10^15 terms of degree 62.
constexpr double kSlack = 0x1p-28;

// The same of the sizes in doubles for a term of a polynomial, by its degree and one more: sums of up to
// kNearTerms terms are below 2^39 nats for each of these, with errors below 2^-46 of them.
constexpr double kNearSlack = 0x1p-6;

DoubleDouble ln(const ScaledDoubleDouble& x) {
    const DoubleDouble mantissa = x.mantissa.high < 0 ? -x.mantissa : x.mantissa;
    return ln(mantissa) + DoubleDouble(static_cast<double>(x.exponent)) * dd::ln2();
}

ZeroPlace place_of(RealZero& zero) {
    for (u64 bits = kFirstWidth; !ZeroPlace::is_precise(zero.low, zero.high, {}); bits += 64) {
        zero.refine({1, bits});
    }
    return ZeroPlace(zero.low, zero.high);
}

ZeroPlace place_of(ComplexZero& zero) {
    for (u64 bits = kFirstWidth;
         !ZeroPlace::is_precise(zero.box.x0, zero.box.x1, zero.box.y0) ||
         !ZeroPlace::is_precise(zero.box.x0, zero.box.x0 + zero.box.y1 - zero.box.y0, zero.box.y0);
         bits += 64) {
        zero.refine({1, bits});
    }
    return ZeroPlace(zero.box.x0, zero.box.x1);
}

}  // namespace

PochhammerRealSizer::PochhammerRealSizer(RealZero zero)
    : place_(place_of(zero)), at_nearest_(ln(place_.offset())) {}

DoubleDouble PochhammerRealSizer::log_size(u64 a, u64 b) const {
    return place_.log_size(a, b, {}, at_nearest_);
}

PochhammerComplexPairSizer::PochhammerComplexPairSizer(ComplexZero zero) : place_(place_of(zero)) {
    set_imaginary((zero.box.y0 + zero.box.y1).half(), zero.box.y0);
}

PochhammerComplexPairSizer::PochhammerComplexPairSizer(const ZeroPlace& x, const Dyadic& y) : place_(x) {
    set_imaginary(y, y);
}

void PochhammerComplexPairSizer::set_imaginary(const Dyadic& y, const Dyadic& at_least) {
    constexpr const char* kFunction = "PochhammerComplexPairSizer()";
    if (y.sign() < 0) {
        throw InvalidParametersException(kFunction, "Root with negative imaginary part.");
    }
    if (at_least > Dyadic{SimpleInt::power_of_2(50), 0}) {
        throw InvalidParametersException(kFunction, "Imaginary part is too large.");
    }
    y_ = y.to_double_double().value();
    const DoubleDouble offset = place_.offset().value();
    const DoubleDouble norm = offset * offset + y_ * y_;
    if (!(norm.high >= 0x1p-1000)) {
        throw InvalidParametersException(kFunction, "Root too close to zero.");
    }
    at_nearest_ = ln(norm) * DoubleDouble(0.5);
}

DoubleDouble PochhammerComplexPairSizer::log_size(u64 a, u64 b) const {
    return place_.log_size(a, b, y_, at_nearest_) * DoubleDouble(2.0);
}

PolynomialTermSizer::PolynomialTermSizer(const IntegerPolynomial& p, const Zeros& zeros,
                                         const DoubleDouble& extra)
    : degree_(static_cast<u64>(p.degree())), per_term_(ln(p.leading().to_double_double()) + extra) {
    for (const RealZero& zero : zeros.real) {
        real_.push_back({PochhammerRealSizer(zero), static_cast<double>(zero.multiplicity)});
    }
    for (const ComplexZero& zero : zeros.complex) {
        pairs_.push_back({PochhammerComplexPairSizer(zero), static_cast<double>(zero.multiplicity)});
    }
}

DoubleDouble PolynomialTermSizer::log_size(u64 a, u64 b) const {
    if (a >= b) return {};
    DoubleDouble sum = DoubleDouble::from_u64(b - a) * per_term_;
    for (const Real& zero : real_) sum = sum + zero.sizer.log_size(a, b) * DoubleDouble(zero.multiplicity);
    for (const Pair& pair : pairs_) sum = sum + pair.sizer.log_size(a, b) * DoubleDouble(pair.multiplicity);
    // An integer other than 0 has a logarithm of 0 at least.
    return sum.high < 0 ? DoubleDouble() : sum;
}

DoubleDouble PolynomialTermSizer::log_size_to(u64 k) const {
    return log_size(0, k) + DoubleDouble::from_u64(k) * DoubleDouble(kSlack);
}

double PochhammerRealSizer::near_log_size(u64 a, u64 b) const {
    return place_.near_log_size(a, b, 0, at_nearest_.high);
}

double PochhammerComplexPairSizer::near_log_size(u64 a, u64 b) const {
    return 2 * place_.near_log_size(a, b, y_.high, at_nearest_.high);
}

double PolynomialTermSizer::near_log_size(u64 a, u64 b) const {
    if (a >= b) return 0;
    double sum = static_cast<double>(b - a) * per_term_.high;
    for (const Real& zero : real_) sum += zero.sizer.near_log_size(a, b) * zero.multiplicity;
    for (const Pair& pair : pairs_) sum += pair.sizer.near_log_size(a, b) * pair.multiplicity;
    return sum < 0 ? 0 : sum;
}

double PolynomialTermSizer::near_log_size_to(u64 k) const {
    const double slack = kNearSlack * static_cast<double>(degree_ + 1);
    return near_log_size(0, k) + static_cast<double>(k) * slack;
}

PolynomialTermSizer make_sizer(const std::string& name, const IntegerPolynomial& p, const DoubleDouble& extra,
                               Remarks* remarks) {
    Zeros zeros = isolate_zeros(p, remarks);
    for (RealZero& zero : zeros.real) {
        // Down to one whole number at most.
        zero.refine({1, 1});
        const SimpleInt n = zero.high.floor();
        if (n.sign() > 0 && p.evaluate(n).is_zero() && zero.low <= Dyadic{n, 0}) {
            throw InvalidParametersException("make_sizer()",
                                             "Polynomial " + name + " is zero at x = " + n.to_string() + ".");
        }
    }
    return PolynomialTermSizer(p, zeros, extra);
}

}  // namespace kalvor::Polynomials
