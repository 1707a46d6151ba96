// N32 and N64: every record's shape, products against GMP, windows, tasks, the coefficient check.
#include "arith/intntt/integer_ntt.h"

#include <gtest/gtest.h>

#include <set>
#include <tuple>

#include "arith/intntt/integer_ntt_tables.h"
#include "arith/ntt/ntt_check.h"
#include "arith/ntt/ntt_prime_sets.h"
#include "arith/ntt/ntt_support.h"
#include "base/errors/exceptions.h"
#include "support/capture_console.h"

namespace {

using namespace trel;
using namespace ntt_test;

template <class W>
class IntegerNttTest : public testing::Test {
  public:
    static constexpr NttFamily kFamily = kIntegerNttFamily<W>;
    using Transform = IntegerNttTransform<W>;
    static Transform make(const NttRecord& r, Isa isa = active_isa()) {
        return Transform(integer_ntt_kernels<W>(isa), r);
    }
    static std::vector<NttRecord> records(u64 max_words) {
        std::vector<NttRecord> all;
        for (const auto list : {ntt_tuned_records(kFamily), ntt_general_records(kFamily)}) {
            for (const NttRecord& r : list) {
                if (ntt_capacity_bits(kFamily, r) <= 64 * max_words) all.push_back(r);
            }
        }
        return all;
    }
};
using WordTypes = testing::Types<u32, u64>;
TYPED_TEST_SUITE(IntegerNttTest, WordTypes);

TYPED_TEST(IntegerNttTest, FactorsAreTheRootsThatTheTreeNeeds) {
    using W = TypeParam;
    for (const auto& [a, b] : {std::pair<u32, u32>(4, 1), {5, 3}, {7, 5}, {9, 7}}) {
        const IntegerNttSet<W>& set = integer_ntt_set<W>(a, b);
        const NttPrimeSet& primes = ntt_prime_set(this->kFamily, a, b);
        for (u32 i = 0; i < a; i++) {
            const IntegerNttPrime<W>& prime = set.prime[i];
            const u64 p = prime.p;
            ASSERT_EQ(p, primes.primes[i]);
            const auto plain = [&](W x) {  // divided by R
                u64 y = x;
                for (u32 k = 0; k < 8 * sizeof(W); k++)
                    y = y % 2 == 0 ? y / 2 : static_cast<u64>((u128(y) + p) / 2);
                return y;
            };
            const auto times = [&](u64 x, u64 y) { return static_cast<u64>(u128(x) * y % p); };
            EXPECT_EQ(plain(prime.node[0][0]), 1u);
            EXPECT_EQ(times(plain(prime.node[0][1]), plain(prime.node[0][1])), p - 1);
            for (u32 k = 1; k < 128; k++) {
                // the square of a child's factor is its node's, with both signs
                const u64 w = plain(prime.node[0][k]);
                EXPECT_EQ(times(plain(prime.node[0][2 * k]), plain(prime.node[0][2 * k])), w);
                EXPECT_EQ(times(plain(prime.node[0][2 * k + 1]), plain(prime.node[0][2 * k + 1])), p - w);
                EXPECT_EQ(times(w, plain(prime.node_inverse[0][k])), 1u);
            }
            EXPECT_EQ(times(plain(prime.node[1][1]), plain(prime.node[1][1])), plain(prime.node[0][128]));
        }
    }
}

TYPED_TEST(IntegerNttTest, ProductsAtEveryShortRecord) {
    u64 seed = 1, n = 0;
    for (const NttRecord& r : this->records(16384)) {
        const auto t = this->make(r);
        const u64 W = t.convolution_words();
        const Kind kind = kKinds[seed % 4];
        check_products(t, serial_context(), kind, W / 2, W - W / 2, seed);
        seed += 3;
        n++;
    }
    EXPECT_GE(n, sizeof(TypeParam) == 4 ? 30u : 3u);
}

TYPED_TEST(IntegerNttTest, EveryLevelTaskCountAndShape) {
    SpawnFramework spawn(64);
    for (const Isa isa : available_isas()) {
        for (const NttRecord& r : {NttRecord{5, 1, 10, 0, 0, 0},
                                   {4, 3, 9, 0, 0, 0},
                                   {6, 5, 9, 0, 0, 6},
                                   {7, 7, 8, 0, 0, 0},
                                   {4, 1, 13, 0, 0, 6},
                                   {4, 3, 12, 6, 7, 7}}) {
            const auto t = this->make(r, isa);
            const u64 W = t.convolution_words();
            for (const u64 tds : {1, 2, 7}) {
                const ParallelContext parallel{&spawn, tds};
                check_products(t, parallel, Kind::ones, W / 2, W / 2, 5);
                if (r.c < 10) check_products(t, parallel, Kind::random, W / 2 + 3, W / 2 - 3, 6);
                if (r.c < 12) check_products(t, parallel, Kind::runs, W - 1, 1, 7);
                if (r.c >= 12) check_products(t, parallel, Kind::sparse, W / 3, W / 9, 8);
            }
        }
    }
}

// Prime sets and odd factors of all records, the longest of which fit no memory, at the shortest lengths.
TYPED_TEST(IntegerNttTest, EveryPrimeSet) {
    std::set<std::pair<u32, u32>> shapes;
    for (const auto list : {ntt_tuned_records(this->kFamily), ntt_general_records(this->kFamily)}) {
        for (const NttRecord& r : list) shapes.insert({r.a, r.b});
    }
    u64 seed = 100;
    for (const auto& [a, b] : shapes) {
        const auto t = this->make({static_cast<u8>(a), static_cast<u8>(b), 8, 0, 0, 0});
        const u64 W = t.convolution_words();
        check_products(t, serial_context(), Kind::ones, W / 2, W - W / 2, ++seed);
        check_products(t, serial_context(), Kind::random, W / 2 + 1, W / 2 - 1, ++seed);
    }
    EXPECT_GT(shapes.size(), 15u);
}

TYPED_TEST(IntegerNttTest, EveryWindow) {
    const auto t = this->make({4, 3, 8, 0, 0, 0});
    const u64 W = t.convolution_words();
    for (const Kind kind : {Kind::ones, Kind::random, Kind::runs}) {
        const auto A = operand(kind, W / 2, 3), B = operand(kind, W / 2, 4);
        const auto C = product(A, B);
        for (u64 skip = 0; skip < 2 * (W / 2); skip += 1 + skip / 3) {
            for (u64 total = skip + 1; total <= 2 * (W / 2); total += 1 + (total - skip) / 2) {
                const std::vector<Word> want(C.begin() + static_cast<std::ptrdiff_t>(skip),
                                             C.begin() + static_cast<std::ptrdiff_t>(total));
                ASSERT_EQ(multiply(t, serial_context(), A, B, skip, total), want) << skip << " " << total;
            }
        }
    }
}

TYPED_TEST(IntegerNttTest, HintsAndLengthsOutOfRangeEndTheProcess) {
    for (const NttRecord& r : {NttRecord{5, 1, 9, 4, 4, 6},
                               {5, 1, 9, 5, 2, 6},
                               {5, 1, 9, 5, 4, 5},
                               {5, 1, 9, 5, 4, 12},
                               {5, 1, 7, 0, 0, 0},
                               {5, 1, 7, 5, 4, 6},
                               {5, 1, 60, 0, 0, 0}}) {
        const auto make = [&] {
            print_to_stderr();
            this->make(r);
        };
        std::string parameters;
        for (const u32 x : {r.a, r.b, r.c, r.d, r.e, r.f}) parameters += std::to_string(x) + " ";
        EXPECT_EXIT(
            make(), testing::ExitedWithCode(1),
            "Invalid Function Parameters:   IntegerNttTransform::IntegerNttTransform\\(\\)\n\n" + parameters);
    }
    EXPECT_THROW(this->make({2, 1, 9, 0, 0, 0}), InvalidParametersException);
    EXPECT_THROW(this->make({5, 2, 9, 0, 0, 0}), InvalidParametersException);
}

// A product 2^n + (a small number): a carry runs through all of its middle, into any window.
TYPED_TEST(IntegerNttTest, CarriesRunIntoWindows) {
    SpawnFramework spawn(64);
    for (const NttRecord& r : {NttRecord{4, 3, 8, 0, 0, 0}, {5, 1, 10, 0, 0, 0}, {4, 1, 13, 0, 0, 0}}) {
        const auto t = this->make(r);
        const u64 half = t.convolution_words() / 2;
        const auto A = operand(Kind::random, half, 9);
        // B = ceil(2^(64 (2 half - 1)) / A)
        std::vector<Word> power(2 * half, 0), quotient(half + 1), rest(half);
        power.back() = 1;
        mpn_tdiv_qr(reinterpret_cast<mp_limb_t*>(quotient.data()), reinterpret_cast<mp_limb_t*>(rest.data()),
                    0, reinterpret_cast<const mp_limb_t*>(power.data()), 2 * half,
                    reinterpret_cast<const mp_limb_t*>(A.data()), half);
        std::vector<Word> B(quotient.begin(), quotient.begin() + static_cast<std::ptrdiff_t>(half));
        ASSERT_EQ(quotient[half], 0u);
        B[0]++;
        const auto C = product(A, B);
        ASSERT_EQ(C[half + 5], 0u);
        for (const u64 tds : {1, 7}) {
            for (u64 skip = 1; skip < 2 * half; skip += 1 + skip / 2) {
                const std::vector<Word> want(C.begin() + static_cast<std::ptrdiff_t>(skip), C.end());
                ASSERT_EQ(multiply(t, {&spawn, tds}, A, B, skip, 2 * half), want) << skip;
            }
        }
    }
}

// Products longer than the convolution fold onto its bottom: what lies above the fold is right.
TYPED_TEST(IntegerNttTest, WrappedWindows) {
    const auto t = this->make({5, 1, 9, 0, 0, 0});
    const u64 W = t.convolution_words();
    for (const Kind kind : kKinds) {
        for (const u64 over : {u64(1), W / 7, W / 2, W - 1}) {
            const u64 LA = W, LB = over;  // n = W + over words
            const auto A = operand(kind, LA, over), B = operand(kind, LB, over + 1);
            const auto C = product(A, B);
            const auto T = multiply(t, serial_context(), A, B, over, W);
            std::vector<Word> want(C.begin() + static_cast<std::ptrdiff_t>(over),
                                   C.begin() + static_cast<std::ptrdiff_t>(W));
            std::vector<Word> below = T;  // the fold may have added one
            for (u64 i = 0; below != want && i < below.size(); i++) {
                if (below[i]-- != 0) break;
            }
            EXPECT_TRUE(T == want || below == want) << "over=" << over;
        }
    }
}

TYPED_TEST(IntegerNttTest, ZeroOperands) {
    const auto t = this->make({5, 3, 8, 0, 0, 0});
    const std::vector<Word> none, A = operand(Kind::random, 40, 1);
    EXPECT_EQ(multiply(t, serial_context(), none, A, 0, 40), std::vector<Word>(40, 0));
    EXPECT_EQ(multiply(t, serial_context(), none, none, 0, 9), std::vector<Word>(9, 0));
}

TYPED_TEST(IntegerNttTest, RefusesWhatIsTooLong) {
    const auto t = this->make({5, 1, 8, 0, 0, 0});
    const u64 W = t.convolution_words();
    Scratch data(t.data_bytes());
    const std::vector<Word> A(W + 1, 1);
    try {
        t.forward(serial_context(), data.data(), A.data(), W + 1, nullptr);
        ADD_FAILURE();
    } catch (const ConvolutionTooSmallException& e) {
        EXPECT_EQ(e.function, sizeof(TypeParam) == 4 ? "N32" : "N64");
        EXPECT_EQ(e.message, "Convolution length is too small.");
        EXPECT_EQ(e.convolution_size, 64 * W);
        EXPECT_EQ(e.requested_size, 64 * (W + 1));
    }
    t.forward(serial_context(), data.data(), A.data(), W, nullptr);
    std::vector<Word> T(W + 1);
    EXPECT_THROW(
        t.inverse(serial_context(), T.data(), 0, W + 1, data.data(), data.data(), data.data(), nullptr),
        ConvolutionTooSmallException);
}

// One residue of one coefficient changed: a random value below the primes' product passes the check with less
// than one chance in 2^20 at these sizes.
TYPED_TEST(IntegerNttTest, CorruptedCoefficientIsFound) {
    using W = TypeParam;
    const NttRecord r{4, 1, 8, 0, 0, 0};
    const auto t = this->make(r);
    const u64 words = t.convolution_words(), N = r.points();
    // residues of the product of zeros are zero; so is every coefficient
    std::vector<W> residues(r.a * N, 0);
    std::vector<Word> T(words);
    t.recombine(serial_context(), T.data(), 0, words, residues.data());
    EXPECT_EQ(T, std::vector<Word>(words, 0));
    std::mt19937_64 rng(1);
    for (u32 i = 0; i < 200; i++) {
        const u64 at = rng() % residues.size();
        const u64 p = ntt_prime_set(this->kFamily, r.a, r.b).primes[at / N];
        residues[at] = static_cast<W>(1 + rng() % (p - 1));
        try {
            t.recombine(serial_context(), T.data(), 0, words, residues.data());
            ADD_FAILURE() << at;
        } catch (const ConvolutionFailedException& e) {
            EXPECT_EQ(e.message, "Coefficient is too large.");
            EXPECT_EQ(e.first, ntt_excess_bound(r));
            EXPECT_GE(e.second, e.first);
        }
        residues[at] = 0;
    }
}

TYPED_TEST(IntegerNttTest, CompatibleWithItsOwnShapeOnly) {
    const auto t = this->make({5, 1, 9, 0, 0, 0});
    EXPECT_TRUE(t.compatible(this->make({5, 1, 9, 6, 4, 6})));
    EXPECT_FALSE(t.compatible(this->make({5, 1, 8, 0, 0, 0})));
    EXPECT_FALSE(t.compatible(this->make({6, 1, 9, 0, 0, 0})));
    EXPECT_FALSE(t.compatible(this->make({5, 3, 9, 0, 0, 0})));
}

TYPED_TEST(IntegerNttTest, RefusesInconsistentHints) {
    const auto make = [&](u8 f) {
        print_to_stderr();
        this->make({5, 1, 9, 0, 0, f});
    };
    EXPECT_EXIT(make(4), testing::ExitedWithCode(1), "Invalid Function Parameters:   ");
    EXPECT_EXIT(make(13), testing::ExitedWithCode(1), "Invalid Function Parameters:   ");
}

TYPED_TEST(IntegerNttTest, SizesAreWhatTransformsNeed) {
    const MultiplyAlgorithm& algorithm = sizeof(TypeParam) == 4 ? n32_algorithm() : n64_algorithm();
    u64 last = 0;
    for (u64 words = 1; words < 100000; words += 1 + words / 3) {
        TransformHolder holder;
        algorithm.make_transform(holder, words, {serial_context(), {}});
        const MultiplySizes s = algorithm.sizes(words);
        EXPECT_GE(holder->convolution_words(), words);
        EXPECT_GE(s.transform_data, holder->data_bytes());
        EXPECT_GE(s.transform_scratch, holder->scratch_bytes());
        EXPECT_GE(s.scratch, holder->plain_bytes());
        EXPECT_EQ(s.output, round_up_64(8 * words));
        EXPECT_GE(s.scratch, last);
        last = s.scratch;
    }
    const u64 largest = ntt_constants(this->kFamily).max_bits / 64;
    EXPECT_GT(algorithm.sizes(largest).scratch, 0u);
    EXPECT_THROW(algorithm.sizes(largest + 1), LimitExceededException);
    EXPECT_THROW(algorithm.sizes(~u64(0)), LimitExceededException);
}

template <class W>
class SlowIntegerNttTest : public IntegerNttTest<W> {};
TYPED_TEST_SUITE(SlowIntegerNttTest, WordTypes);

// All records of up to 2^22 words that are not among the short ones, on one task and on two: a product, a
// window of it or a square. Against GMP up to 2^17 words and now and then beyond, else modulo 2^61 - 1.
TYPED_TEST(SlowIntegerNttTest, ProductsAtLongRecords) {
    SpawnFramework spawn(64);
    u64 seed = 0;
    for (const NttRecord& r : this->records(u64(1) << 22)) {
        const auto t = this->make(r);
        const u64 W = t.convolution_words();
        seed++;
        if (W <= 16384 || (W > u64(1) << 17 && is_for_another_level(seed))) continue;
        const bool whole = W <= u64(1) << 17 || seed % 16 == 0;
        const ParallelContext parallel{&spawn, seed % 2 + 1};
        const Kind kind = kKinds[seed % 4];
        const u64 LA = seed % 3 == 1 ? W / 2 : seed % 3 == 2 ? W / 5 : W - 1;
        const auto A = operand(kind, LA, seed), B = operand(kind, W - LA, seed + 1);
        check_long_products(t, parallel, A, B, seed, whole);
        ASSERT_FALSE(this->HasFatalFailure()) << W;
    }
}

}  // namespace
