#include "app/stress/product_stress.h"

#include <algorithm>

#include "app/stress/product_worker.h"
#include "arith/multiply/algorithm_table.h"

namespace kalvor {

namespace {

// The small transforms stay in half of a second-level cache.
constexpr u64 kCachedBytes = 262144;
constexpr u64 kMostCachedBits = 786432;

constexpr u64 kAllOfIt = 1;           // block of a test that takes its memory as it is
constexpr u64 kHybridBlock = 64;      // the grain of all memory here, for want of a figure
constexpr u64 kFloatWords = 1 << 22;  // longest operands: products of 0.4 to 0.7 s
constexpr u64 kIntegerWords = 1 << 20;
constexpr u64 kKaratsubaWords = 512;

// The largest n <= most with holds(n), which is true up to it; 0: none.
template <class Holds>
u64 last_that_holds(u64 most, Holds holds) {
    u64 low = 0;
    while (low < most) {
        const u64 middle = low + (most - low + 1) / 2;
        if (holds(middle)) {
            low = middle;
        } else {
            most = middle - 1;
        }
    }
    return low;
}

u64 largest_cached_product(const MultiplyAlgorithm& algorithm) {
    return last_that_holds(kMostCachedBits, [&](u64 bits) {
        const MultiplySizes s = algorithm.sizes((bits + 63) / 64);
        return s.output + s.transform_data + s.transform_scratch <= kCachedBytes;
    });
}

}  // namespace

Needs needs_of_place(const MultiplyAlgorithm& algorithm, u64 words) {
    const Needs product{2 * words, round_up_64(algorithm.sizes(2 * words).scratch), 2 * words};
    return product.above(2 * words).above(words).above(words);
}

u64 product_bytes(const MultiplyAlgorithm& algorithm, u64 words) {
    return needs_of_place(algorithm, words).bytes + round_up_64(algorithm.table_bytes(2 * words));
}

u64 largest_operand(const MultiplyAlgorithm& algorithm, u64 bytes, u64 most) {
    return last_that_holds(most, [&](u64 words) { return product_bytes(algorithm, words) <= bytes; });
}

ProductStress::ProductStress(const Texts& texts, const Figures& figures)
    : StressTest(texts, figures.sizing == Sizing::fixed || figures.sizing == Sizing::in_cache),
      figures_(figures) {
    const AlgorithmEntry& entry = *find_algorithm(TableSlot::basic64, figures.algorithm);
    algorithm_ = entry.algorithm;
    longest_ = std::min(figures.operand, entry.max_bits / 128);
    cached_bits_ = figures.sizing == Sizing::in_cache ? largest_cached_product(*algorithm_) : 0;
}

u64 ProductStress::operand_words(u64 bytes) const {
    switch (figures_.sizing) {
        case Sizing::fixed:
            return product_bytes(*algorithm_, longest_) <= bytes ? longest_ : 0;
        case Sizing::in_cache:
            return product_bytes(*algorithm_, cached_bits_ / 128) <= bytes ? cached_bits_ / 128 : 0;
        default:
            return largest_operand(*algorithm_, bytes / figures_.block * figures_.block, longest_);
    }
}

u64 ProductStress::size_for(u64 bytes) const {
    const u64 words = operand_words(bytes);
    if (words == 0) return 0;
    switch (figures_.sizing) {
        case Sizing::fixed:
            return words;
        case Sizing::in_cache:
            return cached_bits_;
        case Sizing::bits:
            return 128 * words;
        default:
            return bytes / figures_.block;
    }
}

std::unique_ptr<StressWorker> ProductStress::make_worker(const WorkerPlace& place) const {
    const u64 words = operand_words(place.memory.size());
    // BKT squares one operand for ever, as it was written; the others take new ones.
    const bool one_operand = figures_.sizing == Sizing::fixed;
    return std::make_unique<ProductWorker>(place, texts().tag, *algorithm_, words,
                                           ProductWorker::Manner{one_operand, !is_small()});
}

const StressTest& bkt_stress() {
    static const ProductStress test({"BKT", "Basecase + Karatsuba", "words", "Scalar Integer", 0},
                                    {"BKT", ProductStress::Sizing::fixed, kAllOfIt, kKaratsubaWords});
    return test;
}

const StressTest& sft_stress() {
    static const ProductStress test({"SFT", "Small In-Cache FFT", "bits", "AVX512 Float", 1},
                                    {"FFT", ProductStress::Sizing::in_cache, kAllOfIt, kFloatWords});
    return test;
}

const StressTest& fft_stress() {
    static const ProductStress test({"FFT", "Fast Fourier Transform", "bits", "AVX512 Float", 6},
                                    {"FFT", ProductStress::Sizing::bits, 4224, kFloatWords});
    return test;
}

const StressTest& n32_stress() {
    static const ProductStress test({"N32", "Classic NTT (32-bit)", "blocks", "AVX512 Integer", 3},
                                    {"N32", ProductStress::Sizing::blocks, 5376, kIntegerWords});
    return test;
}

const StressTest& n64_stress() {
    static const ProductStress test({"N64", "Classic NTT (64-bit)", "blocks", "AVX512 Integer", 3},
                                    {"N64", ProductStress::Sizing::blocks, 9216, kIntegerWords});
    return test;
}

const StressTest& hnt_stress() {
    static const ProductStress test({"HNT", "Hybrid NTT", "blocks", "Mixed Workload", 6},
                                    {"HNT", ProductStress::Sizing::blocks, kHybridBlock, kIntegerWords});
    return test;
}

const StressTest& vst_stress() {
    static const ProductStress test({"VST", "Vector Transform", "blocks", "AVX512 Float", 8},
                                    {"VST", ProductStress::Sizing::blocks, 38912, kFloatWords});
    return test;
}

const StressTest& c17_stress() {
    static const ProductStress test({"C17", "Code 17 Experiment", "blocks", "AVX512 Mixed", 8},
                                    {"C17", ProductStress::Sizing::blocks, 36352, kFloatWords});
    return test;
}

}  // namespace kalvor
