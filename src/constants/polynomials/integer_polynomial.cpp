#include "constants/polynomials/integer_polynomial.h"

#include <algorithm>

#include "arith/m61/m61.h"
#include "base/errors/exceptions.h"
#include "base/names/names.h"

namespace kalvor::Polynomials {
namespace {

using Coefficients = std::vector<SimpleInt>;

// A prime for the quick proof that two polynomials have no common zero.
constexpr Word kPrime = m61::kM61;

Word multiply_mod(Word a, Word b) {
    return m61::canonical(m61::mul(a, b));
}
Word inverse_mod(Word a) {
    return m61::canonical(m61::pow(a, kPrime - 2));
}

std::vector<Word> residues(const IntegerPolynomial& p) {
    std::vector<Word> r;
    for (const SimpleInt& c : p.coefficients()) {
        const Word magnitude = c.magnitude_modulo(kPrime);
        r.push_back(c.sign() < 0 && magnitude != 0 ? kPrime - magnitude : magnitude);
    }
    return r;
}

void trim(std::vector<Word>& p) {
    while (!p.empty() && p.back() == 0) p.pop_back();
}

// True proves that the greatest common divisor is 1: where a leading coefficient is not divisible by the
// prime, a common divisor keeps its degree modulo the prime.
bool coprime_modulo_prime(const IntegerPolynomial& p, const IntegerPolynomial& q) {
    std::vector<Word> a = residues(p), b = residues(q);
    if (a.empty() || b.empty() || a.back() == 0) return false;
    trim(b);
    while (!b.empty()) {
        const Word inverse = inverse_mod(b.back());
        while (a.size() >= b.size()) {
            const Word factor = multiply_mod(a.back(), inverse);
            const u64 offset = a.size() - b.size();
            for (u64 i = 0; i < b.size(); i++) {
                const Word product = multiply_mod(factor, b[i]);
                Word& c = a[i + offset];
                c = c >= product ? c - product : c + kPrime - product;
            }
            trim(a);
            if (a.empty()) break;
        }
        std::swap(a, b);
    }
    return a.size() == 1;
}

SimpleInt content(const Coefficients& c) {
    SimpleInt g;
    // From the top: a one-word divisor is found soon and the rest is quick.
    for (u64 i = c.size(); i-- > 0;) {
        if (g == SimpleInt(1)) break;
        g = SimpleInt::gcd(c[i], g);
    }
    return g;
}

}  // namespace

IntegerPolynomial::IntegerPolynomial(std::vector<SimpleInt> coefficients, SimpleInt scale)
    : coefficients_(std::move(coefficients)), scale_(std::move(scale)) {
    while (!coefficients_.empty() && coefficients_.back().is_zero()) coefficients_.pop_back();
    if (coefficients_.empty()) scale_ = 1;
}

IntegerPolynomial IntegerPolynomial::of(std::span<const i64> coefficients) {
    return IntegerPolynomial(Coefficients(coefficients.begin(), coefficients.end()));
}

IntegerPolynomial IntegerPolynomial::operator-() const {
    IntegerPolynomial result = *this;
    for (SimpleInt& c : result.coefficients_) c = -c;
    return result;
}

IntegerPolynomial operator+(const IntegerPolynomial& a, const IntegerPolynomial& b) {
    const bool same = a.scale_ == b.scale_;
    Coefficients sum = a.coefficients_;
    if (!same) {
        for (SimpleInt& c : sum) c = c * b.scale_;
    }
    if (sum.size() < b.coefficients_.size()) sum.resize(b.coefficients_.size());
    for (u64 i = 0; i < b.coefficients_.size(); i++) {
        sum[i] += same ? b.coefficients_[i] : b.coefficients_[i] * a.scale_;
    }
    return IntegerPolynomial(std::move(sum), same ? a.scale_ : a.scale_ * b.scale_);
}

IntegerPolynomial operator-(const IntegerPolynomial& a, const IntegerPolynomial& b) {
    return a + -b;
}

IntegerPolynomial operator*(const IntegerPolynomial& a, const IntegerPolynomial& b) {
    if (a.is_zero() || b.is_zero()) return {};
    Coefficients product(a.coefficients_.size() + b.coefficients_.size() - 1);
    for (u64 i = 0; i < a.coefficients_.size(); i++) {
        for (u64 j = 0; j < b.coefficients_.size(); j++) {
            product[i + j] += a.coefficients_[i] * b.coefficients_[j];
        }
    }
    return IntegerPolynomial(std::move(product), a.scale_ * b.scale_);
}

bool operator==(const IntegerPolynomial& a, const IntegerPolynomial& b) {
    return (a - b).is_zero();
}

IntegerPolynomial IntegerPolynomial::derivative() const {
    Coefficients result;
    for (u64 i = 1; i < coefficients_.size(); i++) {
        result.push_back(coefficients_[i] * SimpleInt::from_u64(i));
    }
    return IntegerPolynomial(std::move(result), scale_);
}

SimpleInt IntegerPolynomial::evaluate(const SimpleInt& x) const {
    SimpleInt value;
    for (u64 i = coefficients_.size(); i-- > 0;) value = value * x + coefficients_[i];
    return value;
}

ComplexInt IntegerPolynomial::evaluate(const ComplexInt& z) const {
    return evaluate(z, 0);
}

SimpleInt IntegerPolynomial::evaluate(const Dyadic& x) const {
    SimpleInt value;
    for (u64 i = coefficients_.size(), shift = 0; i-- > 0; shift += x.k) {
        value = value * x.n + (coefficients_[i] << shift);
    }
    return value;
}

ComplexInt IntegerPolynomial::evaluate(const ComplexInt& n, u64 k) const {
    ComplexInt value;
    for (u64 i = coefficients_.size(), shift = 0; i-- > 0; shift += k) {
        value = value * n;
        value.re += coefficients_[i] << shift;
    }
    return value;
}

// Pseudo-division: a is multiplied by |leading coefficient of b| before each step.
IntegerPolynomial::Division IntegerPolynomial::divmod(const IntegerPolynomial& a,
                                                      const IntegerPolynomial& b) {
    if (b.is_zero()) {
        throw InvalidParametersException("IntegerPolynomial::divmod()", "Divide by zero.");
    }
    if (a.degree() < b.degree()) return {IntegerPolynomial(), a};
    const u64 n = b.coefficients_.size();
    Coefficients rest = a.coefficients_, quotient(rest.size() - n + 1);
    const SimpleInt factor = b.leading().abs();
    const bool flip = b.leading().sign() < 0;
    SimpleInt scale = a.scale_;
    while (rest.size() >= n) {
        const u64 offset = rest.size() - n;
        const SimpleInt top = flip ? -rest.back() : rest.back();
        if (!top.is_zero()) {
            // factor a = (factor q + top x^offset) b + rest
            for (u64 i = 0; i + 1 < rest.size(); i++) {
                rest[i] = rest[i] * factor;
                if (i >= offset) rest[i] -= top * b.coefficients_[i - offset];
            }
            for (SimpleInt& c : quotient) c = c * factor;
            quotient[offset] += top;
            scale = scale * factor;
        }
        rest.pop_back();
    }
    // Coefficients of b carry its scale.
    for (SimpleInt& c : quotient) c = c * b.scale_;
    return {IntegerPolynomial(std::move(quotient), scale), IntegerPolynomial(std::move(rest), scale)};
}

IntegerPolynomial IntegerPolynomial::exact_divide(const IntegerPolynomial& a, const IntegerPolynomial& b) {
    constexpr const char* kFunction = "IntegerPolynomial::exact_divide()";
    if (a.scale_ != SimpleInt(1) || b.scale_ != SimpleInt(1)) {
        throw AlgorithmFailedException(kFunction, "Scale is not 1.");
    }
    Division division = divmod(a, b);
    IntegerPolynomial& q = division.quotient;
    bool exact = division.remainder.is_zero();
    for (SimpleInt& c : q.coefficients_) {
        const SimpleInt::Division by_scale = SimpleInt::divmod(c, q.scale_);
        exact = exact && by_scale.remainder.is_zero();
        c = by_scale.quotient;
    }
    if (!exact) {
        throw AlgorithmFailedException(kFunction, "Exact division yielded non-zero modulus.");
    }
    return IntegerPolynomial(std::move(q.coefficients_));
}

IntegerPolynomial IntegerPolynomial::primitive() const {
    const SimpleInt divisor = content(coefficients_);
    IntegerPolynomial result = *this;
    result.scale_ = 1;
    if (is_zero() || divisor == SimpleInt(1)) return result;
    for (SimpleInt& c : result.coefficients_) c = SimpleInt::divmod(c, divisor).quotient;
    return result;
}

// Euclid's algorithm with primitive remainders.
IntegerPolynomial IntegerPolynomial::gcd(const IntegerPolynomial& a, const IntegerPolynomial& b) {
    if (coprime_modulo_prime(a, b)) return IntegerPolynomial(Coefficients{1});
    IntegerPolynomial p = a.primitive(), q = b.primitive();
    while (!q.is_zero()) {
        IntegerPolynomial rest = divmod(p, q).remainder.primitive();
        p = std::move(q);
        q = std::move(rest);
    }
    return !p.is_zero() && p.leading().sign() < 0 ? -p : p;
}

bool IntegerPolynomial::is_square_free() const {
    return degree() <= 0 ? !is_zero() : gcd(*this, derivative()).degree() == 0;
}

// |zero| < 2 max |a_(n-i) / a_n|^(1/i) (Fujiwara 1916 has half of this for the constant term).
i64 IntegerPolynomial::zero_bound() const {
    const i64 n = degree();
    const i64 top = static_cast<i64>(leading().bit_length());
    i64 bound = -(i64(1) << 40);
    for (i64 i = 1; i <= n; i++) {
        const SimpleInt& c = coefficients_[static_cast<u64>(n - i)];
        if (c.is_zero()) continue;
        // |a_(n-i) / a_n| < 2^ratio
        const i64 ratio = static_cast<i64>(c.bit_length()) - top + 1;
        bound = std::max(bound, ratio >= 0 ? (ratio + i - 1) / i : -(-ratio / i));
    }
    // x^n has the zero 0 alone.
    return bound < -(i64(1) << 39) ? 0 : bound + 1;
}

std::vector<PolynomialPower> square_free_factors(const IntegerPolynomial& p) {
    std::vector<PolynomialPower> result;
    if (p.degree() < 1) return result;
    const IntegerPolynomial f = p.primitive();
    const IntegerPolynomial repeated = IntegerPolynomial::gcd(f, f.derivative());
    // w: the product of the factors that are left; y: the derivative's part
    IntegerPolynomial w = IntegerPolynomial::exact_divide(f, repeated);
    IntegerPolynomial y = IntegerPolynomial::exact_divide(f.derivative(), repeated);
    for (u64 multiplicity = 1; w.degree() >= 1; multiplicity++) {
        const IntegerPolynomial z = y - w.derivative();
        const IntegerPolynomial factor = IntegerPolynomial::gcd(w, z);
        if (factor.degree() >= 1) result.push_back({factor, multiplicity});
        w = IntegerPolynomial::exact_divide(w, factor);
        y = IntegerPolynomial::exact_divide(z, factor);
    }
    return result;
}

}  // namespace kalvor::Polynomials
