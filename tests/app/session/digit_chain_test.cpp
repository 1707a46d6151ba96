// From the value to the named file: whatever changes in memory on the way is found before a file has its
// name, and mended where the value is still right.
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <optional>

#include "app/session/digit_stage.h"
#include "base/errors/exceptions.h"
#include "digits/output/pi_writing.h"
#include "support/capture_console.h"
#include "support/temporary_folder.h"

namespace kalvor {
namespace {

using kalvor_test::TemporaryFolder;

constexpr u64 kDigits = 3000, kGuard = 60, kHexDigits = 2470;
constexpr const char* kChanged = "Digits changed in memory after their verification.";
constexpr const char* kDamaged = "A number was damaged in memory: value, ";

// What happens at a stage: at its first `times` occurrences after the first `skip`.
struct Fault {
    std::string stage;
    std::function<void(void* memory, u64 bytes)> act;
    u64 skip = 0, times = 1;
};

class FaultAtStage final : public trel::ComputationStages {
  public:
    void at(const char* stage, void* memory, u64 bytes) override {
        if (fault.stage != stage || seen++ < fault.skip || done == fault.times) return;
        done++;
        fault.act(memory, bytes);
    }
    Fault fault;
    u64 seen = 0, done = 0;
};

std::function<void(void*, u64)> flip_word(u64 from_top, unsigned bit = 33) {
    return [=](void* memory, u64 bytes) {
        static_cast<Word*>(memory)[bytes / sizeof(Word) - 1 - from_top] ^= Word(1) << bit;
    };
}

std::function<void(void*, u64)> flip_byte(u64 place) {
    return [=](void* memory, u64 bytes) { static_cast<u8*>(memory)[place % bytes] ^= 1; };
}

struct Outcome {
    std::string error;  // empty: the files or the statistics were compared with the right digits
    u64 corrected = 0, numbers = 0;
    bool named = false;  // a file has its final name
};

struct Request {
    bool files = true, verify = true, hexadecimal = true;
    const char* format = kTextFormat;
};

class DigitChainTest : public testing::Test {
  protected:
    Outcome run(Fault fault, const Request& request, std::function<void(BigFloat&)> before = {}) {
        CaptureConsole console;
        std::filesystem::remove_all(folder_.file("out"));
        std::filesystem::create_directory(folder_.file("out"));
        Pi value(value_words(kDigits + kGuard));
        value.x.seal(trel::serial_context());
        value_ = &value.x;
        if (before) before(value.x);
        const u64 hex = request.hexadecimal ? kHexDigits : 0;
        const WriterPlan plan =
            WriterPlan::make(value.x.L, kDigits + kGuard, kDigits, hex, request.verify, 1);
        const Scratch memory(plan.needs.bytes);
        trel::RunMonitor monitor;
        FaultAtStage stages;
        stages.fault = std::move(fault);
        monitor.stages = &stages;
        trel::ParallelContext parallel = trel::serial_context();
        parallel.run = &monitor;
        DigitStage digits(plan, {parallel, memory.view(), nullptr}, trel::null_status(), value.x);
        Outcome result;
        try {
            std::vector<OutputFiles::Request> wanted;
            if (request.files) {
                wanted.push_back({10, "dec", kDigits, request.format});
                if (request.hexadecimal) wanted.push_back({16, "hex", kHexDigits, request.format});
            }
            OutputFiles files(folder_.file("out") + "/", wanted, {}, trel::null_status());
            digits.convert();
            const DigitResults got =
                digits.write({request.hexadecimal, request.files, request.verify, "none", {}}, files);
            compare(got, request);
        } catch (const trel::StringException& e) {
            result.error = e.message;
        }
        EXPECT_GT(stages.done, 0U) << "the fault did not happen";
        result.corrected = monitor.checks.corrected;
        result.numbers = monitor.checks.numbers;
        result.named = std::filesystem::exists(folder_.file("out/dec.txt")) ||
                       std::filesystem::exists(folder_.file("out/hex.txt"));
        EXPECT_TRUE(memory.guards_intact());
        return result;
    }

    void compare(const DigitResults& got, const Request& request) const {
        const std::string want = pi_digits(10, kDigits), want_hex = pi_digits(16, kHexDigits);
        const auto check = [](const OutputStats& stats, const std::string& digits) {
            for (u64 i = 0; i < stats.counts.radix; i++) {
                EXPECT_EQ(stats.counts.count[i],
                          static_cast<u64>(std::count(digits.begin(), digits.end(), "0123456789abcdef"[i])));
            }
            EXPECT_EQ(stats.first, "3." + digits.substr(0, 50));
            EXPECT_EQ(stats.last.text, digits.substr(stats.last.start));
        };
        check(got.decimal, want);
        if (request.hexadecimal) check(*got.hexadecimal, want_hex);
        if (!request.files || request.format != kTextFormat) return;
        EXPECT_EQ(folder_.read("out/dec.txt"), "3." + want);
        if (request.hexadecimal) {
            EXPECT_EQ(folder_.read("out/hex.txt"), "3." + want_hex);
        }
    }

    static void expect_corrected(const Outcome& run, const std::string& what) {
        EXPECT_EQ(run.error, "") << what;
        EXPECT_EQ(run.corrected, 1U) << what;
    }
    static void expect_refused(const Outcome& run, const std::string& message, const std::string& what) {
        EXPECT_EQ(run.error.find(message), 0U) << what << ": " << run.error;
        EXPECT_FALSE(run.named) << what;
    }

