// Every constant by each of its algorithms, by the whole program with output and verification off and one
// task, beside Pi in the same run. Prints the table of docs/performance.md: seconds are the program's own
// "Total Computation Time", the smallest of so many runs; the ratio is to Pi at the same number of digits.
//
//   KALVOR_BENCH_DIGITS="1000000 10000000"   the sizes
//   KALVOR_BENCH_RUNS=3                      runs of each row
//   KALVOR_BENCH_CONSTANTS="zeta3 catalan"   only these, beside Pi
//   KALVOR_BENCH_TASKS=1                     tasks; with more than one a thread for each
//
// Floors and aims count in units of Pi's time as it was when they were counted, against the GMP yardstick.
// What has made Pi faster since then does not shorten the unit, which is measured by the yardstick in the
// same run.
//
// The algorithms of a constant are compared by the hashes of their digits. A row whose hash is not that of
// the constant's first row fails.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "gmp_chudnovsky.h"

namespace {

struct Row {
    const char* constant;
    const char* algorithm;
    // In units, for the default algorithms; 0: compared with another row.
    double floor, aim;
};

// The first row of a constant is its default algorithm.
constexpr Row kRows[] = {
    {"pi", "0", 0, 0},
    {"pi", "1", 0, 0},
    {"sqrt:2", "0", 0.20, 0.15},
    {"sqrt:200", "0", 0, 0},
    {"goldenratio", "0", 0.20, 0.15},
    {"e", "0", 0.45, 0.38},
    {"e", "1", 0, 0},
    {"log:2", "0", 2.3, 1.97},
    {"log:2", "1", 0, 0},
    {"log:10", "0", 3.2, 2.7},
    {"log:10", "1", 0, 0},
    {"zeta3", "0", 3.45, 2.9},
    {"zeta3", "1", 0, 0},
    {"catalan", "0", 5.6, 4.6},
    {"catalan", "1", 0, 0},
    {"catalan", "2", 0, 0},
    {"catalan", "3", 0, 0},
    {"catalan", "4", 0, 0},
    {"catalan", "5", 0, 0},
    {"lemniscate", "0", 2.9, 2.4},
    {"lemniscate", "1", 0, 0},
    {"lemniscate", "2", 0, 0},
    {"gamma", "0", 29, 20},
    {"gamma", "1", 0, 0},
};

std::vector<std::string> words(const char* name, const char* otherwise) {
    const char* text = std::getenv(name);
    std::istringstream stream(text != nullptr ? text : otherwise);
    std::vector<std::string> list;
    for (std::string word; stream >> word;) list.push_back(word);
    return list;
}

struct Run {
    double seconds = -1;  // negative when the program fails, or does not know the algorithm
    std::string hash;     // of the decimal digits
};

// The part of the command line that says how many tasks there are.
std::string parallelism() {
    const std::string tasks = words("KALVOR_BENCH_TASKS", "1").at(0);
    return " -TD:" + tasks + (tasks == "1" ? " -PF:none" : " -threads:" + tasks);
}

Run run_kalvor(const Row& row, const std::string& digits) {
    const std::string command = std::string(KALVOR_PROGRAM) + " pause:-2 skip-warnings custom " +
                                row.constant + " -algorithm:" + row.algorithm + " -dec:" + digits +
                                " -o constants-bench -od:0 -verify:0" + parallelism() + " 2>&1";
    Run run;
    std::FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return run;
    double seconds = -1;
    char line[512], hash[128];
    while (std::fgets(line, sizeof line, pipe) != nullptr) {
        std::sscanf(line, "Total Computation Time: %lf", &seconds);
        if (std::sscanf(line, "Dec Hash: Floor(|x| * 10^dec) mod (2^61 - 1) = %127s", hash) == 1)
            run.hash = hash;
    }
    if (pclose(pipe) == 0) run.seconds = seconds;
    return run;
}

// The time of the yardstick, the smallest of as many runs as the program has.
double yardstick(unsigned long digits, long runs) {
    using Clock = std::chrono::steady_clock;
    double best = -1;
    for (long i = 0; i < runs; i++) {
        const Clock::time_point start = Clock::now();
        benchmark::DoNotOptimize(gmp_pi(digits));
        const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
        if (best < 0 || seconds < best) best = seconds;
    }
    return best;
}

// What floors and aims count in; 0 for digits and tasks that have none.
double unit(const std::string& digits, double pi, long runs) {
    static constexpr struct {
        const char* digits;
        double of_pi;  // the yardstick's time by Pi's when floors and aims were counted
    } kYardsticks[] = {{"1000000", 4.4}, {"10000000", 6.1}};
    if (words("KALVOR_BENCH_TASKS", "1").at(0) != "1") return 0;
    for (const auto& [size, of_pi] : kYardsticks) {
        if (digits == size) return std::max(pi, yardstick(std::stoul(digits), runs) / of_pi);
    }
    return 0;
}

// One line of the table a row: it is made in the order of the rows, with Pi first.
void BM_Constant(benchmark::State& state, const Row* row, std::string digits) {
    static std::map<std::string, double> pi, units, first;  // by digits; by constant and digits
    static std::map<std::string, std::string> hashes;
    const std::string key = row->constant + (" " + digits);
    double best = -1;
    for (auto _ : state) {
        const Run run = run_kalvor(*row, digits);
        if (run.seconds < 0 || run.hash.empty()) {
            state.SkipWithError("the program failed");
            return;
        }
        if (hashes.try_emplace(key, run.hash).first->second != run.hash) {
            state.SkipWithError("the digits are not those of the first algorithm");
            return;
        }
        state.SetIterationTime(run.seconds);
        if (best < 0 || run.seconds < best) best = run.seconds;
    }
    if (pi.try_emplace(digits, best).second) units[digits] = unit(digits, best, state.iterations());
    first.try_emplace(key, best);
    state.counters["best"] = best;
    state.counters["to_pi"] = best / pi[digits];
    state.counters["to_default"] = best / first[key];
    if (units[digits] > 0) {
        state.counters["unit"] = units[digits];
        state.counters["to_unit"] = best / units[digits];
    }
    // Gamma's are at a million digits, the others' at ten.
    const bool counted = digits == (std::string(row->constant) == "gamma" ? "1000000" : "10000000");
    if (row->floor > 0 && counted) {
        state.counters["floor"] = row->floor;
        state.counters["aim"] = row->aim;
    }
}

const bool g_registered = [] {
    const std::vector<std::string> only = words("KALVOR_BENCH_CONSTANTS", "");
    const int runs = std::atoi(words("KALVOR_BENCH_RUNS", "3").at(0).c_str());
    for (const std::string& digits : words("KALVOR_BENCH_DIGITS", "1000000 10000000")) {
        for (const Row& row : kRows) {
            const std::string constant = row.constant;
            bool wanted = only.empty() || constant == "pi";
            for (const std::string& one : only) wanted = wanted || one == constant;
            // Ten million digits of gamma take as long as all others together.
            if (!wanted || (constant == "gamma" && digits.size() > 7 && only.empty())) continue;
            const std::string name = "Constants/" + constant + "/" + row.algorithm + "/" + digits;
            benchmark::RegisterBenchmark(name.c_str(), BM_Constant, &row, digits)
                ->UseManualTime()
                ->Unit(benchmark::kMillisecond)
                ->Iterations(runs > 0 ? runs : 1);
        }
    }
    return true;
}();

}  // namespace
