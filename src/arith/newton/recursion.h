// The recursion that all Newton iterations share: from a double down at the bottom up to the precision asked.
#pragma once

#include "arith/bigfloat/big_float.h"
#include "arith/kernels/linear_word_buffer.h"
#include "arith/newton/error_term.h"
#include "base/errors/exceptions.h"

namespace trel::newton {

inline constexpr u64 kTransformPrecision = 10;  // words; below it the basic iterations run

// What tells one iteration from another. Precisions and sizes in words.
struct Iteration {
    const char* basic_name;  // of errors: "Reciprocal_BigFloatR_E::run()"
    const char* name;
    u64 extra;                     // the result of p words needs a buffer of p + extra
    u64 (*basic_previous)(u64 p);  // the precision below, p >= 1
    u64 (*previous)(u64 p);        // the same from kTransformPrecision up
    u64 (*estimate_words)(u64 p);  // the buffer that takes the level below
};

inline void check_plan(u64 plan_p, u64 plan_tds, u64 p, u64 tds, const char* function) {
    if (tds > plan_tds) throw InvalidParametersException(function, "tds is larger than plan.");
    if (p > plan_p) throw InvalidParametersException(function, "p is larger than plan.");
}

// start(T) sets the value of precision 0; step(T, p) takes T from the precision below to p.
template <class Start, class Step>
void basic_levels(const Iteration& iteration, BigFloat& T, u64 p, const Start& start, const Step& step) {
    if (p == 0) return start(T);
    if (T.buffer_size < p + iteration.extra)
        throw BufferTooSmallException(iteration.basic_name, T.buffer_size, p + iteration.extra);
    basic_levels(iteration, T, iteration.basic_previous(p), start, step);
    step(T, p);
}

// basic(T, p, buffer) runs the basic levels; step(T, x, p, buffer) takes the estimate x of the precision
// below to T of p words. below(buffer, T) chooses the word buffer of the level below.
template <class Basic, class Step, class Below>
void window_levels(const Iteration& iteration, BigFloat& T, u64 p, LinearWordBuffer buffer,
                   const Basic& basic, const Step& step, const Below& below) {
    if (p < kTransformPrecision) return basic(T, p, buffer);
    if (T.buffer_size < p + iteration.extra)
        throw BufferTooSmallException(iteration.name, T.buffer_size, p + iteration.extra);
    BigFloat x = carve<BigFloat>(buffer, iteration.estimate_words(p));
    window_levels(iteration, x, iteration.previous(p), below(buffer, T), basic, step, below);
    step(T, x, p, buffer);
}

// The memory for the level below: what is left of the buffer, or the result's own words, which nobody needs
// until the estimate is there.
inline LinearWordBuffer rest_of(const LinearWordBuffer& rest, const BigFloat&) {
    return rest;
}
inline LinearWordBuffer larger_of(const LinearWordBuffer& rest, const BigFloat& result) {
    return rest.size() >= result.buffer_size ? rest : LinearWordBuffer(result.buffer, result.buffer_size);
}

}  // namespace trel::newton
