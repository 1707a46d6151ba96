// The sizes that a digit count leads to, against exact integer arithmetic of the ratio log 10 / log 16.
#include "app/settings/compute_size.h"

#include <gmpxx.h>
#include <gtest/gtest.h>
#include <mpfr.h>

#include "app/settings/compute_settings.h"
#include "reference/mpz_u64.h"

namespace kalvor {
namespace {

// floor(D * log 10 / log 16) + 1 with 300 bits.
trel::u64 exact_hexadecimal(trel::u64 digits) {
    mpfr_t a, b;
    mpfr_inits2(300, a, b, nullptr);
    mpfr_set_ui(a, 10, MPFR_RNDN);
    mpfr_log(a, a, MPFR_RNDN);
    mpfr_set_ui(b, 16, MPFR_RNDN);
    mpfr_log(b, b, MPFR_RNDN);
    mpfr_div(a, a, b, MPFR_RNDN);
    mpfr_mul_z(a, a, reference::mpz_of(digits).get_mpz_t(), MPFR_RNDN);
    mpz_class floor;
    mpfr_get_z(floor.get_mpz_t(), a, MPFR_RNDD);
    const trel::u64 result = reference::u64_of(floor) + 1;
    mpfr_clears(a, b, nullptr);
    return result;
}

TEST(ComputeSizeTest, HexadecimalDigitsAndWords) {
    for (const trel::u64 digits :
         {100ULL, 101ULL, 1000ULL, 10000ULL, 1000000ULL, 50000000ULL, 1000000000ULL, (1ULL << 52) - 1,
          1ULL << 52, 10000000000000000ULL, 900000000000000001ULL}) {
        const ComputeSize size = ComputeSize::from_decimal(digits);
        EXPECT_EQ(size.decimal_digits, digits);
        EXPECT_EQ(size.hexadecimal_digits, exact_hexadecimal(digits)) << digits;
        EXPECT_EQ(size.words, size.hexadecimal_digits / 16 + 3);
    }
}

TEST(ComputeSizeTest, ClampsToTheBoundsWithAWarning) {
    std::string warning;
    EXPECT_EQ(clamp_decimal_digits(99, 100, 1000, warning), 100U);
    EXPECT_EQ(warning, "Precision below minimum. Adjusting to minimum. That is 100 decimal digits.");
    EXPECT_EQ(clamp_decimal_digits(7, 5, 1000, warning), 7U);
    EXPECT_EQ(warning, "");
    EXPECT_EQ(clamp_decimal_digits(4, 5, 1000, warning), 5U);
    EXPECT_EQ(warning, "Precision below minimum. Adjusting to minimum. That is 5 decimal digits.");
    EXPECT_EQ(clamp_decimal_digits(-5, 100, 1000, warning), 100U);
    EXPECT_EQ(warning, "Precision below minimum. Adjusting to minimum. That is 100 decimal digits.");
    EXPECT_EQ(clamp_decimal_digits(1001, 100, 1000, warning), 1000U);
    EXPECT_EQ(warning, "Precision above maximum: Clipping to maximum. That is 1,000 decimal digits.");
    EXPECT_EQ(clamp_decimal_digits(1000, 100, 1000, warning), 1000U);
    EXPECT_EQ(warning, "");
    EXPECT_EQ(clamp_decimal_digits(100, 100, 1000, warning), 100U);
    EXPECT_EQ(warning, "");
}

// Both kinds of digits must be enough for a file; then no file has more than there are.
TEST(CompressionTest, NeedsAMillionDigitsOfEachKind) {
    const auto settled = [](i64 decimal, bool hex, i64 per_file, bool warns) {
        ComputeSettings settings;
        EXPECT_EQ(settings.set_decimal_digits(decimal), "");
        settings.enable_hex = hex;
        settings.digits_per_file = per_file;
        EXPECT_EQ(settings.check_compression(),
                  warns ? "Digits per file below minimum: Disabling compression." : "");
        return settings.digits_per_file;
    };
    EXPECT_EQ(settled(1000000, false, 1000000, false), 1000000);
    EXPECT_EQ(settled(999999, false, 1000000, true), 0);
    EXPECT_EQ(settled(1000000, false, 999999, true), 0);
    EXPECT_EQ(settled(1000000, false, 1, true), 0);
    EXPECT_EQ(settled(100, false, 0, false), 0);
    // 1,200,000 digits are 996,579 hexadecimal ones, 1,210,000 are 1,004,884.
    EXPECT_EQ(settled(1200000, false, 1000000, false), 1000000);
    EXPECT_EQ(settled(1200000, true, 1000000, true), 0);
    EXPECT_EQ(settled(1210000, true, 1000000, false), 1000000);
    EXPECT_EQ(settled(2000000, false, 5000000, false), 2000000);
    EXPECT_EQ(settled(2000000, true, 5000000, false), 1660965);
    EXPECT_EQ(settled(2000000, true, -2, false), 1660965);
    EXPECT_EQ(settled(2000000, true, -1, false), -1);
    EXPECT_EQ(settled(999999, true, -1, true), 0);
}

}  // namespace
}  // namespace kalvor
