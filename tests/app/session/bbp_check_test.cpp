#include "app/session/bbp_check.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "base/status/linear_console_node.h"
#include "constants/catalog/catalog.h"
#include "digits/bbp/bbp_session.h"
#include "support/capture_console.h"

namespace kalvor {
namespace {

// Hexadecimal digits of Pi, of which some may be changed; counts how many are asked for at a time.
class Digits final : public BasicDigitReader {
  public:
    explicit Digits(u64 n) : BasicDigitReader(16) {
        RunMonitor monitor;
        const std::string text = BBPv2::pi_digits(BBPv2::kOriginalBbp, 0, n, {}, monitor);
        for (const char c : text) values.push_back(static_cast<u8>(c <= '9' ? c - '0' : c - 'A' + 10));
    }
    std::string first_digits() const override { return "3."; }
    u64 total_digits() const override { return values.size(); }
    u64 buffer_size(u64, u64) const override { return 64; }
    void load_digits(u8* to, u64 start, u64 count, AlignedBufferC, const ParallelContext&) override {
        most_at_once = std::max(most_at_once, count);
        std::copy_n(values.begin() + static_cast<std::ptrdiff_t>(start), count, to);
    }
    void load_stats(DigitRangeStats&, u64, u64, AlignedBufferC, const ParallelContext&) override {}

