// Every file of "Custom Formulas" to its last digit: the values by MPFR.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>

#include "formula_support.h"
#include "support/run_program.h"

using kalvor_test::expect_formula;
using trel::u64;

namespace {

using Want = std::function<void(mpfr_t)>;
constexpr mpfr_rnd_t kR = MPFR_RNDN;

// A number beside x.
class Beside {
  public:
    explicit Beside(mpfr_t x) { mpfr_init2(y, mpfr_get_prec(x)); }
    ~Beside() { mpfr_clear(y); }
    Beside(const Beside&) = delete;
    Beside& operator=(const Beside&) = delete;
    mpfr_t y;
};

void pi(mpfr_t x) {
    mpfr_const_pi(x, kR);
}
void log2(mpfr_t x) {
    mpfr_const_log2(x, kR);
}
void phi(mpfr_t x) {
    mpfr_sqrt_ui(x, 5, kR);
    mpfr_add_ui(x, x, 1, kR);
    mpfr_div_2ui(x, x, 1, kR);
}
void zeta3(mpfr_t x) {
    mpfr_zeta_ui(x, 3, kR);
}
void e(mpfr_t x) {
    mpfr_set_ui(x, 1, kR);
    mpfr_exp(x, x, kR);
}
void mean(mpfr_t x, unsigned long square_of_b) {
    Beside one(x);
    mpfr_set_ui(one.y, 1, kR);
    mpfr_sqrt_ui(x, square_of_b, kR);
    mpfr_agm(x, one.y, x, kR);
}
void by_pi(mpfr_t x, int (*f)(mpfr_t, mpfr_srcptr, mpfr_srcptr, mpfr_rnd_t)) {
    Beside p(x);
    pi(p.y);
    f(x, x, p.y, kR);
}
Want power_of_pi(unsigned long n, unsigned long d) {
    return [n, d](mpfr_t x) {
        pi(x);
        mpfr_pow_ui(x, x, n, kR);
        mpfr_div_ui(x, x, d, kR);
    };
}
Want root(unsigned long n, unsigned long degree) {
    return [n, degree](mpfr_t x) {
        mpfr_set_ui(x, n, kR);
        mpfr_rootn_ui(x, x, degree, kR);
    };
}
Want log_of(void (*value)(mpfr_t)) {
    return [value](mpfr_t x) {
        value(x);
        mpfr_log(x, x, kR);
    };
}

// The sum of 1 / k!^2.
void bessel(mpfr_t x) {
    Beside term(x);
    mpfr_set_ui(term.y, 1, kR);
    mpfr_set_ui(x, 1, kR);
    for (unsigned long k = 1; mpfr_get_exp(term.y) > -mpfr_get_prec(x) - 10; k++) {
        mpfr_div_ui(term.y, term.y, k, kR);
        mpfr_div_ui(term.y, term.y, k, kR);
        mpfr_add(x, x, term.y, kR);
    }
}

// The arc of 1/2 by a sum term after term,
// the sum of (2k)! / (4^k k!^2) (1/2)^(4k + 1) / (4k + 1).
void arc_of_half(mpfr_t x) {
    Beside power(x), term(x);
    mpfr_set_ui_2exp(power.y, 1, -1, kR);
    mpfr_set_ui(x, 0, kR);
    for (unsigned long k = 0; mpfr_get_exp(power.y) > -mpfr_get_prec(x) - 10; k++) {
        mpfr_div_ui(term.y, power.y, 4 * k + 1, kR);
        mpfr_add(x, x, term.y, kR);
        mpfr_mul_ui(power.y, power.y, 2 * k + 1, kR);
        mpfr_div_ui(power.y, power.y, 2 * k + 2, kR);
        mpfr_div_2ui(power.y, power.y, 4, kR);
    }
}

// Newton's steps for x^3 = x + 1.
void plastic(mpfr_t x) {
    Beside square(x), slope(x);
    mpfr_set_d(x, 1.3247179572447460, kR);
    for (mpfr_prec_t right = 40; right < 2 * mpfr_get_prec(x); right *= 2) {
        mpfr_sqr(square.y, x, kR);
        mpfr_mul_ui(slope.y, square.y, 3, kR);
        mpfr_sub_ui(slope.y, slope.y, 1, kR);
        mpfr_sub_ui(square.y, square.y, 1, kR);
        mpfr_mul(square.y, square.y, x, kR);
        mpfr_sub_ui(square.y, square.y, 1, kR);
        mpfr_div(square.y, square.y, slope.y, kR);
        mpfr_sub(x, x, square.y, kR);
    }
}

const std::map<std::string, Want>& wants() {
    static const std::map<std::string, Want> list = {
        {"Bessel function of 2", bessel},
        {"Binary logarithm of 10",
         [](mpfr_t x) {
             mpfr_set_ui(x, 10, kR);
             mpfr_log2(x, x, kR);
         }},
        {"Buffon needle",
         [](mpfr_t x) {
             pi(x);
             mpfr_ui_div(x, 2, x, kR);
         }},
        {"Catalan by Guillera", [](mpfr_t x) { mpfr_const_catalan(x, kR); }},
        {"Cosine of 36 degrees",
         [](mpfr_t x) {
             pi(x);
             mpfr_div_ui(x, x, 5, kR);
             mpfr_cos(x, x, kR);
         }},
        {"Cube root of 2", root(2, 3)},
        {"Dimer constant",
         [](mpfr_t x) {
             mpfr_const_catalan(x, kR);
             mpfr_mul_2ui(x, x, 1, kR);
             by_pi(x, mpfr_div);
         }},
        {"Euler's constant times pi",
         [](mpfr_t x) {
             mpfr_const_euler(x, kR);
             by_pi(x, mpfr_mul);
         }},
        {"Euler's square",
         [](mpfr_t x) {
             mpfr_set_ui(x, 2, kR);
             mpfr_exp(x, x, kR);
         }},
        {"Fourth root of e",
         [](mpfr_t x) {
             mpfr_set_d(x, 0.25, kR);
             mpfr_exp(x, x, kR);
         }},
        // (2 pi)^(3/4) / AGM(1, 2^(1/2))^(1/2)
        {"Gamma(1 over 4)",
         [](mpfr_t x) {
             Beside p(x);
             pi(p.y);
             mpfr_mul_2ui(p.y, p.y, 1, kR);
             mpfr_pow_ui(p.y, p.y, 3, kR);
             mpfr_sqrt(p.y, p.y, kR);
             mean(x, 2);
             mpfr_div(x, p.y, x, kR);
             mpfr_sqrt(x, x, kR);
         }},
        {"Gauss's constant",
         [](mpfr_t x) {
             mean(x, 2);
             mpfr_ui_div(x, 1, x, kR);
         }},
        // pi (3 - 5^(1/2))
        {"Golden angle",
         [](mpfr_t x) {
             mpfr_sqrt_ui(x, 5, kR);
             mpfr_ui_sub(x, 3, x, kR);
             by_pi(x, mpfr_mul);
         }},
        {"Hyperbolic sine of 1",
         [](mpfr_t x) {
             mpfr_set_ui(x, 1, kR);
             mpfr_sinh(x, x, kR);
         }},
        {"Kepler triangle",
         [](mpfr_t x) {
             Beside r(x);
             phi(x);
             mpfr_sqrt(r.y, x, kR);
             mpfr_add(x, x, r.y, kR);
             mpfr_add_ui(x, x, 1, kR);
         }},
        {"Lemniscate arcsine of one half", arc_of_half},
        {"Levy's constant",
         [](mpfr_t x) {
             Beside l(x);
             power_of_pi(2, 12)(x);
             log2(l.y);
             mpfr_div(x, x, l.y, kR);
         }},
        {"Logarithm of 2 by Machin", log2},
        {"Logarithm of 2 by powers", log2},
        {"Logarithm of 3 over 2",
         [](mpfr_t x) {
             mpfr_set_d(x, 0.5, kR);
             mpfr_log1p(x, x, kR);
         }},
        {"Logarithm of pi", log_of(pi)},
        {"Logarithm of the golden ratio", log_of(phi)},
        {"Mean of 1 and 2", [](mpfr_t x) { mean(x, 4); }},
        {"Natural logarithm of 3", [](mpfr_t x) { mpfr_log_ui(x, 3, kR); }},
        {"One over e",
         [](mpfr_t x) {
             mpfr_set_si(x, -1, kR);
             mpfr_exp(x, x, kR);
         }},
        {"Pi by its hexadecimal digits", pi},
        {"Pi by the mean", pi},
        {"Pi in inches",
         [](mpfr_t x) {
             pi(x);
             mpfr_mul_ui(x, x, 254, kR);
             mpfr_div_ui(x, x, 100, kR);
         }},
        {"Pi squared over 6", [](mpfr_t x) { mpfr_zeta_ui(x, 2, kR); }},
        {"Plastic ratio", plastic},
        {"Silver ratio",
         [](mpfr_t x) {
             mpfr_sqrt_ui(x, 2, kR);
             mpfr_add_ui(x, x, 1, kR);
         }},
        {"Sine of 18 degrees",
         [](mpfr_t x) {
             pi(x);
             mpfr_div_ui(x, x, 10, kR);
             mpfr_sin(x, x, kR);
         }},
        {"Square root of pi",
         [](mpfr_t x) {
             pi(x);
             mpfr_sqrt(x, x, kR);
         }},
        {"Tiny pi",
         [](mpfr_t x) {
             pi(x);
             mpfr_div_2ui(x, x, 1000, kR);
         }},
        {"Twelfth root of 2", root(2, 12)},
        {"Two logarithms with one pi",
         [](mpfr_t x) {
             Beside l(x);
             log_of(phi)(l.y);
             log_of(pi)(x);
             mpfr_div(x, x, l.y, kR);
         }},
        {"Zeta(3) over Zeta(2)",
         [](mpfr_t x) {
             Beside z(x);
             power_of_pi(2, 6)(z.y);
             zeta3(x);
             mpfr_div(x, x, z.y, kR);
         }},
        {"Zeta(3) typed in", zeta3},
        {"Zeta(4)", power_of_pi(4, 90)},
        {"e over pi",
         [](mpfr_t x) {
             e(x);
             by_pi(x, mpfr_div);
         }},
    };
    return list;
}

// The value of the last member, which "Formula" is, of the file's only one.
std::string formula_of(const std::string& file) {
    const std::string name = "Formula :";
    const std::size_t begin = file.find(name) + name.size();
    std::size_t end = file.rfind('}');
    end = file.rfind('}', end - 1);
    return file.substr(begin, end - begin);
}

void expect_examples(u64 p) {
    std::size_t files = 0;
    const std::filesystem::path folder = KALVOR_SOURCE_FOLDER "/Custom Formulas";
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
        const std::string name = file.path().stem().string();
        ASSERT_TRUE(wants().contains(name)) << name;
        expect_formula(formula_of(kalvor_test::read_file(file.path().string())), p, 1, wants().at(name));
        files++;
    }
    EXPECT_EQ(files, wants().size());
}

TEST(ExampleValuesTest, EveryFile) {
    for (const u64 p : {9, 53}) expect_examples(p);
}

TEST(SlowExampleValuesTest, EveryFileToAHundredThousandDigits) {
    expect_examples(5192);
}

}  // namespace
