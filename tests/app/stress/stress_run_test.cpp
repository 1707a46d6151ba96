// The run of the stress tester on a played machine.
#include "app/stress/stress_run.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "app/stress/stress_machine.h"
#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "base/status/linear_network_node.h"
#include "support/effort.h"

namespace kalvor {
namespace {

// One test on three cores for four iterations; bit `bit` of the result of iteration 2 on core 1 is wrong.
class InjectedFault {
  public:
    explicit InjectedFault(const char* tag, u64 bit, bool stop_on_error = false) : machine(3) {
        machine.only({tag});
        machine.settings().seconds_per_test = 0;
        machine.settings().seconds_total = 40;
        machine.settings().stop_on_error = stop_on_error;
        machine.on_iteration = [this, bit](u32 core, std::string_view, u64 iteration, void* product,
                                           u64 bytes) {
            if (core != 1 || iteration != 2 || done_) return;
            done_ = true;
            const u64 place = bit % (8 * bytes);
            static_cast<u8*>(product)[place / 8] ^= static_cast<u8>(1u << place % 8);
            machine.give_up(core);
        };
    }
    PlayedMachine machine;

  private:
    bool done_ = false;
};

class EveryStressTest : public testing::TestWithParam<const char*> {};
INSTANTIATE_TEST_SUITE_P(Stress, EveryStressTest,
                         testing::Values("BKT", "BBP", "SFT", "FFT", "N32", "N64", "HNT", "VST", "C17"),
                         [](const auto& info) { return std::string(info.param); });

TEST_P(EveryStressTest, Passes) {
    PlayedMachine machine(3);
    machine.only({GetParam()});
    machine.settings().seconds_total = 60;
    machine.settings().seconds_per_test = 0;
    EXPECT_TRUE(machine.run()) << machine.text();
    EXPECT_EQ(machine.count("Passed\n"), 1u) << machine.text();
    EXPECT_EQ(machine.count("Failed") + machine.count("Error"), 0u) << machine.text();
    for (u32 core = 0; core < 3; core++) {
        // No thread has begun another turn.
        ASSERT_EQ(machine.iterations(core).size(), 1u);
        EXPECT_GE(machine.iterations(core)[0], 6u);
    }
}

TEST_P(EveryStressTest, AFlippedBitIsThatCoresFailureAndNobodyElses) {
    constexpr u64 kBits[] = {12345677, 0, ~u64(0) - 7};
    for (unsigned i = 0; i < std::size(kBits); i += kalvor_test::thinned(3)) {
        const u64 bit = kBits[i];
        InjectedFault fault(GetParam(), bit);
        PlayedMachine& machine = fault.machine;
        EXPECT_FALSE(machine.run());
        EXPECT_EQ(machine.count("Checksum Mismatch\n"), 1u) << machine.text();
        EXPECT_EQ(machine.count("Error(s) encountered on logical core 1.\n"), 1u) << machine.text();
        EXPECT_EQ(machine.count("Error(s)"), 1u) << machine.text();
        // The report says what it was doing, and with how much.
        const StressTest& test = *find_stress_test(GetParam());
        EXPECT_TRUE(machine.has(
            "\nError(s) encountered on logical core 1.\n  Test:  " + std::string(test.texts().tag) + " - " +
            test.texts().name + ", " +
            Console::format_commas(test.size_for(machine.settings().memory_per_thread())) + " " +
            test.texts().unit + "\n"))
            << machine.text();
        EXPECT_EQ(machine.count("Failed\n"), 1u);
        EXPECT_EQ(machine.count("Passed"), 0u);
        // It was seen in that iteration; the others went on.
        EXPECT_EQ(machine.iterations(1)[0], 3u);
        EXPECT_GE(machine.iterations(0)[0], 4u);
        EXPECT_GE(machine.iterations(2)[0], 4u);
    }
}

// Changes one bit of a product inside of its transform, once, on the worker that has it.
class OneFlip final : public ComputationStages {
  public:
    explicit OneFlip(std::function<void()> at_flip) : at_flip_(std::move(at_flip)) {}
    void at(const char* stage, void* memory, u64 bytes) override {
        if (std::string_view(stage) != "product" || bytes == 0 || flipped_ || ++seen_ < 3) return;
        flipped_ = true;
        static_cast<u8*>(memory)[bytes / 2] ^= 16;
        at_flip_();
    }
    bool flipped() const { return flipped_; }

