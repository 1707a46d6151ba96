// Errors that one kind of transform makes of a changed value, and which part of the check finds them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <utility>

#include "arith/ntt/ntt_support.h"
#include "product_flips.h"

namespace trel {
namespace {

using kalvor_test::Kind;
using kalvor_test::operand;

// A product of two operands of half as many words each.
Shape full(u64 words) {
    const u64 h = words / 2;
    return {"full", words, h, h, 0, 2 * h};
}
// One that is a third longer than the transform, in the window that nothing wraps into.
Shape wrapped(u64 words, const Bench& bench) {
    const u64 W = bench.transform->convolution_words(), n = W + W / 3;
    return {"wrapped", words, n / 2, n - n / 2, n - W, W};
}

// Random operands, and their product without a fault.
struct Trial {
    Trial(Bench& bench, Operation operation, const Shape& shape)
        : bench(bench),
          operation(operation),
          shape(shape),
          A(operand(Kind::random, shape.LA, 1)),
          B(operand(Kind::random, shape.LB, 2)),
          right(with(none)) {}
    Outcome with(ComputationStages& fault) { return bench.run(operation, shape, A, B, fault); }
    // The fault left no wrong words.
    bool harmless(const Outcome& o) const { return o.thrown || o.words == right.words; }

    Bench& bench;
    const Operation operation;
    const Shape shape;
    const std::vector<Word> A, B;
    OneFlip none;  // has the names of the stages
    const Outcome right;
};

bool was_found(const Outcome& o) {
    return o.thrown || o.corrected != 0;
}

// Less than 2^most units of a coefficient, for a transform of so many bytes.
double random_height(std::mt19937_64& rng, u64 data_bytes, int most) {
    return static_cast<double>(data_bytes / sizeof(double)) *
           std::ldexp(static_cast<double>(rng() >> 11), most - 53);
}

// A change of the spectrum that is a few units high comes out as a wave over coefficients that lie a multiple
// of 192 bits apart. Rounded, its values often add up to 0, so that no sum of every third word shows it. But
// most of them are not integers, and those that are do not cancel modulo 2^61 - 1.
TEST(TransformErrorsTest, SmallWavesOfTheFftAreFound) {
    std::mt19937_64 rng(99);
    const MultiplyAlgorithm& fft = algorithm_called("FFT");
    u64 found = 0;
    for (const u64 words : {216, 720, 2048}) {
        Bench bench(fft, words);
        Trial trial(bench, Operation::plain, full(words));
        const std::vector<std::string>& names = trial.none.names;
        const u64 stage =
            static_cast<u64>(std::find(names.begin(), names.end(), "coefficients") - names.begin());
        ASSERT_LT(stage, names.size());
        for (int k = 0; k < 1500; k++) {
            OneFlip flip(stage, rng());
            const Outcome o = trial.with(flip);
            found += was_found(o);
            ASSERT_TRUE(trial.harmless(o)) << words;
        }
    }
    EXPECT_GT(found, 2500u);
}

// Adds to one number of the FFT before its last pass: a wave over the coefficients of one column.
class Wave final : public ComputationStages {
  public:
    Wave(u64 place, double height) : place_(place), height_(height) {}
    void at(const char* stage, void* memory, u64 bytes) override {
        if (done_ || std::string(stage) != "coefficients") return;
        done_ = true;
        size = bytes;
        static_cast<double*>(memory)[place_ % (bytes / sizeof(double))] += height_;
    }
    u64 size = 0;  // bytes of the transform

