#include "app/session/bbp_check.h"

#include <gtest/gtest.h>

#include "base/status/linear_console_node.h"
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
