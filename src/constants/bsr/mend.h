// What follows an error in a range of a series: the range is done again. Nothing is needed for that but the
// numbers of its terms, because its results depend on nothing else and its memory is still there.
#pragma once

#include <string>

#include "arith/multiply/floating_point_control.h"
#include "base/errors/exceptions.h"
#include "base/names/names.h"
#include "os/types.h"
#include "platform/parallel/basic_parallelizer.h"

namespace kalvor::BinarySplitting {

// Ranges with results of up to this many words are done again; longer ones would take too long.
inline constexpr u64 kMendedWords = u64(1) << 20;

// "series, terms 5 to 9" for the range [4, 9).
std::string range_name(u64 a, u64 b);

// True while the run may still repeat a range: fewer than kMaxCorrected corrections so far.
bool may_mend(const ParallelContext& parallel);
// The first line of an error's text.
std::string what_was_found(const Exception& error);
// A warning of the run, counted; the third one ends the run.
void range_was_mended(const ParallelContext& parallel, u64 a, u64 b, const std::string& found);

// Runs once(), and where that ends with an error, again() in its place, a single time. `words`: of the
// longest result of [a, b).
template <class Once, class Again>
void mended(const ParallelContext& parallel, u64 a, u64 b, u64 words, Once&& once, Again&& again) {
    std::string found;
    try {
        once();
        return;
    } catch (const WronglyRounded&) {
        throw;
    } catch (const Exception& e) {
        if (words > kMendedWords || !may_mend(parallel)) throw;
        found = what_was_found(e);
    }
    again();
    range_was_mended(parallel, a, b, found);
}

}  // namespace kalvor::BinarySplitting
