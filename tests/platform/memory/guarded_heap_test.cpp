#include "platform/memory/guarded_heap.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <new>
#include <random>

#include "base/console/console.h"
#include "base/errors/exceptions.h"
#include "platform/memory/aligned_buffer.h"
#include "support/message_of.h"

using namespace trel;
using kalvor_test::message_of;

namespace {

u64 read_word(const void* p) {
    u64 value;
    std::memcpy(&value, p, 8);
    return value;
}

}  // namespace

TEST(GuardedHeapTest, LayoutAroundTheBlock) {
    std::mt19937_64 random(1);
    for (int round = 0; round < 2000; round++) {
        const std::size_t alignment = std::size_t(1) << random() % 14;
        const std::size_t bytes = random() % 5000;
        u8* block = static_cast<u8*>(aligned_malloc(bytes, alignment));
        ASSERT_EQ(reinterpret_cast<std::uintptr_t>(block) % std::max<std::size_t>(alignment, 8), 0U);
        ASSERT_EQ(read_word(block - 8), 0xEA097BE64BD0187DULL);
        ASSERT_EQ(read_word(block - 16), bytes);
        // The first multiple of the alignment that leaves room for the head, or the one after it.
        const std::size_t step = std::max<std::size_t>(alignment, 8);
        ASSERT_EQ(reinterpret_cast<std::uintptr_t>(block), (read_word(block - 24) + 24) / step * step + step);
        ASSERT_EQ(read_word(block + bytes), 0xC72BF73F0559CFE4ULL);
        std::memset(block, 0xA5, bytes);
        ASSERT_NO_THROW(aligned_free(block));
    }
}

TEST(GuardedHeapTest, AlignmentBelowEightIsEight) {
    for (const std::size_t alignment : {1, 2, 4, 8}) {
        void* block = aligned_malloc(100, alignment);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 8, 0U);
        aligned_free(block);
    }
}

TEST(GuardedHeapTest, AlignmentMustBeAPowerOfTwo) {
    for (const std::size_t alignment : {3, 5, 6, 7, 12, 96, 4095}) {
        EXPECT_EQ(message_of<StringException>([&] { (void)aligned_malloc(10, alignment); }),
                  "aligned_malloc()|Alignment must be a power of two.");
    }
}

TEST(GuardedHeapTest, OverrunAndUnderrunShowWhenFreed) {
    u8* block = static_cast<u8*>(aligned_malloc(100, 64));
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 64, 0U);
    for (const int byte : {100, 107}) {
        block[byte] ^= 1;
        EXPECT_EQ(message_of<StringException>([&] { aligned_free(block); }),
                  "aligned_free()|Memory buffer has been overrun.");
        block[byte] ^= 1;
    }
    block[-1] ^= 1;
    EXPECT_EQ(message_of<StringException>([&] { aligned_free(block); }),
              "aligned_free()|Memory buffer has been underrun.");
    // The head is checked first.
    block[100] ^= 1;
    EXPECT_EQ(message_of<StringException>([&] { aligned_free(block); }),
              "aligned_free()|Memory buffer has been underrun.");
    block[-1] ^= 1;
    block[100] ^= 1;
    EXPECT_NO_THROW(aligned_free(block));
    EXPECT_NO_THROW(aligned_free(nullptr));
}

// Nobody catches what a destructor finds.
TEST(GuardedBufferDeathTest, AnOverrunEndsTheProcess) {
    const auto overrun = [] {
        Console::set_pause_before_fatal_exit(false);
        const GuardedBuffer buffer(100, 64);
        static_cast<u8*>(buffer.get())[100] ^= 1;
    };
    EXPECT_EXIT(overrun(), testing::ExitedWithCode(1), "aligned_free.*\n\nMemory buffer has been overrun.\n");
}

TEST(GuardedHeapTest, ExhaustionIsTheStandardFailure) {
    EXPECT_THROW((void)aligned_malloc(SIZE_MAX, 64), std::bad_alloc);
    try {
        (void)aligned_malloc(SIZE_MAX, 64);
    } catch (const std::exception& e) {
        EXPECT_STREQ(e.what(), "bad allocation");
    }
    EXPECT_THROW((void)aligned_malloc(SIZE_MAX - 95, 64), std::bad_alloc);
    // The sanitizers' heaps end the process instead of refusing.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    EXPECT_THROW((void)aligned_malloc(SIZE_MAX - 96, 64), std::bad_alloc);
    EXPECT_THROW((void)aligned_malloc(SIZE_MAX / 4, 64), std::bad_alloc);
    try {
        (void)aligned_malloc(SIZE_MAX / 4, 64);
    } catch (const std::exception& e) {
        EXPECT_STREQ(e.what(), "bad allocation");
    }
#endif
}

