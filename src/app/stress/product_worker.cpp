#include "app/stress/product_worker.h"

#include <algorithm>

#include "app/stress/product_stress.h"
#include "arith/m61/m61.h"
#include "arith/multiply/needs.h"
#include "base/errors/exceptions.h"
#include "platform/parallel/basic_parallelizer.h"

namespace kalvor {

namespace {

constexpr u64 kMultiplyEvery = 4;  // the others square

// A bijection of 64 bits in which every bit depends on every other (Steele, Lea, Flood 2014).
u64 mixed(u64 x) {
    x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9;
    x = (x ^ (x >> 27)) * 0x94d049bb133111eb;
    return x ^ (x >> 31);
}

void fill_operand(Word* A, u64 n, u64 seed) {
    for (u64 i = 0; i < n; i++) A[i] = mixed(seed + i * 0x9e3779b97f4a7c15);
}

}  // namespace

void ProductWorker::fill_one_operand(Word* A, u64 n) {
    for (u64 i = 0; i < n; i++) {
        const u64 x = 2760727302517 * i + 8297481315922261837u;
        const u64 y = 2760733047673 + i;
        A[i] = x * y * y + 2760730175003;
    }
}

ProductWorker::ProductWorker(const WorkerPlace& place, const char* tag, const MultiplyAlgorithm& algorithm,
                             u64 n_words, Manner manner)
    : place_(place),
      tag_(tag),
      algorithm_(algorithm),
      n_(n_words),
      manner_(manner),
      memory_(place.memory.get(), place.memory.size() / 64 * 64) {
    const u64 table_bytes = round_up_64(algorithm.table_bytes(2 * n_));
    place_bytes_ = needs_of_place(algorithm, n_).bytes;
    ParallelContext parallel = serial_context();
    parallel.run = &place_.monitor;
    tables_ = std::make_unique<TransformTables>(algorithm, 2 * n_, memory_.spawn(table_bytes), parallel);
    n_places_ = manner.moves ? (memory_.size() + place_bytes_ - 1) / place_bytes_ : 1;
    if (manner.one_operand) {
        Word* const A = memory_.word_pointer();
        fill_one_operand(A, n_);
        one_operand_hash_ = m61::hash_words(A, n_);
    }
}

u64 ProductWorker::offset_of(u64 iteration) const {
    const u64 i = iteration % n_places_;
    if (i + 1 < n_places_) return i * place_bytes_;
    return n_places_ == 1 ? 0 : memory_.size() - place_bytes_;
}

void ProductWorker::iterate(u64 iteration) {
    AlignedBufferC memory = memory_;
    memory.spawn(offset_of(iteration));
    Word* const A = carve_words(memory, n_);
    Word* const B = carve_words(memory, n_);
    Word* const T = carve_words(memory, 2 * n_);
    ParallelContext parallel = serial_context();
    parallel.run = &place_.monitor;
    const MultiplyContext context{parallel, memory, tables_.get()};

    const bool square = manner_.one_operand || iteration % kMultiplyEvery != kMultiplyEvery - 1;
    u64 hash_a = one_operand_hash_;
    if (manner_.one_operand) {
        // A kernel that writes nothing would leave the right product of the iteration before.
        std::fill_n(T, 2 * n_, 0);
    } else {
        const u64 seed = mixed(mixed(mixed(place_.seed) + place_.core) + iteration);
        fill_operand(A, n_, seed);
        hash_a = m61::hash_words(A, n_);
        if (!square) fill_operand(B, n_, ~seed);
    }
    const u64 hash_b = square ? hash_a : m61::hash_words(B, n_);
    if (square) {
        algorithm_.sqr(context, T, A, n_);
    } else {
        algorithm_.mul(context, T, A, n_, B, n_);
    }
    if (place_.fault.at) place_.fault.at(place_.core, tag_, iteration, T, 2 * n_ * sizeof(Word));
    // Products look at themselves, and one that is wrong is done again. What came out right the second time
    // was still miscalculated by this core.
    if (!m61::equal(m61::hash_words(T, 2 * n_), m61::mul(hash_a, hash_b)) ||
        place_.monitor.checks.corrected.load() != 0) {
        throw AlgorithmFailedException("ProductWorker::iterate()", "Checksum Mismatch");
    }
}

}  // namespace kalvor
