// The value of a series from its binary splitting: a series whose Q is a power of two, so that Q drops nearly
// all of its words and P reaches far below it.
#include "constants/bsr/series_value.h"

#include <gtest/gtest.h>

#include "constants/bsr/common_p2b3.h"
#include "reference/mpz_words.h"
#include "support/scratch.h"
#include "support/threads.h"

using namespace kalvor;
using namespace kalvor::BinarySplitting;
using trel::BasicIntR;
using trel::BigFloat;
using trel::DoubleDouble;
using trel::MultiplyContext;
using trel::u64;
using trel::Word;

namespace {

constexpr u64 kBits = 32;
constexpr double kLn2 = 0.6931471805599453;

// The sum over k > 0 of 2^(-32 k) = 1 / (2^32 - 1).
class GeometricSeries final : public CommonP2B3::Series {
  public:
    explicit GeometricSeries(u64 precision)
        : Series({precision * 64 / kBits + 2, precision, 4, 10, false}, {1, 2, 1}) {}
    double log_size_to(u64 k) const override { return (kBits * kLn2 + 1e-9) * static_cast<double>(k); }
    DoubleDouble log_size_to_dd(u64 k) const override { return DoubleDouble(log_size_to(k)); }
    DoubleDouble log_remaining(u64 k) const override {
        const double rest = (64 * static_cast<double>(precision()) - kBits * static_cast<double>(k)) * kLn2;
        return DoubleDouble(rest > 0 ? rest : 0);
    }
    double log_size_R(u64, u64) const override { return 1; }
    u64 zero_bits_Q(u64 a, u64 b) const override { return kBits * (b - a); }
    void term(u64, BasicIntR& P, BasicIntR& Q, BasicIntR& R) const override {
        P.set_word(1);
        Q.set_word(Word(1) << kBits);
        R.set_word(1);
    }
};

// 1 + 1 / (2^32 - 1) = 2^32 / (2^32 - 1)
TEST(SeriesValueTest, WordsBelowAStrippedDenominatorCount) {
    for (const u64 p : {3, 5, 10, 20, 50, 200, 1000}) {
        for (const u64 tds : {1, 2}) {
            const SeriesEvaluator<CommonP2B3::Family> plan(std::make_shared<const GeometricSeries>(p),
                                                           {1, 1, 1, 1, false}, {p, tds}, SeriesMemory::full);
            Scratch result(plan.needs().result_words * sizeof(Word)), memory(plan.needs().bytes);
            BigFloat x(result.view().word_pointer(), plan.needs().result_words);
            plan.run(MultiplyContext{{thread_framework(), tds}, memory.view(), nullptr}, trel::null_status(),
                     x);
            EXPECT_TRUE(result.guards_intact() && memory.guards_intact());

            // |x (2^32 - 1) - 2^32| in units of 2^(64 exp)
            ASSERT_LT(x.exp, 0);
            const mpz_class got = reference::to_mpz(x.T, x.L) * 4294967295UL;
            const mpz_class want = mpz_class(1) << (kBits + 64 * static_cast<u64>(-x.exp));
            const mpz_class error = abs(got - want);
            const u64 bits = error == 0 ? 0 : mpz_sizeinbase(error.get_mpz_t(), 2);
            EXPECT_LT(bits + 64 * p, 64 * static_cast<u64>(-x.exp) + kBits + 64)
                << "p=" << p << " tds=" << tds;
        }
    }
}

}  // namespace
