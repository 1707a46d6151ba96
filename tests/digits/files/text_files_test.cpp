// Text digit files, written and read.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "base/errors/exceptions.h"
#include "digits/files/basic_text_reader.h"
#include "digits/files/basic_text_writer.h"
#include "digits/files/digit_hash.h"
#include "digits/files/loaded_digits.h"
#include "digits/files/random_values.h"
#include "fault/faulty_file.h"
#include "platform/memory/guarded_heap.h"
#include "support/capture_console.h"
#include "support/message_of.h"
#include "support/monitored_run.h"
#include "support/temporary_folder.h"

using namespace kalvor;
using kalvor_test::load;
using kalvor_test::message_of;
using kalvor_test::TemporaryFolder;
using trel::AlignedBufferC;
using trel::serial_context;
using trel::u64;
using trel::u8;

namespace {

std::string text_of(const std::vector<u8>& values) {
    std::string text;
    for (const u8 v : values) text += "0123456789abcdef"[v];
    return text;
}

}  // namespace

TEST(TextWriterTest, FileHoldsPointAndDigitsOnly) {
    const TemporaryFolder folder;
    for (const u8 radix : {u8(10), u8(16)}) {
        for (const u64 n : {0, 1, 4093, 4094, 4095, 8190, 100000}) {
            const std::vector<u8> values = random_values(n, radix, n);
            BasicTextWriter writer(folder.file("pi"), "3.14159", radix, n, 8192);
            writer.store_digits(values.data(), 0, n, {}, serial_context());
            EXPECT_TRUE(folder.has("pi (incomplete).txt"));
            EXPECT_EQ(writer.incomplete_path(), folder.file("pi (incomplete).txt"));
            writer.close();
            EXPECT_FALSE(folder.has("pi (incomplete).txt"));
            ASSERT_EQ(folder.read("pi.txt"), "3." + text_of(values)) << n;
            EXPECT_EQ(message_of([&] { writer.store_digits(values.data(), 0, 1, {}, serial_context()); }),
                      "BasicTextWriter::store_digits()|File is closed.");
            writer.close();
        }
    }
}

// The window stands in memory that is lent where that holds it, and in no byte beside it.
TEST(TextWriterTest, LentMemoryHoldsTheWindow) {
    using trel::FileIO::PublishedFile;
    const TemporaryFolder folder;
    const u64 n = 3 * SectorWindow::kLeastHalved;
    const std::vector<u8> values = random_values(n, 10, 5);
    // One half, or two of half the window; each has a sector more.
    struct Case {
        u64 window, needed;
    };
    for (const Case c :
         {Case{8192, 8192 + 4096}, Case{SectorWindow::kLeastHalved, SectorWindow::kLeastHalved + 2 * 4096}}) {
        for (const u64 offset : {0, 64}) {
            for (const bool fits : {false, true}) {
                SCOPED_TRACE(testing::Message() << c.window << " " << offset << " " << fits);
                const trel::GuardedBuffer memory(c.needed + 2 * 4096, 4096);
                std::memset(memory.get(), 0x5a, memory.size());
                // From a sector on, or from behind its first bytes.
                u8* const from = memory.bytes() + offset;
                const u64 bytes = c.needed + (offset == 0 ? 0 : 4096 - offset) - (fits ? 0 : 64);
                PublishedFile file(folder.file("draft"), folder.file("final"));
                {
                    BasicTextWriter writer(file, "3.1", 10, n, c.window, nullptr,
                                           AlignedBufferC(from, bytes));
                    for (u64 at = 0; at < n; at += 50000) {
                        writer.store_digits(values.data() + at, at, std::min<u64>(50000, n - at), {},
                                            serial_context());
                    }
                    writer.finish();
                    EXPECT_EQ(load(*writer.read_back(), 0, n), values);
                    writer.publish();
                }
                EXPECT_EQ(folder.read("final"), "3." + text_of(values));
                const auto untouched = [](const u8* begin, const u8* end) {
                    return std::all_of(begin, end, [](u8 byte) { return byte == 0x5a; });
                };
                EXPECT_EQ(untouched(from, from + bytes), !fits);
                EXPECT_TRUE(untouched(memory.bytes(), from));
                EXPECT_TRUE(untouched(from + bytes, memory.bytes() + memory.size()));
            }
        }
    }
}

