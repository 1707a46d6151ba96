// Pieces of a transfer, and what they move.
#include "digits/viewer/transfer.h"

#include <gtest/gtest.h>

#include "base/errors/exceptions.h"
#include "digits/files/basic_text_writer.h"
#include "digits/output/interrupted.h"
#include "digits/viewer/extract_txt.h"
#include "digits/viewer/viewer_files.h"
#include "support/capture_console.h"

namespace kalvor::DigitViewer2 {
namespace {

// A text file of 3000 digits on a machine with almost no memory.
struct SmallPieces {
    SmallPieces() {
        folder.write("a.txt", "3." + digits);
        reader = open_digit_file(folder.file("a.txt"));
    }
    const kalvor_test::TemporaryFolder folder;
    const std::string digits = random_digits(3000, 10, 1);
    const ViewerCalls poor{[] { return u64(40000); }};
    RunMonitor monitor;
    const ParallelContext stoppable{serial_context().framework, 1, &monitor};
    LinearConsoleNode status{79, 1.0};
    std::unique_ptr<BasicDigitReader> reader;
};

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

// Also where the system does not tell how much memory is free.
TEST(ViewerTransferTest, PiecesEndAtOneDigit) {
    const auto scratch = [](u64) { return u64(4096); };
    for (const u64 count : {u64(1), u64(99), u64(100), u64(101), u64(1000000000), ~u64(0)}) {
        EXPECT_EQ(piece_size(count, 0, scratch), 1u) << count;
        EXPECT_EQ(piece_size(count, 4097, scratch), 1u) << count;
    }
    EXPECT_EQ(piece_size(100, 4098, scratch), 2u);
}

TEST(ViewerTransferTest, TheBudgetIsAQuarterOfTheFreeMemory) {
    EXPECT_EQ(memory_budget({[] { return u64(4000); }}), 1000u);
    EXPECT_EQ(memory_budget({[] { return u64(0); }}), 0u);
    EXPECT_EQ(memory_budget({[] { return ~u64(0); }}), 0x6FFFFFFFFFFFFFF9u / 4);
}

// With almost no memory the range comes in many pieces, and nothing of it is lost.
TEST(ViewerTransferTest, SmallPiecesMoveTheSameDigits) {
    SmallPieces on;
    const std::string& digits = on.digits;
    const ViewerRun run{serial_context(), on.status, on.poor};
    BasicTextWriter writer(on.folder.file("b"), "3.", 10, 2000);
    std::vector<u64> positions;
    const DigitRangeStats moved = transfer(*on.reader, 500, 2000, writer, 500, run,
                                           [&](u64 position) { positions.push_back(position); });
    EXPECT_EQ(moved.hash, plain_hash(digits.substr(500, 2000), 10));
    writer.close();
    EXPECT_EQ(on.folder.read("b.txt"), "3." + digits.substr(500, 2000));
    EXPECT_GT(positions.size(), 1u);
    EXPECT_EQ(positions.back(), 2500u);

    DigitRangeStats stats(10);
    positions.clear();
    transfer(*on.reader, 500, 2000, stats, run, [&](u64 position) { positions.push_back(position); });
    EXPECT_EQ(stats.hash, plain_hash(digits.substr(500, 2000), 10));
    EXPECT_GT(positions.size(), 1u);
    EXPECT_EQ(positions.back(), 2500u);
}

// What a transfer takes stays within a quarter of the free memory, digits and scratch together.
TEST(ViewerTransferTest, PiecesAndScratchStayWithinAQuarter) {
    SmallPieces on;
    // Scratch takes two sectors, even for one digit.
    for (const u64 free : {u64(0), u64(33000), u64(34000), u64(40000), u64(1) << 20}) {
        static u64 told;
        told = free;
        const ViewerCalls calls{[] { return told; }};
        const ViewerRun run{serial_context(), on.status, calls};
        BasicTextWriter writer(on.folder.file("b"), "3.", 10, 3000);
        u64 last = 0, longest = 0;
        transfer(*on.reader, 0, 3000, writer, 0, run, [&](u64 position) {
            longest = std::max(longest, position - last);
            last = position;
        });
        EXPECT_EQ(last, 3000u);
        const u64 limit = u64(1) << 30;
        const u64 taken =
            longest + std::max(on.reader->buffer_size(longest, limit), writer.buffer_size(longest, limit));
        if (longest > 1) {
            EXPECT_LE(taken, free / 4) << free;
        }
        if (free == 0) {
            EXPECT_EQ(longest, 1u);
        }
        if (free == u64(1) << 20) {
            EXPECT_EQ(longest, 3000u);
        }
        writer.close();
        DigitRangeStats stats(10);
        last = longest = 0;
        transfer(*on.reader, 0, 3000, stats, run, [&](u64 position) {
            longest = std::max(longest, position - last);
            last = position;
        });
        EXPECT_EQ(stats.hash, plain_hash(on.digits, 10)) << free;
        if (longest > 1) {
            EXPECT_LE(longest + on.reader->buffer_size(longest, limit), free / 4) << free;
        }
        if (free == 0) {
            EXPECT_EQ(longest, 1u);
        }
    }
}

TEST(ViewerTransferTest, AnInterruptStopsItAndTheFileKeepsItsDraftName) {
    SmallPieces on;
    {
        BasicTextWriter writer(on.folder.file("b"), "3.", 10, 3000, BasicTextWriter::kDefaultBufferBytes,
                               &on.monitor.warnings);
        EXPECT_THROW(transfer(*on.reader, 0, 3000, writer, 0, {on.stoppable, on.status, on.poor},
                              [&](u64) { on.monitor.stop.request(); }),
                     RunStopped);
    }
    EXPECT_FALSE(on.folder.has("b.txt"));
    EXPECT_TRUE(on.folder.has("b (incomplete).txt"));
}

// On a terminal, behind the number the part of the whole that is done.
TEST(ViewerTransferTest, TheProgressLineStandsBetweenTwoSteps) {
    SmallPieces on;
    CaptureConsole console(CaptureConsole::terminal);
    LinearConsoleNode status(79, 0);
    MovedDigits moved;
    const ViewerRun run{serial_context(), status,  on.poor, FileIO::FileCalls::of_this_machine(),
                        nullptr,          nullptr, &moved};
    extract_txt(*on.reader, 1, 3000, on.folder.file("b"), run);
    const std::string text = console.take();
    EXPECT_NE(text.find("Reading...  "), std::string::npos) << text;
    EXPECT_NE(text.find(" s, moving, run "), std::string::npos) << text;
    EXPECT_NE(text.find(" s, verifying, run "), std::string::npos) << text;
    EXPECT_EQ(moved.text(), "100.00 % of the digits were moved, 100.00 % were read back.");
    EXPECT_EQ(on.folder.read("b.txt"), "3." + on.digits);
    // Elsewhere there is none.
    CaptureConsole redirected;
    extract_txt(*on.reader, 1, 3000, on.folder.file("b"), {serial_context(), status, on.poor});
    EXPECT_EQ(redirected.text().find("..."), std::string::npos) << redirected.text();
}

TEST(ViewerTransferTest, HowFarAnActionIs) {
    MovedDigits moved;
    EXPECT_EQ(moved.text(), "");
    moved.add(5);
    EXPECT_EQ(moved.text(), "");
    moved.begin("moved", 3000);
    EXPECT_EQ(moved.text(), "0.00 % of the digits were moved.");
    moved.add(400);
    moved.add(600);
    EXPECT_EQ(moved.text(), "33.33 % of the digits were moved.");
    moved.add(2000);
    moved.begin("read back", 3000);
    moved.add(750);
    EXPECT_EQ(moved.text(), "100.00 % of the digits were moved, 25.00 % were read back.");
}

// What an interrupt leaves is told with how far it came.
TEST(ViewerTransferTest, AnInterruptTellsHowFarItCame) {
    SmallPieces on;
    MovedDigits moved;
    const ViewerRun run{on.stoppable, on.status, on.poor, FileIO::FileCalls::of_this_machine(),
                        nullptr,      nullptr,   &moved};
    DigitRangeStats stats(10);
    moved.begin("read", 3000);
    EXPECT_THROW(transfer(*on.reader, 0, 3000, stats, run, [&](u64) { on.monitor.stop.request(); }),
                 RunStopped);
    const std::string far = moved.text();
    EXPECT_TRUE(far.ends_with(" % of the digits were read.")) << far;
    EXPECT_NE(far, "0.00 % of the digits were read.");
    EXPECT_NE(far, "100.00 % of the digits were read.");
    EXPECT_EQ(interrupted_text({}, far), "Interrupted. " + far);
    EXPECT_EQ(interrupted_text({"a", "b"}, far), "Interrupted. " + far + " Kept: a, b");
}

}  // namespace
}  // namespace kalvor::DigitViewer2
