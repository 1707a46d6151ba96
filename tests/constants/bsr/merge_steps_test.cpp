// The floating-point merge that families have in common, in memory of exactly the planned size.
#include "constants/bsr/merge_steps.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <random>
#include <utility>
#include <vector>

#include "arith/multiply/product_needs.h"
#include "base/errors/exceptions.h"
#include "constants/bsr/binary_bbp.h"
#include "constants/bsr/common_p2b3.h"
#include "reference/mpz_words.h"
#include "support/number.h"
#include "support/scratch.h"
#include "support/threads.h"

using namespace kalvor;
using namespace kalvor::BinarySplitting;

namespace {

// More than the products below have, so that nothing is cut off.
constexpr u64 kPrecision = 1300;
constexpr u64 kTWords = round_up_8(kPrecision + 4);

std::vector<Word> random_words(u64 n, u64 seed) {
    std::mt19937_64 random(seed);
    std::vector<Word> words(n);
    for (Word& w : words) w = random() | 1;
    return words;
}

struct Lengths {
    u64 P1, Q1, Q2, A, B;
    u64 longest() const { return std::max(std::max(P1, Q1) + Q2, A + B); }
};

mpz_class value(const BigFloat& x) {
    const mpz_class z = reference::magnitude_at(x, 0);
    return x.sign ? z : mpz_class(-z);
}

// Q_words: of Q's buffer. Q_planned: as many of them as the plan knows of.
void expect_merge(const Lengths& n, u64 Q_words, u64 Q_planned, u64 room) {
    using Number = kalvor_test::NumberOf<BigFloat>;
    const Number P1(random_words(n.P1, 1)), Q1(random_words(n.Q1, 2)), Q2(random_words(n.Q2, 3)),
        A(random_words(n.A, 4)), B(random_words(n.B, 5));
    const Needs needs = float_merge_needs(n.longest(), kTWords, Q_planned, room);
    for (const bool subtract : {false, true}) {
        Scratch P_memory(8 * kTWords), Q_memory(8 * Q_words), scratch(round_up_64(needs.bytes));
        BigFloat P(P_memory.words(), kTWords), Q(Q_memory.words(), Q_words);
        merge_floats({serial_context(), scratch.view(), nullptr}, P, Q, P1.value, Q1.value, Q2.value, A.value,
                     B.value, kPrecision, kTWords, subtract);
        const mpz_class first = value(P1.value) * value(Q2.value), second = value(A.value) * value(B.value);
        const mpz_class sum = subtract ? mpz_class(first - second) : mpz_class(first + second);
        EXPECT_EQ(value(P), sum);
        EXPECT_EQ(value(Q), mpz_class(value(Q1.value) * value(Q2.value)));
        EXPECT_EQ(P.residue, P.computed_residue(serial_context()));
        EXPECT_EQ(Q.residue, Q.computed_residue(serial_context()));
    }
}

constexpr Lengths kLengths[] = {{500, 500, 500, 500, 500}, {600, 10, 600, 3, 5},   {0, 400, 500, 300, 300},
                                {60, 60, 60, 600, 600},    {30, 100, 40, 20, 900}, {1, 1, 1, 1, 1}};

TEST(MergeStepsTest, FloatsStayInsideTheirPlan) {
    for (const Lengths& n : kLengths) {
        SCOPED_TRACE(testing::Message() << n.P1 << " " << n.Q1 << " " << n.Q2 << " " << n.A << " " << n.B);
        expect_merge(n, kTWords, kTWords, kAnyRoom);
        // A B in the words of Q, or not; and where a shorter Q was planned for than there is.
        expect_merge(n, kTWords, kTWords, 0);
        expect_merge(n, kTWords - 8, kTWords - 8, 0);
        expect_merge(n, kTWords, 0, 0);
    }
}

// A plan for many ranges does not know how long the buffer of each Q is.
template <class F>
void expect_bounds_count() {
    MergeSizes<F> sizes{};
    sizes.left.fill(kTWords);
    sizes.right.fill(kTWords);
    sizes.out.fill(kTWords);
    const Needs one = F::float_needs(sizes, kPrecision);
    sizes.bounds = true;
    const Needs many = F::float_needs(sizes, kPrecision);
    EXPECT_EQ(many.bytes, one.above(F::float_words(kPrecision)).bytes);
}

TEST(MergeStepsTest, BoundsPromiseNoRoomInTheResult) {
    expect_bounds_count<CommonP2B3::Family>();
    expect_bounds_count<BinaryBBP::Family>();
}

// A product that is added to P, with P's words high above its own, at them, and where the precision is short:
// then more words of the factors are cut off than stay.
void expect_sum_or_exception(const std::function<void(BigFloat& P, BigFloat& A, BigFloat& B)>& damage,
                             i64 P_exp, u64 precision, bool& found) {
    const ParallelContext& parallel = serial_context();
    using Number = kalvor_test::NumberOf<BigFloat>;
    Number A(random_words(20, 4)), B(random_words(20, 5)), p(random_words(10, 6));
    Scratch P_memory(8 * kTWords), T_memory(8 * kTWords), scratch(round_up_64(product_needs(40).bytes));
    BigFloat P(P_memory.words(), kTWords), T(T_memory.words(), kTWords);
    P.set_BigFloat(kPrecision, parallel, p.value);
    P.move(P_exp);
    damage(P, A.value, B.value);
    found = false;
    try {
        add_product({parallel, scratch.view(), nullptr}, P, A.value, B.value, precision, false, T);
        P.verify(parallel, "the sum");
    } catch (const AlgorithmFailedException&) {
        found = true;
    }
}

TEST(MergeStepsTest, FactorsOfASumAreComparedWhereNoLaterLookExists) {
    // The product has the words 0 .. 39.
    for (const auto& [P_exp, precision] : {std::pair(i64(35), u64(5)), {10, 60}, {100, 5}, {-100, 5}}) {
        SCOPED_TRACE(testing::Message() << P_exp << " " << precision);
        bool found = true;
        expect_sum_or_exception([](BigFloat&, BigFloat&, BigFloat&) {}, P_exp, precision, found);
        EXPECT_FALSE(found);
        for (u64 i = 0; i < 20; i++) {
            expect_sum_or_exception([i](BigFloat&, BigFloat& A, BigFloat&) { A.T[i] ^= 64; }, P_exp,
                                    precision, found);
            EXPECT_TRUE(found) << "word " << i << " of A";
            expect_sum_or_exception([i](BigFloat&, BigFloat&, BigFloat& B) { B.T[i] ^= 64; }, P_exp,
                                    precision, found);
            EXPECT_TRUE(found) << "word " << i << " of B";
        }
    }
}

TEST(MergeStepsTest, NumbersThatVanishAreNoticed) {
    bool found = false;
    for (const i64 P_exp : {10, 35}) {
        const u64 precision = 30;
        expect_sum_or_exception([](BigFloat&, BigFloat& A, BigFloat&) { A.L = 0; }, P_exp, precision, found);
        EXPECT_TRUE(found);
        expect_sum_or_exception([](BigFloat&, BigFloat&, BigFloat& B) { B.L = 0; }, P_exp, precision, found);
        EXPECT_TRUE(found);
        expect_sum_or_exception([](BigFloat&, BigFloat& A, BigFloat&) { A.exp -= 1024; }, P_exp, precision,
                                found);
        EXPECT_TRUE(found);
        expect_sum_or_exception([](BigFloat&, BigFloat&, BigFloat& B) { B.exp -= 1024; }, P_exp, precision,
                                found);
        EXPECT_TRUE(found);
        expect_sum_or_exception([](BigFloat& P, BigFloat&, BigFloat&) { P.L = 0; }, P_exp, precision, found);
        EXPECT_TRUE(found);
        expect_sum_or_exception([](BigFloat& P, BigFloat&, BigFloat&) { P.exp -= 1024; }, P_exp, precision,
                                found);
        EXPECT_TRUE(found);
    }
}

}  // namespace

