// Products of 32-bit words: the padding adapter, the kernels' own entry, and the table of 32-bit words.
#include "arith/multiply/multiply_algorithm32.h"

#include <gmpxx.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "arith/multiply/algorithm_table.h"
#include "arith/multiply/basecase_karatsuba.h"
#include "base/errors/exceptions.h"
#include "reference/fold_transform.h"
#include "reference/mpz_words.h"
#include "support/scratch.h"

using namespace trel;

namespace {

using Words32 = std::vector<u32>;
constexpr u32 kCanary = 0x89abcdef;

mpz_class to_mpz32(const Words32& a) {
    mpz_class r;
    mpz_import(r.get_mpz_t(), a.size(), -1, sizeof(u32), 0, 0, a.data());
    return r;
}

Words32 pattern32(u64 n, std::mt19937_64& rng) {
    Words32 a(n);
    const u64 kind = rng() % 4;
    for (u32& w : a) {
        w = kind == 0 ? ~u32(0) : kind == 1 && rng() % 4 != 0 ? 0 : static_cast<u32>(rng());
    }
    return a;
}

// T is words skip .. of the product, and nothing behind it was written.
template <class F>
void expect_window(const Words32& A, const Words32& B, u64 skip, u64 total, F&& call) {
    Words32 T(total - skip + 1, kCanary);
    call(T.data());
    EXPECT_EQ(T.back(), kCanary);
    T.pop_back();
    mpz_class want = to_mpz32(A) * to_mpz32(B);
    mpz_fdiv_q_2exp(want.get_mpz_t(), want.get_mpz_t(), 32 * skip);
    mpz_fdiv_r_2exp(want.get_mpz_t(), want.get_mpz_t(), 32 * (total - skip));
    EXPECT_EQ(to_mpz32(T), want) << A.size() << " x " << B.size() << " words " << skip << ".." << total;
}

// All operations on random lengths, each in exactly the memory that the algorithm asks for.
void check_algorithm(const MultiplyAlgorithm32& algorithm, u64 largest, int repeats, u64 seed) {
    std::mt19937_64 rng(seed);
    for (int i = 0; i < repeats; i++) {
        const u64 LA = 1 + rng() % (largest / 2), LB = rng() % 3 == 0 ? LA : 1 + rng() % (largest / 2);
        const Words32 A = pattern32(LA, rng), B = pattern32(LB, rng);
        const u64 n = LA + LB, total = rng() % 2 ? n : 1 + rng() % n, skip = rng() % 3 ? rng() % total : 0;
        {
            Scratch scratch(algorithm.mSBsize(n));
            const MultiplyContext context{serial_context(), scratch.view()};
            expect_window(A, B, 0, n, [&](u32* T) { algorithm.mul(context, T, A.data(), LA, B.data(), LB); });
            expect_window(A, B, skip, total, [&](u32* T) {
                algorithm.mul_skip(context, T, skip, total, A.data(), LA, B.data(), LB);
            });
            expect_window(A, B, skip, total, [&](u32* T) {
                EXPECT_EQ(algorithm.mul_skip_transform(context, T, skip, total, A.data(), LA, B.data(), LB),
                          0);
            });
            EXPECT_TRUE(scratch.guards_intact());
        }
        Scratch scratch(algorithm.mSBsize(2 * LA));
        const MultiplyContext context{serial_context(), scratch.view()};
        const u64 end = std::min(total, 2 * LA), begin = std::min(skip, end - 1);
        expect_window(A, A, 0, 2 * LA, [&](u32* T) { algorithm.sqr(context, T, A.data(), LA); });
        expect_window(A, A, begin, end,
                      [&](u32* T) { algorithm.sqr_skip(context, T, begin, end, A.data(), LA); });
        EXPECT_TRUE(scratch.guards_intact());
    }
}

TEST(MultiplyAlgorithm32Test, PaddedOperandsGiveExactProducts) {
    for (reference::Fold fold : {reference::Fold::cyclic, reference::Fold::negacyclic}) {
        const reference::FoldAlgorithm fold_algorithm(fold);
        check_algorithm(PaddedAlgorithm32(fold_algorithm, u64(1) << 40), 40, 400, 1);
    }
}

TEST(MultiplyAlgorithm32Test, SmallProductsRunOnKernelsOf32BitWords) {
    check_algorithm(basecase_karatsuba_algorithm32(), 60, 300, 2);
    check_algorithm(basecase_karatsuba_algorithm32(), 2048, 40, 3);
    EXPECT_NO_THROW((void)basecase_karatsuba_algorithm32().sizes(2048));
    EXPECT_THROW((void)basecase_karatsuba_algorithm32().sizes(2049), LimitExceededException);
}

TEST(MultiplyAlgorithm32Test, EveryLengthAndWindowOfTinyProducts) {
    std::mt19937_64 rng(4);
    for (u64 LA = 1; LA <= 5; LA++) {
        for (u64 LB = 1; LB <= 5; LB++) {
            const Words32 A = pattern32(LA, rng), B = pattern32(LB, rng);
            for (u64 n : {LA + LB}) {
                Scratch scratch(basic_table32().mSBsize(n));
                const MultiplyContext context{serial_context(), scratch.view()};
                const MultiplyAlgorithm32* both[] = {&basic_table32().get_algorithm32(n),
                                                     find_algorithm(TableSlot::basic32, "FFT")->algorithm32};
                Scratch more(both[1]->mSBsize(n));
                const MultiplyContext context_fft{serial_context(), more.view()};
                for (u64 total = 1; total <= n; total++) {
                    for (u64 skip = 0; skip < total; skip++) {
                        for (int i = 0; i < 2; i++) {
                            expect_window(A, B, skip, total, [&](u32* T) {
                                both[i]->mul_skip(i ? context_fft : context, T, skip, total, A.data(), LA,
                                                  B.data(), LB);
                            });
                        }
                    }
                }
                EXPECT_TRUE(scratch.guards_intact() && more.guards_intact());
            }
        }
    }
}

// Every name that serves 32-bit words, at sizes of its own.
TEST(MultiplyAlgorithm32Test, EveryRegisteredAlgorithmMultiplies) {
    int found = 0;
    for (const char* name : {"BKT", "FFT", "N32", "N64", "HNT", "VST", "C17"}) {
        const AlgorithmEntry* entry = find_algorithm(TableSlot::basic32, name);
        if (entry == nullptr) continue;
        SCOPED_TRACE(name);
        found++;
        ASSERT_NE(entry->algorithm32, nullptr);
        EXPECT_EQ(entry->algorithm, nullptr);
        EXPECT_EQ(entry->max_bits, find_algorithm(TableSlot::basic64, name)->max_bits);
        EXPECT_EQ(find_algorithm(TableSlot::swap32, name) != nullptr,
                  find_algorithm(TableSlot::swap64, name) != nullptr);
        check_algorithm(*entry->algorithm32, 2000, 20, 5);
        TransformHolder holder;
        entry->algorithm32->make_transform(holder, 2001, {serial_context(), {}});
        EXPECT_GE(holder->convolution_bits(), 2001u * 32);
    }
    EXPECT_GE(found, 2);
}

TEST(MultiplyAlgorithm32Test, TableCountsWordsOf32Bits) {
    const AlgorithmTableB& table = basic_table32();
    EXPECT_EQ(table.name(), "Basic: 32-bit Word");
    EXPECT_EQ(table.word_bits(), 32u);
    EXPECT_EQ(&table.get_algorithm32(160), &basecase_karatsuba_algorithm32());
    EXPECT_EQ(&table.get_algorithm32(161), find_algorithm(TableSlot::basic32, "FFT")->algorithm32);
    EXPECT_EQ(table.items()[0].threshold_words, 160u);
}

}  // namespace
