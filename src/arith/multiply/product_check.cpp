#include "arith/multiply/product_check.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstring>
#include <iomanip>
#include <sstream>
#include <string>

#include "base/errors/exceptions.h"

namespace trel {
namespace {

std::string described(const CheckedProduct& product) {
    return std::string(product.operation) + " by " + product.algorithm + ", " +
           std::to_string(product.words) + " words";
}

// Every bit of every word counts: each step can be undone.
u64 mixed(u64 h, u64 word) {
    return (std::rotl(h, 23) ^ word) * 0x9e3779b97f4a7c15;
}

constexpr u64 kFormed = u64(1) << 63;
constexpr u64 kFirstOfRing = 5;  // seal, length and kFormed, source, fold or m61, odd

// Three words of a ring say what their fold is. Then its place is that of the residue modulo 2^61 - 1, so
// that a label stays within a cache line.
bool fold_follows(const OperandResidue& r) {
    return r.formed && r.ring.p == 3;
}

}  // namespace

u64 OperandResidue::sealed() const {
    u64 h = mixed(length, formed);
    h = mixed(h, reinterpret_cast<u64>(source));
    h = mixed(h, fold);
    h = mixed(h, odd);
    h = mixed(h, m61);
    for (u32 i = 0; i < ring.p; i++) h = mixed(h, ring.w[i]);
    return h;
}

void operand_label::write(void* place, const OperandResidue& r) {
    Word label[kFirstOfRing + RingResidue::kMaxWords] = {r.seal, r.length | (r.formed ? kFormed : 0),
                                                         reinterpret_cast<u64>(r.source),
                                                         fold_follows(r) ? r.m61 : r.fold, r.odd};
    const u64 n = kFirstOfRing + r.ring.p;
    std::copy_n(r.ring.w, r.ring.p, label + kFirstOfRing);
    u8* const at = static_cast<u8*>(place);
    std::memcpy(at, label, n * sizeof(Word));
    std::memcpy(at + bytes(r.ring.p) / 2, label, n * sizeof(Word));
}

OperandResidue operand_label::read(const void* place, u32 period, bool& healed) {
    const u64 n = kFirstOfRing + period;
    Word* const copies[2] = {static_cast<Word*>(const_cast<void*>(place)),
                             static_cast<Word*>(const_cast<void*>(place)) + bytes(period) / 2 / sizeof(Word)};
    OperandResidue all[2];
    Word labels[2][kFirstOfRing + RingResidue::kMaxWords];
    for (u32 k = 0; k < 2; k++) {
        Word* const label = labels[k];
        for (u64 i = 0; i < n; i++) label[i] = std::atomic_ref(copies[k][i]).load(std::memory_order_relaxed);
        all[k].seal = label[0];
        all[k].length = label[1] & ~kFormed;
        all[k].formed = (label[1] & kFormed) != 0;
        all[k].source = reinterpret_cast<const Word*>(label[2]);
        all[k].odd = label[4];
        all[k].ring = RingResidue(period);
        std::copy_n(label + kFirstOfRing, period, all[k].ring.w);
        if (fold_follows(all[k])) {
            all[k].m61 = label[3];
            all[k].fold = all[k].ring.goldilocks();
        } else {
            all[k].fold = label[3];
        }
    }
    healed = false;
    const bool whole = all[0].is_whole();
    if (whole && std::equal(labels[0], labels[0] + n, labels[1])) return all[0];
    if (!whole && !all[1].is_whole()) return all[0];
    // Other threads may see the same damage. The one that changes the first word counts it.
    const u32 good = whole ? 0 : 1;
    bool first = true;
    for (u64 i = 0; i < n; i++) {
        Word damaged = labels[1 - good][i];
        const Word right = labels[good][i];
        if (damaged == right) continue;
        const bool changed = std::atomic_ref(copies[1 - good][i]).compare_exchange_strong(damaged, right);
        if (first) healed = changed;
        first = false;
    }
    return all[good];
}

void product_is_wrong(const CheckedProduct& product, u64 right, u64 found) {
    throw ConvolutionFailedException(product.algorithm,
                                     "The product does not fit its operands: " + described(product) + ".",
                                     right, found);
}

void operand_is_damaged(const CheckedProduct& product, u64 before, u64 now) {
    throw OperandDamaged(product.algorithm, "An operand was damaged in memory: " + described(product) + ".",
                         before, now);
}

void number_is_damaged(const char* operation, const char* name, u64 words, u64 carried, u64 found) {
    const auto hexadecimal = [](u64 x) {
        std::ostringstream out;
        out << std::hex << std::setw(16) << std::setfill('0') << x;
        return out.str();
    };
    throw AlgorithmFailedException(operation, "A number was damaged in memory: " + std::string(name) + ", " +
                                                  std::to_string(words) + " words.\nIts residue was " +
                                                  hexadecimal(carried) + " and is " + hexadecimal(found) +
                                                  ".");
}

bool operand_was_misread(const CheckedProduct& product, const Word* words, u64 n, u64 carried, u64 formed) {
    if (carried == goldilocks::kNone) return false;
    if (product.parallel.run != nullptr) {
        product.parallel.run->checks.numbers.fetch_add(1, std::memory_order_relaxed);
    }
    if (formed == carried) return false;
    const u64 again = goldilocks::of_words(product.parallel, words, n);
    if (again != carried) {
        const std::string name = std::string("operand of ") + product.operation;
        number_is_damaged(product.algorithm, name.c_str(), n, carried, again);
    }
    product_was_corrected(product);
    return true;
}

bool operand_was_misread(const CheckedProduct& product, const Word* words, u64 n, u64 carried) {
    return carried != goldilocks::kNone &&
           operand_was_misread(product, words, n, carried, goldilocks::of_words(product.parallel, words, n));
}

void operation_was_corrected(const ParallelContext& parallel, const char* function,
                             const std::string& operation, const std::string& found) {
    parallel.warn({{"Computation error detected and corrected.", ' ', true}, {"Operation: " + operation}});
    if (parallel.run == nullptr) return;
    parallel.run->corrections.add(found.empty() ? operation : operation + " (" + found + ")");
    if (parallel.run->checks.corrected.fetch_add(1) + 1 < kMaxCorrected) return;
    // The exception carries them: where it ends the process, the warnings are not reported.
    std::string message = "Three computation errors in one run: this machine cannot be trusted.";
    for (const std::string& corrected : parallel.run->corrections.all()) message += "\n    " + corrected;
    throw AlgorithmFailedException(function, message);
}

bool may_correct(const ParallelContext& parallel) {
    return parallel.run == nullptr || parallel.run->checks.corrected.load() < kMaxCorrected;
}

void product_was_corrected(const CheckedProduct& product) {
    operation_was_corrected(product.parallel, product.algorithm, described(product));
}

}  // namespace trel
