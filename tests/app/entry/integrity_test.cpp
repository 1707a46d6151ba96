// The digest behind a program's file and what happens to a file that does not match it.
#include "app/entry/integrity.h"

#include <gtest/gtest.h>

#include "base/errors/exceptions.h"
#include "base/hash/sha256.h"
#include "support/capture_console.h"
#include "support/temporary_folder.h"

using namespace kalvor;
using kalvor_test::TemporaryFolder;

namespace {

const std::string kMark = "KALVOR-SEAL-SHA256:";

std::string sealed(const std::string& program) {
    return program + kMark + trel::to_hex(trel::sha256(program));
}

class IntegrityTest : public testing::Test {
  protected:
    bool intact(const std::string& content) {
        folder_.write("program", content);
        return is_intact(folder_.file("program"));
    }
    TemporaryFolder folder_;
};
using IntegrityDeathTest = IntegrityTest;

}  // namespace

TEST_F(IntegrityTest, TheDigestIsOfEverythingBeforeIt) {
    // The examples of FIPS 180-4.
    EXPECT_TRUE(intact("abc" + kMark + "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"));
    EXPECT_TRUE(intact(kMark + "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"));
    EXPECT_FALSE(intact("abd" + kMark + "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"));
    EXPECT_FALSE(intact("abc" + kMark + "BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD"));
}

TEST_F(IntegrityTest, WithoutASealNothingIsIntact) {
    EXPECT_FALSE(intact(""));
    EXPECT_FALSE(intact("abc"));
    EXPECT_FALSE(intact(std::string(1000, 'x')));
    EXPECT_FALSE(intact(sealed("abc") + "\n"));
    EXPECT_FALSE(intact(sealed("abc").substr(1)));
    EXPECT_FALSE(intact(sealed("").substr(1)));
}

// Sizes around the pieces in which the file is read; each byte counts.
TEST_F(IntegrityTest, EveryByteCounts) {
    constexpr size_t kPiece = 1 << 20;
    for (const size_t bytes : {kPiece - 1, kPiece, kPiece + 1, 2 * kPiece + 5}) {
        std::string program(bytes, '\0');
        for (size_t i = 0; i < bytes; i++) program[i] = static_cast<char>(i * 2654435761u >> 13);
        const std::string whole = sealed(program);
        EXPECT_TRUE(intact(whole)) << bytes;
        for (const size_t at :
             {size_t(0), kPiece - 2, bytes - 1, bytes, bytes + kMark.size(), whole.size() - 1}) {
            std::string changed = whole;
            changed[at] = static_cast<char>(changed[at] ^ 1);
            EXPECT_FALSE(intact(changed)) << bytes << " " << at;
        }
    }
}

TEST_F(IntegrityTest, AFileThatCannotBeReadIsAnError) {
    EXPECT_THROW(is_intact(folder_.file("missing")), trel::FileIO::FileException);
}

TEST_F(IntegrityDeathTest, ADamagedProgramDoesNotRun) {
    folder_.write("good", sealed("abc"));
    {
        CaptureConsole console;
        check_integrity("path", folder_.file("good"));
        EXPECT_EQ(console.text(), "");
    }
    EXPECT_EXIT(
        {
            trel::Console::set_pause_before_fatal_exit(false);
            folder_.write("bad", "abc");
            check_integrity(folder_.file("bad"), folder_.file("bad"));
        },
        testing::ExitedWithCode(1),
        "^\nThe program's file is damaged or was changed: .*bad\nPlease build or install Kalvor again.\n$");
}
