// The vector types against scalar code, lane by lane, on every level that this machine has.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <map>
#include <random>

#include "base/simd/isa.h"
#include "base/simd/vec_probe.h"
#include "os/fma.h"

using namespace trel;

namespace {

bool same(double a, double b) {
    return std::memcmp(&a, &b, 8) == 0 || (std::isnan(a) && std::isnan(b));
}

using LaneOfDoubles = std::function<double(const double*, const double*, const double*, int)>;
const std::map<std::string, LaneOfDoubles>& doubles() {
    auto lanewise = [](double (*f)(double, double, double)) {
        return LaneOfDoubles(
            [f](const double* a, const double* b, const double* c, int i) { return f(a[i], b[i], c[i]); });
    };
    static const std::map<std::string, LaneOfDoubles> reference = {
        {"add", lanewise([](double a, double b, double) { return a + b; })},
        {"sub", lanewise([](double a, double b, double) { return a - b; })},
        {"mul", lanewise([](double a, double b, double) { return a * b; })},
        {"div", lanewise([](double a, double b, double) { return a / b; })},
        {"fma", lanewise([](double a, double b, double c) { return trel::os::fma(a, b, c); })},
        {"fms", lanewise([](double a, double b, double c) { return trel::os::fma(a, b, -c); })},
        {"fnma", lanewise([](double a, double b, double c) { return trel::os::fma(-a, b, c); })},
        {"fnms", lanewise([](double a, double b, double c) { return trel::os::fma(-a, b, -c); })},
        {"min", lanewise([](double a, double b, double) { return a < b ? a : b; })},
        {"max", lanewise([](double a, double b, double) { return a > b ? a : b; })},
        {"round", lanewise([](double a, double, double) { return std::nearbyint(a); })},
        {"floor", lanewise([](double a, double, double) { return std::floor(a); })},
        {"neg", lanewise([](double a, double, double) { return -a; })},
        {"abs", lanewise([](double a, double, double) { return std::fabs(a); })},
        {"zero", lanewise([](double a, double, double) { return 0.0 + a * 0.0; })},
        {"broadcast", lanewise([](double a, double, double) { return a + 1.5; })},
        {"set", [](const double* a, const double*, const double*, int i) { return a[i] + (i + 1); }},
        {"reverse", [](const double* a, const double*, const double*, int i) { return a[7 - i]; }},
        {"swap_pairs", [](const double* a, const double*, const double*, int i) { return a[i ^ 1]; }},
        {"dup_even", [](const double* a, const double*, const double*, int i) { return a[i & ~1]; }},
        {"dup_odd", [](const double* a, const double*, const double*, int i) { return a[i | 1]; }},
        {"unpack_even",
         [](const double* a, const double* b, const double*, int i) { return (i & 1 ? b : a)[i & ~1]; }},
        {"unpack_odd",
         [](const double* a, const double* b, const double*, int i) { return (i & 1 ? b : a)[i | 1]; }},
    };
    return reference;
}

using LaneOfWords = std::function<u64(const u64*, const u64*, int)>;
const std::map<std::string, LaneOfWords>& words() {
    auto lanewise = [](u64 (*f)(u64, u64)) {
        return LaneOfWords([f](const u64* a, const u64* b, int i) { return f(a[i], b[i]); });
    };
    static const std::map<std::string, LaneOfWords> reference = {
        {"add", lanewise([](u64 a, u64 b) { return a + b; })},
        {"sub", lanewise([](u64 a, u64 b) { return a - b; })},
        {"mul_lo", lanewise([](u64 a, u64 b) { return a * b; })},
        {"mul_32", lanewise([](u64 a, u64 b) { return u64(u32(a)) * u32(b); })},
        {"bit_and", lanewise([](u64 a, u64 b) { return a & b; })},
        {"bit_or", lanewise([](u64 a, u64 b) { return a | b; })},
        {"bit_xor", lanewise([](u64 a, u64 b) { return a ^ b; })},
        {"and_not", lanewise([](u64 a, u64 b) { return a & ~b; })},
        {"shift_left", lanewise([](u64 a, u64 b) { return b > 63 ? 0 : a << b; })},
        {"shift_right", lanewise([](u64 a, u64 b) { return b > 63 ? 0 : a >> b; })},
        {"min", lanewise([](u64 a, u64 b) { return a < b ? a : b; })},
        {"max", lanewise([](u64 a, u64 b) { return a > b ? a : b; })},
        {"zero", lanewise([](u64 a, u64) { return a; })},
        {"broadcast", lanewise([](u64 a, u64) { return a + 5; })},
        {"set", [](const u64* a, const u64*, int i) { return a[i] + static_cast<u64>(i + 1); }},
        {"reverse", [](const u64* a, const u64*, int i) { return a[7 - i]; }},
        {"unpack_even", [](const u64* a, const u64* b, int i) { return (i & 1 ? b : a)[i & ~1]; }},
        {"unpack_odd", [](const u64* a, const u64* b, int i) { return (i & 1 ? b : a)[i | 1]; }},
    };
    return reference;
}

class VecTest : public testing::TestWithParam<Isa> {
  protected:
    const VecProbe& vec() const { return TREL_TABLE(GetParam(), vec_probe); }
    const VecRegisterProbe& in_register() const { return TREL_TABLE(GetParam(), vec_register_probe); }

