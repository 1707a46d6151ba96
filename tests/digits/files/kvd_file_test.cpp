// One compressed digit file, written and read.
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <thread>
#include <utility>

#include "digits/files/basic_kvd_file_reader.h"
#include "digits/files/basic_kvd_file_writer.h"
#include "digits/files/kvd_reference.h"
#include "fault/faulty_file.h"
#include "platform/parallel/framework_registry.h"
#include "support/capture_console.h"
#include "support/monitored_run.h"
#include "support/temporary_folder.h"

namespace kalvor {
namespace {

using trel::AlignedBufferC;

struct Piece {
    u64 start, count;
};

// [begin, end) in pieces of random size, in random order.
std::vector<Piece> random_pieces(u64 begin, u64 end, u64 longest, std::mt19937_64& random) {
    std::vector<Piece> pieces;
    for (u64 at = begin; at < end;) {
        const u64 n = std::min<u64>(end - at, random() % longest + 1);
        pieces.push_back({at, n});
        at += n;
    }
    std::shuffle(pieces.begin(), pieces.end(), random);
    return pieces;
}

TEST(KvdFileTest, AMillionDigits) {
    const kalvor_test::TemporaryFolder folder;
    const std::vector<u8> digits = random_digits(1000000, 10, 1);
    BasicKvdFileWriter writer(folder.file("Pi - 0"), {kPi50, 10, 1000000, 0, 0});
    EXPECT_TRUE(folder.has("Pi - 0 (incomplete).kvd"));
    EXPECT_EQ(writer.get_range(), (DigitRange{0, 1000000}));
    writer.store_digits_B(digits.data(), 0, digits.size());
    const auto reader = writer.close_and_get_basic_reader();
    EXPECT_FALSE(folder.has("Pi - 0 (incomplete).kvd"));
    const std::string bytes = folder.read("Pi - 0.kvd");
    EXPECT_EQ(bytes.size(), 421251U);
    EXPECT_TRUE(bytes == reference_kvd(kPi50, 10, 1000000, 0, 0, digits));
    EXPECT_EQ(load(*reader, 0, digits.size()), digits);
    EXPECT_EQ(reader->first_digits(), kPi50);
    EXPECT_EQ(reader->total_digits(), 0U);
}

TEST(KvdFileTest, TheNumbersFirstDigitsStandInEveryFile) {
    const kalvor_test::TemporaryFolder folder;
    const std::vector<u8> digits = random_digits(300, 10, 2);
    BasicKvdFileWriter writer(folder.file("x"), {kPi50 + "5820974944", 10, 100, 250, 2});
    EXPECT_EQ(writer.get_range(), (DigitRange{200, 250}));
    writer.store_digits_B(digits.data() + 200, 200, 50);
    writer.close();
    std::vector<u8> all(digits.begin(), digits.begin() + 250);
    EXPECT_TRUE(folder.read("x.kvd") == reference_kvd(kPi50, 10, 100, 250, 2, all));
}

// The words road: every place at which a file can begin within a word.
TEST(KvdFileTest, WordsAndDigitsGiveTheSameBytes) {
    const kalvor_test::TemporaryFolder folder;
    std::mt19937_64 random(3);
    for (const u8 radix : {u8(10), u8(16)}) {
        const u64 per_word = radix == 10 ? 19 : 16;
        std::vector<bool> seen(per_word);
        for (u64 round = 0; round < 4 * per_word; round++) {
            // Digits per file and id make the file begin at r.
            const u64 r = round % per_word;
            u64 D = 100 + random() % 5000;
            u64 id = random() % 8;
            for (; id * D % per_word != r; D++) {
                if (D % 1000 == 0) id++;
            }
            seen[id * D % per_word] = true;
            const u64 total = round < 2 * per_word ? 0 : id * D + 1 + random() % D;
            const std::vector<u8> digits = random_digits(total == 0 ? (id + 1) * D : total, radix, round);
            const std::vector<Word> words = words_of(digits, radix);
            const KvdFileSpec spec{"3.", radix, D, total, id};
            BasicKvdFileWriter writer(folder.file("x"), spec, 4096 * (1 + random() % 3));
            // Pieces that begin with words of the number, as the session makes them.
            for (u64 at = 0; at < digits.size();) {
                const u64 n = std::min<u64>(digits.size() - at, per_word * (1 + random() % 200));
                const u64 from = std::max(at, writer.get_range().begin);
                const u64 to = std::min(at + n, writer.get_range().end);
                if (from < to) {
                    writer.store_words({words.data() + at / per_word, digits.data() + at, at}, from,
                                       to - from, {}, serial_context());
                }
                at += n;
            }
            writer.close();
            const bool is_last = total != 0 && total < (id + 1) * D;
            ASSERT_TRUE(folder.read("x.kvd") ==
                        reference_kvd("3.", radix, D, is_last ? total : 0, id, digits))
                << "r = " << r << ", D = " << D << ", id = " << id << ", total = " << total;
        }
        EXPECT_EQ(std::count(seen.begin(), seen.end(), true), per_word);
    }
}

TEST(KvdFileTest, PiecesInAnyOrder) {
    const kalvor_test::TemporaryFolder folder;
    std::mt19937_64 random(4);
    for (int round = 0; round < 40; round++) {
        const u8 radix = round % 4 == 3 ? 16 : 10;
        const u64 D = 100 + random() % 40000, id = random() % 3;
        const std::vector<u8> digits = random_digits((id + 1) * D, radix, round);
        BasicKvdFileWriter writer(folder.file("x"), {"3.", radix, D, 0, id}, 4096 * (1 + random() % 3));
        for (const auto& [start, count] :
             random_pieces(id * D, (id + 1) * D, round % 2 ? 40 + D / 50 : 20000, random)) {
            writer.store_digits_B(digits.data() + start, start, count);
            if (random() % 8 == 0) writer.store_digits_B(digits.data() + start, start, count / 2);
        }
        const auto reader = writer.close_and_get_basic_reader();
        ASSERT_TRUE(folder.read("x.kvd") == reference_kvd("3.", radix, D, 0, id, digits)) << round;
        const std::vector<u8> own(digits.begin() + static_cast<long>(id * D), digits.end());
        ASSERT_EQ(load(*reader, id * D, D), own);
    }
}

// Thread t stores the pieces t, t + n_threads, t + 2 n_threads ...
void store_from_threads(BasicKvdFileWriter& writer, const std::vector<u8>& digits,
                        const std::vector<Piece>& pieces, u64 n_threads) {
    std::vector<std::thread> threads;
    for (u64 t = 0; t < n_threads; t++) {
        threads.emplace_back([&, t] {
            for (u64 i = t; i < pieces.size(); i += n_threads) {
                writer.store_digits_B(digits.data() + pieces[i].start, pieces[i].start, pieces[i].count);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
}

TEST(KvdFileTest, PiecesFromSeveralThreads) {
    const kalvor_test::TemporaryFolder folder;
    constexpr u64 kDigits = 100003;
    const std::vector<u8> digits = random_digits(kDigits, 10, 5);
    std::mt19937_64 random(5);
    const std::vector<Piece> pieces = random_pieces(0, kDigits, 700, random);
    BasicKvdFileWriter writer(folder.file("x"), {"3.", 10, kDigits, 0, 0}, 8192);
    store_from_threads(writer, digits, pieces, 4);
    writer.close();
    EXPECT_TRUE(folder.read("x.kvd") == reference_kvd("3.", 10, kDigits, 0, 0, digits));
}

// Windows that are written while the next one is filled: a file of several, in and out of order.
TEST(KvdFileTest, LargeWindowsGiveTheSameBytes) {
    const kalvor_test::TemporaryFolder folder;
    constexpr u64 kDigits = 2500009;
    const std::vector<u8> digits = random_digits(kDigits, 10, 25);
    const std::string want = reference_kvd("3.", 10, kDigits, 0, 0, digits);
    std::mt19937_64 random(25);
    for (const bool in_order : {true, false}) {
        std::vector<Piece> pieces = random_pieces(0, kDigits, 200000, random);
        if (in_order) std::ranges::sort(pieces, {}, &Piece::start);
        BasicKvdFileWriter writer(folder.file("x"), {"3.", 10, kDigits, 0, 0}, SectorWindow::kLeastHalved);
        store_from_threads(writer, digits, pieces, 2);
        writer.close();
        EXPECT_TRUE(folder.read("x.kvd") == want) << in_order;
    }
}

// The first write, of some 620,000 digits, does not end before more digits were taken.
TEST(KvdFileTest, AWindowIsFilledWhileTheOneBeforeIsWritten) {
    const kalvor_test::TemporaryFolder folder;
    constexpr u64 kDigits = 2000000, kPiece = 50000;
    const std::vector<u8> digits = random_digits(kDigits, 10, 26);
    std::mutex mutex;
    std::condition_variable changed;
    u64 stored = 0;
    bool is_first = true, went_on = false;
    const std::thread::id caller = std::this_thread::get_id();
    FaultyFile disk;
    disk.on_call([&](FaultyFile::Call call) {
        std::unique_lock<std::mutex> lock(mutex);
        if (call != FaultyFile::Call::write || !std::exchange(is_first, false)) return;
        went_on = std::this_thread::get_id() != caller &&
                  changed.wait_for(lock, std::chrono::seconds(20), [&] { return stored >= 700000; });
    });
    BasicKvdFileWriter writer(folder.file("x"), {"3.", 10, kDigits, 0, 0}, SectorWindow::kLeastHalved,
                              nullptr, disk.file_calls());
    for (u64 at = 0; at < kDigits; at += kPiece) {
        writer.store_digits_B(digits.data() + at, at, kPiece);
        const std::lock_guard<std::mutex> lock(mutex);
        stored += kPiece;
        changed.notify_all();
    }
    writer.close();
    EXPECT_TRUE(went_on);
    EXPECT_TRUE(folder.read("x.kvd") == reference_kvd("3.", 10, kDigits, 0, 0, digits));
}

// Whichever write fails, a later call tells it, and one more attempt makes up for it.
TEST(KvdFileTest, FailuresOfAWindowBeforeAreToldAndMadeUpFor) {
    const kalvor_test::TemporaryFolder folder;
    constexpr u64 kDigits = 2500000, kPiece = 100000;
    const std::vector<u8> digits = random_digits(kDigits, 10, 27);
    const std::string want = reference_kvd("3.", 10, kDigits, 0, 0, digits);
    for (u64 n = 1;; n++) {
        CaptureConsole console;
        FaultyFile disk;
        disk.fail(FaultyFile::Call::write, n, FaultyFile::write_fault());
        BasicKvdFileWriter writer(folder.file("x"), {"3.", 10, kDigits, 0, 0}, SectorWindow::kLeastHalved,
                                  nullptr, disk.file_calls());
        u64 failures = 0;
        for (u64 at = 0; at < kDigits; at += kPiece) {
            const auto store = [&] { writer.store_digits_B(digits.data() + at, at, kPiece); };
            const std::string message = refusal_of(store);
            if (message == "nothing thrown") continue;
            EXPECT_NE(message.find("Write Fault"), std::string::npos) << message;
            EXPECT_FALSE(writer.is_complete());
            failures++;
            store();
        }
        const bool failed = disk.count(FaultyFile::Call::write) >= n && failures == 1;
        EXPECT_TRUE(failed || failures == 0) << failures;
        writer.close();
        ASSERT_TRUE(folder.read("x.kvd") == want) << n;
        if (!failed) {
            EXPECT_GE(n, 4U);
            break;
        }
    }
}

// Nobody asks again after a failure: the file keeps its draft's name, and its last window is not waited for
// in vain.
TEST(KvdFileTest, AWriterThatIsGivenUpWaitsForItsWindow) {
    const kalvor_test::TemporaryFolder folder;
    constexpr u64 kDigits = 2500000, kHalf = 700000;
    const std::vector<u8> digits = random_digits(kDigits, 10, 28), others(kDigits, 7);
    const KvdFileSpec spec{"3.", 10, kDigits, 0, 0};
    {
        FaultyFile disk;
        disk.fail(FaultyFile::Call::write, 1, FaultyFile::write_fault());
        CaptureConsole console;
        trel::MonitoredRun run;
        {
            BasicKvdFileWriter writer(folder.file("y"), spec, SectorWindow::kLeastHalved, &run.warnings(),
                                      disk.file_calls());
            writer.store_digits_B(digits.data(), 0, kHalf);
        }
        EXPECT_FALSE(folder.has("y.kvd"));
        run.show();
        EXPECT_NE(console.text().find("WriteFile() failed."), std::string::npos) << console.text();
    }
    trel::FileIO::PublishedFile file(folder.file("x (incomplete).kvd"), folder.file("x.kvd"));
    {
        BasicKvdFileWriter first(file, spec, SectorWindow::kLeastHalved);
        first.store_digits_B(others.data(), 0, kHalf);
        first.abandon();
        BasicKvdFileWriter second(file, spec, SectorWindow::kLeastHalved);
        second.store_digits_B(digits.data(), 0, kDigits);
        second.finish();
        second.publish();
    }
    EXPECT_TRUE(folder.read("x.kvd") == reference_kvd("3.", 10, kDigits, 0, 0, digits));
}

// Space that is reserved may hold anything, digits of an older file too.
TEST(KvdFileTest, WhatTheDiskHeldBeforeIsNeverTakenForDigits) {
    const kalvor_test::TemporaryFolder folder;
    constexpr u64 kDigits = 60000;
    const std::vector<u8> digits = random_digits(kDigits, 10, 6), old(kDigits, 7);
    trel::FileIO::PublishedFile file(folder.file("x (incomplete).kvd"), folder.file("x.kvd"));
    const KvdFileSpec spec{"3.", 10, kDigits, 0, 0};
    {
        BasicKvdFileWriter first(file, spec);
        first.store_digits_B(old.data(), 0, kDigits);
        first.finish();
        first.abandon();
    }
    std::mt19937_64 random(6);
    CaptureConsole console;
    {
        // What is not written is told from digits, in every sector of the file.
        BasicKvdFileWriter writer(file, spec, 4096);
        writer.store_digits_B(digits.data() + 30000, 30000, 5);
        writer.store_digits_B(digits.data() + 59990, 59990, 10);
    }
    const std::string left = folder.read("x (incomplete).kvd");
    const u64 head = KvdHeader{kKvdVersion, 10, "3.", 0, kDigits, 0}.text().size();
    ASSERT_EQ(left.size(), head + 8 * 3158);
    for (u64 i = 0; i < 3158; i++) {
        Word word;
        std::memcpy(&word, left.data() + head + 8 * i, 8);
        if (i == 30000 / 19 || i == 30004 / 19 || i == 59999 / 19) continue;
        ASSERT_EQ(word, ~Word(0)) << i;
    }
    trel::FileIO::PublishedFile again(folder.file("y (incomplete).kvd"), folder.file("y.kvd"));
    {
        BasicKvdFileWriter first(again, spec);
        first.store_digits_B(old.data(), 0, kDigits);
        first.finish();
        first.abandon();
    }
    BasicKvdFileWriter second(again, spec, 4096);
    for (const auto& [start, count] : random_pieces(0, kDigits, 900, random)) {
        second.store_digits_B(digits.data() + start, start, count);
    }
    second.finish();
    second.publish();
    EXPECT_TRUE(folder.read("y.kvd") == reference_kvd("3.", 10, kDigits, 0, 0, digits));
}

TEST(KvdFileTest, WriterRefusals) {
    const kalvor_test::TemporaryFolder folder;
    const auto make = [&](const KvdFileSpec& spec) {
        return refusal_of([&] { BasicKvdFileWriter writer(folder.file("x"), spec); });
    };
    const std::string invalid = "InvalidParametersException|";
    const std::string out = invalid + "BasicKvdFileWriter::BasicKvdFileWriter()|File ID is out of range.";
    EXPECT_EQ(make({"3.", 10, 100, 300, 3}), out);
    EXPECT_EQ(make({"3.", 10, 100, 300, 4}), out);
    EXPECT_EQ(make({"3.", 10, u64(1) << 63, 300, 2}), out) << "id times digits per file is 2^64";
    EXPECT_EQ(make({"3.", 10, 0, 300, 1}), invalid + "Region::Region()|Invalid Range - Failed: s < e");
    EXPECT_EQ(make({"3.", 10, 0, 0, 1}), invalid + "Region::Region()|Invalid Range - Failed: s < e");
    const std::string overflow = invalid + "BasicKvdFileWriter::BasicKvdFileWriter()|Internal Overflow";
    EXPECT_EQ(make({"3.", 10, u64(1) << 63, 0, 1}), overflow);
    EXPECT_EQ(make({"3.", 10, ~u64(0), 0, ~u64(0)}), overflow);
    EXPECT_EQ(make({"3.", 8, 100, 0, 0}),
              "FileException|BasicKvdFileWriter::BasicKvdFileWriter()|Unsupported Radix");
    EXPECT_EQ(make({"3.", 10, 99, 0, 0}),
              "FileException|BasicKvdFileWriter::BasicKvdFileWriter()|Invalid Digits per File");
    EXPECT_NE(make({"314", 10, 100, 0, 0}).find("InconsistentMetaData|"), std::string::npos);
    EXPECT_FALSE(folder.has("x (incomplete).kvd")) << "a refused file is not made";

    CaptureConsole console;
    BasicKvdFileWriter writer(folder.file("x"), {"3.", 10, 200, 0, 3});
    std::vector<u8> values(201, 5);
    const auto store = [&](u64 start, u64 count) {
        return refusal_of([&] { writer.store_digits_B(values.data(), start, count); });
    };
    const std::string bounds = invalid +
                               "BasicKvdFileWriter::start_access()|BasicKvdFileWriter::start_access()\n"
                               "Write out of bounds.\nRequested Range: ";
    EXPECT_EQ(store(599, 1), bounds + "[599, 600)\nAvailable Range: [600, 800)");
    EXPECT_EQ(store(600, 201), bounds + "[600, 801)\nAvailable Range: [600, 800)");
    EXPECT_EQ(store(700, ~u64(0)), bounds + "[700, 18446744073709551615)\nAvailable Range: [600, 800)");
    for (const u64 at : {0, 18, 19, 100, 199}) {
        values[at] = 10;
        EXPECT_EQ(store(600, 200), invalid + "BasicKvdFileWriter::store_digits_B()|Invalid Digit") << at;
        values[at] = 5;
    }
    EXPECT_EQ(store(600, 200), "nothing thrown");
    // A refused range leaves what stands there.
    std::vector<u8> wrong(200, 6);
    wrong[150] = 11;
    EXPECT_NE(refusal_of([&] { writer.store_digits_B(wrong.data(), 600, 200); }), "nothing thrown");
    writer.close();
    EXPECT_EQ(store(600, 1), invalid + "BasicKvdFileWriter::store_digits_B()|File is closed.");
    const std::vector<u8> fives(800, 5);
    EXPECT_TRUE(folder.read("x.kvd") == reference_kvd("3.", 10, 200, 0, 3, fives));
}

// What is refused leaves what stands there, in memory too.
TEST(KvdFileTest, ARefusedRangeSpoilsNothing) {
    const kalvor_test::TemporaryFolder folder;
    const std::vector<u8> digits = random_digits(2000, 10, 20);
    for (const u64 at : {0, 500, 990, 1000, 1200}) {
        BasicKvdFileWriter writer(folder.file("x"), {"3.", 10, 2000, 0, 0});
        writer.store_digits_B(digits.data(), 0, 1000);
        std::vector<u8> wrong(200, 1);
        wrong[150] = 10;
        EXPECT_EQ(refusal_of([&] { writer.store_digits_B(wrong.data(), at, 200); }),
                  "InvalidParametersException|BasicKvdFileWriter::store_digits_B()|Invalid Digit");
        writer.store_digits_B(digits.data() + 1000, 1000, 1000);
        writer.close();
        EXPECT_TRUE(folder.read("x.kvd") == reference_kvd("3.", 10, 2000, 0, 0, digits)) << at;
    }
}

// Pieces in descending order: what stands behind the refused one is in the window and not yet in the file.
TEST(KvdFileTest, ARefusedRangeSpoilsNothingBehindIt) {
    const kalvor_test::TemporaryFolder folder;
    const std::vector<u8> digits = random_digits(2000, 10, 21);
    for (const u64 at : {0, 700, 790}) {
        BasicKvdFileWriter writer(folder.file("x"), {"3.", 10, 2000, 0, 0});
        writer.store_digits_B(digits.data() + 1000, 1000, 1000);
        std::vector<u8> wrong(200, 1);
        wrong[150] = 10;
        EXPECT_EQ(refusal_of([&] { writer.store_digits_B(wrong.data(), at, 200); }),
                  "InvalidParametersException|BasicKvdFileWriter::store_digits_B()|Invalid Digit");
        writer.store_digits_B(digits.data(), 0, 1000);
        writer.close();
        EXPECT_TRUE(folder.read("x.kvd") == reference_kvd("3.", 10, 2000, 0, 0, digits)) << at;
    }
}

TEST(KvdFileTest, IncompleteFilesKeepTheirName) {
    const kalvor_test::TemporaryFolder folder;
    const std::vector<u8> digits = random_digits(200, 10, 7);
    CaptureConsole console;
    {
        trel::MonitoredRun run;
        BasicKvdFileWriter writer(folder.file("x"), {"3.", 10, 100, 0, 1}, 8192, &run.warnings());
        writer.store_digits_B(digits.data() + 100, 100, 20);
        writer.store_digits_B(digits.data() + 130, 130, 70);
        EXPECT_EQ(refusal_of([&] { writer.finish(); }),
                  "FileException|BasicKvdFileWriter::finish()|Not all digits were written.");
    }
    EXPECT_EQ(console.take(), "\nWarning, closing incomplete file\n" + folder.file("x (incomplete).kvd") +
                                  "\nSparse Region:\n    [100, 120)\n    [130, 200)\n");
    EXPECT_TRUE(folder.has("x (incomplete).kvd"));
    EXPECT_FALSE(folder.has("x.kvd"));
}

TEST(KvdFileTest, AnyRangeWithAnyScratch) {
    const kalvor_test::TemporaryFolder folder;
    auto framework = trel::make_default_framework_config("spawn")->make_framework();
    std::mt19937_64 random(8);
    for (const u8 radix : {u8(10), u8(16)}) {
        constexpr u64 kDigits = 1200000, kBegin = 2 * kDigits;
        const std::vector<u8> digits = random_digits(3 * kDigits, radix, radix);
        BasicKvdFileWriter writer(folder.file("x"), {"3.", radix, kDigits, 0, 2});
        writer.store_digits_B(digits.data() + kBegin, kBegin, kDigits);
        const auto reader = writer.close_and_get_basic_reader();
        for (int round = 0; round < 100; round++) {
            const u64 start = kBegin + random() % kDigits;
            const u64 count = round < 3 ? 0 : random() % (round % 2 ? 300 : kBegin + kDigits - start + 1);
            const u64 n = std::min(count, kBegin + kDigits - start);
            const u64 scratch = reader->buffer_size(n, round % 3 ? 1 : 1 << 20);
            const auto first = digits.begin() + static_cast<long>(start);
            const std::vector<u8> part = load(*reader, start, n, scratch);
            ASSERT_TRUE(std::equal(part.begin(), part.end(), first)) << start << " " << n;
            if (round % 10 == 0) {
                const DigitRangeStats got = stats_of(*reader, start, n, scratch);
                const DigitRangeStats want = reference_stats(digits, start, n, radix);
                ASSERT_EQ(got.hash, want.hash) << start << " " << n;
                ASSERT_TRUE(got.counts == want.counts);
            }
        }
        const trel::ParallelContext tasks{framework.get(), 3};
        EXPECT_TRUE(load(*reader, kBegin + 1, kDigits - 2, 1 << 20, tasks) ==
                    std::vector<u8>(digits.begin() + kBegin + 1, digits.end() - 1));
        const DigitRangeStats got = stats_of(*reader, kBegin + 5, kDigits - 9, 1 << 20, tasks);
        const DigitRangeStats want = reference_stats(digits, kBegin + 5, kDigits - 9, radix);
        EXPECT_EQ(got.hash, want.hash);
        EXPECT_TRUE(got.counts == want.counts);
    }
}

TEST(KvdFileTest, ReaderRefusals) {
    const kalvor_test::TemporaryFolder folder;
    const std::vector<u8> digits = random_digits(20000, 10, 9);
    const std::string good = reference_kvd("3.", 10, 10000, 0, 1, digits);
    folder.write("x.kvd", good);
    BasicKvdFileReader reader(folder.file("x.kvd"));
    EXPECT_TRUE(reader.is_in_range(10000, 10000));
    EXPECT_FALSE(reader.is_in_range(9999, 1));
    EXPECT_FALSE(reader.is_in_range(19999, 2));
    EXPECT_FALSE(reader.is_in_range(19999, ~u64(0)));
    EXPECT_EQ(
        refusal_of([&] { load(reader, 9999, 3); }),
        "InvalidParametersException|BasicKvdFileReader::start_access()|BasicKvdFileReader::start_access()\n"
        "Read out of bounds.\nRequested Range: [9999, 10002)\nAvailable Range: [10000, 20000)");
    EXPECT_THROW(load(reader, 10000, 5, 4096), trel::BufferTooSmallException);
}

TEST(KvdFileTest, ShorterFilesOpenAndFailWhereTheyEnd) {
    const kalvor_test::TemporaryFolder folder;
    const std::vector<u8> digits = random_digits(20000, 10, 10);
    const std::string good = reference_kvd("3.", 10, 20000, 0, 0, digits);
    const std::string error = "FileException|BasicKvdFileReader::read_words()|Read error.";
    const u64 head = good.size() - 8 * 1053;
    for (const u64 missing : {u64(1), u64(8), u64(4100), good.size() - head}) {
        folder.write("x.kvd", good.substr(0, good.size() - missing));
        BasicKvdFileReader reader(folder.file("x.kvd"));
        EXPECT_EQ(refusal_of([&] { load(reader, 0, 20000); }), error) << missing;
        EXPECT_EQ(refusal_of([&] { (void)stats_of(reader, 19990, 1); }), error) << missing;
        const u64 there = (good.size() - head - missing) / 8 * 19;
        EXPECT_EQ(load(reader, 0, there),
                  std::vector<u8>(digits.begin(), digits.begin() + static_cast<long>(there)));
    }
    // What follows the last word is ignored.
    folder.write("x.kvd", good + "and so on");
    BasicKvdFileReader longer(folder.file("x.kvd"));
    EXPECT_EQ(load(longer, 0, 20000), digits);
}

TEST(KvdFileTest, WordsThatAreNoDigitsAreRefused) {
    const kalvor_test::TemporaryFolder folder;
    const std::vector<u8> digits = random_digits(20000, 10, 11);
    std::string bytes = reference_kvd("3.", 10, 20000, 0, 0, digits);
    const u64 head = bytes.size() - 8 * 1053;
    const Word bad = 10000000000000000000ULL;
    std::memcpy(bytes.data() + head + 8 * 700, &bad, 8);
    folder.write("x.kvd", bytes);
    BasicKvdFileReader reader(folder.file("x.kvd"));
    const std::string invalid = "FileException|BasicKvdFileReader::read_words()|Invalid Digit";
    EXPECT_EQ(refusal_of([&] { load(reader, 0, 20000); }), invalid);
    EXPECT_EQ(refusal_of([&] { (void)stats_of(reader, 700 * 19 + 5, 1); }), invalid);
    EXPECT_EQ(refusal_of([&] { load(reader, 0, 700 * 19); }), "nothing thrown");
    EXPECT_EQ(refusal_of([&] { load(reader, 701 * 19, 100); }), "nothing thrown");
}

TEST(KvdFileTest, WordsAreReadAsTheyStand) {
    const kalvor_test::TemporaryFolder folder;
    const std::vector<u8> digits = random_digits(20000, 10, 12);
    folder.write("x.kvd", reference_kvd("3.", 10, 20000, 0, 0, digits));
    BasicKvdFileReader reader(folder.file("x.kvd"));
    const std::vector<Word> want = words_of(digits, 10);
    ASSERT_EQ(reader.words(), want.size());
    const trel::GuardedBuffer scratch(3 * 4096, 4096);
    const AlignedBufferC view(scratch.get(), scratch.size());
    std::vector<Word> got(want.size());
    reader.read_words(got.data(), 0, got.size(), view);
    EXPECT_EQ(got, want);
    reader.read_words(got.data(), 1000, 53, view);
    EXPECT_EQ(got[0], want[1000]);
    EXPECT_EQ(refusal_of([&] { reader.read_words(got.data(), 1000, 54, view); }),
              "FileException|BasicKvdFileReader::read_words()|Read error.");
}

// ---- faults

TEST(KvdFileTest, ADiskThatFailsIsNamed) {
    const kalvor_test::TemporaryFolder folder;
    const std::vector<u8> digits = random_digits(20000, 10, 13);
    folder.write("x.kvd", reference_kvd("3.", 10, 20000, 0, 0, digits));
    FaultyFile disk;
    BasicKvdFileReader reader(folder.file("x.kvd"), disk.file_calls());
    // Its header was read: the reads of digits begin at 2.
    disk.fail(FaultyFile::Call::read, 2, FaultyFile::read_fault());
    EXPECT_EQ(refusal_of([&] { load(reader, 0, 10); }),
              "FileException|BasicKvdFileReader::read_words()|Read error.\n\nRead Fault");
    disk.short_read(3, 100);
    EXPECT_EQ(refusal_of([&] { load(reader, 0, 10000); }),
              "FileException|BasicKvdFileReader::read_words()|Read error.");
    disk.flip_bit_of_read(4, 8 * 2000);
    const DigitRangeStats flipped = stats_of(reader, 0, 10000), clean = stats_of(reader, 0, 10000);
    EXPECT_NE(flipped.hash, clean.hash);
    // The failure of a task reaches the caller.
    auto framework = trel::make_default_framework_config("spawn")->make_framework();
    const std::vector<u8> many = random_digits(1 << 20, 10, 14);
    folder.write("y.kvd", reference_kvd("3.", 10, 1 << 20, 0, 0, many));
    BasicKvdFileReader large(folder.file("y.kvd"), disk.file_calls());
    disk.fail(FaultyFile::Call::read, disk.count(FaultyFile::Call::read) + 2, FaultyFile::read_fault());
    EXPECT_EQ(refusal_of([&] {
                  load(large, 0, 1 << 20, 1 << 20, {framework.get(), 4});
              }),
              "FileException|BasicKvdFileReader::read_words()|Read error.\n\nRead Fault");
}

TEST(KvdFileTest, EveryFailingCallIsReportedAndLeavesNoFinishedFile) {
    using Call = FaultyFile::Call;
    const kalvor_test::TemporaryFolder folder;
    const std::vector<u8> digits = random_digits(60000, 10, 15);
    std::mt19937_64 random(15);
    const std::vector<Piece> pieces = random_pieces(0, digits.size(), 9000, random);
    const std::string good = reference_kvd("3.", 10, digits.size(), 0, 0, digits);
    for (const Call call : {Call::open, Call::write, Call::read, Call::set_size, Call::flush}) {
        for (u64 n = 1;; n++) {
            CaptureConsole console;
            FaultyFile disk;
            disk.fail(call, n, FaultyFile::write_fault());
            const std::string message = refusal_of([&] {
                BasicKvdFileWriter writer(folder.file("x"), {"3.", 10, digits.size(), 0, 0}, 8192, nullptr,
                                          disk.file_calls());
                for (const auto& [start, count] : pieces) {
                    writer.store_digits_B(digits.data() + start, start, count);
                }
                writer.close();
            });
            if (disk.count(call) < n) {
                EXPECT_EQ(message, "nothing thrown");
                EXPECT_GT(n, 1U) << FaultyFile::name(call);
                break;
            }
            EXPECT_NE(message.find("Write Fault"), std::string::npos) << message;
            EXPECT_FALSE(folder.has("x.kvd"));
        }
        EXPECT_TRUE(folder.read("x.kvd") == good);
        std::filesystem::remove(folder.file("x.kvd"));
    }
}

TEST(KvdFileTest, FullDisksAndShortWritesLeaveNoFinishedFile) {
    const kalvor_test::TemporaryFolder folder;
    const std::vector<u8> digits = random_digits(60000, 10, 16);
    for (const u64 room : {0, 4096, 20000, 24576}) {
        CaptureConsole console;
        FaultyFile disk;
        disk.disk_full_after(room);
        EXPECT_EQ(refusal_of([&] {
                      BasicKvdFileWriter writer(folder.file("x"), {"3.", 10, digits.size(), 0, 0}, 8192,
                                                nullptr, disk.file_calls());
                      writer.store_digits_B(digits.data(), 0, digits.size());
                      writer.close();
                  }),
                  "FileException|RawFile::store()|WriteFile() failed.\n\nDisk is Full")
            << room;
        EXPECT_FALSE(folder.has("x.kvd"));
    }
    CaptureConsole console;
    FaultyFile disk;
    disk.short_write(2, 4096);
    EXPECT_EQ(refusal_of([&] {
                  BasicKvdFileWriter writer(folder.file("x"), {"3.", 10, digits.size(), 0, 0}, 8192, nullptr,
                                            disk.file_calls());
                  writer.store_digits_B(digits.data(), 0, digits.size());
                  writer.close();
              }),
              "FileException|RawFile::store()|Incomplete Write: 4096 / 8192");
    EXPECT_FALSE(folder.has("x.kvd"));
    // A store that is tried again after a failure makes up for it.
    disk.fail(FaultyFile::Call::write, disk.count(FaultyFile::Call::write) + 2, FaultyFile::write_fault());
    BasicKvdFileWriter writer(folder.file("x"), {"3.", 10, digits.size(), 0, 0}, 8192, nullptr,
                              disk.file_calls());
    EXPECT_NE(refusal_of([&] { writer.store_digits_B(digits.data(), 0, digits.size()); }), "nothing thrown");
    writer.store_digits_B(digits.data(), 0, digits.size());
    writer.close();
    EXPECT_TRUE(folder.read("x.kvd") == reference_kvd("3.", 10, digits.size(), 0, 0, digits));
}

}  // namespace
}  // namespace kalvor