TEST(TextWriterTest, TheWindowFitsIntoWhatIsLent) {
    constexpr u64 least = SectorWindow::kLeastLent, most = SectorWindow::kDefaultBytes;
    EXPECT_EQ(SectorWindow::window_bytes(0), most);
    EXPECT_EQ(SectorWindow::window_bytes(least - 64), most);
    for (u64 lent = least; lent < 2 * most; lent += 37 * 64) {
        const u64 window = SectorWindow::window_bytes(lent);
        ASSERT_GE(window, SectorWindow::kLeastHalved);
        ASSERT_LE(window, most);
        // Halves of whole sectors with one more each, and a start that is no sector's.
        ASSERT_LE(4095 + 2 * ((window / 2 + 4095) / 4096 + 1) * 4096, lent);
    }
}

TEST(TextWriterTest, PiecesInAnyOrder) {
    const TemporaryFolder folder;
    std::mt19937_64 random(3);
    for (int round = 0; round < 60; round++) {
        const u64 n = random() % 60000 + 1;
        const std::vector<u8> values = random_values(n, 10, round);
        std::vector<std::pair<u64, u64>> pieces;
        for (u64 at = 0; at < n;) {
            const u64 size =
                std::min<u64>(n - at, round % 3 == 0 ? random() % 20 + 1 + n / 100 : random() % 20000 + 1);
            pieces.emplace_back(at, size);
            at += size;
        }
        if (round % 2) std::shuffle(pieces.begin(), pieces.end(), random);
        BasicTextWriter writer(folder.file("x"), "123.", 10, n, 4096 * (1 + random() % 4));
        const std::string text = text_of(values);
        for (const auto& [start, count] : pieces) {
            writer.store_digits(values.data() + start, start, count, {}, serial_context());
            // Overlapping rewrites of what is there.
            if (random() % 8 == 0)
                writer.store_digits(values.data() + start, start, count / 2, {}, serial_context());
        }
        const auto reader = writer.close_and_get_basic_reader();
        ASSERT_EQ(folder.read("x.txt"), "123." + text) << "round " << round;
        ASSERT_EQ(load(*reader, 0, n), values);
    }
}

