// Euler's constant by the whole program: every digit against MPFR, by both methods and with a parameter of
// the user's own.
#include <gmpxx.h>
#include <mpfr.h>

#include "support/constant_program.h"

namespace {

using kalvor_test::check_digits;
using kalvor_test::Road;

std::string text(unsigned base, unsigned long digits) {
    mpz_class scale;
    mpz_ui_pow_ui(scale.get_mpz_t(), base, digits);
    mpfr_t x;
    mpfr_init2(x, static_cast<mpfr_prec_t>(mpz_sizeinbase(scale.get_mpz_t(), 2) + 128));
    mpfr_const_euler(x, MPFR_RNDN);
    mpfr_mul_z(x, x, scale.get_mpz_t(), MPFR_RNDD);
    mpz_class z;
    mpfr_get_z(z.get_mpz_t(), x, MPFR_RNDD);
    mpfr_clear(x);
    std::string text = z.get_str(static_cast<int>(base));
    text.insert(0, digits - text.size(), '0');
    return "0." + text;
}

Road road(const std::string& word, const std::string& algorithm, const std::string& name) {
    return {word, {"-algorithm:" + algorithm}, "Euler's Constant", name, text};
}

const std::vector<Road>& roads() {
    static const std::vector<Road> list = {
        road("gamma", "0", "Brent-McMillan (refined)"), road("gamma", "1", "Brent-McMillan"),
        road("brent:17", "0", "Brent-McMillan (refined)"), road("brent:17", "1", "Brent-McMillan")};
    return list;
}

TEST(GammaProgramTest, DigitsOfEveryRoad) {
    for (const Road& road : roads()) {
        for (const unsigned long digits : {100UL, 101UL, 1000UL, 10000UL})
            check_digits(road, digits, digits % 2 == 0 ? "2" : "1");
        check_digits(road, 1000, "7");
    }
}

TEST(SlowGammaProgramTest, AHundredThousandDigitsAndAMillion) {
    for (const Road& road : roads()) check_digits(road, 100000, "1");
    check_digits(roads()[0], 1000000, "2");
    check_digits(roads()[1], 1000000, "1");
}

}  // namespace