  private:
    std::function<void()> at_flip_;
    u64 seen_ = 0;
    bool flipped_ = false;
};

class EveryProductTest : public testing::TestWithParam<const char*> {};
INSTANTIATE_TEST_SUITE_P(Stress, EveryProductTest,
                         testing::Values("BKT", "SFT", "FFT", "N32", "N64", "HNT", "VST", "C17"),
                         [](const auto& info) { return std::string(info.param); });

TEST_P(EveryProductTest, OneThatMendedItselfIsAFailure) {
    PlayedMachine machine(2);
    machine.only({GetParam()});
    machine.settings().seconds_per_test = 0;
    machine.settings().seconds_total = 60;
    std::atomic<bool> flipped = false;
    OneFlip flip([&] { flipped = true; });
    machine.calls().stages = [&](u32 core) { return core == 1 ? &flip : nullptr; };
    machine.on_iteration = [&](u32 core, std::string_view, u64, void*, u64) {
        if (core == 1 && flipped) machine.give_up(1);
    };
    EXPECT_FALSE(machine.run());
    ASSERT_TRUE(flip.flipped());
    EXPECT_EQ(machine.count("Checksum Mismatch\n"), 1u) << machine.text();
    EXPECT_EQ(machine.count("Error(s) encountered on logical core 1.\n"), 1u) << machine.text();
    EXPECT_EQ(machine.count("Error(s)"), 1u) << machine.text();
}

TEST(StressRunTest, AWholeRun) {
    PlayedMachine machine(2, 1 << 20);
    machine.only({"BKT", "SFT"});
    machine.settings().seconds_per_test = 40;
    // Far more than the three tests that are looked at: on a busy machine one thread's work may pass most of
    // it.
    machine.settings().seconds_total = 600;
    EXPECT_TRUE(machine.run());
    std::string text = machine.text();
    // The played clock goes by the work of threads; only its figures are not always the same.
    for (const char* label : {"  Test Time:  ", "  Total Elapsed Time: "}) {
        for (size_t at = text.find(label); at != std::string::npos; at = text.find(label, at)) {
            at += std::string_view(label).size();
            const size_t end = text.find('\n', at);
            EXPECT_NE(text.substr(at, end - at).find(" seconds  ( "), std::string::npos);
            text.replace(at, end - at, "#");
        }
    }
    const std::string begin =
        "Allocating Memory...\nWorking Memory...  1.00 MiB  (  512 KiB per thread )  spread: ?\n";
    ASSERT_TRUE(text.starts_with(begin)) << text;
    const std::string result = "Passed\n  Test Time:  #\n  Total Elapsed Time: #\n";
    const std::string bkt = "Running BKT - Basecase + Karatsuba\n" + result;
    const std::string sft = "Running SFT - Small In-Cache FFT\n" + result;
    const std::string both = bkt + sft;
    ASSERT_TRUE(text.starts_with(begin + "\nIteration 1\n\n" + both + "\nIteration 2\n\n" + bkt)) << text;
    EXPECT_TRUE(text.ends_with(result + "\nTest Finished. Waiting for threads to terminate...\n")) << text;
}

TEST(StressRunTest, AnErrorEndsTheRunWhereThatIsSet) {
    InjectedFault fault("BKT", 5, true);
    PlayedMachine& machine = fault.machine;
    machine.only({"BKT", "SFT"});
    machine.settings().seconds_per_test = 50;
    machine.settings().seconds_total = 0;
    EXPECT_FALSE(machine.run());
    EXPECT_EQ(machine.count("Running "), 1u) << machine.text();
    EXPECT_TRUE(
        machine.text().ends_with("\nErrors encountered. Stopping test...\n"
                                 "\nTest Finished. Waiting for threads to terminate...\n"))
        << machine.text();
    // The others have had the whole time of the test, and nobody has begun the next.
    EXPECT_GE(machine.iterations(0)[0], 5u);
    for (u32 core = 0; core < 3; core++) EXPECT_EQ(machine.iterations(core).size(), 1u);
}

TEST(StressRunTest, AnErrorEndsATestThatNothingElseEnds) {
    InjectedFault fault("BKT", 5, true);
    PlayedMachine& machine = fault.machine;
    machine.settings().seconds_total = 0;
    EXPECT_FALSE(machine.run());
    EXPECT_TRUE(machine.has("\nErrors encountered. Stopping test...\n"));
}

// A test without a time of its own would go on to the end of the run.
TEST(StressRunTest, AnErrorEndsATestThatOnlyTheTotalTimeEnds) {
    InjectedFault fault("BKT", 5, true);
    PlayedMachine& machine = fault.machine;
    machine.settings().seconds_total = 28800;
    EXPECT_FALSE(machine.run());
    EXPECT_TRUE(machine.has("Failed\n")) << machine.text();
    EXPECT_TRUE(
        machine.text().ends_with("\nErrors encountered. Stopping test...\n"
                                 "\nTest Finished. Waiting for threads to terminate...\n"))
        << machine.text();
    EXPECT_LT(machine.calls().seconds(), 28800);
}

// A run that does not stop at errors, on cores that all fail at once: each test still has its time.
TEST(StressRunTest, FailuresOfAllCoresDoNotHurryTheRun) {
    PlayedMachine machine(2);
    machine.only({"BKT", "SFT"});
    machine.settings().stop_on_error = false;
    machine.settings().seconds_per_test = 100;
    machine.settings().seconds_total = 400;
    machine.on_iteration = [&](u32 core, std::string_view, u64, void* product, u64) {
        static_cast<u8*>(product)[0] ^= 1;
        machine.give_up(core);
    };
    EXPECT_FALSE(machine.run());
    EXPECT_LE(machine.count("Failed\n"), 4u) << machine.text();
    EXPECT_EQ(machine.count("Errors encountered. Stopping"), 0u);
    EXPECT_EQ(machine.count("Error(s)"), 2 * machine.count("Failed\n")) << machine.text();
}

TEST(StressRunTest, AnErrorIsOnlyOfItsTest) {
    InjectedFault fault("BKT", 5, false);
    PlayedMachine& machine = fault.machine;
    machine.only({"BKT", "SFT"});
    machine.settings().seconds_per_test = 40;
    machine.settings().seconds_total = 100;
    machine.on_iteration = [&machine](u32 core, std::string_view tag, u64 iteration, void* product, u64) {
        if (core != 1 || iteration != 0 || tag != "BKT") return;
        static_cast<u8*>(product)[0] ^= 1;
        machine.give_up(core);
    };
    EXPECT_FALSE(machine.run());
    EXPECT_NE(machine.text().find("Running BKT - Basecase + Karatsuba\n\n"), std::string::npos)
        << machine.text();
    const size_t second = machine.text().find("Running SFT");
    ASSERT_NE(second, std::string::npos);
    EXPECT_EQ(machine.text().substr(second).find("Running SFT - Small In-Cache FFT\nPassed\n"), 0u)
        << machine.text();
    EXPECT_LT(machine.text().find("Failed\n"), second);
}

TEST(StressRunTest, NoTestAndTooLittleMemory) {
    PlayedMachine machine(2);
    machine.only({});
    EXPECT_FALSE(machine.run());
    EXPECT_EQ(machine.text(), "No Tests Enabled.\n");
    PlayedMachine small(2, 4096);
    small.only({"BKT", "C17"});
    EXPECT_FALSE(small.run());
    EXPECT_EQ(small.text(),
              "Allocating Memory...\nWorking Memory...  4.00 KiB  ( 2.00 KiB per thread )  spread: ?\n"
              "\nIteration 1\n\nRunning BKT - Basecase + Karatsuba\nInsufficient memory to run this test.\n"
              "Running C17 - Code 17 Experiment\nInsufficient memory to run this test.\n"
              "\nTest Finished. Waiting for threads to terminate...\n");
    // The extractor needs none of it.
    PlayedMachine some(2, 4096);
    some.only({"BKT", "BBP"});
    some.settings().seconds_total = 30;
    EXPECT_TRUE(some.run());
    EXPECT_TRUE(
        some.has("Insufficient memory to run this test.\nRunning BBP - BBP Digit Extraction\nPassed\n"))
        << some.text();
    PlayedMachine none(2, 0);
    none.only({"BBP"});
    none.settings().seconds_total = 30;
    EXPECT_TRUE(none.run());
}

// A program that listens is told of each iteration that came to its end.
TEST(StressRunTest, IterationsAreRecords) {
    struct Sink final : StatusSink {
        void send(const Config::Object& message) override {
            if (!message.contains("Data_StressTestIteration")) return;
            const Config::Object& record = message.get_object("Data_StressTestIteration");
            EXPECT_EQ(record.size(), 2u);
            iterations.push_back(record.get_integer("Iteration"));
            milliseconds.push_back(record.get_integer("ElapsedTimeMillis"));
        }
        void wait_for_continue() override {}
        std::vector<i64> iterations, milliseconds;
    } sink;
    PlayedMachine machine(2);
    machine.only({"BKT"});
    machine.settings().seconds_per_test = 20;
    machine.settings().seconds_total = 200;
    const CaptureConsole console;
    LinearNetworkNode status(sink, false);
    EXPECT_TRUE(run_stress(machine.settings(), status, machine.monitor(), machine.calls()));
    ASSERT_GE(sink.iterations.size(), 2u);
    for (u64 i = 0; i < sink.iterations.size(); i++) {
        EXPECT_EQ(sink.iterations[i], static_cast<i64>(i + 1));
        EXPECT_EQ(sink.milliseconds[i] % 10000, 0);
        EXPECT_GE(sink.milliseconds[i], static_cast<i64>(20000 * (i + 1)));
    }
}

TEST(StressRunTest, WithoutATimeForEachTestTheFirstHasAllOfIt) {
    PlayedMachine machine(2);
    machine.only({"BKT", "SFT"});
    machine.settings().seconds_per_test = 0;
    machine.settings().seconds_total = 200;
    EXPECT_TRUE(machine.run());
    EXPECT_EQ(machine.count("Running "), 1u);
    EXPECT_GE(machine.iterations(0)[0], 20u);
}

TEST(StressRunTest, ACoreThatCannotBeBoundOrHasNoMemoryDoesNotRun) {
    PlayedMachine machine(4);
    machine.only({"BKT"});
    machine.settings().seconds_total = 50;
    machine.refuse_affinity(1);
    machine.refuse_memory(2);
    EXPECT_FALSE(machine.run());
    EXPECT_TRUE(
        machine.text().starts_with("Allocating Memory...\nFailed to set core affinity to core: 1\n"
                                   "Memory Allocation Failed: 2\nWorking Memory...  "))
        << machine.text();
    EXPECT_TRUE(machine.has("Passed\n"));
    EXPECT_TRUE(machine.iterations(1).empty());
    EXPECT_TRUE(machine.iterations(2).empty());
    EXPECT_GE(machine.iterations(0)[0], 5u);
    EXPECT_GE(machine.iterations(3)[0], 5u);
    EXPECT_EQ(machine.asked().count(1), 0u);
    EXPECT_EQ(machine.bound(), (std::set<u32>{40, 41, 42, 43}));
    // Each asks for its share, whoever else runs.
    EXPECT_EQ(machine.asked().at(0), machine.settings().total_memory / 4);

    PlayedMachine nobody(1);
    nobody.refuse_affinity(0);
    EXPECT_FALSE(nobody.run());
    EXPECT_EQ(nobody.text(),
              "Allocating Memory...\nFailed to set core affinity to core: 0\n"
              "\nTest Finished. Waiting for threads to terminate...\n");
}

// Getting memory may take long; a core that has its own is loaded meanwhile.
TEST(StressRunTest, NoCoreWaitsForTheMemoryOfAnother) {
    PlayedMachine machine(2);
    machine.only({"BKT"});
    machine.settings().seconds_total = 50;
    std::atomic<bool> begun{false};
    bool waited_for_it = false;
    machine.on_iteration = [&](u32 core, std::string_view, u64, void*, u64) {
        if (core == 0) begun = true;
    };
    machine.calls().allocate = [&, allocate = machine.calls().allocate](u32 core, u64 bytes, bool local) {
        // In vain, if the other one waited too.
        for (int i = 0; core == 1 && !begun && i < 3000; i++) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        if (core == 1) waited_for_it = begun;
        return allocate(core, bytes, local);
    };
    EXPECT_TRUE(machine.run());
    EXPECT_TRUE(waited_for_it);
    EXPECT_GE(machine.iterations(1)[0], 5u);
}

TEST(StressRunTest, StopsWhenAsked) {
    PlayedMachine machine(2);
    machine.settings().seconds_per_test = 0;
    machine.on_iteration = [&](u32, std::string_view, u64 iteration, void*, u64) {
        if (iteration == 5) machine.monitor().stop.request();
    };
    EXPECT_TRUE(machine.run());
    EXPECT_EQ(machine.count("Running "), 1u);
    EXPECT_TRUE(machine.has("\nPassed\n"));
    EXPECT_TRUE(machine.text().ends_with("\nTest Finished. Waiting for threads to terminate...\n"));
}

// A terminal's text, and the moment at which the run says that it has ended.
class LastLineSink final : public trel::Console::Sink {
  public:
    explicit LastLineSink(std::function<void()> ended)
        : ended_(std::move(ended)), before_(trel::Console::set_sink(this)) {}
    ~LastLineSink() override { trel::Console::set_sink(before_); }
    void write(std::string_view text) override {
        text_ += text;
        if (text_.ends_with("\nTest Finished. Waiting for threads to terminate...\n")) ended_();
    }
    void set_color(trel::Console::ColorLetter) override {}
    bool is_terminal() const override { return false; }
    void erase_line(u64) override {}
    const std::string& text() const { return text_; }

