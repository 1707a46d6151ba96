// One core's products, each compared with its operands modulo 2^61 - 1. No single bit goes unnoticed, because
// no power of 2 is 0 there.
//
//     memory:   tables | A | B | A B | scratch |  ->  moves on through what is left
//
// With more memory than one product takes, each iteration works in the next place, and the last one ends with
// the memory: all of it is used, and no product gets longer for it.
#pragma once

#include <memory>

#include "app/stress/stress_test.h"
#include "arith/multiply/multiply_algorithm.h"
#include "arith/multiply/transform_tables.h"

namespace kalvor {

class ProductWorker final : public StressWorker {
  public:
    struct Manner {
        bool one_operand;  // the same one is squared every time; else new ones, every fourth time multiplied
        bool moves;        // through the memory; else it stays where it begins, in the caches
    };

    // Operands of n_words; the memory of the place holds product_bytes() of them.
    ProductWorker(const WorkerPlace& place, const char* tag, const MultiplyAlgorithm& algorithm, u64 n_words,
                  Manner manner);

    void iterate(u64 iteration) override;

    // Where the work of an iteration begins behind the tables, and how many places there are.
    u64 offset_of(u64 iteration) const;
    u64 places() const { return n_places_; }

    // The operand of a worker that has one only:
    // word i = x y y + 2760730175003 with x = 2760727302517 i + 8297481315922261837, y = 2760733047673 + i.
    static void fill_one_operand(Word* A, u64 n);

  private:
    const WorkerPlace place_;
    const char* const tag_;
    const MultiplyAlgorithm& algorithm_;
    const u64 n_;
    const Manner manner_;
    AlignedBufferC memory_;  // behind the tables
    u64 place_bytes_;
    u64 n_places_;
    std::unique_ptr<TransformTables> tables_;
    u64 one_operand_hash_ = 0;
};

}  // namespace kalvor
