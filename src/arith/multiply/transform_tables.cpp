#include "arith/multiply/transform_tables.h"

#include <algorithm>

#include "arith/multiply/algorithm_table.h"
#include "base/errors/exceptions.h"

namespace trel {
namespace {

// Calls f(algorithm, words, bytes) for every algorithm that a product of up to `words` words can reach and
// that has shared tables.
template <class F>
void for_each_table(u64 words, F&& f) {
    for (const AlgorithmTable::Item& item : basic_table64().items()) {
        const u64 largest = std::min(words, item.threshold_words);
        const u64 bytes = round_up_64(item.algorithm->table_bytes(largest));
        if (bytes != 0) f(*item.algorithm, largest, bytes);
        if (item.threshold_words >= words) return;
    }
    throw LimitExceededException("TransformTables::TransformTables()", "", 0, words);
}

}  // namespace

u64 TransformTables::bytes(u64 words) {
    u64 sum = 0;
    for_each_table(words, [&](const MultiplyAlgorithm&, u64, u64 bytes) { sum += bytes; });
    return sum;
}

TransformTables::TransformTables(u64 words, AlignedBufferC memory, const ParallelContext& parallel) {
    for_each_table(words, [&](const MultiplyAlgorithm& algorithm, u64 largest, u64 bytes) {
        entries_.push_back({&algorithm, algorithm.make_tables(largest, memory.spawn(bytes), parallel)});
    });
}

TransformTables::TransformTables(const MultiplyAlgorithm& algorithm, u64 words, AlignedBufferC memory,
                                 const ParallelContext& parallel) {
    const u64 bytes = round_up_64(algorithm.table_bytes(words));
    if (bytes == 0) return;
    entries_.push_back({&algorithm, algorithm.make_tables(words, memory.spawn(bytes), parallel)});
}

const SharedTables* TransformTables::find(const MultiplyAlgorithm& algorithm) const {
    for (const Entry& entry : entries_) {
        if (entry.algorithm == &algorithm) return entry.tables.get();
    }
    return nullptr;
}

}  // namespace trel
