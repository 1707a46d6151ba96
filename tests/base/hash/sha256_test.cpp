#include "base/hash/sha256.h"

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <vector>

#include "base/hash/sha256_blocks.h"

using namespace trel;

// FIPS 180-4 examples.
TEST(Sha256Test, PublishedVectors) {
    EXPECT_EQ(to_hex(sha256("")), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(to_hex(sha256("abc")), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(to_hex(sha256("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq")),
              "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
    EXPECT_EQ(to_hex(sha256(
                  "abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmnhijklmnoijklmnopjklmnopqklmnopqr"
                  "lmnopqrsmnopqrstnopqrstu")),
              "cf5b16a778af8380036ce59e7b0492370b249b11e8f07a51afac45037afee9d1");
    EXPECT_EQ(to_hex(sha256(std::string(1000000, 'a'))),
              "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

// Every length around the block boundaries, fed in one piece and in pieces of every size.
TEST(Sha256Test, PiecesDoNotMatter) {
    std::string text;
    for (int i = 0; i < 200; i++) text += static_cast<char>('a' + i * 7 % 26);
    for (size_t n = 0; n <= text.size(); n++) {
        const std::string part = text.substr(0, n);
        const Sha256Digest whole = sha256(part);
        for (size_t piece : {1, 3, 63, 64, 65}) {
            Sha256 hash;
            for (size_t i = 0; i < n; i += piece) hash.update(part.substr(i, piece));
            ASSERT_EQ(hash.finish(), whole) << "n=" << n << " piece=" << piece;
        }
    }
}

namespace {

using State = std::array<u32, 8>;
constexpr State kInitial = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                            0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};

// The one block of the message "abc", and what it makes of the initial state.
std::vector<u8> block_of_abc() {
    std::vector<u8> block(64);
    block[0] = 'a';
    block[1] = 'b';
    block[2] = 'c';
    block[3] = 0x80;
    block[63] = 24;
    return block;
}
constexpr State kAfterAbc = {0xba7816bf, 0x8f01cfea, 0x414140de, 0x5dae2223,
                             0xb00361a3, 0x96177a9c, 0xb410ff61, 0xf20015ad};

}  // namespace

TEST(Sha256CompressTest, PlainCodeOnAPublishedBlock) {
    State state = kInitial;
    sha256_compress_plain(state.data(), block_of_abc().data(), 1);
    EXPECT_EQ(state, kAfterAbc);
}

TEST(Sha256CompressTest, TheChoiceIsWhatTheProcessorHas) {
    EXPECT_EQ(sha256_compress(), has_sha_instructions() ? sha256_compress_sha : sha256_compress_plain);
}

TEST(Sha256CompressTest, InstructionsAgreeWithPlainCode) {
    if (!has_sha_instructions()) GTEST_SKIP() << "this processor has no SHA extensions";
    State state = kInitial;
    sha256_compress_sha(state.data(), block_of_abc().data(), 1);
    EXPECT_EQ(state, kAfterAbc);

    constexpr u64 kSeed = 7321;
    std::mt19937_64 random(kSeed);
    for (int i = 0; i < 400; i++) {
        const u64 n_blocks = random() % 20;
        const u64 offset = random() % 16;  // blocks need no alignment
        std::vector<u8> bytes(offset + 64 * n_blocks);
        for (u8& byte : bytes) byte = static_cast<u8>(random());
        State plain;
        for (u32& word : plain) word = static_cast<u32>(random());
        State fast = plain;
        sha256_compress_plain(plain.data(), bytes.data() + offset, n_blocks);
        sha256_compress_sha(fast.data(), bytes.data() + offset, n_blocks);
        ASSERT_EQ(fast, plain) << "i=" << i << " n_blocks=" << n_blocks << " seed=" << kSeed;
    }
}

// The whole hash against plain code alone, at random lengths.
TEST(Sha256Test, RandomLengths) {
    constexpr u64 kSeed = 90210;
    std::mt19937_64 random(kSeed);
    for (int i = 0; i < 200; i++) {
        std::string text(random() % 3000, '\0');
        for (char& c : text) c = static_cast<char>(random());
        std::string padded = text + '\x80';
        while (padded.size() % 64 != 56) padded += '\0';
        for (int shift = 56; shift >= 0; shift -= 8)
            padded += static_cast<char>(u64(text.size()) * 8 >> shift);
        State state = kInitial;
        sha256_compress_plain(state.data(), reinterpret_cast<const u8*>(padded.data()), padded.size() / 64);
        const Sha256Digest digest = sha256(text);
        for (int byte = 0; byte < 32; byte++) {
            ASSERT_EQ(digest[byte], static_cast<u8>(state[byte / 4] >> (24 - 8 * (byte % 4))))
                << "length=" << text.size() << " byte=" << byte << " seed=" << kSeed;
        }
    }
}

// RFC 4231, test cases 1, 2, 3 and 6.
TEST(HmacSha256Test, PublishedVectors) {
    EXPECT_EQ(to_hex(hmac_sha256(std::string(20, '\x0b'), "Hi There")),
              "b0344c61d8db38535ca8afceaf0bf12b881dc200c9833da726e9376c2e32cff7");
    EXPECT_EQ(to_hex(hmac_sha256("Jefe", "what do ya want for nothing?")),
              "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843");
    EXPECT_EQ(to_hex(hmac_sha256(std::string(20, '\xaa'), std::string(50, '\xdd'))),
              "773ea91e36800e46854db8ebd09181a72959098b3ef8c122d9635514ced565fe");
    EXPECT_EQ(to_hex(hmac_sha256(std::string(131, '\xaa'),
                                 "Test Using Larger Than Block-Size Key - Hash Key First")),
              "60e431591ee0b67f0d8a26aacbf5b77f8e0bc6213728c5140546040f0ee37f54");
}
