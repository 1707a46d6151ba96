// One bit changed in the numbers of a sum, for every family of series, built in or of a user's polynomials:
// in a leaf's result, a merge's, a block's, exact or inside floating-point blocks, and in a sum that waits.
// What can be formed again comes out right; the rest ends the run. Wrong values never come out.
#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

#include "constants/bsr/polynomial_series.h"
#include "constants/builtin/arcsinlemn.h"
#include "constants/builtin/catalan.h"
#include "constants/builtin/e.h"
#include "constants/builtin/euler_gamma.h"
#include "constants/builtin/log_machin.h"
#include "support/changed_numbers.h"
#include "support/damaged_run.h"
#include "support/effort.h"
#include "support/gamma_c_value.h"

using namespace kalvor;
using namespace kalvor::BinarySplitting;
using kalvor_test::ChangedNumbers;
using kalvor_test::DamagedRun;
using kalvor_test::run_damaged;
using trel::u64;

namespace {

constexpr u64 kWords = 150;

struct Sum {
    std::string name;
    std::unique_ptr<Evaluator> evaluator;
    // Numbers of a range: flips go through all of them.
    u64 numbers;
};

std::vector<Sum> all_sums() {
    const EvaluatorRequest request{kWords, 1};
    const Coefficients plain{1, 0, 1, 1, false};
    std::vector<Sum> sums;
    const auto add = [&](const char* name, std::unique_ptr<Evaluator> evaluator, u64 numbers) {
        sums.push_back({name, std::move(evaluator), numbers});
    };
    // Signed terms, some of them zero.
    add("SeriesHypergeometric",
        make_evaluator(std::make_shared<const SeriesHypergeometric_PolyData>(
                           PolynomialCoefficients{-9, 0, 1}, PolynomialCoefficients{0, 7},
                           PolynomialCoefficients{1, -5}, nullptr),
                       plain, request),
        3);
    add("SeriesHyperdescent",
        make_evaluator(std::make_shared<const SeriesHyperdescent_PolyData>(
                           PolynomialCoefficients{-3, 1}, PolynomialCoefficients{0, -1}, nullptr),
                       plain, request),
        2);
    add("SeriesBinaryBBP",
        make_evaluator(std::make_shared<const SeriesBinaryBBP_PolyData>(
                           4, PolynomialCoefficients{47, 151, 120},
                           PolynomialCoefficients{15, 194, 712, 1024, 512}, nullptr),
                       true, 70, plain, request),
        2);
    add("e", E(EAlgorithm::exp_1).make_evaluator(request), 2);
    add("1/e", E(EAlgorithm::exp_minus_1).make_evaluator(request), 2);
    add("gamma", EulerGamma(GammaAlgorithm::refined).make_evaluator(request), 4);
    add("plain gamma", EulerGamma(GammaAlgorithm::plain).make_evaluator(request), 4);
    add("C of gamma", std::make_unique<kalvor_test::GammaCValue>(9, request), 3);
    add("arcsinlemn", ArcSinlemn(1, 2, 3).make_evaluator(request), 3);
    add("Huvent", Catalan(CatalanAlgorithm::huvent).make_evaluator(request), 2);
    add("log(10)", LogMachin(10).make_evaluator(request), 3);
    return sums;
}

TEST(FamilyFaultsTest, OneBit) {
    std::mt19937_64 random(31);
    for (const Sum& sum : all_sums()) {
        ChangedNumbers none("");
        const DamagedRun right = run_damaged(*sum.evaluator, none);
        ASSERT_EQ(right.error, "") << sum.name;
        for (const std::string stage : {"piece", "range", "rest", "block", "fold", "sum"}) {
            ChangedNumbers counted(stage);
            run_damaged(*sum.evaluator, counted);
            const bool waits = stage == "block" || stage == "fold" || stage == "sum";
            // The last block has no link, and a single one is not folded.
            if (waits && counted.count == 0) continue;
            ASSERT_GE(counted.count, waits ? 1 : sum.numbers) << sum.name << " " << stage;
            // The first ones, which hold every number of a range, and some of the others.
            const u64 first = std::min(counted.count, sum.numbers);
            const u64 rounds = first + 4 / kalvor_test::thinned(4);
            u64 by_residues = 0;
            for (u64 round = 0; round < rounds; round++) {
                const u64 at = round < first ? round : random() % counted.count, place = random();
                SCOPED_TRACE(testing::Message()
                             << sum.name << ", " << stage << " " << at << " of " << counted.count);
                ChangedNumbers once(stage, {at}, place);
                const DamagedRun got = run_damaged(*sum.evaluator, once);
                if (stage == "sum") {
                    EXPECT_NE(got.error.find("A number was damaged in memory: "), std::string::npos)
                        << got.error;
                    continue;
                }
                EXPECT_EQ(got.error, "");
                EXPECT_EQ(got.value, right.value);
                EXPECT_EQ(got.corrected, 1u);
                if (stage != "piece" && stage != "range") continue;
                // And again when the range is done again: so many pieces later.
                ChangedNumbers twice(stage, {at, at + once.count - counted.count}, place);
                const DamagedRun failed = run_damaged(*sum.evaluator, twice);
                EXPECT_EQ(failed.corrected, 0u);
                // Floating-point halves that wait inside an "A" block carry residues of their own.
                if (failed.error.find("A number was damaged in memory: ") == 0) continue;
                EXPECT_EQ(failed.error, "Modular Redundancy Check Failed");
                ASSERT_EQ(failed.hashes.size(), 2u);
                EXPECT_TRUE(failed.hashes[0] != 0 || failed.hashes[1] != 0);
                by_residues++;
            }
            if (!waits && stage != "rest") {
                EXPECT_GE(by_residues, 2u) << sum.name;
            }
        }
    }
}

}  // namespace