    u64 word() {
        // Edge words now and then.
        const u64 edges[] = {
            0, 1, u64(1) << 63, ~u64(0), (u64(1) << 63) - 1, (u64(1) << 32) - 1, u64(1) << 32, 63, 64};
        const u64 r = random_();
        return r % 4 == 0 ? edges[r / 4 % 9] : random_();
    }
    double number() {
        const double edges[] = {0.0, -0.0, 0.5, -0.5, 1.5, 2.5, -2.5, 1e300, -1e-300, 4503599627370495.5};
        const u64 r = random_();
        if (r % 4 == 0) return edges[r / 4 % 10];
        return std::ldexp(static_cast<double>(static_cast<i64>(random_())), static_cast<int>(r % 80) - 90);
    }
    void fill(u64 (&a)[8]) {
        for (u64& x : a) x = word();
    }
    void fill(double (&a)[8]) {
        for (double& x : a) x = number();
    }
    void check(const VecProbe::F64* ops, int n) {
        for (int k = 0; k < n; k++) {
            const LaneOfDoubles& lane = doubles().at(ops[k].name);
            for (int run = 0; run < 500; run++) {
                double a[8], b[8], c[8], r[8];
                fill(a);
                fill(b);
                fill(c);
                ops[k].run(r, a, b, c);
                for (int i = 0; i < 8; i++) {
                    ASSERT_TRUE(same(r[i], lane(a, b, c, i))) << ops[k].name << " lane " << i << ": " << a[i]
                                                              << " " << b[i] << " " << c[i] << " -> " << r[i];
                }
            }
        }
    }
    void check(const VecProbe::U64* ops, int n) {
        for (int k = 0; k < n; k++) {
            const LaneOfWords& lane = words().at(ops[k].name);
            for (int run = 0; run < 500; run++) {
                u64 a[8], b[8], r[8];
                fill(a);
                fill(b);
                ops[k].run(r, a, b);
                for (int i = 0; i < 8; i++) {
                    ASSERT_EQ(r[i], lane(a, b, i))
                        << ops[k].name << " lane " << i << ": " << a[i] << " " << b[i];
                }
            }
        }
    }
    std::mt19937_64 random_{20240611};
};

}  // namespace

TEST_P(VecTest, Doubles) {
    ASSERT_EQ(static_cast<size_t>(vec().n_f64) + 1, doubles().size());  // fnms: vec_register.h alone
    check(vec().f64, vec().n_f64);
    check(in_register().f64, in_register().n_f64);
}

TEST_P(VecTest, Words) {
    ASSERT_EQ(static_cast<size_t>(vec().n_words), words().size());
    check(vec().words, vec().n_words);
    check(in_register().words, in_register().n_words);
    u64 a[8], r[8];
    for (const unsigned n : {0u, 1u, 31u, 32u, 63u, 64u, 100u}) {
        fill(a);
        vec().shift_left(r, a, n);
        for (int i = 0; i < 8; i++) ASSERT_EQ(r[i], n > 63 ? 0 : a[i] << n);
        vec().shift_right(r, a, n);
        for (int i = 0; i < 8; i++) ASSERT_EQ(r[i], n > 63 ? 0 : a[i] >> n);
    }
}

