#include "digits/bbp/summable_range.h"

#include <algorithm>

#include "base/errors/exceptions.h"
#include "digits/bbp/bbp_kernels.h"

namespace kalvor::BBPv2 {

namespace {

constexpr ModeRow kRows[kModes] = {
    {'A', kBbpLimitA, "2^49 - 1", "Fastest", "Maximum coefficient size of 2^49 has been exceeded."},
    {'B', kBbpLimitB, "2^51 - 1", "30% slower", "Maximum coefficient size of 2^51 has been exceeded."},
    {'C', kBbpLimitC, "2^61 - 1", "2.5x slower", "Maximum coefficient size of 2^61 has been exceeded."},
};

constexpr Mode kAll[kModes] = {Mode::a, Mode::b, Mode::c};

}  // namespace

const ModeRow& mode_row(Mode mode) {
    return kRows[static_cast<u64>(mode)];
}

Mode Modes::highest() const {
    return has(Mode::c) ? Mode::c : has(Mode::b) ? Mode::b : Mode::a;
}

u64 Modes::limit() const {
    return none() ? 0 : mode_row(highest()).limit;
}

std::string Modes::text() const {
    std::string text;
    for (const Mode mode : kAll) {
        if (!has(mode)) continue;
        if (!text.empty()) text += ", ";
        text += mode_row(mode).letter;
    }
    return text;
}

std::vector<RangePiece> SummableRange(const Modes& modes, const SubSum& sub_sum, u64 k0, u64 k1) {
    const char* const kFunction = "BBPv2::SummableRange()";
    std::vector<RangePiece> pieces;
    u64 cursor = k0;
    for (const Mode mode : kAll) {
        const u64 limit = mode_row(mode).limit;
        if (cursor >= k1) break;
        if (!modes.has(mode) || limit < sub_sum.b) continue;
        // The k at the limit is left to the next mode; the last one has none to leave it to.
        const u64 end = (limit - sub_sum.b) / sub_sum.a + (mode == modes.highest() ? 1 : 0);
        if (cursor >= end) continue;
        pieces.push_back({mode, cursor, std::min(end, k1)});
        cursor = pieces.back().end;
    }
    if (cursor >= k1) return pieces;
    if (modes.none()) throw InvalidParametersException(kFunction, "No modes enabled.");
    throw InvalidParametersException(kFunction, "No mode is able to handle this range.\n[" +
                                                    std::to_string(k0) + ", " + std::to_string(k1) + ")");
}

}  // namespace kalvor::BBPv2
