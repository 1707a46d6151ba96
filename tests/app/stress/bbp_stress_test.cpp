// The test of the extractor's kernels, with kernels that are watched or miscalculate.
#include "app/stress/bbp_stress.h"

#include <gtest/gtest.h>

#include <atomic>
#include <bit>
#include <string>

#include "app/stress/stress_machine.h"

namespace kalvor {
namespace {

constexpr int kTiles = 65536 / kBbpTile;

// The program's kernels. They are plain functions, so what they are told and what they tell is of the whole
// program, or of the worker's thread.
struct Watched {
    enum Arithmetic { a, b, c, kinds };

    static inline std::atomic<int> calls[kinds];
    // Of one thread: the call of a kernel, counted from 1, after which a bit is changed; 0: none.
    static inline thread_local int wrong_call[kinds];
    static inline std::atomic<bool> flipped;

    static void power_a(BbpTile& tile, const BbpTerms& terms) noexcept {
        bbp_kernels().power_a(tile, terms);
        note(a, tile);
    }
    static void power_b(BbpTile& tile, const BbpTerms& terms) noexcept {
        bbp_kernels().power_b(tile, terms);
        note(b, tile);
    }
    static void power_c(BbpTileC& tile, const BbpTerms& terms) noexcept {
        bbp_kernels().power_c(tile, terms);
        calls[c]++;
    }
    static const BbpKernels& kernels() {
        static const BbpKernels watched = {bbp_kernels().isa,   power_a, power_b,
                                           bbp_kernels().limbs, power_c, bbp_kernels().limbs_c};
        return watched;
    }
    // Since the last time, by mode A, B, C.
    static std::string counts() {
        std::string text;
        for (auto& count : calls) text += std::to_string(count.exchange(0)) + " ";
        return text;
    }

  private:
    static void note(Arithmetic kind, BbpTile& tile) {
        calls[kind]++;
        if (wrong_call[kind] == 0 || --wrong_call[kind] != 0) return;
        double& residue = tile.r[kBbpTile / 2];
        residue = std::bit_cast<double>(std::bit_cast<u64>(residue) ^ u64(1) << 30);
        flipped = true;
    }
};

std::string tiles(int of_a, int of_b, int of_c) {
    return std::to_string(of_a * kTiles) + " " + std::to_string(of_b * kTiles) + " " +
           std::to_string(of_c * kTiles) + " ";
}

// Both kinds of the extractor's floating-point arithmetic are tried, and the third says what is right.
TEST(BbpStressTest, TheModesTakeTurns) {
    const BbpStress test(Watched::kernels());
    RunMonitor monitor;
    const StressFault none;
    (void)Watched::counts();
    const auto worker = test.make_worker({{}, 0, 0, monitor, none});
    EXPECT_EQ(Watched::counts(), tiles(0, 0, 1));
    for (u64 iteration = 0; iteration < 4; iteration++) {
        worker->iterate(iteration);
        EXPECT_EQ(Watched::counts(), iteration % 2 == 0 ? tiles(1, 0, 0) : tiles(0, 1, 0)) << iteration;
    }
}

// One wrong bit in a residue, by either kind, is that core's failure in that iteration and nobody else's.
TEST(BbpStressTest, AWrongBitInsideTheKernelsIsThatCoresFailure) {
    for (const auto kind : {Watched::a, Watched::b}) {
        const BbpStress test(Watched::kernels());
        const StressTest* const tests[] = {&test};
        PlayedMachine machine(3);
        machine.only({"BBP"});
        machine.calls().tests = tests;
        machine.settings().seconds_per_test = 0;
        machine.settings().seconds_total = 60;
        machine.settings().stop_on_error = false;
        machine.calls().set_affinity = [&, bind = machine.calls().set_affinity](u32 processor) {
            // On the thread of the core. Each kind has every second iteration; it is wrong in its second one.
            const bool faulty = processor == PlayedMachine::kFirstProcessor + 1;
            Watched::wrong_call[kind] = faulty ? kTiles + kTiles / 2 : 0;
            return bind(processor);
        };
        Watched::flipped = false;
        machine.on_iteration = [&](u32 core, std::string_view, u64, void*, u64) {
            if (core == 1 && Watched::flipped) machine.give_up(core);
        };
        EXPECT_FALSE(machine.run());
        ASSERT_TRUE(Watched::flipped);
        EXPECT_EQ(machine.count("Checksum Mismatch\n"), 1U) << machine.text();
        EXPECT_EQ(machine.count("Error(s) encountered on logical core 1.\n"), 1U) << machine.text();
        EXPECT_EQ(machine.count("Error(s)"), 1U) << machine.text();
        EXPECT_EQ(machine.iterations(1)[0], kind == Watched::a ? 3U : 4U);
        EXPECT_GE(machine.iterations(0)[0], 5U);
        EXPECT_GE(machine.iterations(2)[0], 5U);
    }
}

}  // namespace
}  // namespace kalvor
