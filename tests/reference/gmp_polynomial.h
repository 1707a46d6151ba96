// Polynomials in GMP integers and conversions, for comparisons.
#pragma once

#include <gmpxx.h>
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "constants/polynomials/integer_polynomial.h"
#include "reference/mpz_words.h"
#include "reference/print_mpq.h"

namespace reference {

using kalvor::Polynomials::Dyadic;
using kalvor::Polynomials::IntegerPolynomial;
using kalvor::Polynomials::SimpleInt;
using trel::i64;
using trel::u64;

inline mpz_class gmp(const SimpleInt& n) {
    mpz_class z;
    mpz_import(z.get_mpz_t(), n.words().size(), -1, sizeof(trel::Word), 0, 0, n.words().data());
    return n.sign() < 0 ? mpz_class(-z) : z;
}
inline SimpleInt simple(const mpz_class& z) {
    std::vector<trel::Word> words(mpz_size(z.get_mpz_t()), 0);
    mpz_export(words.data(), nullptr, -1, sizeof(trel::Word), 0, 0, z.get_mpz_t());
    return SimpleInt::from_words(sgn(z) < 0, std::move(words));
}
inline mpq_class gmp(const Dyadic& x) {
    mpq_class q(gmp(x.n));
    mpq_div_2exp(q.get_mpq_t(), q.get_mpq_t(), x.k);
    return q;
}

// Coefficients from the constant term up, values included in the scale.
inline std::vector<mpq_class> gmp(const IntegerPolynomial& p) {
    std::vector<mpq_class> c;
    for (const SimpleInt& n : p.coefficients()) {
        mpq_class q(gmp(n), gmp(p.scale()));
        q.canonicalize();
        c.push_back(q);
    }
    return c;
}
inline mpq_class value(const IntegerPolynomial& p, const mpq_class& x) {
    mpq_class sum = 0;
    const std::vector<mpq_class> c = gmp(p);
    for (u64 i = c.size(); i-- > 0;) sum = sum * x + c[i];
    return sum;
}

class Random {
  public:
    explicit Random(u64 seed) : generator_(seed) {}
    u64 below(u64 n) { return generator_() % n; }
    // Of up to `bits` bits, any sign.
    mpz_class number(u64 bits) {
        mpz_class z = 0;
        for (u64 i = 0; i <= bits / 64; i++) z = (z << 64) + mpz_class(std::to_string(generator_()));
        mpz_fdiv_r_2exp(z.get_mpz_t(), z.get_mpz_t(), bits == 0 ? 0 : 1 + below(bits));
        // Runs of equal bits find carries.
        if (below(3) == 0) z |= (mpz_class(1) << below(bits + 1)) - 1;
        return below(2) == 0 ? mpz_class(-z) : z;
    }
    i64 small(i64 limit) { return static_cast<i64>(below(static_cast<u64>(2 * limit + 1))) - limit; }
    IntegerPolynomial polynomial(u64 degree, u64 bits) {
        std::vector<SimpleInt> c;
        for (u64 i = 0; i <= degree; i++) c.push_back(simple(number(bits)));
        if (c.back().is_zero()) c.back() = 1;
        return IntegerPolynomial(std::move(c));
    }

  private:
    std::mt19937_64 generator_;
};

inline IntegerPolynomial power(const IntegerPolynomial& p, u64 n) {
    IntegerPolynomial result({1});
    for (u64 i = 0; i < n; i++) result = result * p;
    return result;
}

template <class Exception, class Action>
void expect_failure(const std::string& function, const std::string& message, const Action& action) {
    try {
        action();
        ADD_FAILURE() << "nothing thrown instead of " << message;
    } catch (const Exception& e) {
        EXPECT_EQ(e.message, message);
        EXPECT_EQ(e.function, function);
    }
}

}  // namespace reference
