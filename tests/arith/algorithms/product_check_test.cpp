// One bit changed between two stages of a product, for every algorithm, operation and kind of window: a wrong
// word never comes out. Either the product is done again and is right, or it ends with an exception.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <string>

#include "arith/ntt/ntt_support.h"
#include "product_flips.h"
#include "support/effort.h"

namespace trel {
namespace {

using kalvor_test::Kind;
using kalvor_test::operand;
using kalvor_test::thinned;

class ProductCheckTest : public testing::TestWithParam<const char*> {};

INSTANTIATE_TEST_SUITE_P(Algorithms, ProductCheckTest,
                         testing::Values("BKT", "FFT", "C17", "VST", "N32", "N64", "HNT"),
                         [](const auto& info) { return std::string(info.param); });

// The flips that any stage of any product would notice.
TEST_P(ProductCheckTest, NoFlipComesOut) {
    const std::string name = GetParam();
    const MultiplyAlgorithm& algorithm = algorithm_called(name);
    std::mt19937_64 rng(17);
    std::set<std::string> found_in, seen;
    u64 flips = 0, corrected = 0, thrown = 0;
    for (const u64 words : sizes_of(name)) {
        Bench bench(algorithm, words);
        for (const Shape& s : shapes_of(algorithm, words, true)) {
            for (const Operation operation : kOperations) {
                if (operation == Operation::square && s.LA != s.LB) continue;
                SCOPED_TRACE(name + " " + s.name + " " + std::to_string(static_cast<int>(operation)) +
                             " of " + std::to_string(words));
                const std::vector<Word> A = operand(Kind::random, s.LA, 1),
                                        B = operand(Kind::random, s.LB, 2);
                OneFlip none;
                const Outcome right = bench.run(operation, s, A, B, none);
                ASSERT_FALSE(right.thrown);
                ASSERT_EQ(right.corrected, 0u);
                ASSERT_GE(right.checked, 1u);
                for (u64 stage = 0; stage < none.names.size(); stage++) {
                    seen.insert(none.names[stage]);
                    for (unsigned k = 0; k < 4 / thinned(4); k++) {
                        OneFlip flip(stage, rng());
                        std::vector<Word> b = B;
                        const Outcome o = bench.run(operation, s, A, b, flip);
                        flips++;
                        corrected += o.corrected;
                        thrown += o.thrown;
                        if (o.thrown || o.corrected != 0) found_in.insert(flip.name);
                        // Nobody can repair an operand.
                        if (flip.name == "operand") {
                            ASSERT_TRUE(o.thrown);
                        }
                        if (o.thrown) {
                            // What is kept for the check alone never ends a run.
                            ASSERT_NE(flip.name, "right");
                            ASSERT_NE(flip.name, "odd right");
                            ASSERT_NE(flip.name, "residue");
                            continue;
                        }
                        ASSERT_EQ(o.words, right.words) << flip.name;
                        if (flip.name == "product") {
                            ASSERT_EQ(o.corrected, 1u) << flip.name;
                        }
                    }
                }
            }
        }
    }
    EXPECT_EQ(found_in, seen);
    std::set<std::string> stages = {"operand", "data", "residue", "right", "ring rest", "product"};
    if (name != "BKT") stages.insert({"pass", "coefficients"});
    if (name == "C17" || name == "VST") stages.erase("coefficients");  // never a whole pass of its own
    if (name == "FFT") stages.insert("odd right");
    EXPECT_TRUE(std::includes(seen.begin(), seen.end(), stages.begin(), stages.end()));
    EXPECT_GT(corrected, 0u);
    RecordProperty("flips", static_cast<int>(flips));
    RecordProperty("corrected", static_cast<int>(corrected));
    RecordProperty("thrown", static_cast<int>(thrown));
}

// What is kept beside a transform stands there twice. A damaged copy is written anew, and counted.
TEST_P(ProductCheckTest, ADamagedCopyOfWhatIsKeptIsACorrection) {
    const std::string name = GetParam();
    const MultiplyAlgorithm& algorithm = algorithm_called(name);
    for (const u64 words : sizes_of(name)) {
        Bench bench(algorithm, words);
        const Shape s = shapes_of(algorithm, words, false)[0];
        const std::vector<Word> A = operand(Kind::random, s.LA, 1), B = operand(Kind::random, s.LB, 2);
        OneFlip none;
        const Outcome right = bench.run(Operation::held, s, A, B, none);
        const u64 stage =
            static_cast<u64>(std::find(none.names.begin(), none.names.end(), "residue") - none.names.begin());
        ASSERT_LT(stage, none.names.size());
        const u64 half = none.sizes[stage] / 2 * 8;
        for (u64 word = 0; word < 8; word++) {
            for (const u64 copy : {u64(0), half}) {
                OneFlip flip(stage, copy + 64 * word + 5);
                const Outcome o = bench.run(Operation::held, s, A, B, flip);
                ASSERT_FALSE(o.thrown) << word;
                ASSERT_EQ(o.words, right.words) << word;
                ASSERT_EQ(o.corrected, 1u) << words << " word " << word << " of copy " << (copy != 0);
            }
        }
    }
}

// With the operands' words at hand a damaged transform is made anew, in place of one of the operands too.
TEST_P(ProductCheckTest, DamagedTransformsAreMadeAnewFromTheirWords) {
    const std::string name = GetParam();
    const MultiplyAlgorithm& algorithm = algorithm_called(name);
    std::mt19937_64 rng(29);
    const u64 words = sizes_of(name)[1];
    Bench bench(algorithm, words);
    bench.words_stay = true;
    u64 corrected = 0;
    for (const Shape& s : shapes_of(algorithm, words, true)) {
        for (const Operation operation : {Operation::held, Operation::transforms, Operation::in_place}) {
            SCOPED_TRACE(name + " " + s.name + " " + std::to_string(static_cast<int>(operation)));
            const std::vector<Word> A = operand(Kind::random, s.LA, 1), B = operand(Kind::random, s.LB, 2);
            OneFlip none;
            const Outcome right = bench.run(operation, s, A, B, none);
            ASSERT_FALSE(right.thrown);
            for (u64 stage = 0; stage < none.names.size(); stage++) {
                if (none.names[stage] == "operand") continue;
                for (unsigned k = 0; k < 4 / thinned(4); k++) {
                    OneFlip flip(stage, rng());
                    std::vector<Word> b = B;
                    const Outcome o = bench.run(operation, s, A, b, flip);
                    ASSERT_FALSE(o.thrown) << flip.name;
                    ASSERT_EQ(o.words, right.words) << flip.name;
                    corrected += o.corrected;
                }
            }
        }
    }
    EXPECT_GT(corrected, 0u);
}

// Of all flips that change a product, at every stage, those of the operands' words included, which nobody can
// repair, three quarters are corrected and the words are right.
TEST_P(ProductCheckTest, ThreeQuartersOfTheFlipsAreCorrected) {
    const std::string name = GetParam();
    const MultiplyAlgorithm& algorithm = algorithm_called(name);
    std::mt19937_64 rng(31);
    u64 corrected = 0, thrown = 0;
    const u64 step = name == "BKT" ? 1 : thinned(3);  // it has few stages
    for (const u64 words : sizes_of(name)) {
        Bench bench(algorithm, words);
        bench.words_stay = true;
        for (const Shape& s : shapes_of(algorithm, words, true)) {
            for (const Operation operation : kOperations) {
                if (operation == Operation::square && s.LA != s.LB) continue;
                const std::vector<Word> A = operand(Kind::random, s.LA, 1),
                                        B = operand(Kind::random, s.LB, 2);
                OneFlip none;
                const Outcome right = bench.run(operation, s, A, B, none);
                for (u64 stage = 0; stage < none.names.size(); stage += step) {
                    OneFlip flip(stage, rng());
                    std::vector<Word> b = B;
                    const Outcome o = bench.run(operation, s, A, b, flip);
                    thrown += o.thrown;
                    if (o.thrown) continue;
                    ASSERT_EQ(o.words, right.words) << flip.name;
                    corrected += o.corrected;
                }
            }
        }
    }
    EXPECT_GT(thrown, 0u);
    EXPECT_GE(corrected, 3 * thrown) << name;
    RecordProperty("corrected", static_cast<int>(corrected));
    RecordProperty("thrown", static_cast<int>(thrown));
}

// Products that are long enough to be split into tasks.
TEST_P(ProductCheckTest, NoFlipComesOutOfSeveralTasks) {
    const std::string name = GetParam();
    if (name == "BKT") return;
    const MultiplyAlgorithm& algorithm = algorithm_called(name);
    std::mt19937_64 rng(37);
    const u64 words = name == "HNT" ? 3000 : 40000;
    Bench bench(algorithm, words, 4);
    u64 found = 0, found_in_passes = 0;
    for (const Shape& s : shapes_of(algorithm, words, name != "FFT")) {
        if (s.name != std::string("full") && s.name != std::string("high") &&
            s.name != std::string("wrapped"))
            continue;
        for (const Operation operation : {Operation::plain, Operation::held}) {
            SCOPED_TRACE(name + " " + s.name + " " + std::to_string(static_cast<int>(operation)));
            const std::vector<Word> A = operand(Kind::random, s.LA, 1), B = operand(Kind::random, s.LB, 2);
            OneFlip none;
            const Outcome right = bench.run(operation, s, A, B, none);
            ASSERT_FALSE(right.thrown);
            ASSERT_EQ(right.corrected, 0u);
            // Between all passes, and at some of all stages.
            std::vector<u64> stages;
            for (u64 stage = 0; stage < none.names.size(); stage++) {
                if (none.names[stage] == "pass") stages.push_back(stage);
            }
            ASSERT_FALSE(stages.empty());
            const u64 passes = stages.size();
            for (unsigned k = 0; k < 16 / thinned(2); k++) stages.push_back(rng() % none.names.size());
            for (u64 k = 0; k < stages.size(); k++) {
                OneFlip flip(stages[k], rng());
                std::vector<Word> b = B;
                const Outcome o = bench.run(operation, s, A, b, flip);
                found += o.thrown || o.corrected != 0;
                if (k < passes) found_in_passes += o.thrown || o.corrected != 0;
                if (o.thrown) continue;
                ASSERT_EQ(o.words, right.words) << flip.name;
            }
        }
    }
    EXPECT_GT(found_in_passes, 0u);
    EXPECT_GT(found, 10u);
}

// A step that is checked as a whole: short products inside it are not looked at, and a transform that was
// made there never meets a check that knows nothing of it. Number theoretic transforms are checked all the
// same: one residue modulo 2^64 - 2^32 + 1, by which a step compares itself, does not show their faults.
TEST_P(ProductCheckTest, ShortProductsOfACheckedStepAreNotChecked) {
    const std::string name = GetParam();
    const MultiplyAlgorithm& algorithm = algorithm_called(name);
    for (const u64 words : sizes_of(name)) {
        Bench bench(algorithm, words);
        const bool is_short = bench.transform->convolution_words() <= kShortProductWords &&
                              bench.transform->fold() != Fold::cyclic;
        for (const Shape& s : shapes_of(algorithm, words, true)) {
            for (const Operation operation : kOperations) {
                if (operation == Operation::square && s.LA != s.LB) continue;
                SCOPED_TRACE(name + " " + s.name + " " + std::to_string(static_cast<int>(operation)) +
                             " of " + std::to_string(words));
                const std::vector<Word> A = operand(Kind::random, s.LA, 1),
                                        B = operand(Kind::random, s.LB, 2);
                const Carried carried{goldilocks::of_words(A.data(), s.LA),
                                      goldilocks::of_words(B.data(), s.LB)};
                OneFlip none;
                for (const bool forward : {false, true}) {
                    for (const bool product : {false, true}) {
                        bench.unchecked_forward = forward;
                        bench.unchecked_product = product;
                        const Outcome o = bench.run(operation, s, A, B, none, carried);
                        ASSERT_FALSE(o.thrown);
                        ASSERT_EQ(o.corrected, 0u);
                        ASSERT_EQ(o.residue, is_short && product
                                                 ? goldilocks::kNone
                                                 : goldilocks::of_words(o.words.data(), o.words.size()));
                        const bool transforms = operation == Operation::held ||
                                                operation == Operation::transforms ||
                                                operation == Operation::in_place;
                        const bool off = is_short && (product || (forward && transforms));
                        ASSERT_EQ(o.checked, off ? 0u : 1u);
                    }
                }
            }
        }
    }
}

// The residue that comes back is that of the words, and the ones that operands carry are compared, in long
// rings and in short ones.
TEST_P(ProductCheckTest, ResiduesComeBackAndAreCompared) {
    const std::string name = GetParam();
    const MultiplyAlgorithm& algorithm = algorithm_called(name);
    for (const u64 words : sizes_of(name)) {
        Bench bench(algorithm, words);
        for (const Shape& s : shapes_of(algorithm, words, true)) {
            for (const Operation operation : kOperations) {
                const bool square = operation == Operation::square;
                if (square && s.LA != s.LB) continue;
                SCOPED_TRACE(name + " " + s.name + " " + std::to_string(static_cast<int>(operation)) +
                             " of " + std::to_string(words));
                std::vector<Word> A = operand(Kind::random, s.LA, 1), B = operand(Kind::random, s.LB, 2);
                const Carried carried{goldilocks::of_words(A.data(), s.LA),
                                      goldilocks::of_words(B.data(), s.LB)};
                OneFlip none;
                const Outcome o = bench.run(operation, s, A, B, none, carried);
                ASSERT_FALSE(o.thrown);
                ASSERT_EQ(o.residue, goldilocks::of_words(o.words.data(), o.words.size()));
                A[s.LA / 2] ^= 1u << 7;
                ASSERT_TRUE(bench.run(operation, s, A, B, none, carried).thrown);
                A[s.LA / 2] ^= 1u << 7;
                if (square) continue;
                B[s.LB / 3] ^= 1u << 9;
                ASSERT_TRUE(bench.run(operation, s, A, B, none, carried).thrown);
            }
        }
    }
}

}  // namespace
}  // namespace trel