TEST(TextWriterTest, DisjointPiecesFromSeveralThreads) {
    const TemporaryFolder folder;
    constexpr u64 kPiece = 5000, kThreads = 7;
    const std::vector<u8> values = random_values(kPiece * kThreads, 10, 4);
    BasicTextWriter writer(folder.file("x"), "0.", 10, values.size(), 8192);
    std::vector<std::thread> threads;
    for (u64 t = 0; t < kThreads; t++) {
        threads.emplace_back([&, t] {
            for (u64 i = 0; i < kPiece; i += 500) {
                const u64 start = t * kPiece + i;
                writer.store_digits(values.data() + start, start, 500, {}, serial_context());
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    const auto reader = writer.close_and_get_basic_reader();
    EXPECT_EQ(folder.read("x.txt"), "0." + text_of(values));
    std::vector<std::thread> readers;
    for (u64 t = 0; t < kThreads; t++) {
        readers.emplace_back([&, t] {
            const std::vector<u8> part = load(*reader, t * kPiece, kPiece, 4096);
            EXPECT_TRUE(std::equal(part.begin(), part.end(), values.begin() + static_cast<long>(t * kPiece)));
        });
    }
    for (std::thread& thread : readers) thread.join();
}

TEST(TextWriterTest, Refusals) {
    const TemporaryFolder folder;
    EXPECT_EQ(message_of([&] { BasicTextWriter(folder.file("x"), "3.", 8, 10); }),
              "BasicTextWriter::BasicTextWriter()|Invalid radix.");
    EXPECT_EQ(message_of([&] { BasicTextWriter(folder.file("x"), "314", 10, 10); }),
              "TextWriter::TextWriter()|No decimal place was found.");
    EXPECT_EQ(message_of([&] { BasicTextWriter(folder.file("none/x"), "3.", 10, 10); }),
              "RawFile()|Unable to create file.\n\nPath does not exist.");
    CaptureConsole console;
    trel::MonitoredRun run;
    BasicTextWriter writer(folder.file("x"), "3.", 10, 10, BasicTextWriter::kDefaultBufferBytes,
                           &run.warnings());
    std::vector<u8> values(11, 5);
    values[7] = 10;
    const std::string where = "BasicTextWriter::store_digits()|";
    EXPECT_EQ(message_of([&] { writer.store_digits(values.data(), 0, 10, {}, serial_context()); }),
              where + "Invalid Digit");
    EXPECT_EQ(message_of([&] { writer.store_digits(values.data(), 0, 11, {}, serial_context()); }),
              where + "Out of range.");
    EXPECT_EQ(message_of([&] { writer.store_digits(values.data(), 11, 0, {}, serial_context()); }),
              where + "Out of range.");
    EXPECT_EQ(message_of([&] { writer.store_digits(values.data(), ~u64(0), 3, {}, serial_context()); }),
              where + "Out of range.");
    // A refused range does not count as written.
    writer.store_digits(values.data(), 0, 7, {}, serial_context());
    writer.close();
    EXPECT_EQ(console.take(), "") << "a writer does not print";
    run.show();
    EXPECT_EQ(console.take(), "\nWarning, closing incomplete file\n" + writer.incomplete_path() +
                                  "\nSparse Region:\n    [0, 7)\n");
    EXPECT_FALSE(folder.has("x.txt"));
    EXPECT_EQ(folder.read("x (incomplete).txt"), "3.5555555");
}

TEST(TextWriterTest, ARefusedRangeSpoilsNothing) {
    const kalvor_test::TemporaryFolder folder;
    const std::vector<u8> values = random_values(2000, 10, 8);
    BasicTextWriter writer(folder.file("x"), "3.", 10, 2000);
    writer.store_digits(values.data(), 0, 1000, {}, serial_context());
    std::vector<u8> wrong(200, 1);
    wrong[150] = 10;
    for (const u64 at : {500, 900, 1000}) {
        EXPECT_EQ(message_of([&] { writer.store_digits(wrong.data(), at, 200, {}, serial_context()); }),
                  "BasicTextWriter::store_digits()|Invalid Digit");
    }
    writer.store_digits(values.data() + 1000, 1000, 1000, {}, serial_context());
    writer.close();
    EXPECT_EQ(folder.read("x.txt"), "3." + text_of(values));
}

TEST(TextWriterTest, ARefusedRangeSpoilsNothingBehindIt) {
    const kalvor_test::TemporaryFolder folder;
    const std::vector<u8> values = random_values(2000, 10, 9);
    std::vector<u8> wrong(200, 1);
    wrong[150] = 10;
    for (const u64 at : {0, 700, 790}) {
        BasicTextWriter writer(folder.file("x"), "3.", 10, 2000);
        writer.store_digits(values.data() + 1000, 1000, 1000, {}, serial_context());
        EXPECT_EQ(message_of([&] { writer.store_digits(wrong.data(), at, 200, {}, serial_context()); }),
                  "BasicTextWriter::store_digits()|Invalid Digit");
        writer.store_digits(values.data(), 0, 1000, {}, serial_context());
        writer.close();
        EXPECT_EQ(folder.read("x.txt"), "3." + text_of(values)) << at;
    }
}

TEST(TextWriterTest, IncompleteFilesKeepTheirName) {
    const TemporaryFolder folder;
    const std::vector<u8> values = random_values(20000, 10, 5);
    folder.write("x.txt", "an older file");
    CaptureConsole console;
    {
        trel::MonitoredRun run;
        BasicTextWriter writer(folder.file("x"), "3.", 10, 20000, 4096, &run.warnings());
        writer.store_digits(values.data(), 0, 10, {}, serial_context());
        writer.store_digits(values.data() + 12, 12, 10000, {}, serial_context());
        writer.store_digits(values.data() + 10, 10, 2, {}, serial_context());
        writer.store_digits(values.data() + 15000, 15000, 100, {}, serial_context());
    }
    EXPECT_EQ(console.take(), "\nWarning, closing incomplete file\n" + folder.file("x (incomplete).txt") +
                                  "\nSparse Region:\n    [0, 10012)\n    [15000, 15100)\n");
    const std::string text = folder.read("x (incomplete).txt");
    ASSERT_EQ(text.size(), 15102U);
    EXPECT_EQ(text.substr(0, 10014), "3." + text_of(values).substr(0, 10012));
    EXPECT_EQ(text.substr(15002), text_of(values).substr(15000, 100));
    EXPECT_EQ(folder.read("x.txt"), "an older file");
    // Without the last digit: incomplete. With it: replaces the older file.
    {
        BasicTextWriter writer(folder.file("x"), "3.", 10, 20000);
        writer.store_digits(values.data(), 0, 19999, {}, serial_context());
        writer.store_digits(values.data() + 19999, 19999, 1, {}, serial_context());
    }
    EXPECT_EQ(console.text(), "");
    EXPECT_EQ(folder.read("x.txt"), "3." + text_of(values));
}

TEST(TextWriterTest, FullDiskLeavesNoFinishedFile) {
    const TemporaryFolder folder;
    const std::vector<u8> values = random_values(100000, 10, 6);
    const std::string full = "RawFile::store()|WriteFile() failed.\n\nDisk is Full";
    for (const u64 room : {0, 4096, 10000, 65536, 98304}) {
        CaptureConsole console;
        FaultyFile disk;
        disk.disk_full_after(room);
        BasicTextWriter writer(folder.file("x"), "3.", 10, values.size(), 16384, nullptr, disk.file_calls());
        EXPECT_EQ(message_of([&] {
                      writer.store_digits(values.data(), 0, values.size(), {}, serial_context());
                      writer.close();
                  }),
                  full)
            << room;
    }
    EXPECT_FALSE(folder.has("x.txt"));
    EXPECT_TRUE(folder.has("x (incomplete).txt"));
}

// The one who caught the exception of a failed write reports it; closing does not try, fail and report again.
TEST(TextWriterTest, AFailedWriteIsReportedOnce) {
    const TemporaryFolder folder;
    const std::vector<u8> values = random_values(100000, 10, 6);
    for (const bool closed_by_hand : {false, true}) {
        CaptureConsole console;
        FaultyFile disk;
        disk.disk_full_after(20000);
        EXPECT_EQ(message_of([&] {
                      trel::MonitoredRun run;
                      BasicTextWriter writer(folder.file("x"), "3.", 10, values.size(), 16384,
                                             &run.warnings(), disk.file_calls());
                      writer.store_digits(values.data(), 0, 5, {}, serial_context());
                      try {
                          writer.store_digits(values.data() + 5, 5, values.size() - 5, {}, serial_context());
                      } catch (...) {
                          if (closed_by_hand) writer.close();
                          throw;
                      }
                  }),
                  "RawFile::store()|WriteFile() failed.\n\nDisk is Full");
        EXPECT_EQ(console.text(), "\nWarning, closing incomplete file\n" + folder.file("x (incomplete).txt") +
                                      "\nSparse Region:\n    [0, 5)\n");
    }
    EXPECT_FALSE(folder.has("x.txt"));
}

// What a destructor cannot throw is a warning of the run, and not printed past it.
TEST(TextWriterTest, ADestructorThatCannotNameItsFileWarns) {
    const TemporaryFolder folder;
    const std::vector<u8> values = random_values(1000, 10, 6);
    FaultyFile disk;
    disk.fail(FaultyFile::Call::rename, 1, FaultyFile::access_denied());
    trel::RunMonitor monitor;
    CaptureConsole console;
    {
        BasicTextWriter writer(folder.file("x"), "3.", 10, values.size(), 16384, &monitor.warnings,
                               disk.file_calls());
        writer.store_digits(values.data(), 0, values.size(), {}, serial_context());
    }
    EXPECT_EQ(console.text(), "");
    trel::LinearConsoleNode status(79, 1.0);
    monitor.warnings.report(status);
    const std::string text = console.take();
    EXPECT_TRUE(
        text.starts_with("\nWarning, unable to close a digit file properly\nUnable to rename file.\n"))
        << text;
    EXPECT_NE(text.find("Access Denied\n" + folder.file("x.txt") + "\n"), std::string::npos) << text;
}

// The file is whole and has its name: no more than a warning of the run.
TEST(TextWriterTest, AHandleThatCannotBeClosedIsAWarning) {
    const TemporaryFolder folder;
    const std::vector<u8> values = random_values(10000, 10, 5);
    for (const bool at_once : {true, false}) {
        SCOPED_TRACE(at_once);
        FaultyFile disk;
        disk.fail(FaultyFile::Call::close, 1, FaultyFile::write_fault());
        trel::RunMonitor monitor;
        CaptureConsole console;
        {
            BasicTextWriter writer(folder.file("x"), "3.", 10, values.size(), 16384, &monitor.warnings,
                                   disk.file_calls());
            writer.store_digits(values.data(), 0, values.size(), {}, serial_context());
            if (at_once) {
                writer.finish();
                writer.publish();
            } else {
                writer.close();
            }
        }
        EXPECT_EQ(console.take(), "");
        EXPECT_EQ(folder.read("x.txt"), "3." + text_of(values));
        trel::LinearConsoleNode status(79, 1.0);
        monitor.warnings.report(status);
        EXPECT_EQ(console.take(), "\nRawFile::close(): Unable to close file.\n");
    }
}

// A store that is tried again after a failure and succeeds counts.
TEST(TextWriterTest, ARepeatedStoreMakesUpForAFailedWrite) {
    const TemporaryFolder folder;
    const std::vector<u8> values = random_values(100000, 10, 6);
    FaultyFile disk;
    disk.fail(FaultyFile::Call::write, 2, FaultyFile::write_fault());
    BasicTextWriter writer(folder.file("x"), "3.", 10, values.size(), 16384, nullptr, disk.file_calls());
    EXPECT_THROW(writer.store_digits(values.data(), 0, values.size(), {}, serial_context()), trel::Exception);
    writer.store_digits(values.data(), 0, values.size(), {}, serial_context());
    writer.close();
    EXPECT_EQ(folder.read("x.txt"), "3." + text_of(values));
}

TEST(TextWriterTest, EveryFailingCallIsReportedAndLeavesNoFinishedFile) {
    using Call = FaultyFile::Call;
    const TemporaryFolder folder;
    const std::vector<u8> values = random_values(30000, 10, 7);
    for (const Call call : {Call::open, Call::write, Call::set_size, Call::flush}) {
        for (u64 n = 1; n < 20; n++) {
            CaptureConsole console;
            FaultyFile disk;
            disk.fail(call, n, FaultyFile::write_fault());
            const std::string message = message_of([&] {
                BasicTextWriter writer(folder.file("x"), "3.", 10, values.size(), 8192, nullptr,
                                       disk.file_calls());
                writer.store_digits(values.data(), 0, values.size(), {}, serial_context());
                writer.close();
            });
            if (disk.count(call) < n) {
                EXPECT_EQ(message, "nothing thrown");
                EXPECT_GT(n, 1U);
                break;
            }
            EXPECT_NE(message.find("Write Fault"), std::string::npos) << message;
            EXPECT_FALSE(folder.has("x.txt"));
        }
        EXPECT_EQ(folder.read("x.txt"), "3." + text_of(values));
        std::filesystem::remove(folder.file("x.txt"));
    }
}

TEST(TextReaderTest, RadixAndPoint) {
    const TemporaryFolder folder;
    const auto reader = [&](const std::string& content, u8 radix = 0) {
        folder.write("f.txt", content);
        return BasicTextReader(folder.file("f.txt"), radix).radix();
    };
    folder.write("pi.txt", "3.1415");
    BasicTextReader pi(folder.file("pi.txt"));
    EXPECT_EQ(pi.radix(), 10);
    EXPECT_EQ(pi.total_digits(), 4U);
    EXPECT_EQ(pi.first_digits(), "3.1415");
    EXPECT_TRUE(pi.is_in_range(0, 4));
    EXPECT_TRUE(pi.is_in_range(4, 0));
    EXPECT_FALSE(pi.is_in_range(1, 4));
    EXPECT_FALSE(pi.is_in_range(5, 0));
    EXPECT_FALSE(pi.is_in_range(~u64(0), 2));
    EXPECT_EQ(reader("1.a3"), 16);
    EXPECT_EQ(reader("1.03", 16), 16);
    EXPECT_EQ(reader("a."), 16);
    const std::string no_point =
        "BasicTextReader::BasicTextReader()|A decimal place was not found within the first 63 bytes of the "
        "file.";
    EXPECT_EQ(message_of([&] { reader("3,14"); }), "TextReader::BasicTextReader()|Invalid Digit");
    EXPECT_EQ(message_of([&] { reader("1.A3"); }), "TextReader::BasicTextReader()|Invalid Digit");
    EXPECT_EQ(message_of([&] { reader("31415"); }), no_point);
    EXPECT_EQ(message_of([&] { reader(""); }), no_point);
    EXPECT_EQ(message_of([&] { reader("3,14", 10); }), no_point);
    EXPECT_EQ(message_of([&] { reader(std::string(64, '1') + ".5"); }), no_point);
    EXPECT_EQ(reader(std::string(63, '1') + ".5"), 10);
    EXPECT_EQ(message_of([&] { reader("3.14", 8); }), "BasicTextReader::BasicTextReader()|Invalid Radix");
    // Only the head is looked at.
    EXPECT_EQ(reader("0." + std::string(62, '1') + "f"), 10);
}

// Nothing but digits stands behind the point: among the first bytes it is seen when the file is opened,
// further on when it is read.
TEST(TextReaderTest, LineEndsZeroBytesAndByteOrderMarks) {
    const TemporaryFolder folder;
    const auto opened = [&](const std::string& content, u8 radix) {
        folder.write("f.txt", content);
        return message_of([&] { BasicTextReader(folder.file("f.txt"), radix); });
    };
    const auto read = [&](const std::string& content, u8 radix) {
        folder.write("f.txt", content);
        BasicTextReader reader(folder.file("f.txt"), radix);
        return message_of([&] { load(reader, 0, reader.total_digits()); });
    };
    const std::string digits(100, '1');
    for (const std::string& other : {std::string("\r\n"), std::string("\n"), std::string(1, '\0'),
                                     std::string("\xef\xbb\xbf"), std::string(" ")}) {
        for (const std::string& early : {"3.14" + other, "3." + other + digits, other + "3.14"}) {
            EXPECT_EQ(opened(early, 0), "TextReader::BasicTextReader()|Invalid Digit") << early;
        }
        for (const u8 radix : {u8(0), u8(10), u8(16)}) {
            EXPECT_EQ(read("3." + digits + other, radix), "BasicTextReader::process_txt()|Invalid Digit")
                << other;
            EXPECT_EQ(read("3." + digits + other + digits, radix),
                      "BasicTextReader::process_txt()|Invalid Digit");
        }
        EXPECT_EQ(read("3.14" + other, 10), "BasicTextReader::process_txt()|Invalid Digit");
    }
    EXPECT_EQ(read("3." + digits, 0), "nothing thrown");
}

TEST(TextReaderTest, AnyRangeWithAnyScratch) {
    const TemporaryFolder folder;
    for (const u8 radix : {u8(10), u8(16)}) {
        const std::vector<u8> values = random_values(30000, radix, radix);
        folder.write("f.txt", "12." + text_of(values));
        BasicTextReader reader(folder.file("f.txt"), radix);
        EXPECT_EQ(reader.total_digits(), 30000U);
        std::mt19937_64 random(9);
        for (int round = 0; round < 200; round++) {
            const u64 start = random() % 30001;
            const u64 count = round < 5 ? 0 : random() % (30001 - start);
            const u64 scratch = reader.buffer_size(count, round % 2 ? 4096 : 1 << 20);
            const std::vector<u8> part = load(reader, start, count, scratch);
            ASSERT_TRUE(std::equal(part.begin(), part.end(), values.begin() + static_cast<long>(start)));
        }
        ASSERT_EQ(load(reader, 0, 30000), values);
        ASSERT_EQ(load(reader, 29999, 1), std::vector<u8>{values.back()});
    }
}

TEST(TextReaderTest, BufferSize) {
    const TemporaryFolder folder;
    folder.write("f.txt", "3.1");
    const BasicTextReader reader(folder.file("f.txt"));
    EXPECT_EQ(reader.buffer_size(0, 1 << 30), 4096U);
    EXPECT_EQ(reader.buffer_size(1, 1 << 30), 8192U);
    EXPECT_EQ(reader.buffer_size(4096, 1 << 30), 8192U);
    EXPECT_EQ(reader.buffer_size(4097, 1 << 30), 12288U);
    EXPECT_EQ(reader.buffer_size(u64(1) << 40, 1 << 30), u64(1) << 30);
    EXPECT_EQ(reader.buffer_size(u64(1) << 40, 100), 4096U);
}

TEST(TextReaderTest, StatsAreHashAndCountsOfTheRange) {
    const TemporaryFolder folder;
    for (const u8 radix : {u8(10), u8(16)}) {
        const std::vector<u8> values = random_values(70000, radix, 40 + radix);
        folder.write("f.txt", "0." + text_of(values));
        BasicTextReader reader(folder.file("f.txt"), radix);
        const trel::GuardedBuffer scratch(1 << 15, 4096);
        for (const auto& [start, count] :
             {std::pair<u64, u64>{0, 70000}, {1, 69999}, {4094, 1}, {5, 0}, {12345, 23456}}) {
            DigitRangeStats stats(radix);
            reader.load_stats(stats, start, count, AlignedBufferC(scratch.get(), scratch.size()),
                              serial_context());
            DigitCounts want(radix);
            u64 hash = 0;
            for (u64 i = start; i < start + count; i++) {
                want.count[values[i]]++;
                hash = static_cast<u64>((static_cast<trel::u128>(hash) * radix + values[i]) %
                                        ((u64(1) << 61) - 1));
            }
            EXPECT_EQ(stats.hash, hash);
            EXPECT_TRUE(stats.counts == want);
            // Ranges that follow one another make one range.
            DigitRangeStats joined(radix);
            const u64 cut = count / 3;
            const AlignedBufferC view(scratch.get(), scratch.size());
            reader.load_stats(joined, start, cut, view, serial_context());
            reader.load_stats(joined, start + cut, count - cut, view, serial_context());
            EXPECT_EQ(joined.hash, hash);
            EXPECT_TRUE(joined.counts == want);
        }
    }
}

TEST(TextReaderTest, Refusals) {
    const TemporaryFolder folder;
    std::string text = "3." + std::string(10000, '7');
    folder.write("f.txt", text);
    BasicTextReader reader(folder.file("f.txt"), 10);
    const std::string out = "BasicTextReader::load_stats()|Out of range.";
    EXPECT_EQ(message_of([&] { load(reader, 0, 10001); }), out);
    EXPECT_EQ(message_of([&] { load(reader, 10001, 0); }), out);
    EXPECT_EQ(message_of([&] { load(reader, ~u64(0), 1); }), out);
    EXPECT_THROW(load(reader, 0, 10, 64), trel::BufferTooSmallException);
    folder.write("g.txt", (text[5000] = 'a', text));
    BasicTextReader bad(folder.file("g.txt"), 10);
    EXPECT_EQ(message_of([&] { load(bad, 0, 10000); }), "BasicTextReader::process_txt()|Invalid Digit");
    EXPECT_EQ(message_of([&] { load(bad, 4998, 1); }), "BasicTextReader::process_txt()|Invalid Digit");
    EXPECT_NO_THROW(load(bad, 0, 4998));
    EXPECT_NO_THROW(load(bad, 4999, 5001));
    DigitRangeStats stats(10);
    const trel::GuardedBuffer scratch(4096, 4096);
    EXPECT_EQ(message_of([&] {
                  bad.load_stats(stats, 0, 10000, AlignedBufferC(scratch.get(), 4096), serial_context());
              }),
              "BasicTextReader::process_txt()|Invalid Digit");
    // A file that lost its end after it was opened.
    FaultyFile disk;
    BasicTextReader watched(folder.file("f.txt"), 10, disk.file_calls());  // read 1: its beginning
    disk.short_read(2, 3000);
    EXPECT_EQ(message_of([&] { load(watched, 0, 10000); }), "BasicTextReader::load_stats()|Incomplete read.");
    disk.fail(FaultyFile::Call::read, 3, FaultyFile::read_fault());
    EXPECT_EQ(message_of([&] { load(watched, 0, 10000); }),
              "RawFile::load()|ReadFile() failed.\n\nRead Fault");
    // A bit that flips on its way changes the hash, or is not a digit any more.
    disk.flip_bit_of_read(4, 8 * 100);
    DigitRangeStats flipped(10), clean(10);
    const AlignedBufferC view(scratch.get(), 4096);
    watched.load_stats(flipped, 0, 10000, view, serial_context());
    watched.load_stats(clean, 0, 10000, view, serial_context());
    EXPECT_NE(flipped.hash, clean.hash);
}
