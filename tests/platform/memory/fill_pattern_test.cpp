#include "platform/memory/fill_pattern.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "platform/parallel/framework_registry.h"

using namespace trel;

namespace {

// The definition, byte by byte.
void reference_fill(u8* p, u64 n) {
    if (n == 0) return;
    p[0] = 0x7B;
    p[n - 1] = 0x40;
    const auto address = reinterpret_cast<std::uintptr_t>(p);
    u64 i = 0;
    for (std::uintptr_t a = (address + 3) / 4 * 4; a + 4 <= address + n; a += 4, i++) {
        const u32 word = 3358298485U * static_cast<u32>(i) * static_cast<u32>(i) + 3361170971U;
        for (u64 b = 0; b < 4; b++) p[a - address + b] = static_cast<u8>(word >> (8 * b));
    }
}

}  // namespace

TEST(FillPatternTest, MatchesTheDefinition) {
    alignas(64) static u8 got[1100], want[1100];
    for (u64 offset = 0; offset < 8; offset++) {
        for (u64 n = 0; n < 1050; n++) {
            std::memset(got, 0xEE, sizeof got);
            std::memset(want, 0xEE, sizeof want);
            fill_memory(got + offset, n);
            reference_fill(want + offset, n);
            ASSERT_EQ(std::memcmp(got, want, sizeof got), 0) << "offset=" << offset << " n=" << n;
        }
    }
}

TEST(FillPatternTest, KnownBytes) {
    alignas(4) u8 three[4] = {};
    fill_memory(three, 3);
    EXPECT_EQ(three[0], '{');
    EXPECT_EQ(three[1], 0);
    EXPECT_EQ(three[2], '@');
    alignas(4) u32 two[2] = {};
    fill_memory(two, 8);
    EXPECT_EQ(two[0], 0xC857661BU);
    EXPECT_EQ(two[1], 0x9082F790U);
    u8 one = 0;
    fill_memory(&one, 1);
    EXPECT_EQ(one, '@');
}

TEST(FillPatternTest, LargeRegionsKeepTheSequence) {
    std::vector<u32> words(1 << 20);
    fill_memory(words.data(), words.size() * 4);
    for (u64 i = 0; i < words.size(); i++) {
        const u32 k = static_cast<u32>(i);
        ASSERT_EQ(words[i], 0xC82B9175U * k * k + 0xC857661BU) << i;
    }
}

namespace {

// Asks for a stop when a step begins, and counts the steps.
class StopAtStep final : public ComputationStages {
  public:
    StopAtStep(RunMonitor& monitor, u64 step) : monitor_(monitor), step_(step) { monitor.stages = this; }
    void at(const char*, void*, u64) override {
        if (++steps == step_) monitor_.stop.request();
    }
    std::atomic<u64> steps{0};

  private:
    RunMonitor& monitor_;
    const u64 step_;
};

}  // namespace

// The steps are invisible in what is written, and a stop ends the filling between two of them.
TEST(FillPatternTest, LargeRegionsAreFilledInStepsThatAStopEnds) {
    constexpr u64 kStepWords = kFillStep / 4;
    const std::unique_ptr<u32[]> words(new u32[2 * kStepWords + 5]);
    const auto fill = [&](u64 stop_at) {
        RunMonitor monitor;
        StopAtStep stages(monitor, stop_at);
        std::memset(words.get() + kStepWords, 0, 4 * kStepWords + 20);
        try {
            fill_memory(ParallelContext{serial_context().framework, 1, &monitor}, words.get(),
                        8 * kStepWords + 20);
            EXPECT_EQ(stop_at, 0u);
        } catch (const RunStopped&) {
        }
        return stages.steps.load();
    };
    const auto wanted = [](u64 i) {
        const u32 k = static_cast<u32>(i);
        return 0xC82B9175U * k * k + 0xC857661BU;
    };
    EXPECT_EQ(fill(0), 3u);
    for (const u64 step : {u64(0), kStepWords, 2 * kStepWords}) {
        for (u64 i = step == 0 ? 0 : step - 5; i < step + 5; i++) ASSERT_EQ(words[i], wanted(i)) << i;
    }
    EXPECT_EQ(fill(1), 1u);
    EXPECT_EQ(words[kStepWords], 0u);
    EXPECT_EQ(words[kStepWords - 1], wanted(kStepWords - 1));
}

TEST(FillPatternTest, ChunksAreFilledEachByItself) {
    const auto framework = make_default_framework_config("spawn")->make_framework();
    std::mt19937_64 random(7);
    for (const u64 tds : {1, 2, 7, 8, 12, 30, 64}) {
        for (const u64 n : {u64(1), u64(5), u64(16), u64(1000), u64(4096), u64(random() % 100000)}) {
            std::vector<u8> got(n + 8, 0xEE), want(n + 8, 0xEE);
            fill_memory(ParallelContext{framework.get(), tds}, got.data(), n);
            const u64 chunks = tds / 4 >= 2 ? tds / 4 : 1;
            const u64 chunk = (n + chunks - 1) / chunks;
            for (u64 begin = 0; begin < n; begin += chunk) {
                // A chunk's alignment is that of its address; both vectors are aligned alike.
                reference_fill(want.data() + begin, std::min(chunk, n - begin));
            }
            ASSERT_EQ(got, want) << "tds=" << tds << " n=" << n;
        }
    }
}
