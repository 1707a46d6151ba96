// The sizes at which machines are compared.
#pragma once

#include <span>
#include <string_view>

#include "base/names/names.h"
#include "os/types.h"

namespace kalvor {

struct BenchmarkSize {
    std::string_view name;  // "25m", "1M"; the case of letters counts
    u64 digits;             // decimal
    u64 option;             // in its menu
};

struct BenchmarkSizes {
    std::span<const BenchmarkSize> presets;  // options from 1 on
    std::span<const BenchmarkSize> superpi;  // powers of two, options 20 to 37: the exponents

    static const BenchmarkSizes& usual();
    // nullptr for a word that is none of them.
    const BenchmarkSize* find(std::string_view word) const;
};

}  // namespace kalvor
