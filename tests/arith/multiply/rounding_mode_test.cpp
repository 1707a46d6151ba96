// A processor that does not round to nearest: no algorithm may deliver a wrong product. Those that compute in
// floating-point numbers say what is wrong and refuse; the others are right anyway.
#include <gtest/gtest.h>

#include <cfenv>
#include <random>
#include <thread>

#include "arith/multiply/algorithm_table.h"
#include "arith/multiply/dispatch.h"
#include "base/errors/exceptions.h"
#include "reference/mpz_words.h"
#include "reference/words.h"
#include "support/capture_console.h"
#include "support/monitored_run.h"
#include "support/scratch.h"

using namespace trel;
using reference::Words;

namespace {

class RoundingMode {
  public:
    explicit RoundingMode(int mode) { std::fesetround(mode); }
    ~RoundingMode() { std::fesetround(FE_TONEAREST); }
    RoundingMode(const RoundingMode&) = delete;
    RoundingMode& operator=(const RoundingMode&) = delete;
};

enum class Outcome { right, wrong, refused };

// The product in a rounding mode; what was printed.
template <class F>
Outcome outcome(int mode, const Words& want, std::string& printed, F&& multiply) {
    CaptureConsole console;
    MonitoredRun run;
    Words T(want.size());
    Outcome result = Outcome::wrong;
    try {
        const RoundingMode changed(mode);
        multiply(T.data(), run);
        if (T == want) result = Outcome::right;
    } catch (const ConvolutionFailedException& e) {
        EXPECT_EQ(e.message, "Coefficient is too large.");
        EXPECT_GE(e.second, e.first);
        result = Outcome::refused;
    }
    EXPECT_EQ(console.text(), "") << "a product does not print";
    run.show();
    printed = console.take();
    return result;
}

const char kReport[] = "The FPU Control Word has been corrupted.\n";

TEST(RoundingModeTest, EveryAlgorithmIsRightOrRefuses) {
    std::mt19937_64 rng(1);
    for (const char* name : {"BKT", "FFT", "N32", "N64", "HNT", "VST", "C17"}) {
        const AlgorithmEntry* entry = find_algorithm(TableSlot::basic64, name);
        if (entry == nullptr) continue;
        for (u64 n : {20, 100, 1000, 3000, 8000}) {
            if (64 * n > entry->max_bits) continue;
            Words A(n / 2), B(n - n / 2);
            for (Word& w : A) w = rng();
            for (Word& w : B) w = rng();
            const Words want = reference::to_words(reference::to_mpz(A) * reference::to_mpz(B), n);
            Scratch scratch(entry->algorithm->mSBsize(n));
            for (int mode : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
                SCOPED_TRACE(testing::Message() << name << ", " << n << " words, mode " << mode);
                std::string printed;
                const Outcome result = outcome(mode, want, printed, [&](Word* T, MonitoredRun& run) {
                    entry->algorithm->mul({run.context(), scratch.view()}, T, A.data(), A.size(), B.data(),
                                          B.size());
                });
                EXPECT_NE(result, Outcome::wrong);
                EXPECT_EQ(printed, result == Outcome::refused ? kReport : "");
            }
            std::string printed;
            EXPECT_EQ(outcome(FE_TONEAREST, want, printed,
                              [&](Word* T, MonitoredRun& run) {
                                  entry->algorithm->mul({run.context(), scratch.view()}, T, A.data(),
                                                        A.size(), B.data(), B.size());
                              }),
                      Outcome::right);
            EXPECT_EQ(printed, "");
        }
    }
}

TEST(RoundingModeTest, TransformsOfTheTableRefuse) {
    std::mt19937_64 rng(2);
    for (u64 n : {81, 700, 3264, 3265, 9000}) {
        Words A(n / 2), B(n - n / 2);
        for (Word& w : A) w = rng();
        for (Word& w : B) w = rng();
        const Words want = reference::to_words(reference::to_mpz(A) * reference::to_mpz(B), n);
        Scratch scratch(multiply_scratch_bytes(n));
        for (int mode : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
            SCOPED_TRACE(testing::Message() << n << " words, mode " << mode);
            std::string printed;
            const Outcome result = outcome(mode, want, printed, [&](Word* T, MonitoredRun& run) {
                multiply_full({run.context(), scratch.view()}, T, A.data(), A.size(), B.data(), B.size());
            });
            EXPECT_EQ(result, Outcome::refused);
            EXPECT_EQ(printed, kReport);
        }
    }
}

// Runs the first task on a thread of its own in a wrong rounding mode, before or beside the others.
class WrongThread final : public BasicParallelizer {
  public:
    explicit WrongThread(bool alone) : alone_(alone) {}
    void run_in_parallel(BasicAction& a, BasicAction& b) override {
        a.run(0);
        b.run(0);
    }
    void run_in_parallel(BasicAction& action, u64 begin, u64 end) override {
        std::thread wrong([&action, begin] {
            const RoundingMode changed(FE_DOWNWARD);
            action.run(begin);
        });
        if (alone_) wrong.join();
        for (u64 i = begin + 1; i < end; i++) action.run(i);
        if (!alone_) wrong.join();
    }

