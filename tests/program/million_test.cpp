// A million digits of Pi on every system that the program is built for: the file has the hash of MPFR's digits.
#include <gtest/gtest.h>

#include "base/hash/sha256.h"
#include "support/run_program.h"

TEST(MillionDigitsTest, TheFileIsTheSameOnEverySystem) {
    kalvor_test::TemporaryFolder folder;
    kalvor_test::RunOptions options;
    options.folder = folder.path();
    const kalvor_test::ProgramRun run =
        kalvor_test::run_kalvor({"skip-warnings", "custom", "pi", "-dec:1m"}, options);
    ASSERT_EQ(run.exit_code, 0) << run.out;
    EXPECT_EQ(run.value("Dec Hash: Floor(|x| * 10^dec) mod (2^61 - 1) ="), "404089929205932130");
    const std::string digits = kalvor_test::read_file(folder / "Pi - Dec - Chudnovsky.txt");
    EXPECT_EQ(trel::to_hex(trel::sha256(digits)),
              "dd382ef6a0c1e8d920fb72f482d74826251ab97709520bc24f913cd8eb5fc839");
}
