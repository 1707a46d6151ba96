// A session reports through its Status alone, and sessions of one process share nothing.
#include <gtest/gtest.h>

#include <condition_variable>
#include <filesystem>
#include <mutex>

#include "app/session/console_run.h"
#include "app/session/line_recorder.h"
#include "app/session/normal_float_session_b.h"
#include "arith/multiply/product_check.h"
#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "base/status/linear_console_node.h"
#include "constants/catalog/catalog.h"
#include "digits/output/interrupted.h"
#include "fault/faulty_file.h"
#include "platform/memory/fake_machine.h"
#include "platform/memory/interleave_allocator.h"
#include "platform/memory/node_workers.h"
#include "support/authorized.h"
#include "support/capture_console.h"
#include "support/temporary_folder.h"

namespace kalvor {
namespace {

using kalvor_test::LineRecorder;
using kalvor_test::TemporaryFolder;

ComputeSettings settings_for(u64 digits, const std::string& path) {
    ComputeSettings settings;
    settings.set_decimal_digits(static_cast<trel::i64>(digits));
    settings.path = path;
    settings.overwrite = true;
    settings.parallelism.framework = trel::make_default_framework_config("none");
    settings.parallelism.task_decomposition = 1;
    return settings;
}

// Lines whose ends are times of this run keep their beginnings only.
std::vector<std::string> lines_of(std::string_view text) {
    std::vector<std::string> lines;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        std::string line(text.substr(0, end));
        for (const char* label :
             {"Time:", "Start Time:", "End Time:", "Begin Computation:", "CPU Utilization:",
              "Multi-core Efficiency:", "Total Computation Time:", "Start-to-End Wall Time:",
              "Working Memory:", "Available Memory", "Validation File:"}) {
            if (line.find(label) == 0) line = label;
        }
        // Durations inside a line.
        const std::size_t seconds = line.find(" seconds");
        if (seconds != std::string::npos)
            line = line.substr(0, line.find_last_not_of("0123456789.", seconds - 1));
        lines.push_back(line);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

// Keeps places for late lines in the text of a recorder.
class LateTerminal final : public trel::Terminal {
  public:
    explicit LateTerminal(LineRecorder& recorder) : recorder_(recorder) {}
    void tick() override {}
    bool dismiss() override { return true; }
    bool attended() const override { return false; }
    std::optional<std::string> ask(std::string_view) override { return std::nullopt; }
    std::shared_ptr<trel::LateLabel> late_label() override {
        place_ = recorder_.text.size();
        return label_ = std::make_shared<Label>();
    }
    // After the run: the late line, which is also put into its place.
    std::string take_line() {
        if (!label_) return "";
        recorder_.text.insert(place_, label_->text);
        return label_->text;
    }

  private:
    struct Label final : trel::LateLabel {
        void arrive(u64 width, std::string_view name, const trel::Console::ColoredText& value) override {
            std::string line(name);
            line.resize(width, ' ');
            set(line + value.text + "\n");
        }
        void drop() override { set(""); }
        void wait() override {
            std::unique_lock<std::mutex> lock(mutex);
            changed.wait(lock, [this] { return arrived; });
        }
        void set(const std::string& line) {
            const std::lock_guard<std::mutex> lock(mutex);
            text = line;
            arrived = true;
            changed.notify_all();
        }
        std::mutex mutex;
        std::condition_variable changed;
        bool arrived = false;
        std::string text;
    };

    LineRecorder& recorder_;
    std::size_t place_ = 0;
    std::shared_ptr<Label> label_;
};

TEST(SessionStatusTest, ARecordingStatusHearsEveryLineOfTheConsole) {
    const TemporaryFolder folder;
    const auto settings = [&] {
        ComputeSettings made = settings_for(20000, folder.file("a"));
        made.enable_hex = true;
        return made;
    };

    std::string shown;
    {
        CaptureConsole console;
        trel::LinearConsoleNode status(79, 1.0);
        NormalFloatSessionB(settings(), kalvor_test::authorized(), status, &status).run();
        shown = console.take();
    }
    CaptureConsole console;
    for (const bool with_terminal : {false, true}) {
        std::filesystem::remove_all(folder.file("a"));
        LineRecorder recorder;
        LateTerminal terminal(recorder);
        NormalFloatSessionB(settings(), kalvor_test::authorized(), recorder,
                            with_terminal ? &terminal : nullptr)
            .run();
        // Nothing went past them, not even the line whose value comes late.
        EXPECT_EQ(console.take(), "");
        EXPECT_EQ(!terminal.take_line().empty(), with_terminal);
        EXPECT_EQ(lines_of(recorder.text), lines_of(shown));
    }
    EXPECT_NE(shown.find("Last Hexadecimal Digits:"), std::string::npos);
    EXPECT_NE(shown.find("Multi-core Efficiency:"), std::string::npos);
}

// Behind its text a progress line tells how far the digits are.
TEST(SessionStatusTest, ProgressOfMemoryAndDigits) {
    const TemporaryFolder folder;
    const auto frames_of = [&](bool output) {
        ComputeSettings settings = settings_for(3000, folder.file("out"));
        settings.enable_hex = true;
        settings.output_enable = output;
        const CaptureConsole console;
        LineRecorder recorder;
        NormalFloatSessionB(std::move(settings), kalvor_test::authorized(), recorder).run();
        return recorder.frames;
    };
    const std::vector<std::string> written = frames_of(true), analyzed = frames_of(false);
    const auto count = [](const std::vector<std::string>& frames, const char* frame) {
        return std::count(frames.begin(), frames.end(), frame);
    };
    for (const char* frame :
         {"Working Memory...  ", "Twiddle Tables...  ", "Writing...     3,000  digits written",
          "Writing...     2,492  digits written", "Verifying...    3,000  digits hashed",
          "Verifying...    2,492  digits hashed"}) {
        EXPECT_EQ(count(written, frame), 1) << frame;
    }
    for (const char* frame :
         {"Writing...     3,000  digits analyzed", "Writing...     2,492  digits analyzed"}) {
        EXPECT_EQ(count(analyzed, frame), 1) << frame;
        EXPECT_EQ(count(written, frame), 0) << frame;
    }
}

TEST(SessionStatusTest, RunsOfOneProcessShareNothing) {
    const TemporaryFolder folder;
    CaptureConsole console;
    std::vector<std::string> texts;
    for (int round = 0; round < 2; round++) {
        LineRecorder first, second;
        {
            ComputeSettings settings = settings_for(3000, folder.file("one"));
            settings.output_verify = false;
            NormalFloatSessionB session(std::move(settings), kalvor_test::authorized(), first);
            EXPECT_EQ(session.run().decimal_digits, 3000U);
        }
        {
            ComputeSettings settings = settings_for(12345, folder.file("two"));
            settings.enable_hex = true;
            NormalFloatSessionB session(std::move(settings), kalvor_test::authorized(), second);
            const RunRecord& record = session.run();
            EXPECT_EQ(record.decimal->digits, 12345U);
            EXPECT_TRUE(record.checks.conversion);
            EXPECT_EQ(record.files.size(), 2U);
        }
        EXPECT_EQ(first.text.find("Hex Counts"), std::string::npos);
        EXPECT_NE(second.text.find("Hex Counts"), std::string::npos);
        EXPECT_NE(first.text.find("; not checked: written files\n"), std::string::npos) << first.text;
        EXPECT_EQ(folder.read("one/Pi - Dec - Chudnovsky.txt").size(), 3002U);
        EXPECT_EQ(folder.read("two/Pi - Dec - Chudnovsky.txt").size(), 12347U);
    }
}

// The digit files are made, held and as large as they will be when the computation begins, and a run that
// would write the same ones ends before it takes memory.
TEST(SessionStatusTest, TheDigitFilesAreHeldBeforeTheComputation) {
    const TemporaryFolder folder;
    CaptureConsole console;
    LineRecorder first;
    bool begun = false;
    first.at_label = [&](std::string_view name) {
        if (name != "Begin Computation:") return;
        begun = true;
        const std::string draft = folder.file("out") + "/Pi - Dec - Chudnovsky (incomplete).txt";
        ASSERT_TRUE(std::filesystem::exists(draft));
        EXPECT_GE(std::filesystem::file_size(draft), 3002U);
        LineRecorder second;
        try {
            NormalFloatSessionB(settings_for(3000, folder.file("out")), kalvor_test::authorized(), second)
                .run();
            ADD_FAILURE() << "two runs write one file";
        } catch (const trel::FileIO::FileException& e) {
            EXPECT_EQ(e.message,
                      "Another run is writing this file. Wait until it has ended, or choose another folder.");
        }
        EXPECT_EQ(second.text.find("Working Memory"), std::string::npos) << second.text;
    };
    NormalFloatSessionB(settings_for(3000, folder.file("out")), kalvor_test::authorized(), first).run();
    EXPECT_TRUE(begun);
    EXPECT_EQ(folder.read("out/Pi - Dec - Chudnovsky.txt").size(), 3002U);
}

// The log of a run's events names the series behind the beginning of the computation.
TEST(SessionStatusTest, TheEventLogNamesTheSeries) {
    const TemporaryFolder folder;
    CaptureConsole console;
    for (const auto& [algorithm, series] : {std::pair("chudnovsky", "Pi - Chudnovsky (1988):"),
                                            std::pair("ramanujan", "Pi - Ramanujan (1910):")}) {
        ComputeSettings settings = settings_for(1000, folder.file("out"));
        settings.constant = make_constant("pi", "");
        settings.constant->select_algorithm(algorithm);
        LineRecorder recorder;
        const std::string log =
            NormalFloatSessionB(std::move(settings), kalvor_test::authorized(), recorder).run().event_log;
        std::vector<std::string> names;
        for (std::size_t at = 0, end; (end = log.find("\r\n", at)) != std::string::npos; at = end + 2)
            names.push_back(log.substr(log.rfind('\t', end) + 1, end - log.rfind('\t', end) - 1));
        ASSERT_EQ(names.size(), 8U);
        const std::string checks = names[6];
        names.erase(names.begin() + 6);
        EXPECT_EQ(names, (std::vector<std::string>{"Working Memory", "Twiddle Tables", "Begin Computation",
                                                   series, "End Computation", "BBP Check: Good through 831",
                                                   "Digits Written"}));
        EXPECT_EQ(checks.find("Checks: "), 0U);
        EXPECT_EQ(checks.find(", 0 errors"), checks.size() - 10);
        // The line of the result block says the same.
        EXPECT_NE(recorder.text.find("Checks:     " + checks.substr(8) + "\n"), std::string::npos);
    }
}

// What the allocators and the threads have to tell is in the run's report, too.
TEST(SessionStatusTest, AnotherAllocatorReportsThroughTheStatus) {
    const TemporaryFolder folder;
    FakeMachine machine;
    machine.nodes = {{0, {{0}}}, {1, {{1}}}};
    machine.all_processors = {0, 1};
    machine.privilege = false;
    machine.lockable = 4096;
    machine.full_nodes = {1};
    const trel::MemoryCalls calls = machine.calls();
    const trel::NumaMap map(calls);
    trel::NodeWorkers workers;
    auto allocator = std::make_unique<trel::InterleaveConfig>(calls, map, workers);
    allocator->locked_pages.set("attempt");
    ComputeSettings settings = settings_for(2000, folder.file("out"));
    settings.allocator = std::move(allocator);

    CaptureConsole console;
    LineRecorder recorder;
    NormalFloatSessionB session(std::move(settings), kalvor_test::authorized(), recorder);
    const std::string log = session.run().event_log;
    EXPECT_EQ(console.take(), "");
    // Once, before the line of the memory.
    const std::size_t advice = recorder.text.find("Unable to acquire the permission, ");
    ASSERT_NE(advice, std::string::npos) << recorder.text;
    EXPECT_EQ(recorder.text.find("Unable to acquire the permission, ", advice + 1), std::string::npos);
    EXPECT_LT(advice, recorder.text.find("Working Memory: "));
    EXPECT_NE(recorder.text.find("\nMemory allocation errors detected. Possible performance degradation.\n"
                                 "Please see event log for details.\n\n"),
              std::string::npos);
    EXPECT_NE(log.find("Allocation Error: Thread 1 VirtualAllocExNuma() error 12"), std::string::npos) << log;
}

// What the threads of a framework warn of comes out between two phases.
TEST(SessionStatusTest, WarningsOfTheFrameworkAreReported) {
    class Warning final : public trel::FrameworkConfig {
      public:
        std::string name() const override { return "none"; }
        std::string display_name() const override { return "None"; }
        std::unique_ptr<trel::BasicParallelizer> make_framework() const override {
            auto framework = trel::make_default_framework_config("none")->make_framework();
            framework->warnings().add({{"of a thread", ' ', true}});
            return framework;
        }
        std::unique_ptr<trel::FrameworkConfig> clone() const override { return std::make_unique<Warning>(); }
    };
    CaptureConsole console;
    LineRecorder recorder;
    const TemporaryFolder folder;
    ComputeSettings settings = settings_for(1000, folder.file("out"));
    settings.output_enable = false;
    settings.parallelism.framework = std::make_unique<Warning>();
    NormalFloatSessionB(std::move(settings), kalvor_test::authorized(), recorder).run();
    EXPECT_NE(recorder.text.find("\nof a thread\n"), std::string::npos) << recorder.text;
    EXPECT_EQ(recorder.text.find("of a thread"), recorder.text.rfind("of a thread"));
    EXPECT_EQ(console.take(), "");
}

// What came right when it was done again is a warning, and a line of the event log with what was found.
TEST(SessionStatusTest, CorrectionsAreReportedAndLogged) {
    class Corrected final : public NormalFloatSessionB {
      public:
        using NormalFloatSessionB::NormalFloatSessionB;

      protected:
        void compute() override {
            NormalFloatSessionB::compute();
            trel::operation_was_corrected(parallel(), "here", "product, 40 words", "one bit");
        }
    };
    CaptureConsole console;
    LineRecorder recorder;
    const TemporaryFolder folder;
    ComputeSettings settings = settings_for(1000, folder.path());
    settings.output_enable = false;
    Corrected session(std::move(settings), kalvor_test::authorized(), recorder);
    const std::string log = session.run().event_log;
    EXPECT_NE(
        recorder.text.find("\nComputation error detected and corrected.\nOperation: product, 40 words\n"),
        std::string::npos)
        << recorder.text;
    const std::string line = "\tComputation error detected and corrected: product, 40 words (one bit)\r\n";
    EXPECT_NE(log.find(line), std::string::npos) << log;
    EXPECT_EQ(log.find(line), log.rfind(line));
    EXPECT_NE(log.find(", 1 error"), std::string::npos) << log;
}

// A run that is too large ends itself and not the process.
TEST(SessionStatusTest, ARunBeyondTheAddressSpaceLeavesRoomForAnother) {
    const TemporaryFolder folder;
    CaptureConsole console;
    RunEnvironment machine;
    machine.memory_status = [] { return trel::os::MemoryStatus{1000, 600, 1000000}; };
    LineRecorder first, second;
    NormalFloatSessionB large(settings_for(1000, folder.file("out")), kalvor_test::authorized(), first,
                              nullptr, machine);
    try {
        large.run();
        ADD_FAILURE() << "not refused";
    } catch (const trel::RunError& e) {
        EXPECT_STREQ(e.what(), "Insufficient Address Space");
    }
    EXPECT_EQ(first.text, "");
    EXPECT_TRUE(large.files().kept().empty());
    EXPECT_EQ(console.take(), "");

    NormalFloatSessionB(settings_for(1000, folder.file("out")), kalvor_test::authorized(), second).run();
    EXPECT_EQ(folder.read("out/Pi - Dec - Chudnovsky.txt").size(), 1002U);
}

TEST(SessionStatusTest, AStopLeavesNothingBehindAndTheNextRunIsSound) {
    const TemporaryFolder folder;
    CaptureConsole console;
    int frames = 0;
    {
        LineRecorder recorder;
        recorder.stop_at_frame = [&] { frames++; };
        NormalFloatSessionB(settings_for(200000, folder.file("out")), kalvor_test::authorized(), recorder)
            .run();
    }
    ASSERT_GT(frames, 10);
    for (int at = 1; at <= frames; at += 1 + frames / 20) {
        std::filesystem::remove_all(folder.file("out"));
        LineRecorder recorder;
        NormalFloatSessionB session(settings_for(200000, folder.file("out")), kalvor_test::authorized(),
                                    recorder);
        int seen = 0;
        recorder.stop_at_frame = [&] {
            if (++seen == at) session.request_stop();
        };
        try {
            session.run();
            // There is no work behind the last two.
            EXPECT_GT(at, frames - 2) << "not stopped";
            const std::vector<std::string> kept = session.files().kept();
            ASSERT_EQ(kept.size(), 2U);
            EXPECT_EQ(kept[0], folder.file("out") + "/Pi - Dec - Chudnovsky.txt");
            EXPECT_TRUE(kept[1].starts_with(folder.file("out") + "/Pi - 2")) << kept[1];
        } catch (const trel::RunStopped&) {
            for (const std::string& path : session.files().kept()) EXPECT_TRUE(std::filesystem::exists(path));
            EXPECT_FALSE(std::filesystem::exists(folder.file("out/Pi - Dec - Chudnovsky.txt")));
        }
        // Little follows: a recursion goes down to its leaf, with a frame a level, before it works and looks.
        constexpr int kLevels = 12;
        EXPECT_LE(seen, at + kLevels) << "of " << frames;
    }
}

TEST(SessionStatusTest, KnownDigitsThatDifferEndTheRun) {
    const TemporaryFolder folder;
    std::filesystem::create_directories(folder.file("Digits"));
    CaptureConsole console;
    const auto run = [&](const std::string& table) {
        folder.write("Digits/Pi.txt", table);
        LineRecorder recorder;
        ComputeSettings settings = settings_for(1000, folder.file("out"));
        settings.output_enable = false;
        NormalFloatSessionB session(std::move(settings), kalvor_test::authorized(), recorder);
        session.set_reference_folder(folder.file(""));
        return session.run().spot_check.position;
    };
    EXPECT_EQ(run("10 | 1415926535\n20 | 8979323846\n2000 | 1\n"), 20);
    EXPECT_EQ(run("2000 | 1\n"), 0);
    try {
        run("10 | 1415926535\n20 | 8979323847\n");
        ADD_FAILURE() << "not noticed";
    } catch (const trel::AlgorithmFailedException& e) {
        EXPECT_EQ(e.message, "Spot check failed at: 20");
    }
    // Digits that are known to be wrong get no name.
    LineRecorder recorder;
    NormalFloatSessionB session(settings_for(1000, folder.file("out")), kalvor_test::authorized(), recorder);
    session.set_reference_folder(folder.file(""));
    EXPECT_THROW(session.run(), trel::AlgorithmFailedException);
    EXPECT_NE(recorder.text.find("Spot Check: Mismatch at 20\n"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(folder.file("out/Pi - Dec - Chudnovsky.txt")));
}

TEST(ConsoleRunTest, TheLineOfAnInterruptedRun) {
    EXPECT_EQ(interrupted_text({}), "Interrupted. Nothing was kept.");
    EXPECT_EQ(interrupted_text({"a.txt", "b (incomplete).txt"}),
              "Interrupted. Kept: a.txt, b (incomplete).txt");
}

// Somebody presses a key at every pause, so many times.
class PatientTerminal final : public trel::Terminal {
  public:
    explicit PatientTerminal(int keys) : keys_(keys) {}
    void tick() override {}
    bool dismiss() override { return true; }
    bool attended() const override { return true; }
    std::optional<std::string> ask(std::string_view) override { return std::nullopt; }
    bool pause() override {
        pauses++;
        return keys_-- > 0;
    }
    int pauses = 0;

  private:
    int keys_;
};

// Nothing is left of a run that did not begin, and of one that did its folder stays.
TEST(SessionStatusTest, ARunThatIsRefusedLeavesNoFolder) {
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder.file("there"));
    const auto run = [&](const FaultyFile& disk, bool little_memory) {
        ComputeSettings settings = settings_for(3000, folder.file("there/new/deeper"));
        settings.minimum_space = true;
        LineRecorder recorder;
        RunEnvironment environment{.calls = &disk.file_calls()};
        if (little_memory) environment.memory_status = [] { return trel::os::MemoryStatus{1000, 600}; };
        NormalFloatSessionB(std::move(settings), kalvor_test::authorized(), recorder, nullptr,
                            std::move(environment))
            .run();
    };
    const FaultyFile sound;
    EXPECT_THROW(run(sound, true), trel::InvalidParametersException);
    EXPECT_TRUE(std::filesystem::is_empty(folder.file("there"))) << "memory";
    FaultyFile full;
    full.free_space(1000);
    EXPECT_THROW(run(full, false), trel::FileIO::FileException);
    EXPECT_TRUE(std::filesystem::is_empty(folder.file("there"))) << "space";
    // Asked for when the digit files are made, after the memory.
    FaultyFile reserved;
    reserved.fail(FaultyFile::Call::reserve, 1, FaultyFile::disk_full());
    EXPECT_THROW(run(reserved, false), trel::FileIO::FileException);
    EXPECT_TRUE(std::filesystem::is_empty(folder.file("there"))) << "reserved space";
    run(sound, false);
    EXPECT_TRUE(folder.has("there/new/deeper/Pi - Dec - Chudnovsky.txt"));
    // What was there before stays, also with nothing in it.
    std::filesystem::remove_all(folder.file("there/new/deeper"));
    EXPECT_THROW(run(full, false), trel::FileIO::FileException);
    EXPECT_TRUE(folder.has("there/new"));
    EXPECT_FALSE(folder.has("there/new/deeper"));
}

// Somebody answers the question about a full volume, once.
class AnsweringTerminal final : public trel::Terminal {
  public:
    explicit AnsweringTerminal(std::string answer) : answer_(std::move(answer)) {}
    void tick() override {}
    bool dismiss() override { return true; }
    bool attended() const override { return true; }
    std::optional<std::string> ask(std::string_view) override {
        if (questions++ != 0) return std::nullopt;
        return answer_;
    }
    int questions = 0;

  private:
    const std::string answer_;
};

// The digits of a run whose volume is full go to the folder that its user names.
TEST(SessionStatusTest, AFullVolumeIsAskedAboutThroughTheTerminal) {
    const TemporaryFolder folder;
    FaultyFile disk;
    disk.on_wait([&](double) { disk.disk_no_longer_full(); });  // the moment behind an answer
    disk.disk_full_after(500);
    LineRecorder recorder;
    AnsweringTerminal terminal(folder.file("other"));
    NormalFloatSessionB(settings_for(9000, folder.file("full")), kalvor_test::authorized(), recorder,
                        &terminal, {.calls = &disk.file_calls()})
        .run();
    EXPECT_EQ(terminal.questions, 1);
    EXPECT_FALSE(folder.has("full/Pi - Dec - Chudnovsky.txt"));
    EXPECT_EQ(folder.read("other/Pi - Dec - Chudnovsky.txt").size(), 9002U);
}

// A name that is refused is a matter between the run, its Status and its Terminal.
TEST(SessionStatusTest, ARefusedNameIsToldAndAskedThroughStatusAndTerminal) {
    for (const int keys : {2, 1}) {
        const TemporaryFolder folder;
        const CaptureConsole console(CaptureConsole::terminal);
        FaultyFile disk;
        disk.fail(FaultyFile::Call::rename, 1, FaultyFile::access_denied(), 2);
        LineRecorder recorder;
        PatientTerminal terminal(keys);
        NormalFloatSessionB session(settings_for(1000, folder.file("")), kalvor_test::authorized(), recorder,
                                    &terminal, {.calls = &disk.file_calls()});
        if (keys == 2) {
            EXPECT_NO_THROW(session.run());
        } else {
            EXPECT_THROW(session.run(), trel::FileIO::FileException);
        }
        EXPECT_EQ(console.text(), "");
        EXPECT_EQ(terminal.pauses, 2);
        const std::string path = folder.file("Pi - Dec - Chudnovsky.txt");
        EXPECT_EQ(folder.has("Pi - Dec - Chudnovsky.txt"), keys == 2);
        EXPECT_NE(
            recorder.text.find("\nUnable to rename file.\nError Code: 13\n" + path + "\nRe-attempting...\n"),
            std::string::npos)
            << recorder.text;
    }
}

}  // namespace
}  // namespace kalvor
