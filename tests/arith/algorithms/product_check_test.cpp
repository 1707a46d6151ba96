// One bit changed between two stages of a product, for every algorithm, operation and kind of window: a wrong
// word never comes out. Either the product is done again and is right, or it ends with an exception.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <random>
#include <set>
#include <string>
#include <thread>

#include "arith/multiply/algorithm_table.h"
#include "arith/multiply/dispatch.h"
#include "arith/ntt/ntt_support.h"
#include "base/errors/exceptions.h"
#include "base/status/linear_console_node.h"
#include "platform/parallel/basic_parallelizer.h"
#include "support/capture_console.h"
#include "support/scratch.h"
#include "support/threads.h"

namespace {

using namespace trel;
using namespace kalvor_test;

// Counts the stages; at the chosen one it changes a bit.
class OneFlip final : public ComputationStages {
  public:
    static constexpr u64 kNever = ~u64(0);
    explicit OneFlip(u64 stage = kNever, u64 place = 0) : stage_(stage), place_(place) {}

    void at(const char* stage, void* memory, u64 bytes) override {
        const std::lock_guard lock(mutex_);
        if (names.size() == stage_ && bytes != 0) {
            name = stage;
            const u64 bit = place_ % (8 * bytes);
            static_cast<u8*>(memory)[bit / 8] ^= static_cast<u8>(1u << bit % 8);
        }
        names.push_back(stage);
    }
    std::vector<std::string> names;
    std::string name;

  private:
    std::mutex mutex_;
    u64 stage_, place_;
};

enum class Operation { plain, square, held, transforms, in_place };
constexpr Operation kOperations[] = {Operation::plain, Operation::square, Operation::held,
                                     Operation::transforms, Operation::in_place};

struct Shape {
    const char* name;
    u64 words;        // the transform is made for
    u64 LA, LB;       // of the operands
    u64 skip, total;  // of the window
};

struct Outcome {
    bool thrown = false;
    u64 corrected = 0, checked = 0;
    u64 residue = 0;
    std::vector<Word> words;
};

class Bench {
  public:
    Bench(const MultiplyAlgorithm& algorithm, u64 words, u64 tasks = 1) : tasks(tasks) {
        const ParallelContext parallel{thread_framework(), tasks};
        algorithm.make_transform(transform, algorithm.wrapped_words(words), {parallel, {}});
        data.resize(3 * transform->data_bytes() / 8 + transform->scratch_bytes() / 8 +
                    transform->plain_bytes() / 8 + 64);
    }
    Outcome run(Operation operation, const Shape& s, std::vector<Word> A, const std::vector<Word>& B,
                ComputationStages& stages, Carried carried = {}) {
        RunMonitor monitor;
        monitor.stages = &stages;
        ParallelContext parallel{thread_framework(), tasks, &monitor};
        Outcome o;
        o.words.assign(s.total - s.skip, 0x5555);
        ParallelContext before = parallel;
        before.inner_unchecked = unchecked_forward;
        parallel.inner_unchecked = unchecked_product;
        u8* const memory = reinterpret_cast<u8*>((reinterpret_cast<u64>(data.data()) + 63) / 64 * 64);
        const u64 bytes = transform->data_bytes();
        u8 *const x = memory, *const y = x + bytes, *const work = y + bytes, *const scratch = work + bytes;
        Word* const T = o.words.data();
        try {
            switch (operation) {
                case Operation::plain:
                    o.residue = transform->multiply_plain(parallel, T, s.skip, s.total, A.data(), s.LA,
                                                          B.data(), s.LB, memory, carried.a, carried.b);
                    break;
                case Operation::square:
                    o.residue = transform->square_plain(parallel, T, s.skip, s.total, A.data(), s.LA, memory,
                                                        carried.a);
                    break;
                case Operation::held:
                    transform->forward(before, y, B.data(), s.LB, scratch, carried.b, words_stay);
                    o.residue = transform->multiply_held(parallel, T, s.skip, s.total, A.data(), s.LA, y,
                                                         work, scratch, carried.a);
                    break;
                case Operation::transforms:
                case Operation::in_place:
                    transform->forward(before, x, A.data(), s.LA, scratch, carried.a, words_stay);
                    transform->forward(before, y, B.data(), s.LB, scratch, carried.b, words_stay);
                    o.residue =
                        transform->inverse(parallel, T, s.skip, s.total,
                                           operation == Operation::in_place ? x : work, x, y, scratch);
                    break;
            }
        } catch (const AlgorithmFailedException&) {
            o.thrown = true;
        }
        o.corrected = monitor.checks.corrected;
        o.checked = monitor.checks.products;
        return o;
    }
    const u64 tasks;
    TransformHolder transform;
    std::vector<Word> data;
    bool words_stay = false, unchecked_forward = false, unchecked_product = false;
};

class ProductCheckTest : public testing::TestWithParam<const char*> {};
// Threads that share a transform may see the same damaged copy of its label: one of them counts it.
TEST(OperandLabelTest, DamageToASharedLabelIsCountedOnce) {
    OperandResidue r;
    r.length = 100;
    r.formed = true;
    r.seal = r.sealed();
    alignas(64) u8 place[operand_label::bytes(3)];
    for (int round = 0; round < 300; round++) {
        operand_label::write(place, r);
        place[round % 2 * sizeof(place) / 2 + 8 + round % 40] ^= 4;
        std::atomic<int> ready{0}, healed{0}, whole{0};
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; t++) {
            threads.emplace_back([&] {
                ready++;
                while (ready < 4) std::this_thread::yield();
                bool mine = false;
                whole += operand_label::read(place, 3, mine).is_whole();
                healed += mine;
            });
        }
        for (std::thread& t : threads) t.join();
        ASSERT_EQ(whole, 4);
        ASSERT_EQ(healed, 1) << round;
        bool again = false;
        EXPECT_TRUE(operand_label::read(place, 3, again).is_whole());
        EXPECT_FALSE(again);
    }
}

