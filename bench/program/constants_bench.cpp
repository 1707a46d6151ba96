// Every constant by each of its algorithms, by the whole program with output and verification off and one
// task, beside Pi in the same run. Prints the table of docs/performance.md: seconds are the program's own
// "Total Computation Time", the smallest of so many runs; the ratio is to Pi at the same number of digits.
//
//   KALVOR_BENCH_DIGITS="1000000 10000000"   the sizes
//   KALVOR_BENCH_RUNS=3                      runs of each row
//   KALVOR_BENCH_CONSTANTS="zeta3 catalan"   only these, beside Pi
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

struct Row {
    const char* constant;
    const char* algorithm;
    // Against Pi, for the default algorithms; 0: compared with another row.
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

// The program's time in seconds; negative when it fails, or does not know the algorithm.
double run_kalvor(const Row& row, const std::string& digits) {
    const std::string command = std::string(KALVOR_PROGRAM) + " pause:-2 skip-warnings custom " +
                                row.constant + " -algorithm:" + row.algorithm + " -dec:" + digits +
                                " -o constants-bench -od:0 -verify:0 -TD:1 -PF:none 2>&1";
    std::FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return -1;
    double seconds = -1;
    char line[512];
    while (std::fgets(line, sizeof line, pipe) != nullptr) {
        std::sscanf(line, "Total Computation Time: %lf", &seconds);
    }
    return pclose(pipe) == 0 ? seconds : -1;
}

// One line of the table a row: it is made in the order of the rows, with Pi first.
void BM_Constant(benchmark::State& state, const Row* row, std::string digits) {
    static std::map<std::string, double> pi, first;  // by digits; by constant and digits
    double best = -1;
    for (auto _ : state) {
        const double seconds = run_kalvor(*row, digits);
        if (seconds < 0) {
            state.SkipWithError("the program failed");
            return;
        }
        state.SetIterationTime(seconds);
        if (best < 0 || seconds < best) best = seconds;
    }
    const std::string key = row->constant + (" " + digits);
    pi.try_emplace(digits, best);
    first.try_emplace(key, best);
    state.counters["best"] = best;
    state.counters["to_pi"] = best / pi[digits];
    state.counters["to_default"] = best / first[key];
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