    // A bit of the value, in whatever stage.
    std::function<void(void*, u64)> flip_value(u64 from_top) {
        return [this, from_top](void*, u64) { value_->T[value_->L - 1 - from_top] ^= Word(1) << 20; };
    }

    const std::vector<Request> all_requests_ = {{true, true, true},  {true, false, true},
                                                {false, true, true}, {false, false, true},
                                                {true, true, false}, {false, false, false}};
    BigFloat* value_ = nullptr;
    TemporaryFolder folder_;
};

std::string text_of(const Request& r) {
    return std::string(r.files ? "files " : "statistics ") + (r.verify ? "verified " : "unverified ") +
           (r.hexadecimal ? "hexadecimal" : "");
}

TEST_F(DigitChainTest, NoFault) {
    for (const Request& request : all_requests_) {
        const Outcome r = run({"counts", [](void*, u64) {}}, request);
        EXPECT_EQ(r.error, "") << text_of(request);
        EXPECT_EQ(r.corrected, 0U);
        EXPECT_GE(r.numbers, 2U);
        EXPECT_EQ(r.named, request.files);
    }
}

// The first word, one in the middle, the one where the output is cut, a guard word.
TEST_F(DigitChainTest, RadixWordsAfterTheirVerification) {
    for (const Request& request : all_requests_) {
        for (const u64 word : {u64(0), u64(80), kDigits / 19, (kDigits + kGuard) / 19}) {
            const std::string what = text_of(request) + " word " + std::to_string(word);
            expect_corrected(run({"verified words", flip_word(word)}, request), what);
            const Outcome twice = run({"verified words", flip_word(word), 0, 2}, request);
            EXPECT_EQ(twice.error, kChanged) << what;
            EXPECT_FALSE(std::filesystem::exists(folder_.file("out/dec.txt"))) << what;
        }
    }
}

TEST_F(DigitChainTest, RadixWordsBeforeTheirVerification) {
    for (const u64 word : {u64(0), u64(80), kDigits / 19, (kDigits + kGuard) / 19}) {
        expect_corrected(run({"radix words", flip_word(word)}, {}), std::to_string(word));
    }
}

// Unpacked digits, each a byte.
TEST_F(DigitChainTest, DigitsOnTheirWay) {
    for (const Request& request : all_requests_) {
        for (const u64 skip : {0, 1}) {
            if (skip == 1 && !request.hexadecimal) continue;
            for (const u64 place : {u64(0), u64(1234), kHexDigits - 1}) {
                const std::string what = text_of(request) + " digit " + std::to_string(place);
                expect_corrected(run({"digits", flip_byte(place), skip}, request), what);
                const Outcome twice = run({"digits", flip_byte(place), skip, 2}, request);
                EXPECT_EQ(twice.error, kChanged) << what;
            }
        }
    }
}

// A packed file is made of the words that were unpacked for the counts. It is read back, or the words are
// hashed as well.
TEST_F(DigitChainTest, WordsOnTheirWayIntoAPackedFile) {
    for (const u64 word : {u64(0), u64(12), u64(150)}) {
        const Outcome without = run({"words", flip_word(word)}, {true, false, false, kKvdFormat});
        expect_corrected(without, std::to_string(word));
        if (word == 0) continue;  // of the word that is cut the file takes the digits
        const Outcome verified = run({"words", flip_word(word)}, {true, true, false, kKvdFormat});
        expect_refused(verified, "Digit output failed. Metadata cross-check doesn't match.",
                       std::to_string(word));
    }
}

TEST_F(DigitChainTest, Counts) {
    for (const Request& request : all_requests_) {
        expect_corrected(run({"counts", flip_byte(3 * 8)}, request), text_of(request));
    }
}

TEST_F(DigitChainTest, TheValueBeforeTheConversion) {
    for (const Request& request : all_requests_) {
        for (const u64 word : {u64(0), u64(1), u64(70), value_words(kDigits + kGuard)}) {
            expect_refused(run({"number", flip_value(word)}, request), kDamaged, text_of(request));
        }
    }
}

// Between the look at it before the conversion and the one behind it: at the second stage "number" the words
// are read for the last time before they are verified or written.
TEST_F(DigitChainTest, TheValueDuringTheConversion) {
    for (const Request& request : all_requests_) {
        for (const u64 word : {u64(0), u64(1), u64(70), value_words(kDigits + kGuard)}) {
            expect_refused(run({"number", flip_value(word), 1}, request), kDamaged, text_of(request));
        }
    }
}

// A flipped integer part changes both sides of the verification alike.
TEST_F(DigitChainTest, TheValueBeforeTheVerification) {
    for (const Request& request : all_requests_) {
        if (!request.verify) continue;
        for (const u64 word : {u64(0), u64(1), u64(70)}) {
            expect_refused(run({"radix words", flip_value(word)}, request), kDamaged, text_of(request));
        }
    }
}

TEST_F(DigitChainTest, TheValueBeforeHexadecimalDigits) {
    for (const Request& request : all_requests_) {
        if (!request.hexadecimal) continue;
        for (const u64 word : {u64(0), u64(1), u64(70)}) {
            expect_refused(run({"verified words", flip_value(word)}, request), kDamaged, text_of(request));
        }
    }
}

// Words whose digits are written already: first and last digits are taken from them again.
TEST_F(DigitChainTest, TheValueWhileHexadecimalDigitsAreWritten) {
    for (const Request& request : all_requests_) {
        if (!request.hexadecimal) continue;
        for (const u64 word : {u64(0), u64(1), u64(154)}) {
            expect_refused(run({"digits", flip_value(word)}, request), kDamaged, text_of(request));
        }
    }
}

}  // namespace
}  // namespace kalvor
