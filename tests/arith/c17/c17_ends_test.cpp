#include "arith/c17/c17_ends.h"

#include <gmpxx.h>
#include <gtest/gtest.h>

#include <bit>
#include <random>
#include <vector>

#include "arith/c17/c17_end_constants.h"
#include "base/errors/exceptions.h"
#include "reference/mpz_u64.h"
#include "reference/mpz_words.h"
#include "support/guarded_pages.h"
#include "support/scratch.h"

namespace {

using namespace trel;
using reference::to_mpz;
using reference::to_words;

constexpr u64 kSeed = 20240517;
constexpr u32 kOdd[] = {1, 3, 5, 7};

mpz_class big(u64 x) {
    mpz_class z;
    mpz_import(z.get_mpz_t(), 1, -1, 8, 0, 0, &x);
    return z;
}
mpz_class power_of_two(u64 e) {
    return mpz_class(1) << e;
}
mpz_class modulo(const mpz_class& x, const mpz_class& m) {  // 0 <= result < m
    mpz_class r;
    mpz_fdiv_r(r.get_mpz_t(), x.get_mpz_t(), m.get_mpz_t());
    return r;
}
mpz_class exactly(double x) {
    mpz_class z(x);
    EXPECT_EQ(z.get_d(), x);
    return z;
}

const NttPrimeSet& c17_set(u32 a, u32 b) {
    return ntt_prime_set(NttFamily::c17, a, b);
}
mpz_class product_of(const NttPrimeSet& set) {
    mpz_class M = 1;
    for (const u64 p : set.primes) M *= big(p);
    return M;
}

// ---- constants

TEST(C17EndConstantsTest, SayWhatTheyStandFor) {
    for (u32 a = 4; a <= 11; a++) {
        for (const u32 b : kOdd) {
            const NttPrimeSet& set = c17_set(a, b);
            const mpz_class M = product_of(set);
            for (u32 i = 0; i < a; i++) {
                const C17PrimeConstants& c = c17_set_constants(set).primes[i];
                const mpz_class p = big(set.primes[i]);
                EXPECT_EQ(exactly(c.p), p);
                EXPECT_EQ(c.p_inverse, 1.0 / c.p);
                EXPECT_EQ(c.p_low * 16777216.0, c.p);
                mpz_class others = 0;
                for (u32 k = 0; k < a - 1; k++) {
                    const mpz_class power = exactly(c.high[k]) * power_of_two(24) + exactly(c.low[k]);
                    EXPECT_EQ(modulo(power - power_of_two(24 * k), p), 0);
                    EXPECT_LE(std::abs(c.high[k]), 0x1p23);
                    EXPECT_LE(std::abs(c.low[k]), 0x1p23);
                    others += exactly(c.others[k]) * power_of_two(48 * k);
                    EXPECT_LE(std::abs(c.others[k]), k == a - 2 ? 0x1p48 : 0x1p47);
                }
                EXPECT_EQ(others, mpz_class(M / p));
                for (u32 e = 0; e <= set.max_exponent; e++) {
                    EXPECT_EQ(modulo(exactly(c.scale[e]) * others * b * power_of_two(e), p), 1);
                    EXPECT_LE(std::abs(c.scale[e]), c.p / 2);
                }
            }
        }
    }
}

// The bounds that the recombination's exactness rests on, and that every product of the longest transforms
// stays below what it can tell.
TEST(C17EndConstantsTest, KeepSumsWithinTheirWords) {
    for (u32 a = 4; a <= 11; a++) {
        for (const u32 b : kOdd) {
            const NttPrimeSet& set = c17_set(a, b);
            const C17SetConstants& constants = c17_set_constants(set);
            const double quotient = 0.75 * a + 1;
            const double last = (quotient + 0.75) * constants.primes[a - 1].p;
            EXPECT_LT(last, 0x1p53);
            for (u32 k = 0; k < a - 1; k++) {
                double sum = last * std::abs(constants.primes[a - 1].others[k]);
                for (u32 i = 0; i < a - 1; i++) {
                    sum += 0.75 * constants.primes[i].p * std::abs(constants.primes[i].others[k]);
                }
                EXPECT_LT(sum, 0x1p99) << a << " " << b << " " << k;
            }
            const u32 w = 24 * (a - 1);
            const mpz_class point = power_of_two(w) - 1;
            const mpz_class largest = point * point * b * power_of_two(set.max_exponent);
            const mpz_class M = product_of(set);
            EXPECT_LT(mpz_class(largest * power_of_two(39)), mpz_class(M * (power_of_two(39) - 1)))
                << a << " " << b;
        }
    }
}

TEST(C17EndConstantsTest, RefuseOtherSets) {
    const NttPrimeSet& set = ntt_prime_set(NttFamily::n64, 3, 1);
    EXPECT_THROW(c17_set_constants(set), InvalidParametersException);
}

// ---- a level and a number of primes

class C17EndsTest : public testing::TestWithParam<std::tuple<Isa, u32>> {
  protected:
    u32 a() const { return std::get<1>(GetParam()); }
    u32 w() const { return 24 * (a() - 1); }
    u64 group_words() const { return 3 * (a() - 1); }
    const C17EndKernels& kernels() const { return c17_end_kernels(std::get<0>(GetParam())); }

