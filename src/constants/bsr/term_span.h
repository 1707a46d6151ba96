// Which terms of a series a sum holds. Numbers and their residues say nothing of that: the sum of other terms
// has residues that are right.
#pragma once

#include "base/names/names.h"
#include "os/types.h"
#include "platform/parallel/basic_parallelizer.h"

namespace kalvor::BinarySplitting {

struct TermSpan {
    u64 begin = 0, end = 0;  // [begin, end)

    friend bool operator==(const TermSpan&, const TermSpan&) = default;
};

// The terms of two ranges, the second of which follows the first; of no other two. AlgorithmFailedException
// "Terms of the series were lost or taken twice: ..." with both.
TermSpan joined(const ParallelContext& parallel, const TermSpan& left, const TermSpan& right);
// The same where `found` are not [a, b).
void check_terms(const TermSpan& found, u64 a, u64 b);

}  // namespace kalvor::BinarySplitting