  private:
    std::function<void()> ended_;
    trel::Console::Sink* before_;
    std::string text_;
};

// A core is in the middle of something long and does not look at the stop flag: the run's closing lines come
// all the same, before the process is ended as one that does not stop.
TEST(StressRunTest, ClosingLinesDoNotWaitForASlowCore) {
    std::atomic<bool> released{false};
    RunMonitor monitor;
    class SlowTest final : public StressTest {
      public:
        SlowTest(RunMonitor& run, const std::atomic<bool>& released)
            : StressTest({"BKT", "Slow", "words", "None", 0}, true), run_(run), released_(released) {}
        u64 size_for(u64) const override { return 1; }
        std::unique_ptr<StressWorker> make_worker(const WorkerPlace&) const override {
            struct Worker final : StressWorker {
                explicit Worker(const SlowTest& test) : test(test) {}
                void iterate(u64) override {
                    test.run_.stop.request();
                    while (!test.released_) std::this_thread::sleep_for(std::chrono::milliseconds(1));
                }
                const SlowTest& test;
            };
            return std::make_unique<Worker>(*this);
        }

      private:
        RunMonitor& run_;
        const std::atomic<bool>& released_;
    };
    const SlowTest test(monitor, released);
    const StressTest* const tests[] = {&test};
    PlayedMachine machine(1);
    machine.only({"BKT"});
    machine.settings().seconds_per_test = 0;
    machine.calls().tests = tests;
    // A tenth of a second from one look to the next; a run that waits for its core for ten seconds gets it.
    double now = 0;
    machine.calls().seconds = [&] {
        now += 0.1;
        if (now > 10) released = true;
        return now;
    };
    bool waited_for = true;
    LastLineSink sink([&] {
        waited_for = released;
        released = true;
    });
    LinearConsoleNode status(79, 1.0);
    EXPECT_TRUE(run_stress(machine.settings(), status, monitor, machine.calls()));
    EXPECT_FALSE(waited_for);
    EXPECT_NE(sink.text().find("\nPassed\n  Test Time:  "), std::string::npos) << sink.text();
}

// Throws what it is told to.
class ThrowingTest final : public StressTest {
  public:
    explicit ThrowingTest(std::function<void()> thrower)
        : StressTest({"BKT", "Thrower", "words", "None", 0}, true), thrower_(std::move(thrower)) {}
    u64 size_for(u64) const override { return 1; }
    std::unique_ptr<StressWorker> make_worker(const WorkerPlace&) const override {
        struct Worker final : StressWorker {
            explicit Worker(const std::function<void()>& thrower) : thrower(thrower) {}
            void iterate(u64) override { thrower(); }
            const std::function<void()>& thrower;
        };
        return std::make_unique<Worker>(thrower_);
    }