    std::mt19937_64 rng{kSeed};

    u64 below(u64 n) { return rng() % n; }
    mpz_class random_below(const mpz_class& n) {
        std::vector<Word> words(2 + mpz_sizeinbase(n.get_mpz_t(), 2) / 64);
        for (Word& x : words) x = rng();
        return modulo(to_mpz(words), n);
    }
};

std::string level_and_primes(const testing::TestParamInfo<std::tuple<Isa, u32>>& info) {
    return std::string(isa_name(std::get<0>(info.param))) + "_" + std::to_string(std::get<1>(info.param));
}
INSTANTIATE_TEST_SUITE_P(Levels, C17EndsTest,
                         testing::Combine(testing::ValuesIn(available_isas()), testing::Range(4u, 12u)),
                         level_and_primes);

// The limbs of the points of an operand, from the definition.
void expect_limbs(const std::vector<Word>& A, u64 j0, u64 count, u32 a, const double* limbs) {
    const u64 bytes_of_point = 3 * (u64(a) - 1);
    const u8* bytes = reinterpret_cast<const u8*>(A.data());
    for (u64 k = 0; k < count; k++) {
        for (u64 row = 0; row < a - 1; row++) {
            double want = 0;
            for (u64 i = 0; i < 3; i++) {
                const u64 at = (j0 + k) * bytes_of_point + 3 * row + i;
                if (at < 8 * A.size()) want += bytes[at] * static_cast<double>(u64(1) << (8 * i));
            }
            ASSERT_EQ(limbs[(k / 8 * (a - 1) + row) * 8 + k % 8], want)
                << "point " << j0 + k << " row " << row;
        }
    }
}

TEST_P(C17EndsTest, CutTakesPiecesOfTheOperandAndNothingElse) {
    const GuardedPages pages(8 * 16 * group_words());
    for (int round = 0; round < 60; round++) {
        const u64 L = round == 0 ? 0 : round == 1 ? 1 : below(16 * group_words() + 1);
        std::vector<Word> A(L);
        for (Word& x : A) x = round % 3 == 0 ? ~Word(0) : rng();
        Word* where = reinterpret_cast<Word*>(round % 2 == 0 ? pages.end() - 8 * L : pages.begin());
        std::copy(A.begin(), A.end(), where);
        const u64 j0 = 8 * below(12), count = 8 * (1 + below(10));
        Scratch limbs(8 * count * (a() - 1));
        double* out = reinterpret_cast<double*>(limbs.data());
        kernels().cut(a(), where, L, j0, count, out);
        EXPECT_TRUE(limbs.guards_intact());
        expect_limbs(A, j0, count, a(), out);
        if (HasFatalFailure()) FAIL() << "L " << L << " j0 " << j0 << " count " << count;
    }
}

TEST_P(C17EndsTest, ReduceGivesBalancedResidues) {
    constexpr u64 kCount = 8 * 21, kStride = kCount + 8;
    for (const u32 b : kOdd) {
        C17EndConstants constants;
        make_c17_end_constants(&constants, c17_set(a(), b), 7);
        for (int round = 0; round < 4; round++) {
            Scratch limbs(8 * kCount * (a() - 1)), out(8 * kStride * a());
            double* in = reinterpret_cast<double*>(limbs.data());
            for (u64 i = 0; i < kCount * (a() - 1); i++) {
                const u64 any = below(3) == 0 ? below(2) * 0xffffff : below(u64(1) << 24);
                in[i] = static_cast<double>(round == 0 ? 0xffffff : round == 1 ? 0 : any);
            }
            double* const all = reinterpret_cast<double*>(out.data());
            for (u32 i = 0, n = 1; i < a(); i += n, n++) {
                n = std::min(n, a() - i);
                kernels().reduce(&constants, i, n, in, kCount, all + i * kStride, kStride);
            }
            EXPECT_TRUE(out.guards_intact());
            for (u32 i = 0; i < a(); i++) {
                const mpz_class p = big(c17_set(a(), b).primes[i]);
                const double* r = all + i * kStride;
                for (u64 k = 0; k < kCount; k++) {
                    mpz_class point = 0;
                    for (u32 row = 0; row < a() - 1; row++) {
                        point += exactly(in[(k / 8 * (a() - 1) + row) * 8 + k % 8]) * power_of_two(24 * row);
                    }
                    ASSERT_EQ(modulo(point - exactly(r[k]), p), 0) << "b " << b << " prime " << i;
                    ASSERT_LE(std::abs(r[k]), p.get_d() / 2 + 1);
                }
            }
        }
    }
}

// ---- recombination

// The residues of N times the coefficients, at `spread` multiples of the prime from the balanced ones.
struct Residues {
    Residues(const NttPrimeSet& set, u32 c, const std::vector<mpz_class>& coefficients, u64 spread,
             std::mt19937_64& rng)
        : stride(coefficients.size() + 8), memory(8 * stride * set.a) {
        double* out = reinterpret_cast<double*>(memory.data());
        for (u32 i = 0; i < set.a; i++) {
            const mpz_class p = big(set.primes[i]);
            const u64 fits = (u64(1) << 51) / set.primes[i] - 1;
            const u64 most = std::min(spread, fits);
            for (u64 j = 0; j < coefficients.size(); j++) {
                mpz_class r = modulo(coefficients[j] * set.b * power_of_two(c), p);
                if (2 * r > p) r -= p;
                const i64 shift = most == 0 ? 0 : static_cast<i64>(rng() % (2 * most + 1)) - i64(most);
                r += p * reference::mpz_of_signed(shift);
                out[i * stride + j] = r.get_d();
            }
        }
    }
    const double* data() const { return reinterpret_cast<const double*>(memory.data()); }
    double* data() { return reinterpret_cast<double*>(memory.data()); }

