// A run adds to its meter what the model says that its phases hold.
#include "app/session/run_work.h"

#include <gtest/gtest.h>

#include <map>

#include "app/session/normal_float_session_b.h"
#include "base/status/linear_console_node.h"
#include "support/authorized.h"
#include "support/capture_console.h"
#include "support/temporary_folder.h"

namespace kalvor {
namespace {

std::vector<trel::WorkPhase> twice_as_much(std::vector<trel::WorkPhase> phases) {
    for (trel::WorkPhase& phase : phases) {
        phase.seconds = 1;
        phase.units *= 2;
    }
    return phases;
}

// Notes what part of each phase was done when it ended. Its meter expects twice the work, so that too much
// shows as well as too little.
class Recorder final : public trel::StatusIterationNode, public trel::Status {
  public:
    explicit Recorder(const ComputeSettings& settings)
        : meter_(twice_as_much(run_work(RunPlan::make(settings, settings.size), settings))) {}

    void Status_ColoredLine(const std::vector<ColoredText>&) override { look(); }
    void Status_Line(std::string_view) override { look(); }
    void Status_Label(u64, std::string_view, const ColoredText&) override { look(); }
    void Status_Time(std::string_view, double) override { look(); }
    void Warning(std::string_view) override { look(); }
    void PauseWarning(std::string_view) override { look(); }
    [[noreturn]] void FatalError(std::string_view) override { std::abort(); }
    void Status_LineSectionStart(std::string_view) override { look(); }
    void Status_LineSectionAdd(const ColoredText&) override { look(); }
    void Status_LineSectionEnd() override { look(); }
    void refresh(bool) override { look(); }
    trel::Work work() override { return trel::Work(&meter_); }
    Status& Status_MicroSectionStart(std::string_view) override { return look(), *this; }
    void Status_MicroSectionEnd() override { look(); }
    Status& push_node(const ColoredText&) override { return look(), *this; }
    void pop_frame() override { look(); }
    StatusIterationNode& make_iteration(IterationMode, u64) override { return look(), *this; }
    void update(u64) override { look(); }

    std::vector<std::string> phases;
    std::map<std::string, double> done;  // of a phase

  private:
    void look() {
        const trel::WorkMeter::Reading reading = meter_.read();
        if (reading.phase.empty()) return;
        if (phases.empty() || phases.back() != reading.phase) phases.emplace_back(reading.phase);
        done[phases.back()] = 1 - (reading.phase_end - reading.done);
    }

    trel::WorkMeter meter_;
};

class RunWorkTest : public testing::TestWithParam<std::tuple<const char*, u64, u64>> {};

// Small numbers have blocks and ranges of every kind; tasks add through silent nodes.
TEST_P(RunWorkTest, ARunAddsWhatItsPlanSays) {
    const auto& [algorithm, digits, tasks] = GetParam();
    CaptureConsole console;
    ComputeSettings settings;
    settings.constant->select_algorithm(algorithm);
    settings.set_decimal_digits(static_cast<trel::i64>(digits));
    const kalvor_test::TemporaryFolder folder;
    settings.path = folder.path();
    settings.output_enable = false;
    settings.parallelism.task_decomposition = tasks;
    Recorder recorder(settings);
    NormalFloatSessionB session(std::move(settings), kalvor_test::authorized(), recorder);
    EXPECT_GT(session.expected_seconds(), 0);
    session.run();
    EXPECT_EQ(recorder.phases,
              (std::vector<std::string>{"memory", "series", "division", "square root", "multiplication",
                                        "BBP check", "conversion", "verification", "writing"}));
    for (const char* phase : {"series", "square root", "BBP check", "conversion", "writing"}) {
        EXPECT_NEAR(recorder.done[phase], 0.5, 0.0005) << phase;
    }
    // Its last product ends the phase.
    EXPECT_GT(recorder.done["division"], 0.35);
    EXPECT_LT(recorder.done["division"], 0.5);
}

INSTANTIATE_TEST_SUITE_P(Sizes, RunWorkTest,
                         testing::Values(std::make_tuple("0", 400000, 1), std::make_tuple("0", 1000000, 4),
                                         std::make_tuple("1", 1000000, 3),
                                         std::make_tuple("2", 3000000, 16)));

TEST(RunWorkTest, PhasesAreThoseOfTheSettings) {
    ComputeSettings settings;
    settings.set_decimal_digits(1000000);
    const auto names = [&] {
        std::string text;
        for (const trel::WorkPhase& phase : run_work(RunPlan::make(settings, settings.size), settings)) {
            EXPECT_GE(phase.seconds, 0) << phase.name;
            text += phase.name + ";";
        }
        return text;
    };
    const std::string constant = "memory;series;division;square root;multiplication;";
    const std::string digits = "conversion;verification;writing;";
    EXPECT_EQ(names(), constant + "BBP check;" + digits + "reading back;");
    settings.set_decimal_digits(100000000);
    EXPECT_EQ(names(), constant + "BBP check;" + digits + "reading back;");
    settings.enable_hex = true;
    EXPECT_EQ(names(), constant + "BBP check;" + digits + "reading back;writing;reading back;");
    settings.output_verify = false;
    settings.enable_hex = false;
    EXPECT_EQ(names(), constant + digits);
    settings.bbp_digits = 32;
    EXPECT_EQ(names(), constant + "BBP check;" + digits);
}

TEST(RunWorkTest, LargerRunsTakeLonger) {
    ComputeSettings settings;
    double before = 0;
    for (const u64 digits : {u64(1000000), u64(10000000), u64(1000000000), u64(100000000000)}) {
        settings.size = ComputeSize::from_decimal(digits);
        const double seconds = expected_seconds(run_work(RunPlan::make(settings, settings.size), settings));
        EXPECT_GT(seconds, 8 * before) << digits;
        before = seconds;
    }
    EXPECT_GT(before, 3600);  // 10^11 digits
}

}  // namespace
}  // namespace kalvor
