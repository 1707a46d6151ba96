// Sums on several threads, and what they are worth: two formulas that share no term.
#include "digits/bbp/bbp_sum.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <random>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

#include "base/errors/exceptions.h"
#include "base/status/linear_console_node.h"
#include "digits/bbp/bbp_session.h"
#include "digits/bbp/range_sum.h"
#include "reference/bbp_reference.h"
#include "support/capture_console.h"

namespace kalvor::BBPv2 {
namespace {

using trel::u32;
using trel::u64;

Workers workers(u64 threads, Modes modes = {}) {
    Workers w;
    w.threads = threads;
    w.modes = modes;
    return w;
}

TEST(BbpSumTest, Chunks) {
    EXPECT_EQ(chunk_size(1, 4), 1u);
    EXPECT_EQ(chunk_size(9999, 4), 9999u);
    EXPECT_EQ(chunk_size(10000, 4), 10000u);
    EXPECT_EQ(chunk_size(79999, 4), 10000u);
    EXPECT_EQ(chunk_size(80000, 4), 10001u);
    EXPECT_EQ(chunk_size(200000, 1), 100001u);
    EXPECT_EQ(chunk_size(1000000000000, 4), 400000000u);
    EXPECT_EQ(chunk_size(12000, 65536), 10000u);
}

// The calling thread may be one of the workers, or the only one.
TEST(BbpSumTest, TheCallerWorks) {
    const SubSum s = at_offset(formula(kBellardBbp).sub_sums[0], 100000);
    trel::RunMonitor other;
    const FractionFloat right = sum_terms(s, 50000, 4, workers(2), other, [](u64) {});
    for (const u64 threads : {1, 3}) {
        Workers w = workers(threads);
        w.caller_works = true;
        trel::RunMonitor monitor, stopped, failing;
        std::vector<u64> done;
        w.processors = {0};
        static std::atomic<u64> on_caller, elsewhere;
        static std::atomic<std::thread::id> caller;
        on_caller = elsewhere = 0;
        caller = std::this_thread::get_id();
        w.set_affinity = [](const std::vector<u32>&) -> trel::os::OsError {
            (std::this_thread::get_id() == caller.load() ? on_caller : elsewhere)++;
            return {};
        };
        const FractionFloat sum = sum_terms(s, 50000, 4, w, monitor, [&](u64 n) { done.push_back(n); });
        EXPECT_EQ(sum.hexadecimal(40), right.hexadecimal(40));
        EXPECT_EQ(on_caller, 1u);
        EXPECT_EQ(elsewhere, threads - 1);
        EXPECT_EQ(done.back(), 50000u);
        // A stop reaches it too.
        stopped.stop.request();
        EXPECT_THROW(sum_terms(s, 50000, 4, w, stopped, [](u64) {}), trel::RunStopped);
        w.processors = {};
        w.modes = {{false, false, false}};
        EXPECT_THROW(sum_terms(s, 50000, 4, w, failing, [](u64) {}), trel::InvalidParametersException);
    }
}

// Every number of threads, mode and instruction set: the bits of the definition.
TEST(BbpSumTest, ThreadsAndModesDoNotMatter) {
    trel::RunMonitor monitor;
    const SubSum s = at_offset(formula(kBellardBbp).sub_sums[8], 150000);
    const Figures f = figures_of(kBellardBbp, 150000, 33);
    const std::string want = reference::bbp_sum(s, 0, f.terms, 48 * f.limbs).get_str(16);
    for (const trel::Isa isa : trel::available_isas()) {
        for (const u64 threads : {1, 2, 7}) {
            for (const Modes modes : {Modes{}, Modes{{true, false, false}}, Modes{{false, true, false}},
                                      Modes{{false, false, true}}, Modes{{false, true, true}}}) {
                Workers w = workers(threads, modes);
                w.kernels = &bbp_kernels(isa);
                u64 n_last = 0;
                const FractionFloat sum = sum_terms(s, f.terms, f.limbs, w, monitor, [&](u64 n_done) {
                    EXPECT_GE(n_done, n_last);
                    n_last = n_done;
                });
                EXPECT_EQ(n_last, f.terms);
                EXPECT_EQ(reference::mpz_of_limbs(sum.limbs()).get_str(16), want)
                    << trel::isa_name(isa) << " " << threads << " " << modes.text();
            }
        }
    }
}

// Digits 1,000,001 to 1,000,032, seen from both formulas.
constexpr const char* kMillion = "6C65E52CB459350050E4BB178F4C67A0";
constexpr const char* kTenMillion = "7AF5863EFED8DE97033CD0F6B80A3D26";
constexpr const char* kHundredMillion = "CB840E21926EC5AE0D2F3405104593CB";

TEST(BbpSumTest, DigitsAtAMillion) {
    trel::RunMonitor monitor;
    EXPECT_EQ(pi_digits(kOriginalBbp, 1000000, 32, workers(2), monitor), kMillion);
    EXPECT_EQ(pi_digits(kBellardBbp, 1000000, 32, workers(2), monitor), kMillion);
}

TEST(SlowBbpSumTest, DigitsAtTenAndAHundredMillion) {
    trel::RunMonitor monitor;
    EXPECT_EQ(pi_digits(kOriginalBbp, 10000000, 32, workers(2), monitor), kTenMillion);
    EXPECT_EQ(pi_digits(kBellardBbp, 10000000, 32, workers(2), monitor), kTenMillion);
    EXPECT_EQ(pi_digits(kOriginalBbp, 100000000, 32, workers(2), monitor), kHundredMillion);
    EXPECT_EQ(pi_digits(kBellardBbp, 100000000, 32, workers(2), monitor), kHundredMillion);
}

TEST(BbpSumTest, FormulasAgreeAtRandomOffsets) {
    trel::RunMonitor monitor;
    std::mt19937_64 rng(31);
    for (int i = 0; i < 20; i++) {
        const u64 offset = rng() % 300000;
        const u64 digits = 8 + rng() % 200;
        const u64 overlap = rng() % digits;
        const std::string a = pi_digits(kOriginalBbp, offset, digits, workers(1), monitor);
        const std::string b = pi_digits(kBellardBbp, offset + overlap, digits, workers(1), monitor);
        EXPECT_EQ(a.substr(overlap), b.substr(0, digits - overlap)) << offset << " " << digits;
    }
}

// What the agreement is worth: any bit of a partial sum that is flipped within the requested digits makes the
// two disagree, wherever it is and in whichever sub-sum.
TEST(BbpSumTest, AFlippedBitIsSeen) {
    trel::RunMonitor monitor;
    std::mt19937_64 rng(32);
    const u64 offset = 5000, digits = 32;
    const Figures f = figures_of(kBellardBbp, offset, digits);
    const std::string right = pi_digits(kOriginalBbp, offset, digits, workers(1), monitor);
    std::vector<FractionFloat> sums;
    const auto& sub_sums = formula(kBellardBbp).sub_sums;
    for (const SubSum& s : sub_sums) {
        sums.push_back(sum_terms(at_offset(s, offset), f.terms, f.limbs, workers(1), monitor, [](u64) {}));
    }
    const auto total_digits = [&] {
        FractionFloat total(f.limbs);
        for (u64 i = 0; i < sums.size(); i++) {
            if (sub_sums[i].negative) {
                total.subtract(sums[i]);
            } else {
                total.add(sums[i]);
            }
        }
        return total.hexadecimal(digits);
    };
    ASSERT_EQ(total_digits(), right);
    for (FractionFloat& sum : sums) {
        for (u64 bit = 0; bit < 4 * digits; bit++) {
            u64& limb = sum.limbs()[bit / 48];
            limb ^= u64(1) << (47 - bit % 48);
            ASSERT_NE(total_digits(), right) << "bit " << bit;
            limb ^= u64(1) << (47 - bit % 48);
        }
    }
    ASSERT_EQ(total_digits(), right);
}

TEST(BbpSumTest, StopsWhenAsked) {
    trel::RunMonitor monitor;
    const SubSum s = at_offset(formula(kOriginalBbp).sub_sums[0], 1000000000);
    const u64 n = figures_of(kOriginalBbp, 1000000000, 32).terms;
    u64 n_seen = 0;
    EXPECT_THROW(sum_terms(s, n, 4, workers(2), monitor,
                           [&](u64 n_done) {
                               n_seen = n_done;
                               monitor.stop.request();
                           }),
                 trel::RunStopped);
    EXPECT_LT(n_seen, n);
}

TEST(BbpSumTest, WorkersArePinnedInTurn) {
    static std::mutex mutex;
    static std::multiset<u32> asked;
    asked.clear();
    trel::RunMonitor monitor;
    Workers w = workers(5);
    w.processors = {3, 8};
    w.set_affinity = [](const std::vector<u32>& processors) -> trel::os::OsError {
        const std::lock_guard<std::mutex> lock(mutex);
        asked.insert(processors.begin(), processors.end());
        return {};
    };
    const SubSum s = at_offset(formula(kOriginalBbp).sub_sums[0], 100);
    sum_terms(s, 100, 4, w, monitor, [](u64) {});
    EXPECT_EQ(asked, (std::multiset<u32>{3, 3, 3, 8, 8}));
}

// What a monitor warns of, as the console shows it.
std::string warned(trel::RunMonitor& monitor) {
    CaptureConsole console;
    trel::LinearConsoleNode status(79, 1);
    monitor.warnings.report(status);
    return console.take();
}

TEST(BbpSumTest, PinningRefusedIsOneWarning) {
    trel::RunMonitor monitor;
    Workers w = workers(4);
    w.processors = {0};
    w.set_affinity = [](const std::vector<u32>&) {
        return trel::os::OsError{1, trel::os::ErrorCategory::other};
    };
    const SubSum s = at_offset(formula(kOriginalBbp).sub_sums[0], 100);
    const FractionFloat pinned = sum_terms(s, 100, 4, w, monitor, [](u64) {});
    EXPECT_TRUE(pinned == sum_terms(s, 100, 4, workers(1), monitor, [](u64) {}));
    EXPECT_EQ(warned(monitor), "\nFailed to set thread affinity.\n");
}

// The splitter makes no such pieces.
TEST(BbpSumTest, PiecesBeyondTheirModeAreWarnedOf) {
    const SubSum s{8, 1, -4, 2, false};
    const std::pair<Mode, const char*> rows[] = {
        {Mode::a, "\nMaximum coefficient size of 2^49 has been exceeded.\n"},
        {Mode::b, "\nMaximum coefficient size of 2^51 has been exceeded.\n"},
        {Mode::c, "\nMaximum coefficient size of 2^61 has been exceeded.\n"}};
    for (const auto& [mode, text] : rows) {
        const u64 last = (mode_row(mode).limit - s.b) / s.a;
        trel::RunMonitor monitor;
        warn_of_large_divisors(s, {mode, last, last + 1}, monitor.warnings);
        EXPECT_EQ(warned(monitor), "");
        warn_of_large_divisors(s, {mode, last, last + 2}, monitor.warnings);
        EXPECT_EQ(warned(monitor), text);
    }
}

TEST(BbpSumTest, ExceptionsOfWorkersReachTheCaller) {
    const SubSum s = at_offset(formula(kOriginalBbp).sub_sums[0], 100);
    Workers w = workers(3);
    w.processors = {0};
    const std::string told = "\nAn exception was thrown from a worker thread.\n";
    {
        trel::RunMonitor monitor;
        EXPECT_THROW(sum_terms(s, 50000, 4, workers(1, {{false, false, false}}), monitor, [](u64) {}),
                     trel::InvalidParametersException);
        EXPECT_EQ(warned(monitor), told);
    }
    {
        trel::RunMonitor monitor;
        w.threads = 1;
        w.set_affinity = [](const std::vector<u32>&) -> trel::os::OsError { throw std::runtime_error("x"); };
        EXPECT_THROW(sum_terms(s, 50000, 4, w, monitor, [](u64) {}), std::runtime_error);
        EXPECT_EQ(warned(monitor), told);
    }
    {
        trel::RunMonitor monitor;
        w.threads = 3;
        w.set_affinity = [](const std::vector<u32>&) -> trel::os::OsError { throw 5; };
        try {
            sum_terms(s, 50000, 4, w, monitor, [](u64) {});
            FAIL();
        } catch (const trel::StringException& e) {
            EXPECT_EQ(e.message, "An unknown exception was thrown from a worker thread.");
        }
    }
    {
        // The progress is the caller's own.
        trel::RunMonitor monitor;
        EXPECT_THROW(sum_terms(s, 50000, 4, workers(2), monitor, [](u64) { throw 7; }), int);
    }
}

}  // namespace
}  // namespace kalvor::BBPv2
