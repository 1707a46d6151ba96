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

    static LogAgmPlan make(u64 p, u64 tds);
};

struct Log_AGM_BigFloatR {
    // T = ln x, x > 0; zero for x = 1. The error is below 2^(-64 p) of the larger of |ln x| and 1: where x is
    // near 1, T has fewer than p correct words. pi and log2: to plan.mean.p words at least. All of the plan's
    // memory is the context's. Announced as "Log(x) - AGM:" with its steps.
    static void run(const LogAgmPlan& plan, const MultiplyContext& context, Status& status, BigFloat& T,
                    const BigFloat& x, const BigFloat& pi, const BigFloat& log2);
};

}  // namespace trel