INSTANTIATE_TEST_SUITE_P(Algorithms, ProductCheckTest,
                         testing::Values("BKT", "FFT", "C17", "VST", "N32", "N64", "HNT"),
                         [](const auto& info) { return std::string(info.param); });

const MultiplyAlgorithm& algorithm_called(const std::string& name) {
    return *find_algorithm(TableSlot::basic64, name)->algorithm;
}

// Windows of a product of two operands of about half the transform, and of two that wrap around it.
std::vector<Shape> shapes_of(const MultiplyAlgorithm& algorithm, u64 words, bool wraps) {
    TransformHolder t;
    algorithm.make_transform(t, algorithm.wrapped_words(words), {serial_context(), {}});
    const u64 W = t->convolution_words(), h = words / 2;
    std::vector<Shape> all = {{"full", words, h, h, 0, 2 * h},
                              {"low", words, h, h, 0, h + 3},
                              {"high", words, h, h, h - 1, 2 * h},
                              {"middle", words, h, h, h / 2 + 1, h + h / 3},
                              {"uneven", words, h + h / 2, h / 2 - 3, 5, h}};
    if (wraps && t->fold() != Fold::none) {
        const u64 n = W + W / 3, a = n / 2, b = n - a;
        all.push_back({"wrapped", words, a, b, n - W, W});
        all.push_back({"wrapped_inner", words, a, b, n - W + 7, W - 5});
        all.push_back({"wrapped_ring", words, a, b, 0, W});
    }
    return all;
}

u64 largest_words(const std::string& name) {
    // of the FFT: lengths with a modulus that sees every branch
    return name == "BKT" ? 90 : name == "FFT" ? 1360 : name == "HNT" ? 1500 : 4000;
}
// Rings of every kind of length: with a factor three, a power of two, and short ones.
std::vector<u64> sizes_of(const std::string& name) {
    const u64 largest = largest_words(name);
    if (name == "BKT") return {largest, 31};
    // of the FFT: three, five and one times a power of two points
    if (name == "FFT") return {largest, largest / 2 + 1, 320, 300, 90};
    return {largest, largest / 2 + 1, 300, 90};
}

