// The lower fraction of a split on convolutions that fold exactly as much as the plan allows, cyclic and negacyclic.
#include "digits/convert/remainder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "base/errors/exceptions.h"
#include "reference/fold_transform.h"
#include "reference/mpz_words.h"
#include "reference/words.h"
#include "support/scratch.h"

namespace kalvor::CBRv2 {

using trel::MultiplyContext;
namespace {

using reference::Fold;
using reference::FoldTransform;

class RemainderTest : public testing::TestWithParam<Fold> {
  protected:
    // frac(F 2^(-64 L) R^H), H the plan's level l, for `words` words.
    void check(const ConvertPlanP& plan, u64 l, const std::vector<Word>& F, u64 words) {
        const ConvertPlanP::Level& level = plan.level[l];
        const mpz_class radix = reference::to_mpz(&plan.radix, 1);
        mpz_class power;
        mpz_pow_ui(power.get_mpz_t(), radix.get_mpz_t(), level.radix_words);
        const mpz_class odd = reference::shifted(power, -level.power_exp);
        const std::vector<Word> P = reference::to_words(odd, reference::word_length(odd));

        const FoldTransform transform(GetParam(), level.product_words);
        Scratch data(transform.data_bytes());
        Scratch space(trel::round_up_64(transform.scratch_bytes()));
        transform.forward(trel::serial_context(), data.data(), P.data(), P.size(), space.data());
        Scratch work(transform.data_bytes() + transform.scratch_bytes());
        Scratch plain(trel::round_up_64(transform.plain_bytes()));

        const u64 L = F.size();
        const RadixFraction f{F.data(), L, L};
        const mpz_class fraction = reference::low_words(reference::to_mpz(F) * power, L);
        const mpz_class want = reference::shifted(fraction, static_cast<i64>(words) - static_cast<i64>(L));
        for (const bool kept : {true, false}) {
            const MultiplyContext context{trel::serial_context(), kept ? work.view() : plain.view(), nullptr};
            std::vector<Word> out(words + 1, 0xabcd);
            const PowerView view{P.data(), P.size(), transform, kept ? data.data() : nullptr};
            const RadixFraction g =
                RemainderFloatB::set_inverse_fmul(context, level, view, f, words, out.data());
            mpz_class got = reference::to_mpz(g.words, g.stored);
            ASSERT_LE(g.L, words);
            ASSERT_LE(g.stored, g.L);
            got = reference::shifted(got, static_cast<i64>(words) - static_cast<i64>(g.L));
            ASSERT_EQ(got, want) << "H=" << level.radix_words << " L=" << L << " words=" << words;
        }
        ASSERT_TRUE(work.guards_intact() && plain.guards_intact() && data.guards_intact());
    }
};

INSTANTIATE_TEST_SUITE_P(Folds, RemainderTest, testing::Values(Fold::cyclic, Fold::negacyclic));

TEST_P(RemainderTest, EveryWordIsExact) {
    std::mt19937_64 rng(11);
    for (const u64 n : {16, 17, 25, 31, 47, 60, 90}) {
        const ConvertPlanP plan = ConvertPlanP::make(kRadix19, n, kNoBudget, 1);
        for (u64 l = 0; l < plan.levels; l++) {
            const u64 H = plan.level[l].radix_words;
            for (int trial = 0; trial < 40; trial++) {
                const u64 range = H + 1 + rng() % (std::min(2 * H, plan.n) - H);
                const u64 most = plan.length(range);
                const u64 least = static_cast<u64>(plan.level[l].power_exp) + 1;
                const u64 L = trial % 3 == 0 ? least + rng() % (most - least + 1) : most;
                check(plan, l, reference::pattern(L, rng), plan.length(range - H));
            }
        }
    }
}

// Fractions beside m / R^H, the unit of the upper half: the remainder is then beside 0 or 1, where a shift by one unit
// out of the folded words would run through all wanted words.
TEST_P(RemainderTest, BesideTheUnitOfTheUpperHalf) {
    std::mt19937_64 rng(12);
    for (const u64 n : {16, 30, 31, 60, 90}) {
        const ConvertPlanP plan = ConvertPlanP::make(kRadix19, n, kNoBudget, 1);
        for (u64 l = 0; l < plan.levels; l++) {
            const u64 H = plan.level[l].radix_words;
            mpz_class power;
            mpz_pow_ui(power.get_mpz_t(), reference::to_mpz(&kRadix19, 1).get_mpz_t(), H);
            for (int trial = 0; trial < 60; trial++) {
                const u64 range = H + 1 + rng() % (std::min(2 * H, plan.n) - H);
                const u64 L = plan.length(range);
                mpz_class m = reference::to_mpz(reference::pattern(H, rng)) % power;
                if (m == 0) m = 1;
                mpz_class F = reference::shifted(m, static_cast<i64>(L)) / power;
                F += static_cast<long>(rng() % 5) - 2;
                if (F < 0 || reference::word_length(F) > L) continue;
                check(plan, l, reference::to_words(F, L), plan.length(range - H));
            }
        }
    }
}

// Fractions whose remainder is nothing but a few bits at its very end, far below the guard word: A P = c modulo 2^(64 q)
// for small c of either sign. What folds onto the low words then borrows or carries through every word above them.
TEST_P(RemainderTest, RemaindersBelowTheGuardWord) {
    std::mt19937_64 rng(13);
    for (const u64 n : {16, 30, 31, 60, 90}) {
        const ConvertPlanP plan = ConvertPlanP::make(kRadix19, n, kNoBudget, 1);
        for (u64 l = 0; l < plan.levels; l++) {
            const u64 H = plan.level[l].radix_words;
            const u64 range = std::min(2 * H, plan.n);
            const u64 L = plan.length(range), e = static_cast<u64>(plan.level[l].power_exp), q = L - e;
            mpz_class power;
            mpz_pow_ui(power.get_mpz_t(), reference::to_mpz(&kRadix19, 1).get_mpz_t(), H);
            const u64 zeros = mpz_scan1(power.get_mpz_t(), 0);
            mpz_class odd, modulus = 1, inverse;
            mpz_tdiv_q_2exp(odd.get_mpz_t(), power.get_mpz_t(), zeros);
            mpz_mul_2exp(modulus.get_mpz_t(), modulus.get_mpz_t(), 64 * q);
            mpz_invert(inverse.get_mpz_t(), odd.get_mpz_t(), modulus.get_mpz_t());
            for (const int c : {1, -1, 2, -2, 12345, -12345}) {
                for (int trial = 0; trial < 4; trial++) {
                    mpz_class a = inverse * c % modulus;
                    if (a < 0) a += modulus;
                    std::vector<Word> F = reference::to_words(a, L);
                    for (u64 i = q; i < L; i++) F[i] = rng();
                    check(plan, l, F, plan.length(range - H));
                }
            }
        }
    }
}

TEST_P(RemainderTest, RefusesWhatTheLevelCannotDeliver) {
    const ConvertPlanP plan = ConvertPlanP::make(kRadix19, 60, kNoBudget, 1);
    const ConvertPlanP::Level& level = plan.level[1];
    const FoldTransform transform(GetParam(), level.product_words);
    Scratch work(transform.data_bytes() + transform.scratch_bytes());
    const MultiplyContext context{trel::serial_context(), work.view(), nullptr};
    std::vector<Word> F(plan.length(30), 1), out(100);
    const PowerView power{nullptr, level.power_words, transform, work.data()};
    try {
        (void)RemainderFloatB::set_inverse_fmul(context, level, power, {F.data(), F.size(), F.size()},
                                                level.lower_words + 1, out.data());
        FAIL();
    } catch (const trel::InvalidParametersException& e) {
        EXPECT_EQ(e.function, "RemainderFloatB::set_inverse_fmul()");
        EXPECT_EQ(e.message, "Truncated Range");
    }
    const u64 short_length = static_cast<u64>(level.power_exp) - 1;
    try {
        (void)RemainderFloatB::set_inverse_fmul(context, level, power, {F.data(), short_length, short_length},
                                                level.lower_words, out.data());
        FAIL();
    } catch (const trel::AlgorithmFailedException& e) {
        EXPECT_EQ(e.function, "RemainderFloatB::set_inverse_fmul()");
        EXPECT_EQ(e.message, "Unexpected: tmag < 0");
    }
    // More words of the fraction than the convolution can take.
    const FoldTransform small(GetParam(), level.product_words - 8);
    const PowerView small_power{nullptr, level.power_words, small, work.data()};
    F.assign(plan.length(2 * level.radix_words), 1);
    EXPECT_THROW((void)RemainderFloatB::set_inverse_fmul(context, level, small_power, {F.data(), F.size(), F.size()},
                                                         level.lower_words, out.data()),
                 trel::InvalidParametersException);
}

}  // namespace
}  // namespace kalvor::CBRv2
