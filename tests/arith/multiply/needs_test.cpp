#include "arith/multiply/needs.h"

#include <gtest/gtest.h>

#include "arith/multiply/multiply_algorithm.h"
#include "arith/multiply/product_needs.h"
#include "base/errors/exceptions.h"

namespace trel {
namespace {

TEST(NeedsTest, StepsAreCombined) {
    const Needs a{10, 640, 100}, b{20, 128, 300};
    const Needs both = a.maximum(b), above = b.above(16), twice = a.twice();
    EXPECT_EQ(both.result_words, 10u);
    EXPECT_EQ(both.bytes, 640u);
    EXPECT_EQ(both.product_words, 300u);
    EXPECT_EQ(above.result_words, 20u);
    EXPECT_EQ(above.bytes, 256u);
    EXPECT_EQ(above.product_words, 300u);
    // Whole lines of memory, as carving takes them.
    EXPECT_EQ(b.above(9).bytes, 256u);
    EXPECT_EQ(b.above(0).bytes, 128u);
    EXPECT_EQ(twice.bytes, 1280u);
    EXPECT_EQ(twice.product_words, 100u);
}

TEST(NeedsTest, RoomAboveWords) {
    EXPECT_EQ(room_above(1000, 32), 744u);
    EXPECT_EQ(room_above(1000, 25), 744u);
    EXPECT_EQ(room_above(256, 25), 0u);
    EXPECT_EQ(room_above(100, 25), 0u);
    EXPECT_EQ(room_above(kAnyRoom, 25), kAnyRoom);
}

TEST(NeedsTest, TwoHalvesHoldWhatTwoNeed) {
    alignas(64) static u8 memory[64 * 9];
    for (u64 lines : {0, 1, 2, 3, 8, 9}) {
        const MemoryHalves half(AlignedBufferC(memory, 64 * lines));
        EXPECT_EQ(half.first.get(), memory);
        EXPECT_EQ(half.first.size(), 64 * (lines / 2));
        EXPECT_EQ(half.second.get(), memory + half.first.size());
        EXPECT_EQ(half.second.size(), half.first.size());
        EXPECT_GE(half.first.size(), Needs{}.above(8 * (lines / 2)).bytes);
    }
}

TEST(NeedsTest, WordsAreCarvedInWholeLines) {
    alignas(64) static u8 memory[64 * 4];
    AlignedBufferC view(memory, sizeof memory);
    EXPECT_EQ(carve_words(view, 9), reinterpret_cast<Word*>(memory));
    EXPECT_EQ(carve_words(view, 8), reinterpret_cast<Word*>(memory + 128));
    EXPECT_EQ(view.size(), 64u);
    EXPECT_THROW(carve_words(view, 9), BufferTooSmallException);
    EXPECT_EQ(view.size(), 64u);
}

TEST(NeedsTest, ProductsByTheirSizes) {
    MultiplySizes sizes;
    sizes.scratch = 1000 * 64;
    sizes.transform_data = 300 * 64;
    sizes.transform_scratch = 50 * 64;
    EXPECT_EQ(sizes.whole_product(70).bytes, 64000u);
    EXPECT_EQ(sizes.held_product(70).bytes, 350u * 64);
    EXPECT_EQ(sizes.held_product(70).product_words, 70u);
    EXPECT_EQ(sizes.held_product(70).above(sizes.transform_words()).bytes, 650u * 64);
}

}  // namespace
}  // namespace trel