TEST_P(VecTest, Masks) {
    ASSERT_EQ(vec().n_masks, 4);
    for (int run = 0; run < 2000; run++) {
        u64 a[8], b[8];
        double x[8], y[8];
        fill(a);
        fill(b);
        fill(x);
        fill(y);
        if (run % 2) std::memcpy(b, a, 24);
        if (run % 3) std::memcpy(y, x, 24);
        unsigned equal = 0, less = 0, greater = 0, less_f64 = 0, greater_f64 = 0, has_bit = 0;
        for (int i = 0; i < 8; i++) {
            equal |= unsigned(a[i] == b[i]) << i;
            less |= unsigned(a[i] < b[i]) << i;
            greater |= unsigned(a[i] > b[i]) << i;
            has_bit |= unsigned(a[i] >> 17 & 1) << i;
            less_f64 |= unsigned(x[i] < y[i]) << i;
            greater_f64 |= unsigned(x[i] > y[i]) << i;
        }
        ASSERT_EQ(vec().masks[0].run(a, b), equal);
        ASSERT_EQ(vec().masks[1].run(a, b), less);
        ASSERT_EQ(vec().masks[2].run(a, b), greater);
        ASSERT_EQ(vec().masks[3].run(a, b), has_bit);
        ASSERT_EQ(vec().less_f64(x, y), less_f64);
        ASSERT_EQ(vec().greater_f64(x, y), greater_f64);
    }
    for (unsigned n = 0; n <= 8; n++) EXPECT_EQ(vec().first_lanes(n), (1u << n) - 1);
}

TEST_P(VecTest, MaskedOperations) {
    for (unsigned bits = 0; bits < 256; bits++) {
        ASSERT_EQ(vec().mask_bits(bits), bits);
        u64 a[8], b[8], r[8];
        double x[8], y[8], s[8];
        fill(a);
        fill(b);
        fill(x);
        fill(y);
        auto on = [&](int i) { return (bits >> i & 1) != 0; };
        vec().select_u64(r, bits, a, b);
        for (int i = 0; i < 8; i++) ASSERT_EQ(r[i], on(i) ? b[i] : a[i]);
        vec().select_f64(s, bits, x, y);
        for (int i = 0; i < 8; i++) ASSERT_TRUE(same(s[i], on(i) ? y[i] : x[i]));
        vec().add_masked(r, bits, a, b);
        for (int i = 0; i < 8; i++) ASSERT_EQ(r[i], on(i) ? a[i] + b[i] : a[i]);
        vec().add_masked_f64(s, bits, x, y);
        for (int i = 0; i < 8; i++) ASSERT_EQ(s[i], on(i) ? x[i] + y[i] : x[i]);
        double m[8], n[8];  // integers: what is computed of them is exact
        for (int i = 0; i < 8; i++) {
            m[i] = static_cast<double>(static_cast<i64>(a[i]) >> 14);
            n[i] = static_cast<double>(static_cast<i64>(b[i]) >> 14);
        }
        vec().double_minus_masked(s, bits, m, n);
        for (int i = 0; i < 8; i++) ASSERT_EQ(s[i], on(i) ? 2 * m[i] - n[i] : m[i]);
        for (double& v : m) v = std::abs(v);
        vec().with_sign(s, m, y);
        for (int i = 0; i < 8; i++) ASSERT_TRUE(same(s[i], std::copysign(m[i], y[i])));
        u64 c[8], d[8];  // -2^61 .. 2^61, and more than its size
        for (int i = 0; i < 8; i++) {
            c[i] = static_cast<u64>(static_cast<i64>(a[i]) >> 2);
            d[i] = (b[i] >> 2) | u64(1) << 61;
        }
        vec().add_where_negative(r, c, d);
        for (int i = 0; i < 8; i++) ASSERT_EQ(r[i], static_cast<i64>(c[i]) < 0 ? c[i] + d[i] : c[i]);
        vec().sub_masked(r, bits, a, b);
        for (int i = 0; i < 8; i++) ASSERT_EQ(r[i], on(i) ? a[i] - b[i] : a[i]);
        std::memcpy(r, b, sizeof r);
        vec().copy_masked_u64(r, bits, a);
        for (int i = 0; i < 8; i++) ASSERT_EQ(r[i], on(i) ? a[i] : b[i]);
        std::memcpy(s, y, sizeof s);
        vec().copy_masked_f64(s, bits, x);
        for (int i = 0; i < 8; i++) ASSERT_TRUE(same(s[i], on(i) ? x[i] : y[i]));
        vec().load_masked_u64(r, bits, a);
        for (int i = 0; i < 8; i++) ASSERT_EQ(r[i], on(i) ? a[i] : 0);
        vec().load_masked_f64(s, bits, x);
        for (int i = 0; i < 8; i++) ASSERT_TRUE(same(s[i], on(i) ? x[i] : 0.0));
    }
}