TEST(GuardedHeapTest, BufferMovesItsBlock) {
    GuardedBuffer a(100, 64);
    void* block = a.get();
    GuardedBuffer b(std::move(a));
    EXPECT_EQ(a.get(), nullptr);
    EXPECT_EQ(b.get(), block);
    EXPECT_EQ(b.size(), 100U);
    a = std::move(b);
    EXPECT_EQ(a.get(), block);
    a.bytes()[100] ^= 1;
    EXPECT_EQ(message_of<StringException>([&] { aligned_free(a.get()); }),
              "aligned_free()|Memory buffer has been overrun.");
    a.bytes()[100] ^= 1;
    a.free();
    EXPECT_EQ(a.get(), nullptr);
}

TEST(AlignedBufferTest, CarvesFromTheFront) {
    GuardedBuffer memory(4096, 64);
    AlignedBufferC buffer(memory.get(), 4096);
    const AlignedBufferC a = buffer.spawn(128);
    EXPECT_EQ(a.get(), memory.get());
    EXPECT_EQ(a.size(), 128U);
    const AlignedBufferC b = buffer.spawn_words(16);
    EXPECT_EQ(b.get(), memory.bytes() + 128);
    EXPECT_EQ(b.size(), 128U);
    EXPECT_EQ(b.words(), 16U);
    EXPECT_EQ(buffer.get(), memory.bytes() + 256);
    EXPECT_EQ(buffer.size(), 4096U - 256);
    EXPECT_EQ(buffer.spawn(0).size(), 0U);
    EXPECT_EQ(AlignedBufferC().size(), 0U);
}

TEST(AlignedBufferTest, Refusals) {
    GuardedBuffer memory(4096, 64);
    EXPECT_EQ(message_of<StringException>([&] { AlignedBufferC(memory.bytes() + 8, 64); }),
              "AlignedBufferC::AlignedBufferC()|Pointer is misaligned.");
    AlignedBufferC large(memory.get(), 4096);
    EXPECT_EQ(message_of<StringException>([&] { large.spawn(100); }),
              "AlignedBufferC::spawn()|Size is misaligned.");
    EXPECT_EQ(message_of<StringException>([&] { large.spawn_words(12); }),
              "AlignedBufferC::spawn_words()|Size is misaligned.");
    EXPECT_EQ(large.size(), 4096U);
    AlignedBufferC small(memory.get(), 64);
    try {
        small.spawn(128);
        FAIL();
    } catch (const BufferTooSmallException& e) {
        EXPECT_EQ(e.function, "AlignedBufferC::spawn()");
        EXPECT_EQ(e.buffer_size, 64U);
        EXPECT_EQ(e.required_size, 128U);
    }
    EXPECT_EQ(small.size(), 64U);
    // The size is checked before the alignment.
    EXPECT_THROW(small.spawn(100), BufferTooSmallException);
    try {
        small.spawn_words(16);
        FAIL();
    } catch (const BufferTooSmallException& e) {
        EXPECT_EQ(e.function, "AlignedBufferC::spawn_words()");
        EXPECT_EQ(e.required_size, 128U);
    }
    EXPECT_THROW(small.spawn_words(~u64(0) / 8 + 9), BufferTooSmallException);
}

TEST(AlignedBufferTest, ExtractAligned) {
    GuardedBuffer memory(3 * 4096, 4096);
    AlignedBufferC buffer(memory.bytes() + 64, 3 * 4096 - 64);
    const AlignedBufferC piece = buffer.extract_aligned(8192, 4096);
    EXPECT_EQ(piece.get(), memory.bytes() + 4096);
    EXPECT_EQ(piece.size(), 8192U - 4032);
    EXPECT_EQ(buffer.get(), memory.bytes() + 64 + 8192);
    AlignedBufferC other(memory.bytes() + 64, 128);
    try {
        other.extract_aligned(128, 4096);
        FAIL();
    } catch (const BufferTooSmallException& e) {
        EXPECT_EQ(e.function, "AlignedBufferC::extract_aligned()");
        EXPECT_EQ(e.buffer_size, 128U);
        EXPECT_EQ(e.required_size, 4032U);
    }
    AlignedBufferC aligned(memory.get(), 4096);
    EXPECT_EQ(aligned.extract_aligned(4096, 4096).size(), 4096U);
    // A multiple at the very end of the piece leaves nothing, which is not too little.
    AlignedBufferC last(memory.bytes() + 4096 - 128, 4096);
    const AlignedBufferC empty = last.extract_aligned(128, 4096);
    EXPECT_EQ(empty.get(), memory.bytes() + 4096);
    EXPECT_EQ(empty.size(), 0U);
}
