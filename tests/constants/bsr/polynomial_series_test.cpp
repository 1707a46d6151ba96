// Leaves of series that a user gives by polynomials, and how long such series are.
#include "constants/bsr/polynomial_series.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/errors/exceptions.h"
#include "reference/mpz_words.h"
#include "support/threads.h"

using namespace kalvor;
using namespace kalvor::BinarySplitting;
using trel::ExactFloat;
using trel::i64;
using trel::u64;
using trel::Word;

namespace {

constexpr u64 kRoom = 8;

// Numbers of a leaf in buffers of so many words.
struct Numbers {
    explicit Numbers(u64 P_words = kRoom, u64 Q_words = kRoom, u64 R_words = kRoom)
        : P(words[0], P_words), Q(words[1], Q_words), R(words[2], R_words) {}
    Word words[3][kRoom] = {};
    ExactFloat P, Q, R;
};

mpz_class value(const ExactFloat& A) {
    const mpz_class z = reference::shifted(reference::to_mpz(A.T, A.L), A.exp);
    return A.sign ? z : mpz_class(-z);
}

// The leaf with one number a word shorter than the term's own is refused, each number in its turn.
void expect_refusals(const std::string& name, const std::vector<u64>& lengths,
                     const std::function<void(Numbers&)>& leaf) {
    for (std::size_t i = 0; i < lengths.size(); i++) {
        std::vector<u64> room = lengths;
        room.resize(3, kRoom);
        Numbers enough;
        EXPECT_NO_THROW(leaf(enough)) << name;
        room[i]--;
        Numbers numbers(room[0], room[1], room[2]);
        try {
            leaf(numbers);
            ADD_FAILURE() << name << " " << i;
        } catch (const trel::BufferTooSmallException& e) {
            EXPECT_EQ(e.function, name);
            EXPECT_EQ(e.buffer_size, room[i]);
            EXPECT_EQ(e.required_size, lengths[i]);
        }
    }
}

// At an index beyond any that is ever needed: 2^51, whose squares take three words with their coefficients.
constexpr u64 kFar = u64(1) << 51;
const PolynomialCoefficients kP = {-7, 0, i64(1) << 62}, kQ = {5, 0, 3, 1}, kR = {-2, 0, 3};

const mpz_class& far_index() {
    static const mpz_class k = mpz_class(1) << 51;
    return k;
}
mpz_class P_of(const mpz_class& k) {
    return (k * k << 62) - 7;
}
mpz_class Q_of(const mpz_class& k) {
    return k * k * k + 3 * k * k + 5;
}
mpz_class R_of(const mpz_class& k) {
    return 3 * k * k - 2;
}

TEST(PolynomialSeriesTest, LeavesOfHypergeometricSeries) {
    const auto data = std::make_shared<const SeriesHypergeometric_PolyData>(kP, kQ, kR, nullptr);
    const auto series = make_series(data, 20);
    const auto leaf = [&](Numbers& n) {
        series->leaf(kFar - 1, kFar, n.P, n.Q, n.R, false, nullptr, trel::serial_context());
    };
    Numbers numbers;
    leaf(numbers);
    EXPECT_EQ(value(numbers.P), P_of(far_index()));
    EXPECT_EQ(value(numbers.Q), Q_of(far_index()));
    EXPECT_EQ(value(numbers.R), R_of(far_index()));
    expect_refusals("SeriesHypergeometric_BSR_E()",
                    {data->P.words(kFar), data->Q.words(kFar), data->R.words(kFar)}, leaf);
}

TEST(PolynomialSeriesTest, LeavesOfHyperdescentSeries) {
    const auto data = std::make_shared<const SeriesHyperdescent_PolyData>(kP, kQ, nullptr);
    const auto series = make_series(data, 20);
    const auto leaf = [&](Numbers& n) { series->leaf(kFar - 1, kFar, n.P, n.Q, nullptr); };
    Numbers numbers;
    leaf(numbers);
    EXPECT_EQ(value(numbers.P), P_of(far_index()));
    EXPECT_EQ(value(numbers.Q), Q_of(far_index()));
    expect_refusals("SeriesHyperdescent_BSR_E()", {data->P.words(kFar), data->Q.words(kFar)}, leaf);
}

TEST(PolynomialSeriesTest, LeavesOfBinarySeries) {
    const auto data = std::make_shared<const SeriesBinaryBBP_PolyData>(1, kP, kQ, nullptr);
    const auto series = make_series(data, true, 3, 20);
    const auto leaf_at = [&](u64 k, Numbers& n) { series->leaf(k - 1, k, n.P, n.Q, nullptr); };
    for (const u64 k : {u64(4), u64(5)}) {
        Numbers numbers;
        leaf_at(k, numbers);
        // (-1)^k 2^(3 - k)
        numbers.P.mp2(static_cast<i64>(k) - 3, trel::serial_context());
        const mpz_class P = P_of(static_cast<unsigned long>(k));
        EXPECT_EQ(value(numbers.P), k % 2 == 0 ? P : mpz_class(-P));
        EXPECT_EQ(value(numbers.Q), Q_of(static_cast<unsigned long>(k)));
    }
    expect_refusals("SeriesBinaryBBP_BSR_E()", {data->P.words(kFar), data->Q.words(kFar)},
                    [&](Numbers& n) { leaf_at(kFar, n); });
}

// A bit a term: ten million digits are 33 million terms, and planned as any other series.
TEST(PolynomialSeriesTest, ABitATerm) {
    const u64 p = 519053;
    const auto data = std::make_shared<const SeriesBinaryBBP_PolyData>(1, PolynomialCoefficients{1},
                                                                       PolynomialCoefficients{0, 1}, nullptr);
    EXPECT_EQ(make_series(data, false, 0, p)->terms(), 64 * p + 2);
    for (const u64 tds : {1, 7}) {
        const auto evaluator = make_evaluator(data, false, 0, {1, 0, 1, 1, false}, {p, tds});
        EXPECT_GT(evaluator->series_blocks().all, 1u);
        EXPECT_LT(evaluator->needs().bytes, 40 * 8 * p);
        EXPECT_GE(evaluator->needs().result_words, p);
    }
}

}  // namespace