  private:
    u64 place_;
    double height_;
    bool done_ = false;
};

// Waves that are a few units high, where few coefficients take part: all of them may be near integers.
TEST(TransformErrorsTest, WavesNearIntegersAreFound) {
    const MultiplyAlgorithm& fft = algorithm_called("FFT");
    std::mt19937_64 rng(53);
    u64 found = 0;
    for (const u64 words : {30, 60, 96, 216}) {
        Bench bench(fft, words);
        Trial trial(bench, Operation::plain, full(words));
        for (int k = 0; k < 20000; k++) {
            const u64 place = rng();
            Wave wave(place, random_height(rng, bench.transform->data_bytes(), 2));
            const Outcome o = trial.with(wave);
            ASSERT_TRUE(trial.harmless(o)) << words << " " << place;
            found += was_found(o);
        }
    }
    EXPECT_GT(found, 60000u);
}

// A whole product of just too many words runs on the record below and is compared modulo 2^192 - 1 alone. The
// look at the coefficients finds the waves whose values add up to 0.
TEST(TransformErrorsTest, WavesOfWholeProductsOnTheRecordBelowAreFound) {
    const MultiplyAlgorithm& fft = algorithm_called("FFT");
    std::mt19937_64 rng(61);
    for (const auto& [LA, LB] : {std::pair(u64(690), u64(680)), {690, 690}}) {
        Scratch scratch(fft.mSBsize(LA + LB));
        const std::vector<Word> A = operand(Kind::random, LA, 1), B = operand(Kind::random, LB, 2);
        std::vector<Word> right(LA + LB), T(LA + LB);
        const auto multiply = [&](const ParallelContext& parallel, std::vector<Word>& to) {
            fft.mul({parallel, scratch.view()}, to.data(), A.data(), LA, B.data(), LB);
        };
        multiply(serial_context(), right);
        TransformHolder fits;
        fft.make_transform(fits, LA + LB, {serial_context(), {}});
        u64 found = 0;
        for (int k = 0; k < 3000; k++) {
            Wave wave(rng(), random_height(rng, fits->data_bytes(), 2));
            RunMonitor monitor;
            monitor.stages = &wave;
            ParallelContext parallel = serial_context();
            parallel.run = &monitor;
            multiply(parallel, T);
            ASSERT_LT(wave.size, fits->data_bytes() - Transform::kLabelBytes) << "the record that fits";
            ASSERT_EQ(T, right) << k;
            found += monitor.checks.corrected;
        }
        EXPECT_GT(found, 2500u);
    }
}

// Products that are not compared one by one have the look at the coefficients all the same.
TEST(TransformErrorsTest, TheFftLooksAtCoefficientsOfUncheckedProductsToo) {
    const MultiplyAlgorithm& fft = algorithm_called("FFT");
    std::mt19937_64 rng(59);
    u64 thrown = 0;
    for (const u64 words : {60, 216, 720}) {
        Bench bench(fft, words);
        bench.unchecked_product = true;
        Trial trial(bench, Operation::plain, full(words));
        for (int k = 0; k < 100; k++) {
            Wave wave(rng(), random_height(rng, bench.transform->data_bytes(), 3));
            const Outcome o = trial.with(wave);
            ASSERT_EQ(o.checked, 0u);
            thrown += o.thrown;
        }
    }
    EXPECT_GT(thrown, 200u) << "of 300";
}

// The bits of a spectrum of the HNT, one of every element and some more: whatever branch of the transform
// they are in, and however far apart the coefficients are that they change. Lengths with few and with many
// elements, and with roots whose powers are far apart.
TEST(TransformErrorsTest, EveryBranchOfTheHntIsFound) {
    const MultiplyAlgorithm& hnt = algorithm_called("HNT");
    std::mt19937_64 rng(47);
    u64 lengths = 0;
    for (const u64 words : {12, 180, 300, 768, 1200, 2000}) {
        Bench bench(hnt, words);
        for (const Shape& shape : {full(words), wrapped(words, bench)}) {
            Trial trial(bench, Operation::transforms, shape);
            ASSERT_EQ(trial.right.checked, 1u);
            // the pass after the product of the points
            const std::vector<std::string>& names = trial.none.names;
            u64 stage = names.size();
            while (names[--stage] != "coefficients") {
            }
            while (names[--stage] != "pass") {
            }
            while (names[--stage] != "pass") {
            }
            for (int k = 0; k < 300; k++) {
                OneFlip flip(stage, rng());
                const Outcome o = trial.with(flip);
                ASSERT_TRUE(trial.harmless(o)) << words << " " << shape.name << " " << flip.name;
                ASSERT_TRUE(o.corrected == 1 || o.thrown) << words << " " << shape.name;
            }
        }
        lengths++;
    }
    EXPECT_EQ(lengths, 6u);
}

// Turns the sign of one double of a stage.
class OneSign final : public ComputationStages {
  public:
    OneSign(const char* stage, u64 place) : stage_(stage), place_(place) {}
    void at(const char* stage, void* memory, u64 bytes) override {
        if (done_ || std::string(stage) != stage_) return;
        done_ = true;
        static_cast<u8*>(memory)[place_ % (bytes / 8) * 8 + 7] ^= 0x80;
    }

