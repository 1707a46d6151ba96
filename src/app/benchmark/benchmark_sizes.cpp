#include "app/benchmark/benchmark_sizes.h"

namespace kalvor {

namespace {

constexpr u64 kMillion = 1000000, kBillion = 1000 * kMillion, kTrillion = 1000 * kBillion;

constexpr BenchmarkSize kPresets[] = {
    {"25m", 25 * kMillion, 1},     {"50m", 50 * kMillion, 2},    {"100m", 100 * kMillion, 3},
    {"250m", 250 * kMillion, 4},   {"500m", 500 * kMillion, 5},  {"1b", kBillion, 6},
    {"2.5b", 2500 * kMillion, 7},  {"5b", 5 * kBillion, 8},      {"10b", 10 * kBillion, 9},
    {"25b", 25 * kBillion, 10},    {"50b", 50 * kBillion, 11},   {"100b", 100 * kBillion, 12},
    {"250b", 250 * kBillion, 13},  {"500b", 500 * kBillion, 14}, {"1t", kTrillion, 15},
    {"2.5t", 2500 * kBillion, 16},
};

constexpr BenchmarkSize power(std::string_view name, u64 exponent) {
    return {name, u64(1) << exponent, exponent};
}

constexpr BenchmarkSize kSuperPi[] = {
    power("1M", 20),  power("2M", 21),  power("4M", 22),   power("8M", 23),   power("16M", 24),
    power("32M", 25), power("64M", 26), power("128M", 27), power("256M", 28), power("512M", 29),
    power("1G", 30),  power("2G", 31),  power("4G", 32),   power("8G", 33),   power("16G", 34),
    power("32G", 35), power("64G", 36), power("128G", 37),
};

constexpr BenchmarkSizes kUsual{kPresets, kSuperPi};

}  // namespace

const BenchmarkSizes& BenchmarkSizes::usual() {
    return kUsual;
}

const BenchmarkSize* BenchmarkSizes::find(std::string_view word) const {
    for (const auto& list : {presets, superpi}) {
        for (const BenchmarkSize& size : list) {
            if (size.name == word) return &size;
        }
    }
    return nullptr;
}

}  // namespace kalvor