  private:
    std::function<void()> thrower_;
};

// What run_stress() prints when a worker throws.
std::string text_of_run(std::function<void()> thrower) {
    const ThrowingTest test(std::move(thrower));
    const StressTest* const tests[] = {&test};
    PlayedMachine machine(1);
    machine.only({"BKT"});
    machine.calls().tests = tests;
    EXPECT_FALSE(machine.run());
    EXPECT_TRUE(machine.has("\n  Test:  BKT - Thrower, 1 words\nFailed\n")) << machine.text();
    EXPECT_TRUE(machine.has("\nErrors encountered. Stopping test...\n")) << machine.text();
    return machine.text();
}

TEST(StressRunTest, WrongResultsOfEveryKindAccuseTheCore) {
    for (const char* message : {"Coefficient is too large.", "Checksum Mismatch"}) {
        const std::string text = text_of_run([&] { throw ConvolutionFailedException("f()", message, 1, 2); });
        EXPECT_NE(text.find(std::string(message) + "\n"), std::string::npos) << text;
        EXPECT_NE(text.find("\nError(s) encountered on logical core 0.\n"), std::string::npos) << text;
    }
}

// A sound core is not accused of what the program or the system did.
TEST(StressRunTest, OnlyWrongResultsAccuseTheCore) {
    const auto expect_free = [](const std::string& text, const char* line) {
        EXPECT_EQ(text.find("Error(s)"), std::string::npos) << text;
        EXPECT_NE(text.find(line), std::string::npos) << text;
    };
    constexpr const char* kNoMemory = "\nMemory Allocation Failed: 0\n";
    expect_free(text_of_run([] { throw std::bad_alloc(); }), kNoMemory);
    expect_free(text_of_run([] { throw AllocationFailed(4096); }), kNoMemory);
    expect_free(text_of_run([] { throw MemoryAllocationFailedException("f()", "heap", 4096); }), kNoMemory);
    constexpr const char* kBrokenOff = "\nThe test was broken off on logical core 0.\n";
    const std::string of_library = text_of_run([] { throw std::runtime_error("of the library"); });
    expect_free(of_library, kBrokenOff);
    EXPECT_NE(of_library.find("of the library"), std::string::npos);
    const std::string of_program = text_of_run([] { throw InvalidParametersException("f()", "Too short."); });
    expect_free(of_program, kBrokenOff);
    EXPECT_NE(of_program.find("Too short."), std::string::npos);
}

TEST(StressRunDeathTest, AnUnknownExceptionIsFatal) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const auto run = [] {
        print_to_stderr();
        const ThrowingTest test([] { throw 5; });
        const StressTest* const tests[] = {&test};
        PlayedMachine machine(1);
        machine.only({"BKT"});
        machine.calls().tests = tests;
        LinearConsoleNode status(79, 1.0);
        RunMonitor monitor;
        run_stress(machine.settings(), status, monitor, machine.calls());
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(1), "\nUnknown exception thrown from worker thread.\n");
}

// Every failure is reported as a whole before the next one begins.
TEST(StressRunTest, ReportsOfSeveralCoresDoNotMix) {
    PlayedMachine machine(8);
    machine.only({"BKT"});
    machine.on_iteration = [&](u32 core, std::string_view, u64, void* product, u64) {
        static_cast<u8*>(product)[0] ^= 1;
        machine.give_up(core);
    };
    EXPECT_FALSE(machine.run());
    CaptureConsole console;
    AlgorithmFailedException("ProductWorker::iterate()", "Checksum Mismatch").print();
    const std::string report = console.take();
    std::string text = machine.text();
    for (u32 core = 0; core < 8; core++) {
        const std::string line = "Error(s) encountered on logical core " + std::to_string(core) + ".\n";
        const size_t at = text.find(report + line);
        ASSERT_NE(at, std::string::npos) << core << text;
        text.erase(at, (report + line).size());
    }
    EXPECT_EQ(text.find("Checksum"), std::string::npos);
}

}  // namespace
}  // namespace kalvor
