#include "arith/estimate/double_double.h"

#include <gmp.h>
#include <gtest/gtest.h>
#include <mpfr.h>

#include <cmath>
#include <random>
#include <thread>
#include <vector>

namespace {

using namespace trel;

// A 300-bit float for the truth.
class Real {
  public:
    Real() {
        mpfr_init2(x_, 300);
        mpfr_set_zero(x_, 1);
    }
    explicit Real(const DoubleDouble& d) : Real() {
        mpfr_set_d(x_, d.high, MPFR_RNDN);
        mpfr_add_d(x_, x_, d.low, MPFR_RNDN);
    }
    explicit Real(const char* text) : Real() { mpfr_set_str(x_, text, 10, MPFR_RNDN); }
    Real(const Real& o) : Real() { mpfr_set(x_, o.x_, MPFR_RNDN); }
    Real& operator=(const Real& o) {
        mpfr_set(x_, o.x_, MPFR_RNDN);
        return *this;
    }
    ~Real() { mpfr_clear(x_); }
    mpfr_ptr p() { return x_; }
    mpfr_srcptr p() const { return x_; }

  private:
    mpfr_t x_;
};

// log2 |got / want - 1|, -999 when equal
double error_bits(const DoubleDouble& got, const Real& want) {
    Real e{got};
    mpfr_sub(e.p(), e.p(), want.p(), MPFR_RNDN);
    if (mpfr_zero_p(e.p())) return -999;
    mpfr_div(e.p(), e.p(), want.p(), MPFR_RNDN);
    mpfr_abs(e.p(), e.p(), MPFR_RNDN);
    mpfr_log2(e.p(), e.p(), MPFR_RNDN);
    return mpfr_get_d(e.p(), MPFR_RNDN);
}

void expect_normalised(const DoubleDouble& a) {
    EXPECT_EQ(a.high + a.low, a.high) << a.high << " " << a.low;
}

DoubleDouble random_value(std::mt19937_64& rng, int low_exponent, int high_exponent) {
    std::uniform_real_distribution<double> unit(1, 2), sign(-1, 1);
    const int e = low_exponent + int(rng() % u64(high_exponent - low_exponent + 1));
    return DoubleDouble(std::ldexp(unit(rng), e)) + DoubleDouble(std::ldexp(sign(rng), e - 54));
}

TEST(DoubleDoubleTest, ConstantsCarryTheirTexts) {
    const struct {
        const DoubleDouble& value;
        const char* text;
    } rows[] = {
        {dd::ln2(), "0.6931471805599453094172321214581765680755"},
        {dd::ln2_64(), "44.36141955583649980270285577332330035683"},
        {dd::inv_ln2_64(), "0.02254211001389005323999882314065456464729"},
        {dd::log10_e(), "0.43429448190325182765112891891660508229439700580367"},
        {dd::stirling(), "0.081061466795327258219670263594382360138602526362217"},
    };
    for (const auto& row : rows) {
        const Real want(row.text);
        EXPECT_EQ(row.value.high, mpfr_get_d(want.p(), MPFR_RNDN)) << row.text;
        EXPECT_LT(error_bits(row.value, want), -99) << row.text;
        expect_normalised(row.value);
    }
    Real ln2_64;
    mpfr_const_log2(ln2_64.p(), MPFR_RNDN);
    mpfr_mul_ui(ln2_64.p(), ln2_64.p(), 64, MPFR_RNDN);
    EXPECT_LT(error_bits(dd::ln2_64(), ln2_64), -99);
}

TEST(DoubleDoubleTest, Parse) {
    EXPECT_EQ(DoubleDouble::parse("").high, 0);
    EXPECT_EQ(DoubleDouble::parse("-0.25").high, -0.25);
    EXPECT_EQ(DoubleDouble::parse("12abc").high, 12);
    EXPECT_EQ(DoubleDouble::parse("12abc").low, 0);
    EXPECT_EQ(DoubleDouble::parse(".5").high, 0.5);
    EXPECT_EQ(DoubleDouble::parse("7.").high, 7);
    EXPECT_EQ(DoubleDouble::parse("-").high, 0);
    EXPECT_EQ(DoubleDouble::parse("3x.5").high, 3);
    EXPECT_EQ(DoubleDouble::parse("3e5").high, 3);
    EXPECT_EQ(DoubleDouble::parse("123456789012345678").high + DoubleDouble::parse("123456789012345678").low,
              123456789012345678.0);
    EXPECT_LT(error_bits(DoubleDouble::parse("98765432109876543210987654321"),
                         Real("98765432109876543210987654321")),
              -102);
}

TEST(DoubleDoubleTest, IntegersAreExact) {
    std::mt19937_64 rng(1);
    for (int i = 0; i < 2000; i++) {
        u64 n = rng() >> rng() % 64;
        if (i == 0) n = ~u64(0);
        if (i == 1) n = 0;
        if (i == 2) n = (u64(1) << 53) + 1;
        const DoubleDouble d = DoubleDouble::from_u64(n);
        ASSERT_EQ(i128(d.high) + i128(d.low), i128(n));
        expect_normalised(d);
    }
}

TEST(DoubleDoubleTest, Arithmetic) {
    std::mt19937_64 rng(2);
    for (int i = 0; i < 3000; i++) {
        const DoubleDouble a = random_value(rng, -60, 60), b = random_value(rng, -60, 60);
        Real want;
        mpfr_add(want.p(), Real(a).p(), Real(b).p(), MPFR_RNDN);
        ASSERT_LT(error_bits(a + b, want), -103);
        mpfr_mul(want.p(), Real(a).p(), Real(b).p(), MPFR_RNDN);
        ASSERT_LT(error_bits(a * b, want), -102);
        mpfr_ui_div(want.p(), 1, Real(a).p(), MPFR_RNDN);
        ASSERT_LT(error_bits(reciprocal(a), want), -101);
        expect_normalised(a + b);
        expect_normalised(a * b);
        // Against the larger operand: a difference may cancel.
        const DoubleDouble difference = a - b;
        Real error(difference);
        mpfr_sub(want.p(), Real(a).p(), Real(b).p(), MPFR_RNDN);
        mpfr_sub(error.p(), error.p(), want.p(), MPFR_RNDN);
        ASSERT_LE(std::fabs(mpfr_get_d(error.p(), MPFR_RNDN)), std::ldexp(std::max(a.high, b.high), -103));
        ASSERT_EQ((-a).high, -a.high);
        ASSERT_EQ((-a).low, -a.low);
    }
}

TEST(DoubleDoubleTest, Powers) {
    std::mt19937_64 rng(3);
    for (int i = 0; i < 200; i++) {
        const DoubleDouble a = random_value(rng, -3, 3);
        EXPECT_TRUE(pow(a, 0) == DoubleDouble(1.0));
        EXPECT_TRUE(pow(a, 1) == a);
        EXPECT_TRUE(pow(a, -3) == reciprocal(pow(a, 3)));
        const i32 n = i32(rng() % 120) - 60;
        Real want;
        mpfr_pow_si(want.p(), Real(a).p(), n, MPFR_RNDN);
        if (n != 0) {
            ASSERT_LT(error_bits(pow(a, n), want), -94) << n;
        }
    }
    // |-2^31| is not a signed number.
    EXPECT_TRUE(pow(DoubleDouble(1.0), i32(0x80000000)) == DoubleDouble(1.0));
}

TEST(DoubleDoubleTest, Logarithm) {
    std::mt19937_64 rng(4);
    for (int i = 0; i < 2000; i++) {
        const DoubleDouble a = random_value(rng, -200, 200);
        Real want;
        mpfr_log(want.p(), Real(a).p(), MPFR_RNDN);
        ASSERT_LT(error_bits(ln(a), want), -99) << a.high;
    }
    EXPECT_EQ(ln(DoubleDouble(1.0)).high, 0);
    EXPECT_EQ(ln(DoubleDouble(1.0)).low, 0);
    const double four_thirds = 4.0 / 3, two_thirds = 2.0 / 3;
    for (double x : {four_thirds, std::nextafter(four_thirds, 2), std::nextafter(four_thirds, 1), two_thirds,
                     std::nextafter(two_thirds, 1), std::nextafter(two_thirds, 0), 0.5, 2.0, 1e300, 1e-300}) {
        Real want;
        mpfr_log(want.p(), Real(DoubleDouble(x)).p(), MPFR_RNDN);
        EXPECT_LT(error_bits(ln(DoubleDouble(x)), want), -100) << x;
    }
    EXPECT_TRUE(ln(DoubleDouble(2.0)) == ln(DoubleDouble(1.0)) + dd::ln2());
}

TEST(DoubleDoubleTest, Exponential) {
    std::mt19937_64 rng(5);
    EXPECT_TRUE(exp(DoubleDouble(0.0)) == DoubleDouble(1.0));
    for (int i = 0; i < 2000; i++) {
        DoubleDouble a = random_value(rng, -20, 8);
        if (i % 2) a = -a;
        Real want;
        mpfr_exp(want.p(), Real(a).p(), MPFR_RNDN);
        ASSERT_LT(error_bits(exp(a), want), -95) << a.high;
    }
    for (int i = 0; i < 300; i++) {
        const DoubleDouble a = random_value(rng, -5, 100);
        ASSERT_LT(error_bits(exp(ln(a)), Real(a)), -93);
    }
}

TEST(DoubleDoubleTest, Stirling) {
    for (double x : {1.0, 2.0, 10.0, 1000.0, 1e6, 1e15}) {
        Real want, argument{DoubleDouble(x)};
        mpfr_add_ui(argument.p(), argument.p(), 1, MPFR_RNDN);
        mpfr_lngamma(want.p(), argument.p(), MPFR_RNDN);
        EXPECT_NEAR(ln_factorial(DoubleDouble(x)).high, mpfr_get_d(want.p(), MPFR_RNDN),
                    1.0 + std::ldexp(x, -40))
            << x;
        // The formula itself, much closer.
        Real f, t{DoubleDouble(x)};
        mpfr_log(f.p(), argument.p(), MPFR_RNDN);
        mpfr_add_d(t.p(), t.p(), 0.5, MPFR_RNDN);
        mpfr_mul(f.p(), f.p(), t.p(), MPFR_RNDN);
        mpfr_sub_d(f.p(), f.p(), x, MPFR_RNDN);
        mpfr_sub(f.p(), f.p(), Real("0.081061466795327258219670263594382360138602526362217").p(), MPFR_RNDN);
        EXPECT_LT(error_bits(ln_factorial(DoubleDouble(x)), f), -95) << x;
    }
}

TEST(DoubleDoubleTest, ComparesByHighThenLow) {
    const DoubleDouble a(1.0, 1e-20), b(1.0, 2e-20), c(1.5, -1e-20);
    EXPECT_TRUE(a < b);
    EXPECT_FALSE(b < a);
    EXPECT_TRUE(b > a && b < c && c > a && a <= a && a >= a && a <= b && !(a >= b));
    EXPECT_TRUE(a == a);
    EXPECT_FALSE(a == b);
}

TEST(DoubleDoubleTest, DigitCountText) {
    EXPECT_EQ(digit_count_text(DoubleDouble(0x1p70)), ">= 2^63");
    EXPECT_EQ(digit_count_text(DoubleDouble(-0x1p70)), "< -2^63");
    EXPECT_EQ(digit_count_text(DoubleDouble(1000.0)), "434");
    EXPECT_EQ(digit_count_text(DoubleDouble(-1000.0)), "-434");
    EXPECT_EQ(digit_count_text(DoubleDouble(0.0)), "0");
    EXPECT_EQ(round_parts(DoubleDouble(0x1p63, -1.0)), 0x7fffffffffffffff);
    EXPECT_EQ(round_parts(DoubleDouble(0x1p60, 3.4)), (i64(1) << 60) + 3);
}

TEST(DoubleDoubleTest, FirstUseFromSeveralThreads) {
    std::vector<double> results(8);
    std::vector<std::thread> threads;
    for (u64 i = 0; i < results.size(); i++) {
        threads.emplace_back([&results, i] { results[i] = exp(ln(DoubleDouble(10.0))).high; });
    }
    for (auto& t : threads) t.join();
    for (double r : results) EXPECT_EQ(r, 10.0);
}

// To the ends of a double's range: the low part vanishes first, then the whole value.
TEST(DoubleDoubleRangeTest, ExponentialOfFarArguments) {
    for (double x = -800; x <= 720; x += 0.25) {
        const DoubleDouble e = exp(DoubleDouble(x));
        const double want = std::exp(x);
        if (want == 0 || std::isinf(want)) {
            EXPECT_EQ(e.high, want) << x;
            EXPECT_EQ(e.low, 0.0) << x;
            continue;
        }
        EXPECT_LE(std::fabs(e.high - want), std::fabs(want) * 0x1p-50 + 0x1p-1073) << x;
        EXPECT_LE(std::fabs(e.low), std::fabs(want) * 0x1p-52 + 0x1p-1074) << x;
    }
    EXPECT_EQ(exp(DoubleDouble(-1e300)).high, 0.0);
    EXPECT_TRUE(std::isinf(exp(DoubleDouble(1e300)).high));
}

}  // namespace
