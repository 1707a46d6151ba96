// The powers R^(b 2^l) of a conversion plan, as numbers and as forward transforms ready for multiplication.
#pragma once

#include <memory>

#include "arith/multiply/multiply_context.h"
#include "arith/multiply/transform.h"
#include "arith/residue/goldilocks.h"
#include "base/names/names.h"
#include "base/status/status.h"
#include "digits/convert/convert_plan.h"

namespace kalvor::CBRv2 {

// Watches a conversion; tests use it to damage data in passing and to see that the damage is noticed. Every
// call may come from any task.
class ConvertObserver {
  public:
    virtual ~ConvertObserver();
    // R^(b 2^level) has been stored as a number / as a transform.
    virtual void power_stored(u64 level, Word* words, u64 n) { (void)level, (void)words, (void)n; }
    virtual void transform_stored(u64 level, void* data, u64 bytes) { (void)level, (void)data, (void)bytes; }
    // The whole table has passed its checks.
    virtual void table_ready(u64 level, void* data, u64 bytes) { (void)level, (void)data, (void)bytes; }
    // A lower fraction has been computed by the power of `level`; words[n - 1] is its first word.
    virtual void product_done(u64 level, Word* words, u64 n) { (void)level, (void)words, (void)n; }
    // The first word of a lower range is about to be compared with the overlap word of the range above it.
    virtual void ranges_meet(Word& first, Word& overlap) { (void)first, (void)overlap; }
};

// The table: one entry a level. Lives in memory of the caller and ends with the conversion. The topmost power
// is used at one split only, so its transform is made there, in scratch memory that later splits use again.
class ReadyTableB {
  public:
    struct Entry {
        Word* words = nullptr;
        u64 n = 0;
        u64 carried = goldilocks::kNone;  // residue of the words when they were stored; at the top level
        TransformHolder transform;
        void* data = nullptr;  // the forward transform; null at the top level
    };

    explicit ReadyTableB(const ConvertPlanP& plan) : plan_(plan), entries_(new Entry[plan.levels]) {}

    // Builds and checks all levels. memory: plan.table_words; context.scratch: plan.scratch.
    void make_tables(const MultiplyContext& context, AlignedBufferC memory, Status& status,
                     ConvertObserver* observer);
    const Entry& operator[](u64 level) const { return entries_[level]; }
    const ConvertPlanP& plan() const { return plan_; }

  private:
    void build_table(const MultiplyContext& context, AlignedBufferC memory, Status& status,
                     ConvertObserver* observer);

    const ConvertPlanP& plan_;
    std::unique_ptr<Entry[]> entries_;
};

// Compares the hash of every stored power with R^(b 2^l) computed modulo 2^61 - 1. Throws
// InvalidParametersException "Radix is less than 2.", AlgorithmFailedException "Power Hash Mismatch".
void CheckP(const ReadyTableB& table, Status& status);
// The same for the hash of one number against radix^exponent; reports both hashes and throws naming
// `function`.
void check_power_hash(Status& status, const char* function, u64 actual, u64 radix, u64 exponent);

}  // namespace kalvor::CBRv2
