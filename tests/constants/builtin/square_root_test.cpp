// Square roots and the golden ratio.
#include "constants/builtin/square_root.h"

#include <gtest/gtest.h>

#include "base/errors/exceptions.h"
#include "base/status/linear_console_node.h"
#include "constants/builtin/golden_ratio.h"
#include "support/capture_console.h"
#include "support/effort.h"
#include "support/evaluator_run.h"
#include "support/masked.h"

using namespace kalvor;
using kalvor_test::EvaluatorRun;
using kalvor_test::expect_value;
using kalvor_test::kReferenceWords;
using kalvor_test::without_numbers_behind;
using trel::u64;
using trel::Word;

namespace {

// floor(n^(1/2) 2^(64 words))
mpz_class root_of(u64 n, u64 words) {
    mpz_class z;
    mpz_import(z.get_mpz_t(), 1, -1, sizeof n, 0, 0, &n);
    return sqrt(reference::shifted(z, static_cast<trel::i64>(2 * words)));
}

mpz_class golden(int power, u64 words) {
    mpz_class one = reference::shifted(1, static_cast<trel::i64>(words));
    return (root_of(5, words) + power * one) / 2;
}

constexpr u64 kLargest = (u64(1) << 63) - 1;
constexpr u64 kLargestSquare = u64(3037000499) * 3037000499;  // below 2^63
constexpr u64 kArguments[] = {2,
                              3,
                              5,
                              7,
                              8,
                              99,
                              200,
                              10005,
                              u64(1) << 31,
                              u64(1) << 33,
                              (u64(1) << 62) - 1,
                              (u64(1) << 62) + 1,
                              kLargestSquare - 1,
                              kLargestSquare + 1,
                              kLargest};

TEST(PerfectSquareTest, ExactlyTheSquares) {
    for (u64 n = 0, root = 0; n < 100000; n++) {
        while ((root + 1) * (root + 1) <= n) root++;
        ASSERT_EQ(is_perfect_square(n), root * root == n) << n;
    }
    for (const u64 root : {u64(94906265), u64(94906266), u64(94906267), u64(2147483647), u64(2147483648),
                           u64(3037000499), u64(3037000500), u64(4294967294), u64(4294967295)}) {
        EXPECT_TRUE(is_perfect_square(root * root)) << root;
        EXPECT_FALSE(is_perfect_square(root * root - 1)) << root;
        EXPECT_FALSE(is_perfect_square(root * root + 1)) << root;
    }
    EXPECT_FALSE(is_perfect_square(kLargest));
    EXPECT_FALSE(is_perfect_square(~u64(0)));
}

TEST(SquareRootTest, AllSmallPrecisions) {
    for (u64 p = 3; p <= 200; p += kalvor_test::thinned(7)) {
        for (const u64 n : kArguments) {
            expect_value(SquareRoot(n), p, 1 + p % 3, root_of(n, p + kReferenceWords),
                         std::to_string(n) + " p=" + std::to_string(p));
            if (HasFatalFailure()) return;
        }
    }
}

TEST(GoldenRatioTest, AllSmallPrecisions) {
    for (u64 p = 3; p <= 200; p += kalvor_test::thinned(7)) {
        for (const int power : {1, -1}) {
            expect_value(GoldenRatio(power), p, 1 + p % 3, golden(power, p + kReferenceWords),
                         std::to_string(power) + " p=" + std::to_string(p));
            if (HasFatalFailure()) return;
        }
    }
}

TEST(SquareRootTest, TenThousandDigits) {
    for (const u64 p : {521, 5193}) {
        for (const u64 tds : {1, 2, 7}) {
            expect_value(SquareRoot(2), p, tds, root_of(2, p + kReferenceWords), "2");
            expect_value(SquareRoot(kLargest), p, tds, root_of(kLargest, p + kReferenceWords), "largest");
            expect_value(GoldenRatio(), p, tds, golden(1, p + kReferenceWords), "golden ratio");
            expect_value(GoldenRatio(-1), p, tds, golden(-1, p + kReferenceWords), "its inverse");
        }
    }
}

TEST(SlowSquareRootTest, AMillionDigits) {
    const u64 p = 51908;
    expect_value(SquareRoot(2), p, 1, root_of(2, p + kReferenceWords), "2");
    expect_value(SquareRoot(kLargestSquare + 1), p, 7, root_of(kLargestSquare + 1, p + kReferenceWords),
                 "near a square");
    expect_value(GoldenRatio(), p, 2, golden(1, p + kReferenceWords), "golden ratio");
    expect_value(GoldenRatio(-1), p, 2, golden(-1, p + kReferenceWords), "its inverse");
}

TEST(GoldenRatioTest, PowerIsChecked) {
    for (const int power : {0, 2, -2}) {
        try {
            const GoldenRatio ratio(power);
            FAIL();
        } catch (const trel::InvalidParametersException& e) {
            EXPECT_EQ(e.function, "GoldenRatio_Newton_BigFloatR()");
            EXPECT_EQ(e.message, "Power must be 1 or -1.");
        }
    }
}

std::string said(const EvaluatorFactory& factory) {
    EvaluatorRun run(factory, 55, 1);
    CaptureConsole console;
    trel::LinearConsoleNode status(79, 1.0);
    run.value(status);
    return without_numbers_behind(" seconds  (", without_numbers_behind("Time:", console.take()));
}

TEST(SquareRootTest, StepsAreAnnounced) {
    const std::string time = "Time:<number> seconds  (<number> minutes )\n";
    EXPECT_EQ(said(SquareRoot(10005)), "Sqrt(10005)\nInvSqrt...\n" + time + "Small Multiply...\n" + time);
    const std::string golden =
        "GoldenRatio:\nInvSqrt...\n" + time + "Small Multiply...\n" + time + "Finishing...\n" + time;
    EXPECT_EQ(said(GoldenRatio()), golden);
    EXPECT_EQ(said(GoldenRatio(-1)), golden);
}

// 4.5 bytes a digit leave 10.8 words a word of precision.
TEST(SquareRootTest, Memory) {
    const u64 p = 519054;
    const auto evaluator = SquareRoot(2).make_evaluator({p, 1});
    const u64 bytes = evaluator->needs().bytes + 8 * evaluator->needs().result_words;
    EXPECT_LT(static_cast<double>(bytes), 4.5 * 1e7);
    EXPECT_EQ(evaluator->label(), "Sqrt(2)");
    ASSERT_EQ(evaluator->work().size(), 1u);
    EXPECT_EQ(evaluator->work()[0].name, "square root");
    EXPECT_EQ(evaluator->series_blocks().all, 0u);
}

}  // namespace
