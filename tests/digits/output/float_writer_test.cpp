#include "digits/output/float_writer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "arith/multiply/product_check.h"
#include "base/errors/exceptions.h"
#include "base/hash/sha256.h"
#include "base/status/linear_console_node.h"
#include "digits/output/pi_writing.h"
#include "reference/mpz_u64.h"
#include "reference/mpz_words.h"
#include "support/capture_console.h"
#include "support/scratch.h"
#include "support/temporary_folder.h"

namespace kalvor {
namespace {

using trel::AlgorithmFailedException;
using trel::BigFloat;
using trel::i64;
using trel::InvalidParametersException;
using trel::u64;
using trel::u8;
using trel::Word;

class FloatWriterTest : public testing::Test {
  protected:
    std::string base(const char* name) const { return folder_ / name; }

    const kalvor_test::TemporaryFolder folder_;
};

TEST_F(FloatWriterTest, MinusPiIsConvertedAsPi) {
    CaptureConsole console;
    Writing run(100, 100, 0);
    run.value.x.sign = false;
    trel::LinearConsoleNode status(79, 1.0);
    FloatWriterB(run.plan, {trel::serial_context(), run.memory.view(), nullptr}, status, run.value.x)
        .convert();
    run.writer.convert();
    run.writer.verify();
    EXPECT_NE(console.text().find("Output will be flipped positive..."), std::string::npos);
    write_file(run.writer, {10, 100}, base("minus"));
    EXPECT_EQ(folder_.read("minus.txt"), "3." + pi_digits(10, 100));
}

// A budget makes the plan smaller as long as levels can be dropped, and the digits stay.
TEST_F(FloatWriterTest, BudgetOfTheConversion) {
    const u64 digits = 20000;
    const u64 words = value_words(digits);
    const WriterPlan full = WriterPlan::make(words + 1, digits, digits, 0, true, 1);
    const u64 n = full.conversion.n;
    // the writer's own memory comes off the budget first
    const u64 needed = full.conversion.needs().bytes + 8 * n + CBRv2::kWriterReserveBytes;
    const auto with = [&](u64 budget) {
        return WriterPlan::make(words + 1, digits, digits, 0, true, 1, budget);
    };
    EXPECT_EQ(with(needed).conversion.levels, full.conversion.levels);
    EXPECT_EQ(with(needed - 1).conversion.levels, full.conversion.levels - 1);
    EXPECT_EQ(with(needed - 1).conversion.n, n);
    for (const u64 none : {u64(0), CBRv2::kWriterReserveBytes - 1, CBRv2::kWriterReserveBytes})
        EXPECT_EQ(with(none).conversion.levels, 4u);

    const Pi value(words);
    for (const WriterPlan& plan : {with(needed - 1), with(0)}) {
        CaptureConsole console;
        const Scratch memory(plan.needs.bytes);
        FloatWriterB writer(plan, {trel::serial_context(), memory.view(), nullptr}, trel::null_status(),
                            value.x);
        writer.convert();
        writer.verify();
        const OutputStats stats = write_file(writer, {10, digits}, base("budget"));
        EXPECT_GT(stats.seconds, 0);
        EXPECT_EQ(folder_.read("budget.txt"), "3." + pi_digits(10, digits));
        EXPECT_TRUE(memory.guards_intact());
    }
}

TEST_F(FloatWriterTest, PiToFiftyDigits) {
    Writing run(50, 50, 50);
    run.writer.convert();
    run.writer.verify();
    EXPECT_EQ(run.writer.first_dec_digits(), "3.14159265358979323846264338327950288419716939937510");
    EXPECT_EQ(run.writer.first_hex_digits(), "3.243f6a8885a308d313198a2e03707344a4093822299f31d008");
    const OutputStats stats = run.writer.stat_dec_digits();
    EXPECT_EQ(stats.hash, 1415131485477934574u);
    EXPECT_EQ(stats.digits, 50u);
    EXPECT_EQ(stats.last.text, "14159265358979323846264338327950288419716939937510");
    EXPECT_TRUE(stats.hidden.empty());
}

TEST_F(FloatWriterTest, FileAndStatistics) {
    for (const u64 digits : {1, 18, 19, 20, 100, 1000, 12345}) {
        Writing run(digits, digits, digits / 2 + 1);
        run.writer.convert();
        run.writer.verify();
        const std::string want = pi_digits(10, digits);
        const OutputStats stats = write_file(run.writer, {10, digits}, base("Pi"));
        EXPECT_EQ(folder_.read("Pi.txt"), "3." + want);
        EXPECT_FALSE(folder_.has("Pi (incomplete).txt"));
        for (int v = 0; v < 10; v++) {
            EXPECT_EQ(stats.counts.count[v], static_cast<u64>(std::count(want.begin(), want.end(), '0' + v)));
        }
        const mpz_class hash = mpz_class("3" + want) % ((mpz_class(1) << 61) - 1);
        EXPECT_EQ(stats.hash, reference::u64_of(hash));
        EXPECT_EQ(stats.last.start + stats.last.text.size(), digits);
        EXPECT_EQ(stats.last.text, want.substr(stats.last.start));
        run.writer.read_check(base("Pi.txt"), stats, 10);

        const OutputStats again = run.writer.stat_dec_digits();
        EXPECT_EQ(again.hash, stats.hash);
        EXPECT_EQ(again.counts, stats.counts);

        const u64 hex = digits / 2 + 1;
        const std::string want_hex = pi_digits(16, hex);
        run.writer.verify_binary_words();
        const OutputStats hex_stats = write_file(run.writer, {16, hex}, base("PiHex"));
        EXPECT_EQ(folder_.read("PiHex.txt"), "3." + want_hex);
        const mpz_class hex_hash = mpz_class("3" + want_hex, 16) % ((mpz_class(1) << 61) - 1);
        EXPECT_EQ(hex_stats.hash, reference::u64_of(hex_hash));
        EXPECT_EQ(hex_stats.last.text, want_hex.substr(hex_stats.last.start));
        EXPECT_EQ(hex_stats.last.radix, 16);
        for (int v = 0; v < 16; v++) {
            EXPECT_EQ(hex_stats.counts.count[v],
                      static_cast<u64>(std::count(want_hex.begin(), want_hex.end(), "0123456789abcdef"[v])));
        }
        run.writer.read_check(base("PiHex.txt"), hex_stats, 16);
        EXPECT_EQ(run.writer.stat_hex_digits().hash, hex_stats.hash);
    }
}

TEST_F(FloatWriterTest, GuardDigitsAreHashed) {
    Writing run(1000, 950, 0);
    run.writer.convert();
    run.writer.verify();
    const OutputStats stats = run.writer.stat_dec_digits();
    EXPECT_EQ(stats.digits, 950u);
    ASSERT_EQ(stats.hidden.size(), 1u);
    EXPECT_EQ(stats.hidden[0].start, 950u);
    EXPECT_EQ(stats.hidden[0].count, 50u);
    EXPECT_EQ(stats.hidden[0].sha256, trel::to_hex(trel::sha256(pi_digits(10, 1000).substr(950))));
}

TEST_F(FloatWriterTest, DigitCountsOfTheRequest) {
    try {
        (void)WriterPlan::make(100, 99, 100, 0, true, 1);
        FAIL();
    } catch (const InvalidParametersException& e) {
        EXPECT_EQ(e.function, "FloatWriterB()");
        EXPECT_EQ(e.message, "compute < output");
    }
    Writing run(100, 100, 0);
    run.writer.convert();
    try {
        run.writer.verify(101);
        FAIL();
    } catch (const InvalidParametersException& e) {
        EXPECT_EQ(e.function, "FloatWriterB::verify()");
        EXPECT_EQ(e.message, "Too many digits.");
    }
    run.plan.output_digits = 101;
    EXPECT_THROW(FloatWriterB(run.plan, {trel::serial_context(), run.memory.view(), nullptr},
                              trel::null_status(), run.value.x),
                 InvalidParametersException);
}

TEST_F(FloatWriterTest, NegativeValuesAreFlipped) {
    Writing run(100, 100, 0);
    run.value.x.sign = false;
    CaptureConsole console;
    {
        trel::LinearConsoleNode status(79, 1.0);
        FloatWriterB(run.plan, {trel::serial_context(), run.memory.view(), nullptr}, status, run.value.x)
            .convert();
    }
    run.writer.convert();
    EXPECT_NE(console.text().find("Output will be flipped positive..."), std::string::npos);
    run.writer.verify();
    EXPECT_EQ(run.writer.stat_dec_digits().last.text, pi_digits(10, 100));
}

TEST_F(FloatWriterTest, ZeroIsRefusedBeforeAnyWork) {
    Writing run(100, 100, 0);
    run.value.x.clear();
    CaptureConsole console;
    try {
        run.writer.convert();
        FAIL();
    } catch (const InvalidParametersException& e) {
        EXPECT_EQ(e.function, "words_to_dec()");
        EXPECT_EQ(e.message.find("Number is zero and out of range."), 0u);
    }
    EXPECT_EQ(console.text(), "");
}

TEST_F(FloatWriterTest, LargeIntegerPartIsRefusedWithTheValue) {
    Writing run(100, 100, 0);
    run.value.x.exp += 1;
    CaptureConsole console;
    trel::LinearConsoleNode status(79, 1.0);
    FloatWriterB writer(run.plan, {trel::serial_context(), run.memory.view(), nullptr}, status, run.value.x);
    EXPECT_THROW(writer.convert(), InvalidParametersException);
    EXPECT_NE(console.text().find("mag"), std::string::npos);
}

TEST_F(FloatWriterTest, StatusTexts) {
    Writing run(3000, 3000, 3000);
    CaptureConsole console;
    trel::LinearConsoleNode status(79, 1.0);
    FloatWriterB writer(run.plan, {trel::serial_context(), run.memory.view(), nullptr}, status, run.value.x);
    writer.convert();
    EXPECT_EQ(console.take().find("Base Converting:\nTime:    "), 0u);
    writer.verify();
    EXPECT_EQ(console.take().find("Verifying Base Conversion:\nTime:    "), 0u);
    writer.verify_binary_words();
    std::string text = console.take();
    EXPECT_EQ(text.find("Verifying Binary Output:\nBefore Hash = "), 0u);
    EXPECT_NE(text.find("\nAfter  Hash = "), std::string::npos);
    const OutputStats stats = write_file(writer, {10, 3000}, base("Pi"));
    EXPECT_EQ(console.take().find("Writing Decimal Digits:\nTime:    "), 0u);
    (void)writer.stat_dec_digits();
    EXPECT_EQ(console.take().find("Processing Decimal Digits:\nTime:    "), 0u);
    (void)write_file(writer, {16, 3000}, base("Hex"));
    EXPECT_EQ(console.take().find("Writing Hexadecimal Digits:\nTime:    "), 0u);
    (void)writer.stat_hex_digits();
    EXPECT_EQ(console.take().find("Processing Hexadecimal Digits:\nTime:    "), 0u);
    writer.read_check(base("Pi.txt"), stats, 10);
    text = console.take();
    EXPECT_EQ(text.find("Verifying Decimal Output:\nTime:    "), 0u);
    const std::string hash = std::to_string(stats.hash), counts = counts_text(stats.counts);
    EXPECT_NE(text.find("Pre-Write Hash = " + hash + "\nRead-Back Hash = " + hash +
                        "\nPre-Write Counts = " + counts + "\nRead-Back Counts = " + counts + "\n"),
              std::string::npos);
}

// The writer of both radices names the same function.
TEST_F(FloatWriterTest, ScratchWithoutRoomForASectorIsRefused) {
    Writing run(3000, 3000, 3000);
    const Scratch small(3 * 4096);
    FloatWriterB writer(run.plan, {trel::serial_context(), small.view(), nullptr}, trel::null_status(),
                        run.value.x);
    try {
        (void)writer.stat_hex_digits();
        ADD_FAILURE();
    } catch (const trel::BufferTooSmallException& e) {
        EXPECT_EQ(e.function, "FloatWriterS::write_hex_digits()");
        EXPECT_EQ(e.buffer_size, 0U);
        EXPECT_EQ(e.required_size, 4096U);
    }
}

// What people see while it lasts.
TEST_F(FloatWriterTest, ProgressOnATerminal) {
    Writing run(3000, 3000, 3000);
    CaptureConsole console(CaptureConsole::terminal);
    trel::LinearConsoleNode status(79, 0);
    FloatWriterB writer(run.plan, {trel::serial_context(), run.memory.view(), nullptr}, status, run.value.x);
    writer.convert();
    writer.verify();
    const auto shows = [&](const std::string& text) {
        EXPECT_NE(console.take().find("\r" + text + "\r"), std::string::npos) << text;
    };
    console.take();
    const OutputStats stats = write_file(writer, {10, 3000}, base("Pi"));
    shows("Writing...     3,000  digits written");
    (void)writer.stat_dec_digits();
    shows("Writing...     3,000  digits analyzed");
    writer.read_check(base("Pi.txt"), stats, 10);
    shows("Verifying...    3,000  digits hashed");
}

// ---- faults

TEST_F(FloatWriterTest, DamagedFilesFailTheReadBack) {
    Writing run(5000, 5000, 100);
    run.writer.convert();
    const OutputStats stats = write_file(run.writer, {10, 5000}, base("Pi"));
    const std::string good = folder_.read("Pi.txt");
    const auto failure = [&](const std::string& text, u8 radix = 10) -> std::string {
        folder_.write("Bad.txt", text);
        try {
            run.writer.read_check(base("Bad.txt"), stats, radix);
        } catch (const AlgorithmFailedException& e) {
            return e.function + e.message;
        } catch (const InvalidParametersException& e) {
            return e.function + " " + e.message;
        }
        return "";
    };
    EXPECT_EQ(failure(good), "");
    const std::string mismatch = "Digit output failed. Metadata cross-check doesn't match.";
    std::string bad = good;
    bad[4000] = bad[4000] == '9' ? '8' : static_cast<char>(bad[4000] + 1);  // another digit
    EXPECT_EQ(failure(bad), mismatch);
    bad = good;
    std::swap(bad[2], bad[3]);  // same counts
    EXPECT_EQ(failure(bad), mismatch);
    EXPECT_EQ(failure(good.substr(0, good.size() - 1)), mismatch);
    EXPECT_EQ(failure(good + "0"), mismatch);
    bad = good;
    bad[0] = '4';
    EXPECT_EQ(failure(bad), mismatch);
    bad = good;
    bad[3000] ^= 0x40;  // no digit at all
    EXPECT_EQ(failure(bad), "BasicTextReader::process_txt() Invalid Digit");

    const std::string no_point =
        "read_check() A decimal place was not found within the first 63 bytes of the file.";
    EXPECT_EQ(failure(std::string(100, '1')), no_point);
    EXPECT_EQ(failure(std::string(63, '1') + ".5"), no_point);
    EXPECT_EQ(failure(std::string(62, '1') + ".5"), mismatch);
    EXPECT_EQ(failure("3x.14"), "read_check() Invalid decimal digit in first digits.");
    EXPECT_EQ(failure("3x.14", 16), "read_check() Invalid hexadecimal digit in first digits.");
    EXPECT_EQ(failure("3.14", 8), "read_check() Invalid radix.");
}

TEST_F(FloatWriterTest, ADamagedRadixWordIsConvertedAgain) {
    CaptureConsole console;
    for (const u64 word : {0, 1, 40, 78}) {
        Writing run(1500, 1500, 0);
        run.writer.convert();
        Word& w = run.writer.radix_words()[run.plan.conversion.n - 1 - word];
        w ^= Word(1) << 33;
        run.writer.verify();
        EXPECT_EQ(run.writer.stat_dec_digits().last.text, pi_digits(10, 1500).substr(1400));
        run.monitored.show();
        EXPECT_EQ(console.take(),
                  "\nComputation error detected and corrected.\nOperation: conversion, 81 words\n");
        // Once in a run.
        w ^= Word(1) << 33;
        try {
            run.writer.verify();
            ADD_FAILURE() << word;
        } catch (const AlgorithmFailedException& e) {
            EXPECT_EQ(e.function, "FloatWriterB::verify()");
            EXPECT_EQ(e.message, "Base Conversion Failed: Checksum Mismatch");
        }
    }
}

// A wrong bit in the middle of a product gives digits that fit each other; only the verification can tell.
class FlipInProduct final : public CBRv2::ConvertObserver {
  public:
    void product_done(u64, Word* words, u64 n) override {
        if (count++ == at) words[n / 2] ^= 1 << 20;
    }
    int count = 0, at = 1;
};

TEST_F(FloatWriterTest, ADamagedProductFailsTheVerification) {
    CaptureConsole console;
    for (const bool again : {false, true}) {
        Writing run(1500, 1500, 0);
        FlipInProduct flip;
        run.writer.convert({.correction = false, .observer = &flip});
        const int products = flip.count;
        ASSERT_GT(products, 1);
        if (again) {
            flip.at = products + 1;
            EXPECT_THROW(run.writer.verify(), AlgorithmFailedException);
        } else {
            run.writer.verify();
            EXPECT_EQ(run.writer.stat_dec_digits().last.text, pi_digits(10, 1500).substr(1400));
        }
        EXPECT_EQ(flip.count, 2 * products);
    }
}

// An error that the conversion notices itself.
TEST_F(FloatWriterTest, AConversionThatFailsIsDoneAgain) {
    class WrongOverlap final : public CBRv2::ConvertObserver {
      public:
        void ranges_meet(Word& first, Word&) override {
            if (count++ < times) first ^= 1 << 20;
        }
        int count = 0, times = 1;
    };
    CaptureConsole console;
    for (const int times : {1, 1000}) {
        Writing run(1500, 1500, 0);
        WrongOverlap wrong;
        wrong.times = times;
        const CBRv2::ConvertOptions options{.correction = false, .observer = &wrong};
        if (times == 1) {
            run.writer.convert(options);
            run.writer.verify();
            run.monitored.show();
            const std::string text = console.take();
            EXPECT_EQ(text.find("\nOverlap Mismatch\n"), 0u) << text;
            EXPECT_NE(
                text.find("\nComputation error detected and corrected.\nOperation: conversion, 81 words\n"),
                std::string::npos)
                << text;
        } else {
            EXPECT_THROW(run.writer.convert(options), AlgorithmFailedException);
        }
    }
}

// Whichever thread it is met on. A conversion has two tasks from this size on.
TEST_F(FloatWriterTest, AConversionThatFailsOnAnyThreadIsDoneAgain) {
    class WrongOverlap final : public CBRv2::ConvertObserver {
      public:
        void ranges_meet(Word& first, Word&) override {
            const bool here = std::this_thread::get_id() == caller;
            if (here == on_caller && !done.exchange(true)) first ^= 1 << 20;
        }
        const std::thread::id caller = std::this_thread::get_id();
        bool on_caller = true;
        std::atomic<bool> done{false};
    };
    CaptureConsole console;
    for (const bool on_caller : {true, false}) {
        Writing run(200000, 200000, 0, true, 2);
        WrongOverlap wrong;
        wrong.on_caller = on_caller;
        run.writer.convert({.correction = false, .observer = &wrong});
        run.writer.verify();
        EXPECT_TRUE(wrong.done) << on_caller;
        EXPECT_EQ(run.monitored.corrected(), 1u) << on_caller;
    }
}

// The file is held against what was verified, not against what the writer says that it wrote.
TEST_F(FloatWriterTest, TheReadBackComparesWithTheVerifiedDigits) {
    Writing run(5000, 5000, 100);
    run.writer.convert();
    run.writer.verify();
    OutputStats stats = write_file(run.writer, {10, 5000}, base("Pi"));
    std::string text = folder_.read("Pi.txt");
    std::swap(text[2], text[3]);
    folder_.write("Pi.txt", text);
    stats.hash = reference::u64_of(mpz_class("3" + text.substr(2)) % ((mpz_class(1) << 61) - 1));
    stats.first = text.substr(0, 52);
    EXPECT_THROW(run.writer.read_check(base("Pi.txt"), stats, 10), AlgorithmFailedException);
    // The first digits, which a file may hold twice.
    stats = write_file(run.writer, {10, 5000}, base("Pi"));
    run.writer.read_check(base("Pi.txt"), stats, 10);
    stats.first[40] ^= 1;
    EXPECT_THROW(run.writer.read_check(base("Pi.txt"), stats, 10), AlgorithmFailedException);
}

// Digits that nobody asked to verify are verified when they are used.
TEST_F(FloatWriterTest, NoDigitsLeaveUnverified) {
    CaptureConsole console;
    Writing run(1500, 1500, 0, false);
    FlipInProduct flip;
    run.writer.convert({.correction = false, .observer = &flip});
    run.writer.radix_words()[50] ^= 1;
    EXPECT_EQ(run.writer.stat_dec_digits().last.text, pi_digits(10, 1500).substr(1400));
    EXPECT_EQ(run.monitored.corrected(), 1u);
}

// What is kept to compare the digits with may change as well: it is formed again from the radix words.
TEST_F(FloatWriterTest, ADamagedHashOfTheDigitsIsFormedAgain) {
    CaptureConsole console;
    Writing run(1500, 1500, 0);
    run.writer.convert();
    run.writer.verify();
    run.writer.expected_hash(10) ^= u64(1) << 40;
    EXPECT_EQ(run.writer.stat_dec_digits().last.text, pi_digits(10, 1500).substr(1400));
    EXPECT_EQ(run.monitored.corrected(), 1u);
}

// After the third correction of a run nothing is converted again.
TEST_F(FloatWriterTest, TheThirdCorrectionStartsNoConversion) {
    CaptureConsole console;
    Writing run(1500, 1500, 0);
    const trel::ParallelContext parallel = run.monitored.context();
    for (int i = 0; i < 2; i++) trel::operation_was_corrected(parallel, "here", "product");
    EXPECT_THROW(trel::operation_was_corrected(parallel, "here", "product"), AlgorithmFailedException);
    FlipInProduct flip;
    run.writer.convert({.correction = false, .observer = &flip});
    const int products = flip.count;
    EXPECT_THROW(run.writer.verify(), AlgorithmFailedException);
    EXPECT_EQ(flip.count, products);
}

TEST_F(FloatWriterTest, TaskCounts) {
    const std::string want = pi_digits(10, 3000);
    for (const u64 tds : {1, 2, 7}) {
        Writing run(3000, 3000, 0, true, tds);
        run.writer.convert();
        run.writer.verify();
        write_file(run.writer, {10, 3000}, base("Pi"));
        EXPECT_EQ(folder_.read("Pi.txt"), "3." + want);
    }
}

TEST(SlowFloatWriterTest, AMillionDigits) {
    const u64 digits = 1000000;
    Writing run(digits, digits, 830483);
    run.writer.convert();
    run.writer.verify();
    run.writer.verify_binary_words();
    const OutputStats stats = run.writer.stat_dec_digits();
    const std::string want = pi_digits(10, digits);
    EXPECT_EQ(stats.last.start, 999900u);
    EXPECT_EQ(stats.last.text, want.substr(999900));
    const mpz_class hash = mpz_class("3" + want) % ((mpz_class(1) << 61) - 1);
    EXPECT_EQ(stats.hash, reference::u64_of(hash));
    for (int v = 0; v < 10; v++) {
        EXPECT_EQ(stats.counts.count[v], static_cast<u64>(std::count(want.begin(), want.end(), '0' + v)));
    }
    const std::string hex = pi_digits(16, 830483);
    const OutputStats hex_stats = run.writer.stat_hex_digits();
    const mpz_class hex_hash = mpz_class("3" + hex, 16) % ((mpz_class(1) << 61) - 1);
    EXPECT_EQ(hex_stats.hash, reference::u64_of(hex_hash));
}

}  // namespace
}  // namespace kalvor