// ---- products that need nothing of one another

namespace {

struct Seen {
    u64 tds = 0, bytes = 0;
    const void* memory = nullptr;
};

struct BothSeen {
    Seen a, b;
};

BothSeen independent(u64 tds, u64 words, u64 bytes) {
    Scratch scratch(bytes);
    BothSeen seen;
    const auto look = [](Seen& to) {
        return [&to](const MultiplyContext& its) {
            AlignedBufferC memory = its.scratch;
            to = {its.parallel.tds, memory.size(), memory.spawn(64).word_pointer()};
        };
    };
    independent_products({ParallelContext{thread_framework(), tds}, scratch.view(), nullptr}, words,
                         look(seen.a), look(seen.b));
    return seen;
}

}  // namespace

TEST(MergeStepsTest, IndependentShortProductsRunAtOnceWhereBothHaveRoom) {
    const u64 room = round_up_64(product_needs(kUndividedWords).bytes);
    const BothSeen at_once = independent(3, kUndividedWords, 2 * room);
    EXPECT_EQ(at_once.a.tds + at_once.b.tds, 3u);
    EXPECT_NE(at_once.a.memory, at_once.b.memory);
    EXPECT_EQ(at_once.a.bytes, room);
    EXPECT_EQ(at_once.b.bytes, room);
    // One task, products that are divided themselves, no room for two.
    for (const BothSeen& seen :
         {independent(1, kUndividedWords, 2 * room), independent(2, kUndividedWords + 1, 2 * room),
          independent(2, kUndividedWords, 2 * room - 64)}) {
        EXPECT_EQ(seen.a.memory, seen.b.memory);
        EXPECT_EQ(seen.a.bytes, seen.b.bytes);
        EXPECT_EQ(seen.a.tds, seen.b.tds);
    }
}

TEST(MergeStepsTest, AnErrorOfOneOfTwoProductsComesAfterTheOtherOne) {
    const u64 room = round_up_64(product_needs(kUndividedWords).bytes);
    Scratch scratch(2 * room);
    for (const bool first : {true, false}) {
        std::atomic<int> finished = 0;
        const auto product = [&](bool fails) {
            return [&finished, fails](const MultiplyContext&) {
                finished++;
                if (fails) throw AlgorithmFailedException("product()", "Damaged.");
            };
        };
        EXPECT_THROW(independent_products({ParallelContext{thread_framework(), 2}, scratch.view(), nullptr},
                                          kUndividedWords, product(first), product(!first)),
                     AlgorithmFailedException);
        EXPECT_EQ(finished, 2);
    }
}
