// The tests that multiply: one multiplication algorithm each.
#pragma once

#include "app/stress/stress_test.h"
#include "arith/multiply/multiply_algorithm.h"
#include "arith/multiply/needs.h"

namespace kalvor {

// Each uses the algorithm of its name from the registry, SFT that of FFT.
const StressTest& bkt_stress();
const StressTest& sft_stress();
const StressTest& fft_stress();
const StressTest& n32_stress();
const StressTest& n64_stress();
const StressTest& hnt_stress();
const StressTest& vst_stress();
const StressTest& c17_stress();

// What a product of two operands of `words` words takes with them: operands, product, transforms.
Needs needs_of_place(const MultiplyAlgorithm& algorithm, u64 words);
// The same and the algorithm's own tables. Bytes, a multiple of 64.
u64 product_bytes(const MultiplyAlgorithm& algorithm, u64 words);
// The longest operands of at most `most` words whose product takes at most `bytes` bytes; 0: none.
u64 largest_operand(const MultiplyAlgorithm& algorithm, u64 bytes, u64 most);

// A test as its figures have it.
class ProductStress final : public StressTest {
  public:
    // How the memory of a thread becomes the size of its products.
    enum class Sizing {
        fixed,     // always `operand` words
        in_cache,  // what stays in the cache, by search
        bits,      // blocks of `block` bytes; the size is the product's bits
        blocks,    // the same; the size is the number of blocks
    };
    struct Figures {
        const char* algorithm;  // its name in the registry
        Sizing sizing;
        u64 block;    // bytes
        u64 operand;  // words; the longest one, so that no product takes much longer than half a second
    };

    ProductStress(const Texts& texts, const Figures& figures);

    u64 size_for(u64 bytes) const override;
    std::unique_ptr<StressWorker> make_worker(const WorkerPlace& place) const override;

    // Words of the operands that fit into the bytes; 0: nothing fits.
    u64 operand_words(u64 bytes) const;
    const MultiplyAlgorithm& algorithm() const { return *algorithm_; }

  private:
    const Figures figures_;
    const MultiplyAlgorithm* algorithm_;
    u64 longest_;      // words of an operand
    u64 cached_bits_;  // Sizing::in_cache: of the product
};

}  // namespace kalvor