  private:
    bool alone_;
};

// Only a worker thread's mode is wrong: tasks look at their own. N32 and N64 compute in integers.
TEST(RoundingModeTest, TasksLookAtTheirOwnThread) {
    std::mt19937_64 rng(3);
    constexpr u64 n = 40000;
    Words A(n / 2), B(n - n / 2);
    for (Word& w : A) w = rng();
    for (Word& w : B) w = rng();
    const Words want = reference::to_words(reference::to_mpz(A) * reference::to_mpz(B), n);
    const Words square = reference::to_words(reference::to_mpz(A) * reference::to_mpz(A), n);
    for (const char* name : {"FFT", "C17", "VST", "HNT", "N32", "N64"}) {
        SCOPED_TRACE(name);
        const MultiplyAlgorithm& algorithm = *find_algorithm(TableSlot::basic64, name)->algorithm;
        const bool integers = name[0] == 'N';
        Scratch scratch(algorithm.mSBsize(n));
        for (const bool alone : {true, false}) {
            WrongThread framework(alone);
            for (const bool squares : {false, true}) {
                std::string printed;
                const Outcome result =
                    outcome(FE_TONEAREST, squares ? square : want, printed, [&](Word* T, MonitoredRun& run) {
                        const MultiplyContext context{run.context({&framework, 2}), scratch.view()};
                        if (squares) {
                            algorithm.sqr(context, T, A.data(), A.size());
                        } else {
                            algorithm.mul(context, T, A.data(), A.size(), B.data(), B.size());
                        }
                    });
                EXPECT_NE(result, Outcome::wrong);
                // beside others the thread may find nothing left to do
                if (alone || integers) {
                    EXPECT_EQ(result, integers ? Outcome::right : Outcome::refused);
                }
                EXPECT_EQ(printed, result == Outcome::refused ? kReport : "");
            }
        }
        // a transform alone
        if (integers || name[0] == 'H') continue;
        WrongThread framework(true);
        TransformHolder transform;
        algorithm.make_transform(transform, n, {serial_context(), {}});
        Scratch data(transform->data_bytes()), own(transform->scratch_bytes());
        CaptureConsole console;
        MonitoredRun run;
        EXPECT_THROW(
            transform->forward(run.context({&framework, 2}), data.data(), A.data(), A.size(), own.data()),
            ConvolutionFailedException);
        run.show();
        EXPECT_EQ(console.take(), kReport);
    }
}

// Whose name a failure bears.
TEST(RoundingModeTest, FailuresNameTheAlgorithm) {
    constexpr u64 n = 4000;
    const Words A(n / 2, 12345);
    for (const char* name : {"FFT", "C17", "VST", "HNT"}) {
        const MultiplyAlgorithm& algorithm = *find_algorithm(TableSlot::basic64, name)->algorithm;
        Scratch scratch(algorithm.mSBsize(n));
        Words T(n);
        CaptureConsole console;
        try {
            const RoundingMode changed(FE_UPWARD);
            algorithm.sqr({serial_context(), scratch.view()}, T.data(), A.data(), A.size());
            FAIL() << name;
        } catch (const ConvolutionFailedException& e) {
            EXPECT_EQ(e.function, name);
            EXPECT_EQ(e.message, "Coefficient is too large.");
        }
    }
}

}  // namespace