TEST_P(VecTest, Conversions) {
    for (int run = 0; run < 2000; run++) {
        u64 a[8], r[8];
        double x[8], s[8];
        for (int i = 0; i < 8; i++) a[i] = run == 0 ? (u64(1) << 52) - 1 : random_() >> (12 + random_() % 50);
        vec().f64_of_52(s, a);
        for (int i = 0; i < 8; i++) ASSERT_EQ(s[i], static_cast<double>(a[i]));
        vec().u52_of_f64(r, s);
        for (int i = 0; i < 8; i++) ASSERT_EQ(r[i], a[i]);
        for (int i = 0; i < 8; i++) {
            const double half = static_cast<double>(random_() >> 14) / 2;
            x[i] = random_() & 1 ? half : -half;
        }
        vec().i64_of_f64(r, x);
        for (int i = 0; i < 8; i++) ASSERT_EQ(static_cast<i64>(r[i]), static_cast<i64>(std::nearbyint(x[i])));
    }
}

TEST_P(VecTest, LanesAndTransposes) {
    alignas(64) u64 a[8], r[8];
    alignas(64) double x[8], s[8];
    for (int run = 0; run < 500; run++) {
        fill(a);
        fill(x);
        u64 index[8];
        for (u64& i : index) i = random_();  // only the low three bits count
        vec().permute_index(s, r, x, a, index);
        for (int i = 0; i < 8; i++) {
            ASSERT_EQ(r[i], a[index[i] % 8]);
            ASSERT_TRUE(same(s[i], x[index[i] % 8]));
        }
        vec().permute_fixed(s, r, x, a);
        const int order[8] = {5, 0, 7, 2, 1, 4, 3, 6};
        for (int i = 0; i < 8; i++) {
            ASSERT_EQ(r[i], a[order[i]]);
            ASSERT_TRUE(same(s[i], x[order[i]]));
        }
        vec().aligned_copy_u64(r, a);
        vec().aligned_copy_f64(s, x);
        ASSERT_EQ(std::memcmp(r, a, sizeof r), 0);
        ASSERT_EQ(std::memcmp(s, x, sizeof s), 0);
    }
    double m[64];
    u64 w[64];
    for (int i = 0; i < 64; i++) {
        m[i] = i;
        w[i] = static_cast<u64>(i) << 40;
    }
    vec().transpose_f64(m);
    vec().transpose_u64(w);
    for (int i = 0; i < 8; i++) {
        for (int j = 0; j < 8; j++) {
            EXPECT_EQ(m[8 * i + j], 8 * j + i);
            EXPECT_EQ(w[8 * i + j], static_cast<u64>(8 * j + i) << 40);
        }
    }
}

TEST_P(VecTest, OneRegister) {
    const VecRegisterProbe& probe = in_register();
    const int lanes = static_cast<int>(probe.lanes);
    alignas(64) double a[16], before[8], r[16];
    for (int i = 0; i < 16; i++) a[i] = number();
    fill(before);
    for (int n = 1; n < lanes; n++) {
        probe.move_up(n, r, a, before);
        for (int i = 0; i < lanes; i++) ASSERT_TRUE(same(r[i], i < n ? before[lanes - n + i] : a[i - n]));
    }
    for (const int shift : {0, 1, 4}) {  // the last two are not where the store past the caches may go
        probe.stream(r + shift, a + shift);
        for (int i = shift; i < shift + lanes; i++) ASSERT_TRUE(same(r[i], a[i]));
    }
    u64 bits[8];
    probe.bits_of(bits, a);
    ASSERT_EQ(std::memcmp(bits, a, 8 * probe.lanes), 0);
    double matrix[64];
    for (int i = 0; i < 64; i++) matrix[i] = i;
    probe.transpose(matrix);
    for (int i = 0; i < lanes; i++) {
        for (int j = 0; j < lanes; j++) ASSERT_EQ(matrix[lanes * i + j], lanes * j + i);
    }
}

INSTANTIATE_TEST_SUITE_P(Levels, VecTest, testing::ValuesIn(available_isas()),
                         [](const auto& info) { return std::string(isa_name(info.param)); });
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(VecTest);
