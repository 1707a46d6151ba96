// The natural logarithm of a number by the mean: with s = x 2^m,
//
//   ln x = Pi / (2 AGM(1, 4/s)) - m ln 2,
//
// whose error is about 1/s^2. m is a number of whole words, so that s is x with another exponent. (Brent
// 1976; the relation is Gauss's and Legendre's.)
#pragma once

#include "arith/newton/agm.h"
#include "arith/newton/division.h"

namespace trel {

struct LogAgmPlan : NewtonPlan {
    AGMPlan mean;
    DivisionPlan division;
    u64 value_words;  // of the temporaries

    // lost: words by which x is near 1 (Log_AGM_BigFloatR::words_near_one), added to the working precision.
    static LogAgmPlan make(u64 p, u64 lost, u64 tds);
};

struct Log_AGM_BigFloatR {
    // The words by which ln x is smaller than 1, at most `most`: x near 1 loses them. x > 0.
    static u64 words_near_one(const BigFloat& x, u64 most);
    // T = ln x to p words, x > 0; zero for x = 1. pi and log2: to plan.mean.p words at least. All of the
    // plan's memory is the context's. Announced as "Log(x) - AGM:" with its steps.
    static void run(const LogAgmPlan& plan, const MultiplyContext& context, Status& status, BigFloat& T,
                    const BigFloat& x, const BigFloat& pi, const BigFloat& log2);
};

}  // namespace trel