// The flips that any stage of any product would notice.
TEST_P(ProductCheckTest, NoFlipComesOut) {
    const std::string name = GetParam();
    const MultiplyAlgorithm& algorithm = algorithm_called(name);
    std::mt19937_64 rng(17);
    std::set<std::string> found_in, seen;
    u64 flips = 0, corrected = 0, thrown = 0, missed = 0;
    for (const u64 words : sizes_of(name)) {
        Bench bench(algorithm, words);
        for (const Shape& s : shapes_of(algorithm, words, true)) {
            for (const Operation operation : kOperations) {
                if (operation == Operation::square && s.LA != s.LB) continue;
                SCOPED_TRACE(name + " " + s.name + " " + std::to_string(static_cast<int>(operation)) +
                             " of " + std::to_string(words));
                const std::vector<Word> A = kalvor_test::operand(Kind::random, s.LA, 1),
                                        B = kalvor_test::operand(Kind::random, s.LB, 2);
                OneFlip none;
                const Outcome right = bench.run(operation, s, A, B, none);
                ASSERT_FALSE(right.thrown);
                ASSERT_EQ(right.corrected, 0u);
                ASSERT_GE(right.checked, 1u);
                for (u64 stage = 0; stage < none.names.size(); stage++) {
                    seen.insert(none.names[stage]);
                    for (int k = 0; k < 4; k++) {
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
                        // What is known to be missed, now and then: a wave of integers, a branch of the HNT.
                        if (o.words != right.words && (name == "FFT" || name == "HNT") &&
                            (flip.name == "pass" || flip.name == "coefficients")) {
                            missed++;
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
    EXPECT_LE(1000 * missed, flips);
    RecordProperty("missed", static_cast<int>(missed));
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

// A change of the spectrum that is a few units high comes out as a wave over coefficients that lie a multiple
// of 192 bits apart. Rounded, its values often add up to 0, so that no residue shows it; but they are no
// integers.
TEST(ProductCheckRunTest, SmallWavesOfTheFftAreFound) {
    std::mt19937_64 rng(99);
    const MultiplyAlgorithm& fft = algorithm_called("FFT");
    u64 found = 0, missed = 0;
    for (const u64 words : {216, 720, 2048}) {
        Bench bench(fft, words);
        const u64 h = words / 2;
        const Shape s{"full", words, h, h, 0, 2 * h};
        const std::vector<Word> A = kalvor_test::operand(Kind::random, h, 1),
                                B = kalvor_test::operand(Kind::random, h, 2);
        OneFlip none;
        const Outcome right = bench.run(Operation::plain, s, A, B, none);
        const u64 stage = static_cast<u64>(std::find(none.names.begin(), none.names.end(), "coefficients") -
                                           none.names.begin());
        ASSERT_LT(stage, none.names.size());
        for (int k = 0; k < 1500; k++) {
            OneFlip flip(stage, rng());
            const Outcome o = bench.run(Operation::plain, s, A, B, flip);
            found += o.thrown || o.corrected != 0;
            missed += !o.thrown && o.words != right.words;
        }
    }
    EXPECT_GT(found, 2500u);
    EXPECT_LE(missed, 2u) << "Without a look at the distances: 60 to 70.";
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
            const std::vector<Word> A = kalvor_test::operand(Kind::random, s.LA, 1),
                                    B = kalvor_test::operand(Kind::random, s.LB, 2);
            OneFlip none;
            const Outcome right = bench.run(operation, s, A, B, none);
            ASSERT_FALSE(right.thrown);
            for (u64 stage = 0; stage < none.names.size(); stage++) {
                if (none.names[stage] == "operand") continue;
                for (int k = 0; k < 4; k++) {
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
    u64 corrected = 0, thrown = 0, missed = 0;
    for (const u64 words : sizes_of(name)) {
        Bench bench(algorithm, words);
        bench.words_stay = true;
        for (const Shape& s : shapes_of(algorithm, words, true)) {
            for (const Operation operation : kOperations) {
                if (operation == Operation::square && s.LA != s.LB) continue;
                const std::vector<Word> A = kalvor_test::operand(Kind::random, s.LA, 1),
                                        B = kalvor_test::operand(Kind::random, s.LB, 2);
                OneFlip none;
                const Outcome right = bench.run(operation, s, A, B, none);
                for (u64 stage = 0; stage < none.names.size(); stage++) {
                    OneFlip flip(stage, rng());
                    std::vector<Word> b = B;
                    const Outcome o = bench.run(operation, s, A, b, flip);
                    thrown += o.thrown;
                    if (o.thrown) continue;
                    if (name == "HNT" && flip.name == "pass" && o.words != right.words) {
                        missed++;  // a branch of its ring
                        continue;
                    }
                    ASSERT_EQ(o.words, right.words) << flip.name;
                    corrected += o.corrected;
                }
            }
        }
    }
    EXPECT_GT(thrown, 0u);
    EXPECT_GE(corrected, 3 * (thrown + missed)) << name;
    EXPECT_LE(100 * missed, corrected);
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
    u64 found = 0;
    for (const Shape& s : shapes_of(algorithm, words, name != "FFT")) {
        if (s.name != std::string("full") && s.name != std::string("high") &&
            s.name != std::string("wrapped"))
            continue;
        for (const Operation operation : {Operation::plain, Operation::held}) {
            SCOPED_TRACE(name + " " + s.name + " " + std::to_string(static_cast<int>(operation)));
            const std::vector<Word> A = kalvor_test::operand(Kind::random, s.LA, 1),
                                    B = kalvor_test::operand(Kind::random, s.LB, 2);
            OneFlip none;
            const Outcome right = bench.run(operation, s, A, B, none);
            ASSERT_FALSE(right.thrown);
            ASSERT_EQ(right.corrected, 0u);
            for (int k = 0; k < 16; k++) {
                OneFlip flip(rng() % none.names.size(), rng());
                std::vector<Word> b = B;
                const Outcome o = bench.run(operation, s, A, b, flip);
                found += o.thrown || o.corrected != 0;
                if (o.thrown) continue;
                ASSERT_EQ(o.words, right.words) << flip.name;
            }
        }
    }
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
                const std::vector<Word> A = kalvor_test::operand(Kind::random, s.LA, 1),
                                        B = kalvor_test::operand(Kind::random, s.LB, 2);
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
                std::vector<Word> A = kalvor_test::operand(Kind::random, s.LA, 1),
                                  B = kalvor_test::operand(Kind::random, s.LB, 2);
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
TEST(ProductCheckRunTest, ErrorsInEveryBranchOfWrappedProductsAreFound) {
    const MultiplyAlgorithm& fft = algorithm_called("FFT");
    std::mt19937_64 rng(41);
    for (const u64 refused : {u64(96), u64(256), u64(768), u64(1280), u64(1536), u64(1632), u64(2560)}) {
        EXPECT_GT(fft.wrapped_words(refused), refused);
    }
    EXPECT_EQ(fft.wrapped_words(816), 816u);
    u64 lengths = 0, found = 0;
    for (u64 words = 1; words <= kShortProductWords;) {
        const u64 asked = fft.wrapped_words(words);
        Bench bench(fft, asked);
        const u64 W = bench.transform->convolution_words(), n = W + W / 3, a = n / 2;
        const Shape s{"wrapped", asked, a, n - a, n - W, W};
        const std::vector<Word> A = kalvor_test::operand(Kind::random, a, 1),
                                B = kalvor_test::operand(Kind::random, n - a, 2);
        OneFlip none;
        const Outcome right = bench.run(Operation::transforms, s, A, B, none);
        ASSERT_EQ(right.checked, 1u) << W;
        for (const char* stage : {"data", "coefficients"}) {
            for (int k = 0; k < 30; k++) {
                OneSign fault(stage, rng());
                const Outcome o = bench.run(Operation::transforms, s, A, B, fault);
                ASSERT_TRUE(o.thrown || o.words == right.words) << W << " " << stage;
                found += o.thrown || o.corrected != 0;
            }
        }
        lengths++;
        words = W + 1;
    }
    EXPECT_EQ(lengths, 29u);
    EXPECT_GT(found, lengths * 40);
}

// One changed value of one prime changes all coefficients of a product by Code 17 alike, up to their sign:
// its error is a multiple of (2^192 - 1) / (2^24 - 1). That is not 0 modulo 2^192 - 1, but 0 modulo most
// divisors of it, 2^64 - 2^32 + 1 among them. So products are compared by all three words.
TEST(ProductCheckRunTest, ErrorsOfOnePrimeNeedAllThreeWords) {
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
        const Shape s{"high", words, words / 2, words / 2, words / 2, words};
        const std::vector<Word> A = kalvor_test::operand(Kind::random, words / 2, 1),
                                B = kalvor_test::operand(Kind::random, words / 2, 2);
        OneFlip none;
        const Outcome right = bench.run(Operation::transforms, s, A, B, none);
        for (int k = 0; k < 20; k++) {
            OneSign fault("data", rng());
            const Outcome o = bench.run(Operation::transforms, s, A, B, fault);
            ASSERT_TRUE(o.thrown || o.words == right.words) << words;
        }
    }
}

// Changes a bit of every so many-th look at the words of a product.
class FlipProducts final : public ComputationStages {
  public:
    explicit FlipProducts(const char* stage, u64 every) : stage_(stage), every_(every) {}
    void at(const char* stage, void* memory, u64) override {
        if (std::string(stage) == stage_ && seen_++ % every_ == 0) static_cast<Word*>(memory)[5] ^= 4;
    }

  private:
    std::string stage_;
    u64 every_, seen_ = 0;
};

struct CheckedRun {
    CheckedRun(const char* stage, u64 every) : stages(stage, every), A(n), B(n), T(2 * n), scratch(bytes()) {
        std::mt19937_64 rng(5);
        for (Word& w : A) w = rng();
        for (Word& w : B) w = rng();
        monitor.stages = &stages;
        parallel.run = &monitor;
    }
    void multiply() {
        algorithm_called("C17").mul({parallel, scratch.view()}, T.data(), A.data(), n, B.data(), n);
    }
    static u64 bytes() { return algorithm_called("C17").mSBsize(2 * n); }

    static constexpr u64 n = 2000;
    FlipProducts stages;
    RunMonitor monitor;
    ParallelContext parallel = serial_context();
    std::vector<Word> A, B, T;
    Scratch scratch;
};

TEST(ProductCheckRunTest, SaysWhatItCorrectedAndEndsAtTheThird) {
    CheckedRun run("product", 2);
    for (u64 k = 1; k <= 2; k++) {
        run.multiply();
        EXPECT_EQ(run.T, product(run.A, run.B));
        EXPECT_EQ(run.monitor.checks.corrected, k);
    }
    CaptureConsole console;
    LinearConsoleNode status(79, 1.0);
    run.monitor.warnings.report(status);
    const std::string text = console.take();
    EXPECT_NE(text.find("Computation error detected and corrected."), std::string::npos);
    EXPECT_NE(text.find("Operation: product by C17, 4000 words"), std::string::npos);
    EXPECT_THROW(run.multiply(), AlgorithmFailedException);
}

// Whole products that form no ring: the basecase, and the FFT's on a record that is too short.
TEST(ProductCheckRunTest, NoFlipOfAWholeProductComesOut) {
    std::mt19937_64 rng(3);
    struct Case {
        const char* name;
        u64 LA, LB;
    };
    for (const Case& c : {Case{"BKT", 40, 40}, {"BKT", 7, 3}, {"BKT", 60, 11}, {"FFT", 690, 680}}) {
        const MultiplyAlgorithm& algorithm = algorithm_called(c.name);
        Scratch scratch(algorithm.mSBsize(2 * c.LA));
        for (const bool square : {false, true}) {
            const u64 LB = square ? c.LA : c.LB;
            const std::vector<Word> A = kalvor_test::operand(Kind::random, c.LA, 1);
            const std::vector<Word> B = square ? A : kalvor_test::operand(Kind::random, LB, 2);
            const std::vector<Word> right = product(A, B);
            std::set<std::string> found_in, seen;
            OneFlip none;
            for (u64 stage = 0; stage == 0 || stage < none.names.size(); stage++) {
                for (int k = 0; k < 10; k++) {
                    OneFlip flip(k == 0 && stage == 0 ? OneFlip::kNever : stage, rng());
                    RunMonitor monitor;
                    monitor.stages = &flip;
                    ParallelContext parallel = serial_context();
                    parallel.run = &monitor;
                    std::vector<Word> a = A, b = B, T(c.LA + LB);
                    bool thrown = false;
                    try {
                        if (square) {
                            algorithm.sqr({parallel, scratch.view()}, T.data(), a.data(), c.LA);
                        } else {
                            algorithm.mul({parallel, scratch.view()}, T.data(), a.data(), c.LA, b.data(), LB);
                        }
                    } catch (const ConvolutionFailedException&) {
                        thrown = true;
                    }
                    if (none.names.empty()) none.names = flip.names;
                    seen.insert(flip.name);
                    if (thrown || monitor.checks.corrected != 0) found_in.insert(flip.name);
                    ASSERT_EQ(thrown, flip.name == "operand") << c.name << " " << flip.name;
                    if (!thrown) {
                        ASSERT_EQ(T, right) << c.name << " " << flip.name;
                    }
                }
            }
            seen.erase("");
            EXPECT_EQ(found_in, seen);
            EXPECT_TRUE(seen.contains("right") && seen.contains("product") && seen.contains("residue"));
        }
    }
}

// What fails twice is done by the next lower algorithm, where the memory allows.
TEST(ProductCheckRunTest, AnAlgorithmThatFailsTwiceGivesWayToTheNextLower) {
    constexpr u64 n = 2000;
    class FirstTwo final : public ComputationStages {
      public:
        void at(const char* stage, void* memory, u64) override {
            if (std::string(stage) == "product" && seen_++ < 2) static_cast<Word*>(memory)[5] ^= 4;
        }

      private:
        u64 seen_ = 0;
    };
    std::vector<Word> A = kalvor_test::operand(Kind::random, n, 1),
                      B = kalvor_test::operand(Kind::random, n, 2);
    for (const bool room : {true, false}) {
        FirstTwo stages;
        RunMonitor monitor;
        monitor.stages = &stages;
        ParallelContext parallel = serial_context();
        parallel.run = &monitor;
        std::vector<Word> T(2 * n);
        Scratch scratch(algorithm_called(room ? "FFT" : "C17").mSBsize(2 * n));
        ASSERT_GT(algorithm_called("FFT").mSBsize(2 * n), algorithm_called("C17").mSBsize(2 * n));
        const MultiplyContext context{parallel, scratch.view()};
        if (!room) {
            EXPECT_THROW(multiply_full(context, T.data(), A.data(), n, B.data(), n),
                         ConvolutionFailedException);
            continue;
        }
        const u64 residue = multiply_full(context, T.data(), A.data(), n, B.data(), n);
        EXPECT_EQ(T, product(A, B));
        EXPECT_EQ(residue, goldilocks::of_words(T.data(), T.size()));
        EXPECT_EQ(monitor.checks.corrected, 1u);
    }
}

TEST(ProductCheckRunTest, AnErrorThatComesBackIsAnException) {
    CheckedRun run("product", 1);
    try {
        run.multiply();
        FAIL();
    } catch (const ConvolutionFailedException& e) {
        EXPECT_EQ(e.function, "C17");
        EXPECT_EQ(e.message, "The product does not fit its operands: product by C17, 4000 words.");
        EXPECT_NE(e.first, e.second);
    }
}

TEST(ProductCheckRunTest, ADamagedOperandIsNamed) {
    CheckedRun run("operand", 1000);
    try {
        run.multiply();
        FAIL();
    } catch (const ConvolutionFailedException& e) {
        EXPECT_EQ(e.message, "An operand was damaged in memory: product by C17, 4000 words.");
    }
}

}  // namespace
