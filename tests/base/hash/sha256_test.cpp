#include "base/hash/sha256.h"

#include <gtest/gtest.h>

#include <algorithm>
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

// The processor's own instructions give what the plain code gives.
TEST(Sha256Test, BothWaysAgree) {
    if (!sha256_is_built_in()) GTEST_SKIP() << "This processor has no instructions for it.";
    std::vector<u8> data(64 * 9);
    for (size_t i = 0; i < data.size(); i++) data[i] = static_cast<u8>(i * i + 5 * i);
    for (u64 n = 0; n <= 9; n++) {
        u32 plain[8], built_in[8];
        for (u32 i = 0; i < 8; i++) plain[i] = built_in[i] = 0x9e3779b9 * (i + 1);
        sha256_blocks_plain(plain, data.data(), n);
        sha256_blocks_built_in(built_in, data.data(), n);
        EXPECT_TRUE(std::equal(plain, plain + 8, built_in)) << n;
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
