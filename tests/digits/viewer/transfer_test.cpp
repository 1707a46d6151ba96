// Pieces of a transfer, and what they move.
#include "digits/viewer/transfer.h"

#include <gtest/gtest.h>

#include "base/errors/exceptions.h"
#include "digits/files/basic_text_writer.h"
#include "digits/viewer/viewer_files.h"

namespace kalvor::DigitViewer2 {
namespace {

TEST(ViewerTransferTest, PiecesAreHalvedUntilTheyFit) {
    const auto none = [](u64) { return u64(0); };
    const auto twice = [](u64 c) { return 2 * c; };
    EXPECT_EQ(piece_size(1000, 1000, none), 1000u);
    EXPECT_EQ(piece_size(1001, 1000, none), 501u);
    EXPECT_EQ(piece_size(1000, 1000, twice), 250u);
    EXPECT_EQ(piece_size(1000, 3000, twice), 1000u);
    EXPECT_EQ(piece_size(u64(1) << 60, u64(1) << 60, none), 1000000000u);
    EXPECT_EQ(piece_size(5, 1, none), 1u);
}

// A machine that says that it has no memory still moves more than a digit at a time.
TEST(ViewerTransferTest, PiecesHaveAFloor) {
    const auto scratch = [](u64) { return u64(4096); };
    for (const u64 count : {u64(1), u64(99), u64(100), u64(101), u64(1000000000), ~u64(0)}) {
        EXPECT_EQ(piece_size(count, 0, scratch, 100), std::min<u64>(count, 100)) << count;
        EXPECT_EQ(piece_size(count, 0, scratch, 0), 1u) << count;
    }
    EXPECT_EQ(piece_size(
                  1000, 600, [](u64) { return u64(0); }, 100),
              500u);
    EXPECT_EQ(ViewerCalls::of_this_machine().least_piece, u64(1) << 24);
}

TEST(ViewerTransferTest, TheBudgetIsAQuarterOfTheFreeMemory) {
    EXPECT_EQ(memory_budget({[] { return u64(4000); }}), 1000u);
    EXPECT_EQ(memory_budget({[] { return u64(0); }}), 0u);
    EXPECT_EQ(memory_budget({[] { return ~u64(0); }}), 0x6FFFFFFFFFFFFFF9u / 4);
}

// With almost no memory the range comes in many pieces, and nothing of it is lost.
TEST(ViewerTransferTest, SmallPiecesMoveTheSameDigits) {
    const kalvor_test::TemporaryFolder folder;
    const std::string digits = random_digits(3000, 10, 1);
    folder.write("a.txt", "3." + digits);
    const auto reader = open_digit_file(folder.file("a.txt"));
    const ViewerCalls poor = {[] { return u64(40000); }, 1};
    LinearConsoleNode status(79, 1.0);
    const ViewerRun run{serial_context(), status, poor};
    BasicTextWriter writer(folder.file("b"), "3.", 10, 2000);
    std::vector<u64> positions;
    const DigitRangeStats moved =
        transfer(*reader, 500, 2000, writer, 500, run, [&](u64 position) { positions.push_back(position); });
    EXPECT_EQ(moved.hash, plain_hash(digits.substr(500, 2000), 10));
    writer.close();
    EXPECT_EQ(folder.read("b.txt"), "3." + digits.substr(500, 2000));
    EXPECT_GT(positions.size(), 1u);
    EXPECT_EQ(positions.back(), 2500u);

    DigitRangeStats stats(10);
    positions.clear();
    transfer(*reader, 500, 2000, stats, run, [&](u64 position) { positions.push_back(position); });
    EXPECT_EQ(stats.hash, plain_hash(digits.substr(500, 2000), 10));
    EXPECT_GT(positions.size(), 1u);
    EXPECT_EQ(positions.back(), 2500u);
}

TEST(ViewerTransferTest, AnInterruptStopsItAndTheFileKeepsItsDraftName) {
    const kalvor_test::TemporaryFolder folder;
    folder.write("a.txt", "3." + random_digits(3000, 10, 1));
    const auto reader = open_digit_file(folder.file("a.txt"));
    RunMonitor monitor;
    LinearConsoleNode status(79, 1.0);
    const ParallelContext parallel{serial_context().framework, 1, &monitor};
    const ViewerCalls poor = {[] { return u64(40000); }, 1};
    {
        BasicTextWriter writer(folder.file("b"), "3.", 10, 3000, BasicTextWriter::kDefaultBufferBytes,
                               &monitor.warnings);
        EXPECT_THROW(transfer(*reader, 0, 3000, writer, 0, {parallel, status, poor},
                              [&](u64) { monitor.stop.request(); }),
                     RunStopped);
    }
    EXPECT_FALSE(folder.has("b.txt"));
    EXPECT_TRUE(folder.has("b (incomplete).txt"));
}

}  // namespace
}  // namespace kalvor::DigitViewer2