    std::vector<u8> values;
    u64 most_at_once = 0;
};

BbpCheck check(Digits& digits, u64 last, u64 n) {
    RunMonitor monitor;
    BBPv2::Workers workers;
    workers.threads = 2;
    return bbp_check(digits, last, n, workers, monitor);
}

TEST(BbpCheckTest, FromTheFirstDigitAndFromBehind) {
    Digits digits(2000);
    for (const auto& [last, n] : {std::pair<u64, u64>{8, 8}, {9, 8}, {2000, 2000}, {2000, 8}, {1999, 33}}) {
        const BbpCheck found = check(digits, last, n);
        EXPECT_EQ(found.good_through, last);
        EXPECT_EQ(found.mismatch, 0u);
    }
}

TEST(BbpCheckTest, EachBitOfTheCheckedDigitsCounts) {
    Digits digits(1000);
    for (const u64 position : {969, 970, 999, 1000}) {
        for (int bit = 0; bit < 4; bit++) {
            u8& digit = digits.values[position - 1];
            digit = static_cast<u8>(digit ^ (1 << bit));
            const BbpCheck found = check(digits, 1000, 32);
            EXPECT_EQ(found.mismatch, position);
            EXPECT_EQ(found.good_through, position == 969 ? 0 : position - 1);
            digit = static_cast<u8>(digit ^ (1 << bit));
        }
    }
    // One outside does not.
    digits.values[967] ^= 1;
    EXPECT_EQ(check(digits, 1000, 32).mismatch, 0u);
}

TEST(BbpCheckTest, ManyDigitsComeInPieces) {
    Digits digits(70000);
    EXPECT_EQ(check(digits, 70000, 70000).good_through, 70000u);
    EXPECT_LE(digits.most_at_once, 65536u);
    digits.values[69999] ^= 8;
    EXPECT_EQ(check(digits, 70000, 70000).mismatch, 70000u);
}

// It may take minutes: it says how far it is.
TEST(BbpCheckTest, Progress) {
    Digits digits(2000);
    RunMonitor monitor;
    std::vector<double> parts;
    bbp_check(digits, 2000, 2000, {}, monitor, [&](double part) { parts.push_back(part); });
    EXPECT_GE(parts.size(), 14u);
    EXPECT_TRUE(std::is_sorted(parts.begin(), parts.end()));
    EXPECT_GT(parts.front(), 0);
    EXPECT_DOUBLE_EQ(parts.back(), 1);
    const BbpRequest few{83000000, 32, 1}, many{83000000, 1000000, 1};
    EXPECT_GT(few.seconds(), 0.1);
    EXPECT_GT(many.seconds(), 10 * few.seconds());
}

// One side was damaged, and it was not the digits of the run.
TEST(BbpCheckTest, WhatDiffersIsComputedAgain) {
    class WrongAtFirst final : public BasicDigitReader {
      public:
        WrongAtFirst(Digits& digits, int times) : BasicDigitReader(16), digits_(digits), times_(times) {}
        std::string first_digits() const override { return digits_.first_digits(); }
        u64 total_digits() const override { return digits_.total_digits(); }
        u64 buffer_size(u64 count, u64 limit) const override { return digits_.buffer_size(count, limit); }
        void load_digits(u8* to, u64 start, u64 count, AlignedBufferC scratch,
                         const ParallelContext& parallel) override {
            digits_.load_digits(to, start, count, scratch, parallel);
            if (times_-- > 0) to[3] ^= 1;
        }
        void load_stats(DigitRangeStats&, u64, u64, AlignedBufferC, const ParallelContext&) override {}

      private:
        Digits& digits_;
        int times_;
    };
    Digits digits(1000);
    for (const int times : {0, 1, 2}) {
        RunMonitor monitor;
        ParallelContext parallel = trel::serial_context();
        parallel.run = &monitor;
        WrongAtFirst wrong(digits, times);
        const BbpCheck found = bbp_check(wrong, {1000, 32, 1}, trel::null_status(), parallel);
        EXPECT_EQ(found.mismatch, times == 2 ? 972u : 0u);
        EXPECT_EQ(monitor.checks.corrected, times == 1 ? 1u : 0u);
        if (times != 1) continue;
        EXPECT_EQ(monitor.corrections.all(),
                  std::vector<std::string>{"last hexadecimal digits, 32 digits (Mismatch at 972)"});
    }
}

// What a run does that nobody has asked.
TEST(BbpRequestTest, Unasked) {
    ComputeSettings settings;
    settings.parallelism.logical_cores = 4;
    settings.parallelism.task_decomposition = 16;
    const auto request = [&](u64 digits) { return bbp_request(settings, ComputeSize::from_decimal(digits)); };
    for (const u64 digits : {u64(1000), u64(1000000), u64(10000000), u64(1000000000000)}) {
        EXPECT_EQ(request(digits).digits, 32u) << digits;
        EXPECT_EQ(request(digits).last, ComputeSize::from_decimal(digits).hexadecimal_digits);
    }
    // Where there are so many digits.
    EXPECT_EQ(request(38).digits, 32u);
    EXPECT_EQ(request(37).digits, 0u);

    settings.output_verify = false;
    EXPECT_EQ(request(1000000).digits, 0u);
    settings.bbp_digits = 8;
    EXPECT_EQ(request(1000000).digits, 8u);
    settings.output_verify = true;
    EXPECT_EQ(request(1000000).digits, 8u);
    settings.bbp_digits = 0;
    settings.constant = make_constant("sqrt", "2");
    EXPECT_EQ(request(1000000).digits, 0u);
    EXPECT_EQ(request(1000000).bytes(), 0u);
    EXPECT_DOUBLE_EQ(request(1000000).seconds(), 0);
}

TEST(BbpRequestTest, ThreadsAndMemory) {
    ComputeSettings settings;
    const auto request = [&](u64 cores, u64 tasks, u64 digits) {
        settings.parallelism.logical_cores = cores;
        settings.parallelism.task_decomposition = tasks;
        return bbp_request(settings, ComputeSize::from_decimal(digits));
    };
    EXPECT_EQ(request(4, 16, 10000000).threads, 4u);
    EXPECT_EQ(request(4, 1, 10000000).threads, 1u);
    // 1,660,970 terms of each sub-sum, and 166,100.
    EXPECT_EQ(request(64, 64, 10000000).threads, 9u);
    EXPECT_EQ(request(64, 64, 1000000).threads, 1u);
    EXPECT_EQ(request(4, 4, 10000000).bytes(), 4 * request(1, 1, 10000000).bytes());
    settings.bbp_digits = 1048576;
    EXPECT_GT(request(2, 2, 2000000).bytes(), u64(12) << 20);
}

TEST(BbpCheckTest, ItsLine) {
    CaptureConsole console(CaptureConsole::terminal, true);
    trel::LinearConsoleNode status(79, 1.0);
    report(status, {1234567, 0});
    report(status, {1233, 1234});
    EXPECT_EQ(console.take(),
              "{w}BBP Check: {G}Good through 1,234,567{w}\n{w}BBP Check: {R}Mismatch at 1,234{w}\n");
}

}  // namespace
}  // namespace kalvor
