// The checksum of blocks: every instruction set against the definition, and what it must notice.
#include "platform/fileio/block_checksum.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "reference/block_checksum.h"

using namespace trel;
using namespace trel::FileIO;

namespace {

constexpr u32 kM = 0x7fffffff;

class BlockChecksumsTest : public ::testing::TestWithParam<Isa> {
  protected:
    u32 one(const std::vector<u8>& data, u32 seed) const {
        u32 sum = 0xdeadbeef;
        block_checksums(GetParam(), &sum, data.data(), 1, data.size(), seed);
        return sum;
    }
};

std::vector<u8> random_block(u64 n, u64 seed) {
    std::mt19937_64 random(seed);
    std::vector<u8> data(n);
    for (u8& byte : data) byte = static_cast<u8>(random() >> 11);
    return data;
}

}  // namespace

TEST_P(BlockChecksumsTest, AgreesWithTheDefinition) {
    std::mt19937_64 random(7);
    for (u64 chunks = 1; chunks <= 140; chunks++) {
        for (const u32 seed : {u32(0), u32(1), kM - 1, kM, u32(random())}) {
            std::vector<u8> data = random_block(64 * chunks, random());
            EXPECT_EQ(one(data, seed), reference::block_checksum(data.data(), data.size(), seed))
                << chunks << " chunks, seed " << seed;
            std::fill(data.begin(), data.end(), u8(0xff));
            EXPECT_EQ(one(data, seed), reference::block_checksum(data.data(), data.size(), seed))
                << chunks << " chunks of ones, seed " << seed;
            std::fill(data.begin(), data.end(), u8(0));
            EXPECT_EQ(one(data, seed), reference::block_checksum(data.data(), data.size(), seed))
                << chunks << " chunks of zeros, seed " << seed;
        }
    }
    for (const u64 bytes : {u64(4096), u64(65536), u64(1) << 20, (u64(1) << 20) + 64}) {
        const std::vector<u8> data = random_block(bytes, bytes);
        EXPECT_EQ(one(data, 12345), reference::block_checksum(data.data(), bytes, 12345)) << bytes;
    }
}

// Halves of words that are extreme one by one: 0, 1, M and their neighbours, all ones.
TEST_P(BlockChecksumsTest, ExtremeWords) {
    const u32 halves[] = {0, 1, kM - 1, kM, kM + 1, 0xfffffffe, 0xffffffff};
    std::mt19937 random(3);
    for (int round = 0; round < 2000; round++) {
        std::vector<u8> data(64 * (1 + random() % 40));
        for (u64 i = 0; i < data.size(); i += 4) std::memcpy(&data[i], &halves[random() % 7], 4);
        const u32 seed = halves[random() % 7];
        ASSERT_EQ(one(data, seed), reference::block_checksum(data.data(), data.size(), seed)) << round;
    }
}

// Values that are 0 modulo M come out as M; only nothing at all gives 0.
TEST_P(BlockChecksumsTest, ZeroIsOnlyForNothing) {
    std::vector<u8> data(256);
    EXPECT_EQ(one(data, 0), 0U);
    EXPECT_EQ(one(data, kM), kM);
    for (u64 word = 0; word < data.size() / 8; word++) {
        std::fill(data.begin(), data.end(), u8(0));
        const u32 m = kM;
        std::memcpy(&data[8 * word], &m, 4);  // twice M
        EXPECT_EQ(one(data, 0), kM) << word;
        std::memcpy(&data[8 * word + 4], &m, 4);  // three times M
        EXPECT_EQ(one(data, 0), kM) << word;
    }
}

// A known value, worked out by hand: one chunk whose word 0 is 1 and whose word 7 is 2^32, no seed.
//   2 * 2^14 + 1 * 2^0
TEST_P(BlockChecksumsTest, ByHand) {
    std::vector<u8> data(64);
    data[0] = 1;
    data[60] = 1;
    EXPECT_EQ(one(data, 0), 32769U);
    EXPECT_EQ(one(data, 5), 32769U + (5U << 16));  // the seed moves on by one chunk
}

TEST_P(BlockChecksumsTest, BlocksOneByOneAndTogetherAtAnyAddress) {
    std::vector<u8> data = random_block(1 << 16, 9);
    for (const u64 block : {u64(64), u64(128), u64(192), u64(4096), u64(4096 + 64)}) {
        for (const u64 shift : {u64(0), u64(1), u64(7), u64(63)}) {
            const u64 n = ((1 << 16) - 64) / block;
            std::vector<u32> sums(n + 1, 0xabcdef01);
            block_checksums(GetParam(), sums.data(), data.data() + shift, n, block, 77);
            for (u64 i = 0; i < n; i++) {
                ASSERT_EQ(sums[i], reference::block_checksum(data.data() + shift + i * block, block, 77))
                    << block << " " << shift << " " << i;
            }
            EXPECT_EQ(sums[n], 0xabcdef01U) << "wrote past the end";
        }
    }
    block_checksums(GetParam(), nullptr, nullptr, 0, 64, 0);
}

// Any single flipped bit, and words that change places within the block, change the checksum.
TEST_P(BlockChecksumsTest, NoticesEveryBitAndTheOrder) {
    std::vector<u8> data = random_block(1024, 10);
    const u32 sum = one(data, 1);
    for (u64 bit = 0; bit < 8 * data.size(); bit++) {
        data[bit / 8] ^= static_cast<u8>(1 << bit % 8);
        ASSERT_NE(one(data, 1), sum) << bit;
        data[bit / 8] ^= static_cast<u8>(1 << bit % 8);
    }
    for (u64 word = 0; word + 1 < data.size() / 8; word++) {
        std::swap_ranges(&data[8 * word], &data[8 * word] + 8, &data[8 * word + 8]);
        ASSERT_NE(one(data, 1), sum) << word;
        std::swap_ranges(&data[8 * word], &data[8 * word] + 8, &data[8 * word + 8]);
    }
    EXPECT_EQ(one(data, 1), sum);
    EXPECT_NE(one(data, 2), sum);
}

TEST_P(BlockChecksumsTest, NeverLooksUnrecorded) {
    for (u64 i = 0; i < 2000; i++) EXPECT_LE(one(random_block(64, i), static_cast<u32>(i * 2654435761U)), kM);
}

TEST(BlockChecksumTest, TheChosenLevelIsOneOfThem) {
    const std::vector<u8> data = random_block(4096, 11);
    u32 sums[2];
    block_checksums(sums, data.data(), 2, 2048, 3);
    for (int i = 0; i < 2; i++)
        EXPECT_EQ(sums[i], reference::block_checksum(data.data() + 2048 * i, 2048, 3));
}

INSTANTIATE_TEST_SUITE_P(Levels, BlockChecksumsTest, ::testing::ValuesIn(available_isas()),
                         [](const auto& info) { return std::string(isa_name(info.param)); });
