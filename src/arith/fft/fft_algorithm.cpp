#include "arith/fft/fft_algorithm.h"

#include "arith/fft/fft_parameters.h"
#include "arith/fft/fft_tables.h"
#include "arith/fft/fft_transform.h"
#include "arith/multiply/transform_tables.h"

namespace trel {
namespace {

const FftParameters& parameters_for(u64 words) {
    // sizes that overflow as bits are refused as well
    const u64 bits = words > kFftMaxBits ? words : 64 * words;
    return fft_parameter_table()[fft_entry_for(bits)];
}

}  // namespace

// The number of points never falls along the table, so the record of a size needs the most memory of all that
// smaller sizes reach.
MultiplySizes FftAlgorithm::sizes(u64 words) const {
    const FftParameters& parameters = parameters_for(words);
    MultiplySizes s;
    s.output = round_up_64(8 * words);
    s.transform_data = round_up_64(parameters.points() * sizeof(double));
    s.transform_scratch = 0;
    s.scratch = 2 * s.transform_data;  // plain_bytes() of the transform
    return s;
}

void FftAlgorithm::make_transform(TransformHolder& holder, u64 words) const {
    holder.emplace<FftTransform>(fft_kernels(), parameters_for(words), nullptr);
}

void FftAlgorithm::make_transform(TransformHolder& holder, u64 words, const MultiplyContext& context) const {
    const SharedTables* tables = context.tables == nullptr ? nullptr : context.tables->find(*this);
    holder.emplace<FftTransform>(fft_kernels(), parameters_for(words),
                                 static_cast<const FftSharedTables*>(tables));
}

u64 FftAlgorithm::table_bytes(u64 words) const {
    return FftSharedTables::bytes(words);
}

std::unique_ptr<SharedTables> FftAlgorithm::make_tables(u64 words, AlignedBufferC memory,
                                                        const ParallelContext& P) const {
    return std::make_unique<FftSharedTables>(words, memory, P);
}

const MultiplyAlgorithm& fft_algorithm() {
    static const FftAlgorithm algorithm;
    return algorithm;
}

}  // namespace trel
