// What becomes of a product that does not fit its operands: it is done again, by a lower algorithm, or ends
// the run; and what is said of it.
#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <set>
#include <string>
#include <thread>

#include "arith/multiply/dispatch.h"
#include "arith/ntt/ntt_support.h"
#include "base/status/linear_console_node.h"
#include "product_flips.h"
#include "support/capture_console.h"
#include "support/scratch.h"

namespace trel {
namespace {

using kalvor_test::Kind;
using kalvor_test::operand;
using kalvor_test::product;

// Threads that share a transform may see the same damaged copy of its label: one of them counts it.
TEST(OperandLabelTest, DamageToASharedLabelIsCountedOnce) {
    OperandResidue r;
    r.length = 100;
    r.formed = true;
    r.fold = r.ring.goldilocks();
    r.m61 = 77;
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
            const std::vector<Word> A = operand(Kind::random, c.LA, 1);
            const std::vector<Word> B = square ? A : operand(Kind::random, LB, 2);
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
    std::vector<Word> A = operand(Kind::random, n, 1), B = operand(Kind::random, n, 2);
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
}  // namespace trel
