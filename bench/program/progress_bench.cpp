// How good the estimate of the time left is: Pi with output and verification in this process, looked at every
// few milliseconds. Shows by how much elapsed plus left missed the run's real time at parts of it, and for
// each phase the real part of the run and the model's; of five short runs the median, and the phases of the
// last. An estimate at a tenth of the run that is off by more than a quarter is an error: so much is
// promised. The last argument 1 takes the processor time instead of the wall clock, which other work on the
// machine disturbs.
//   KALVOR_BENCH_DIGITS=100000000 adds a size
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "app/entry/entry.h"
#include "app/session/normal_float_session_b.h"
#include "base/clock/timer.h"
#include "base/console/console.h"
#include "base/console/format.h"
#include "base/status/linear_console_node.h"
#include "base/status/progress_estimate.h"
#include "base/status/progress_ticker.h"

namespace {

// Percent of the run, and of its time.
constexpr int kPromisedAt = 10;
constexpr double kPromisedPercent = 25;

struct Sample {
    double elapsed;
    double estimate;  // of the whole; negative: none
    double done;      // by the model, 0 to 1
    std::string phase;
};

// Swallows what is printed.
class Quiet final : public trel::Console::Sink {
  public:
    Quiet() : before_(trel::Console::set_sink(this)) {}
    ~Quiet() override { trel::Console::set_sink(before_); }
    void write(std::string_view) override {}
    void set_color(trel::Console::ColorLetter) override {}
    bool is_terminal() const override { return true; }

  private:
    trel::Console::Sink* before_;
};

// What a progress line would have shown.
class Watch {
  public:
    Watch(trel::Status& status, bool by_processor) : status_(status), by_processor_(by_processor) {
        ticker_.emplace(0.004, [this] { look(); });
    }
    // Stops watching.
    const std::vector<Sample>& samples() {
        ticker_.reset();
        return samples_;
    }

  private:
    void look() {
        const trel::WorkMeter* const meter = status_.work().meter();
        if (meter == nullptr) return;
        if (samples_.empty()) timer_.restart();
        const trel::TimeSpan span = timer_.elapsed();
        const double elapsed = by_processor_ ? span.processor() : span.wall;
        const trel::WorkMeter::Reading reading = meter->read();
        const trel::ProgressView view = estimate_.look(reading, elapsed);
        samples_.push_back({elapsed, view.left < 0 ? -1 : elapsed + view.left, reading.done / reading.total,
                            std::string(reading.phase)});
    }

    trel::Status& status_;
    const bool by_processor_;
    trel::ProcessTimer timer_;
    trel::ProgressEstimate estimate_;
    std::vector<Sample> samples_;
    std::optional<trel::ProgressTicker> ticker_;
};

std::string percent(double fraction) {
    return trel::Console::format_fixed(fraction * 100, 1);
}

// Every look at a run, from the first on that knows its work.
std::vector<Sample> samples_of_a_run(const benchmark::State& state, double* expected) {
    kalvor::ComputeSettings settings;
    settings.path = "progress-bench";
    settings.set_decimal_digits(state.range(0));
    settings.parallelism.task_decomposition = static_cast<trel::u64>(state.range(1));
    const kalvor::AuthorizationToken token = kalvor::StartUpCalls::authorization();
    const Quiet quiet;
    trel::LinearConsoleNode status(79, 1.0);
    kalvor::NormalFloatSessionB session(std::move(settings), token, status);
    Watch watch(status, state.range(2) != 0);
    session.run();
    *expected = session.expected_seconds();
    return watch.samples();
}

// By how many percent of the whole time the estimate was off at that part of the run. No estimate:
// everything.
double off_at(const std::vector<Sample>& samples, int part) {
    const double whole = samples.back().elapsed;
    const auto at = std::find_if(samples.begin(), samples.end(),
                                 [&](const Sample& sample) { return sample.elapsed >= whole * part / 100; });
    return at->estimate < 0 ? HUGE_VAL : (at->estimate / whole - 1) * 100;
}

// For each phase its percentage of the run, and of the model.
std::string phases_of(const std::vector<Sample>& samples) {
    const double whole = samples.back().elapsed;
    std::string text;
    for (std::size_t from = 0; from < samples.size();) {
        std::size_t to = from;
        while (to + 1 < samples.size() && samples[to + 1].phase == samples[from].phase) to++;
        const std::size_t end = std::min(to + 1, samples.size() - 1);
        text += (text.empty() ? "" : ", ") + samples[from].phase + " " +
                percent((samples[end].elapsed - samples[from].elapsed) / whole) + " (" +
                percent(samples[end].done - samples[from].done) + ")";
        from = to + 1;
    }
    return text;
}

void BM_Progress(benchmark::State& state) {
    for (auto _ : state) {
        // A tenth of a short run is less than a tenth of a second, which one interruption doubles: the median
        // of five.
        const std::size_t runs = state.range(0) > 50000000 ? 1 : 5;
        std::map<int, std::vector<double>> offs;
        for (std::size_t run = 0; run < runs; run++) {
            double expected = 0;
            const std::vector<Sample> samples = samples_of_a_run(state, &expected);
            if (samples.empty()) return state.SkipWithError("the run was too short");
            for (const int part : {5, 10, 25, 50, 75}) offs[part].push_back(off_at(samples, part));
            state.counters["expected_s"] = expected;
            state.SetIterationTime(samples.back().elapsed);
            state.SetLabel("% of the run (of the model): " + phases_of(samples));
        }
        for (auto& [part, values] : offs) {
            std::sort(values.begin(), values.end());
            const double off = values[values.size() / 2];
            state.counters["off_%_at_" + std::to_string(part)] = off;
            if (part != kPromisedAt || std::abs(off) <= kPromisedPercent) continue;
            const std::string text = "the estimate at " + std::to_string(kPromisedAt) + " % is off by " +
                                     trel::Console::format_fixed(off, 1) + " %";
            return state.SkipWithError(text.c_str());
        }
    }
}

void sizes(benchmark::internal::Benchmark* bench) {
    std::vector<long> list = {10000000};
    if (const char* text = std::getenv("KALVOR_BENCH_DIGITS")) list.push_back(std::atol(text));
    for (const long digits : list) {
        for (const int tasks : {1, 4}) {
            for (const int by_processor : {0, 1}) bench->Args({digits, tasks, by_processor});
        }
    }
    bench->Unit(benchmark::kMillisecond)->Iterations(1)->UseManualTime();
}

BENCHMARK(BM_Progress)->Apply(sizes);

}  // namespace
