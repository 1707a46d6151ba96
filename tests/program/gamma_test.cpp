// Euler's constant by the whole program: every digit against MPFR, by both methods and with a parameter of
// the user's own.
#include "reference/mpfr_digits.h"
#include "support/constant_program.h"

namespace {

using kalvor_test::check_digits;
using kalvor_test::Road;

std::string text(unsigned base, unsigned long digits) {
    return kalvor_test::mpfr_digits(base, digits, [](mpfr_ptr x) { mpfr_const_euler(x, MPFR_RNDN); });
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
    kalvor_test::check_every_road(roads());
}

TEST(SlowGammaProgramTest, AHundredThousandDigitsAndAMillion) {
    for (const Road& road : roads()) check_digits(road, 100000, "1");
    check_digits(roads()[0], 1000000, "2");
    check_digits(roads()[1], 1000000, "1");
}

}  // namespace
