#include "arith/ntt/ntt_check.h"

#include <algorithm>
#include <bit>

#include "base/errors/exceptions.h"

namespace trel {

void check_vector_family(const char* function, NttFamily family) {
    if (family == NttFamily::c17 || family == NttFamily::vst) return;
    throw InvalidParametersException(function, "Invalid Mode");
}

void check_carry_buffer(u64 memory_k, u64 carry_k) {
    if (memory_k < carry_k) {
        throw AlgorithmFailedException("CarryBufferB()", "CarryBufferB(): memory_k < carry_k");
    }
}

u64 ntt_excess_bound(const NttRecord& record) {
    return u64(1) << (record.c + std::bit_width(record.b - 1u) + 1);
}

void check_coefficients(const ParallelContext& parallel, const char* function, u64 bound, u64 excess) {
    if (excess < bound) return;
    if (!floating_point_control_is_right()) {
        parallel.warn({{kFloatingPointControlCorrupted}});
        throw WronglyRounded(function, "Coefficient is too large.", bound, excess);
    }
    throw ConvolutionFailedException(function, "Coefficient is too large.", bound, excess);
}

void check_rounding(const ParallelContext& parallel, const char* function, bool rounded_right, u64 bound,
                    u64 excess) {
    if (rounded_right) return;
    parallel.warn({{kFloatingPointControlCorrupted}});
    throw WronglyRounded(function, "Coefficient is too large.", bound, std::max(bound, excess));
}

void check_ntt_coefficients(const ParallelContext& parallel, NttFamily family, const NttRecord& record,
                            u64 excess) {
    check_coefficients(parallel, ntt_constants(family).short_name, ntt_excess_bound(record), excess);
}

}  // namespace trel