    u64 stride;
    Scratch memory;
};

mpz_class value_of(const std::vector<mpz_class>& coefficients, u32 w) {
    mpz_class sum = 0;
    for (u64 j = 0; j < coefficients.size(); j++) sum += coefficients[j] << (w * j);
    return sum;
}

// Recombines in blocks that end anywhere; guards behind every block's words. Returns the words with those of
// the flush, n groups and one.
std::vector<Word> recombined(const C17EndKernels& kernels, const C17EndConstants& constants, u32 a,
                             const Residues& residues, u64 points, std::mt19937_64& rng, C17Carry* carry) {
    const u64 group = 3 * (a - 1);
    std::vector<Word> out;
    for (u64 j = 0; j < points;) {
        const u64 count = 8 * (1 + rng() % ((points - j) / 8));
        const u64 n = count / 8 * group;
        constexpr Word kGuard = 0x1234567890abcdef;
        std::vector<Word> block(n + 8, kGuard);
        kernels.recombine(&constants, residues.data() + j, residues.stride, count, carry, block.data() + 4);
        for (u64 i = 0; i < 4; i++) {
            EXPECT_EQ(block[i], kGuard);
            EXPECT_EQ(block[n + 4 + i], kGuard);
        }
        out.insert(out.end(), block.begin() + 4, block.end() - 4);
        j += count;
    }
    std::vector<Word> left(group + 1, 77);
    kernels.flush(&constants, carry, left.data());
    EXPECT_EQ(left.back(), 77u);
    out.insert(out.end(), left.begin(), left.end() - 1);
    return out;
}

enum class Kind { zero, random, largest, powers, running_carry, all_ones, mixed, whole_range };
constexpr Kind kKinds[] = {Kind::zero,          Kind::random,   Kind::largest, Kind::powers,
                           Kind::running_carry, Kind::all_ones, Kind::mixed,   Kind::whole_range};

class C17RecombineTest : public C17EndsTest {
  protected:
    std::vector<mpz_class> coefficients(Kind kind, const NttPrimeSet& set, u32 c, u64 points) {
        const mpz_class one = power_of_two(w());
        const mpz_class limit = (one - 1) * (one - 1) * set.b * power_of_two(c);
        std::vector<mpz_class> x(points, 0);
        for (u64 j = 0; j < points; j++) {
            switch (kind) {
                case Kind::zero:
                    break;
                case Kind::random:
                    x[j] = random_below(limit + 1);
                    break;
                case Kind::largest:
                    x[j] = limit;
                    break;
                case Kind::powers:
                    x[j] = power_of_two(below(2 * w()));
                    break;
                // words of ones, and a one that runs through all of them
                case Kind::running_carry:
                    x[j] = j == 0 ? one : one - 1;
                    break;
                case Kind::all_ones:
                    x[j] = one - 1;
                    break;
                case Kind::mixed:
                    if (below(3) == 0) {
                        x[j] = random_below(limit);
                    } else if (below(2) == 0) {
                        x[j] = one - big(below(2));
                    } else {
                        x[j] = one * one - 1;
                        if (below(2) == 0) x[j] -= random_below(one);
                    }
                    break;
                case Kind::whole_range:
                    x[j] = random_below(product_of(set) * 1023 / 1024);
                    break;
            }
        }
        return x;
    }
};
INSTANTIATE_TEST_SUITE_P(Levels, C17RecombineTest,
                         testing::Combine(testing::ValuesIn(available_isas()), testing::Range(4u, 12u)),
                         level_and_primes);

TEST_P(C17RecombineTest, JoinsCoefficientsExactly) {
    for (const u32 b : kOdd) {
        const NttPrimeSet& set = c17_set(a(), b);
        for (const u32 c : {5u, 18u, set.max_exponent}) {
            C17EndConstants constants;
            make_c17_end_constants(&constants, set, c);
            for (const Kind kind : kKinds) {
                const u64 points = 8 * (1 + below(5));
                std::vector<mpz_class> x = coefficients(kind, set, c, points);
                // above 2^(w points + ...) only what two more points can hold is kept
                if (kind == Kind::whole_range) x[points - 1] = x[points - 2] = 0;
                const Residues residues(set, c, x, kind == Kind::random ? 100 : 0, rng);
                C17Carry carry{};
                const std::vector<Word> out =
                    recombined(kernels(), constants, a(), residues, points, rng, &carry);
                const mpz_class value = value_of(x, w());
                ASSERT_EQ(to_mpz(out), value)
                    << "b " << b << " c " << c << " kind " << static_cast<int>(kind) << " points " << points;
                mpz_class excess = 0;
                for (const mpz_class& t : x) excess = std::max<mpz_class>(excess, t >> (2 * w()));
                EXPECT_EQ(big(c17_excess(carry)), excess);
                if (kind != Kind::whole_range) {
                    EXPECT_LT(c17_excess(carry), u64(1) << (c + std::bit_width(b - 1) + 1));
                }
            }
        }
    }
}

// A carry that arrives after the words of ones were made: it enters through the state of an earlier block.
TEST_P(C17RecombineTest, CarriesRunThroughWholeRowsOfOnes) {
    const NttPrimeSet& set = c17_set(a(), 5);
    C17EndConstants constants;
    make_c17_end_constants(&constants, set, 9);
    const mpz_class one = power_of_two(w());
    for (u64 start = 0; start < 24; start++) {
        std::vector<mpz_class> x(64, one - 1);
        for (u64 j = 0; j < start; j++) x[j] = 0;
        x[start] = one * one + one;  // the second part sends a carry on, after a gap of one point
        const Residues residues(set, 9, x, 3, rng);
        C17Carry carry{};
        const std::vector<Word> out = recombined(kernels(), constants, a(), residues, 64, rng, &carry);
        ASSERT_EQ(to_mpz(out), value_of(x, w())) << start;
    }
}

TEST_P(C17RecombineTest, WrongResiduesShowAsExcess) {
    for (const u32 b : kOdd) {
        const NttPrimeSet& set = c17_set(a(), b);
        const u32 c = 14;
        const u64 bound = u64(1) << (c + std::bit_width(b - 1) + 1);
        C17EndConstants constants;
        make_c17_end_constants(&constants, set, c);
        for (u32 i = 0; i < a(); i++) {
            const std::vector<mpz_class> x = coefficients(Kind::random, set, c, 16);
            Residues residues(set, c, x, 0, rng);
            residues.data()[i * residues.stride + below(16)] += static_cast<double>(1 + below(1000));
            C17Carry carry{};
            recombined(kernels(), constants, a(), residues, 16, rng, &carry);
            EXPECT_GE(c17_excess(carry), bound) << "b " << b << " prime " << i;
        }
    }
}

// What a set of primes cannot tell from a negative number must not pass for a small one.
TEST_P(C17RecombineTest, NegativeCoefficientsShowAsExcess) {
    const NttPrimeSet& set = c17_set(a(), 3);
    const mpz_class M = product_of(set);
    C17EndConstants constants;
    make_c17_end_constants(&constants, set, 10);
    const mpz_class steps[] = {
        1,       2,     power_of_two(w()), power_of_two(2 * w()) - 1, power_of_two(2 * w()), M >> 45, M >> 39,
        M >> 20, M >> 1};
    for (const mpz_class& below_M : steps) {
        for (u64 at = 0; at < 8; at++) {
            std::vector<mpz_class> x(8, 0);
            x[at] = M - below_M;
            const Residues residues(set, 10, x, 1, rng);
            C17Carry carry{};
            recombined(kernels(), constants, a(), residues, 8, rng, &carry);
            EXPECT_GE(c17_excess(carry), u64(1) << 30) << below_M.get_str(16);
        }
    }
}

// Starting in the middle: where the carry counts as decided, the words are those of the whole row.
TEST_P(C17RecombineTest, CanStartInTheMiddleOfARow) {
    const NttPrimeSet& set = c17_set(a(), 1);
    const u32 c = 12;
    C17EndConstants constants;
    make_c17_end_constants(&constants, set, c);
    u64 decided = 0, undecided = 0;
    for (const Kind kind : {Kind::random, Kind::running_carry, Kind::mixed, Kind::largest, Kind::zero}) {
        const std::vector<mpz_class> x = coefficients(kind, set, c, 64);
        const Residues residues(set, c, x, 0, rng);
        C17Carry carry{};
        const std::vector<Word> all = recombined(kernels(), constants, a(), residues, 64, rng, &carry);
        for (u64 group = 0; group < 7; group++) {
            C17Carry from_here{};
            std::vector<Word> warm(group_words());
            const double* at = residues.data() + 8 * group;
            kernels().recombine(&constants, at, residues.stride, 8, &from_here, warm.data());
            if (!c17_carry_is_decided(a(), warm.data())) {
                undecided++;
                continue;
            }
            decided++;
            const u64 rest = 64 - 8 * (group + 1);
            std::vector<Word> words(rest / 8 * group_words());
            kernels().recombine(&constants, at + 8, residues.stride, rest, &from_here, words.data());
            EXPECT_TRUE(std::equal(words.begin(), words.end(), all.begin() + (group + 1) * group_words()))
                << "kind " << static_cast<int>(kind) << " group " << group;
        }
    }
    EXPECT_GT(decided, 20u);
    EXPECT_GT(undecided, 5u);  // the words of ones
}

// Both ends around a product by definition: cyclic convolutions of N points modulo each prime.
TEST_P(C17EndsTest, BothEndsMakeProducts) {
    for (const u32 b : kOdd) {
        const u32 c = 4;
        const u64 N = u64(b) << c;
        const NttPrimeSet& set = c17_set(a(), b);
        C17EndConstants constants;
        make_c17_end_constants(&constants, set, c);
        const u64 n = N / 8 * group_words();
        const u64 L1 = n / 2 + below(n / 4), L2 = n - L1;
        std::vector<Word> A(L1), B(L2);
        for (Word& x : A) x = b == 7 ? ~Word(0) : rng();
        for (Word& x : B) x = b == 7 ? ~Word(0) : rng();
        Scratch limbs1(8 * N * (a() - 1)), limbs2(8 * N * (a() - 1)), product(8 * N * a()), r1(8 * N),
            r2(8 * N);
        const auto doubles = [](const Scratch& s) { return reinterpret_cast<double*>(s.data()); };
        kernels().cut(a(), A.data(), L1, 0, N, doubles(limbs1));
        kernels().cut(a(), B.data(), L2, 0, N, doubles(limbs2));
        for (u32 i = 0; i < a(); i++) {
            const i64 p = static_cast<i64>(set.primes[i]);
            kernels().reduce(&constants, i, 1, doubles(limbs1), N, doubles(r1), N);
            kernels().reduce(&constants, i, 1, doubles(limbs2), N, doubles(r2), N);
            for (u64 k = 0; k < N; k++) {
                i64 sum = 0;
                for (u64 j = 0; j < N; j++) {
                    const auto x = static_cast<i64>(doubles(r1)[j]);
                    const auto y = static_cast<i64>(doubles(r2)[(k + N - j) % N]);
                    sum = static_cast<i64>((sum + static_cast<__int128>(x) * y) % p);
                }
                sum = static_cast<i64>(static_cast<__int128>(sum) * static_cast<i64>(N) % p);
                doubles(product)[i * N + k] = static_cast<double>(sum);
            }
        }
        C17Carry carry{};
        std::vector<Word> out(n), left(group_words());
        kernels().recombine(&constants, doubles(product), N, N, &carry, out.data());
        kernels().flush(&constants, &carry, left.data());
        EXPECT_EQ(to_mpz(out), mpz_class(to_mpz(A) * to_mpz(B))) << "b " << b;
        EXPECT_EQ(to_mpz(left), 0) << "b " << b;
        EXPECT_LE(c17_excess(carry), N);
    }
}

}  // namespace