  private:
    std::string stage_;
    u64 place_;
    bool done_ = false;
};

// An error in one branch of a transform of three or five times a power of two points comes out as a multiple
// of another factor of the ring, which a divisor of only that factor does not see. All lengths that products
// may wrap around.
TEST(TransformErrorsTest, ErrorsInEveryBranchOfWrappedProductsAreFound) {
    const MultiplyAlgorithm& fft = algorithm_called("FFT");
    std::mt19937_64 rng(41);
    for (const u64 refused :
         {u64(96), u64(256), u64(768), u64(816), u64(1280), u64(1536), u64(1632), u64(2560)}) {
        EXPECT_GT(fft.wrapped_words(refused), refused);
    }
    EXPECT_EQ(fft.wrapped_words(864), 864u);
    u64 lengths = 0, found = 0;
    for (u64 words = 1; words <= kShortProductWords;) {
        const u64 asked = fft.wrapped_words(words);
        Bench bench(fft, asked);
        const u64 W = bench.transform->convolution_words();
        Trial trial(bench, Operation::transforms, wrapped(asked, bench));
        ASSERT_EQ(trial.right.checked, 1u) << W;
        for (const char* stage : {"data", "coefficients"}) {
            for (int k = 0; k < 30; k++) {
                OneSign fault(stage, rng());
                const Outcome o = trial.with(fault);
                ASSERT_TRUE(trial.harmless(o)) << W << " " << stage;
                found += was_found(o);
            }
        }
        lengths++;
        words = W + 1;
    }
    EXPECT_EQ(lengths, 28u);
    EXPECT_GT(found, lengths * 40);
}

// One changed value of one prime changes all coefficients of a product by Code 17 alike, up to their sign:
// its error is a multiple of (2^192 - 1) / (2^24 - 1). That is not 0 modulo 2^192 - 1, but 0 modulo most
// divisors of it, 2^64 - 2^32 + 1 among them. So products are compared by all three words.
TEST(TransformErrorsTest, ErrorsOfOnePrimeNeedAllThreeWords) {
    std::mt19937_64 rng(43);
    for (int k = 0; k < 1000; k++) {
        RingResidue error;
        const u64 size = rng();
        if (size % 0xffffff == 0) continue;
        for (u32 bit = 0; bit < 192; bit += 24) error.add(u128(size) << bit % 64, bit / 64);
        ASSERT_EQ(error.goldilocks(), 0u);
        ASSERT_FALSE(error.equals(RingResidue()));
    }
    const MultiplyAlgorithm& c17 = algorithm_called("C17");
    for (const u64 words : {3300, 4000, 5000, 6500}) {
        Bench bench(c17, words);
        Trial trial(bench, Operation::transforms, {"high", words, words / 2, words / 2, words / 2, words});
        for (int k = 0; k < 20; k++) {
            OneSign fault("data", rng());
            ASSERT_TRUE(trial.harmless(trial.with(fault))) << words;
        }
    }
}

}  // namespace
}  // namespace trel
