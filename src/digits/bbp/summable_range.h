// Which arithmetic takes which terms.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "base/names/names.h"
#include "digits/bbp/bbp_formulas.h"
#include "os/types.h"

namespace kalvor::BBPv2 {

enum class Mode { a = 0, b = 1, c = 2 };
constexpr u64 kModes = 3;

struct ModeRow {
    char letter;
    u64 limit;               // the largest divisor
    const char* limit_name;  // "2^49 - 1"
    const char* speed;
    // The first divisor that the kernel does not take, in the words of its warning.
    const char* warning;
};
const ModeRow& mode_row(Mode mode);

// Which modes may be used.
struct Modes {
    std::array<bool, kModes> enabled = {true, true, true};

    bool has(Mode mode) const { return enabled[static_cast<u64>(mode)]; }
    bool none() const { return !enabled[0] && !enabled[1] && !enabled[2]; }
    // The enabled mode of the largest limit; not with none().
    Mode highest() const;
    u64 limit() const;  // 0 with none()
    // "A, B, C"; empty with none().
    std::string text() const;

    bool operator==(const Modes&) const = default;
};

struct RangePiece {
    Mode mode;
    u64 begin, end;

    bool operator==(const RangePiece&) const = default;
};

// The terms k0 <= k < k1 of a sub-sum as pieces in ascending order, each for the fastest mode that is
// enabled and takes its divisors. Throws InvalidParametersException "No modes enabled.", "No mode is able to
// handle this range.".
std::vector<RangePiece> SummableRange(const Modes& modes, const SubSum& sub_sum, u64 k0, u64 k1);

}  // namespace kalvor::BBPv2
