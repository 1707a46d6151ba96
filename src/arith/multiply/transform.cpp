#include "arith/multiply/transform.h"

#include <cstring>

#include "arith/m61/hash_parallel.h"
#include "arith/multiply/floating_point_control.h"
#include "base/errors/exceptions.h"

namespace trel {

Transform::~Transform() = default;

Transform::Transform(Windows windows, u64 convolution_bits, u64 data_bytes, u64 scratch_bytes,
                     u64 plain_bytes, u32 period)
    : convolution_bits_(convolution_bits),
      data_bytes_(data_bytes),
      scratch_bytes_(scratch_bytes),
      plain_bytes_(plain_bytes),
      period_(period),
      label_at_(data_bytes),
      spare_bytes_(windows == Windows::whole ? round_up_64(convolution_bits / 8) : 0) {
    const u64 words = convolution_words();
    // Three words where nothing else divides the ring: products that fit it can be compared all the same.
    if (period_ == 0) period_ = words % 3 == 0 ? 3 : words % 16 == 0 ? 16 : words % 8 == 0 ? 8 : 3;
    data_bytes_ += operand_label::bytes(period_);
    if (plain_bytes_ == 0) plain_bytes_ = 2 * data_bytes_ + scratch_bytes_;
    scratch_bytes_ += spare_bytes_;
    plain_bytes_ += spare_bytes_;
}

const OddModulus& Transform::odd_modulus() const {
    static const OddModulus none;
    return none;
}

OperandResidue Transform::residue_of(const ParallelContext& parallel, const Word* A, u64 L, For use) const {
    OperandResidue r;
    r.length = L;
    r.formed = true;
    r.ring = RingResidue(period_);
    r.ring.add(parallel, A, L, 0);
    if (period_ == 3) r.fold = r.ring.goldilocks();
    if (use != For::products_that_fit && odd_modulus()) r.odd = odd_modulus().residue(A, L);
    if (use != For::products_that_wrap && wants_m61()) {
        r.m61 = m61::hash_words(parallel, A, L);
    }
    return r;
}

OperandResidue Transform::operand(const ParallelContext& parallel, const char* operation, const Word* A,
                                  u64 L, For use, u64 carried) const {
    OperandResidue r = residue_of(parallel, A, L, use);
    if (carried != goldilocks::kNone) {
        if (period_ != 3) r.fold = goldilocks::of_words(parallel, A, L);
        if (operand_was_misread({parallel, name(), operation, L}, A, L, carried, r.fold)) {
            r = residue_of(parallel, A, L, use);
            r.fold = carried;
        }
    }
    r.seal = r.sealed();
    return r;
}

OperandResidue Transform::label_of(const ParallelContext& parallel, const char* operation,
                                   const void* data) const {
    const CheckedProduct product{parallel, name(), operation, convolution_words()};
    bool healed = false;
    const OperandResidue r = operand_label::read(static_cast<const u8*>(data) + label_at_, period_, healed);
    if (healed) product_was_corrected(product);
    if (!r.is_whole() || r.length > convolution_words()) operand_is_damaged(product, r.seal, r.sealed());
    return r;
}

void Transform::check_length(const char* function, u64 words) const {
    if (words <= convolution_words()) return;
    throw ConvolutionTooSmallException(function, "Convolution length is too small.", convolution_bits(),
                                       64 * words);
}

// One product: what is wanted, what is known of its operands, and where the operands themselves are, if they
// are.
struct Transform::Job {
    const ParallelContext& parallel;
    const char* operation;
    Word* T;
    u64 skip, total;
    OperandResidue a, b;
    bool square;        // b is a
    const Word *A, *B;  // nullptr: only the transform is there
    bool repeatable;
    Word* spare;

    CheckedProduct product(const char* algorithm) const {
        return {parallel, algorithm, operation, total - skip};
    }
};

// After a difference: the words again. What was kept of them may be damaged instead; two of three decide.
void Transform::look_at(const Job& job, const Word* words, OperandResidue& kept) const {
    if (words == nullptr) return;
    OperandResidue now = residue_of(job.parallel, words, kept.length, For::both);
    if (!now.ring.equals(kept.ring)) {
        if (period_ != 3) now.fold = goldilocks::of_words(job.parallel, words, kept.length);
        const bool same = kept.fold == goldilocks::kNone || kept.fold == now.fold;
        if (kept.is_whole() || !same) {
            operand_is_damaged(job.product(name()), kept.ring.digest(), now.ring.digest());
        }
    }
    now.source = kept.source;
    kept = now;
    kept.seal = kept.sealed();
}

// run(T, skip, total, rest) does the product; remake() makes those transforms anew whose words are there.
template <class Run, class Remake>
u64 Transform::checked(Job& job, Run&& run, Remake&& remake) const {
    const ParallelContext& parallel = job.parallel;
    const u64 W = convolution_words(), wanted = job.total > job.skip ? job.total - job.skip : 0;
    const u64 n = job.a.length + job.b.length;
    const bool wraps = n > W && fold() != Fold::none;
    const bool by_odd = wraps && fold() == Fold::negacyclic;
    const bool all = job.skip == 0 && job.total >= n;  // T is the product
    // With all words of the product at hand.
    const bool by_m61 = !wraps && wants_m61() && (all || spare_bytes_ != 0);
    // Nothing is known of a ring without a divisor.
    const bool known = by_odd ? bool(odd_modulus()) : !wraps || W % period_ == 0;
    if (wanted == 0 || !known || !job.a.formed || !job.b.formed) {
        run(job.T, job.skip, job.total, nullptr);
        return unchecked_residue(parallel, job.T, wanted, all, {job.a.fold, job.b.fold});
    }

    const CheckedProduct product = job.product(name());
    for (u32 attempt = 0;; attempt++) {
        const bool last = attempt != 0 || !job.repeatable;
        RingResidue right = job.a.ring.times(job.b.ring);
        u64 odd_right = by_odd ? odd_modulus().product(job.a.odd, job.b.odd) : 0;
        parallel.stage("right", &right.w, right.p * sizeof(Word));
        if (by_odd) parallel.stage("odd right", &odd_right, sizeof(odd_right));
        ProductRest rest{RingResidue(period_), 0};
        Word* whole = nullptr;
        bool failed = false;
        try {
            if (all) {
                run(job.T, job.skip, job.total, nullptr);
            } else if (spare_bytes_ == 0) {
                run(job.T, job.skip, job.total, &rest);
            } else {
                whole = job.skip == 0 && job.total == W ? job.T : job.spare;
                run(whole, 0, W, &rest);
                if (whole != job.T) std::memcpy(job.T, whole + job.skip, wanted * sizeof(Word));
            }
        } catch (const WronglyRounded&) {
            throw;
        } catch (const ConvolutionFailedException&) {
            // The algorithm's own check has found the error first.
            if (last) throw;
            failed = true;
        }
        if (!failed) {
            parallel.stage("product", job.T, wanted * sizeof(Word));
            parallel.stage("ring rest", &rest.ring.w, rest.ring.p * sizeof(Word));
            bool right_one = false;
            u64 digests[2], fold = 0;
            // The fold comes first, or from the same reading: what changes afterwards the comparison sees.
            if (by_odd) {
                fold = goldilocks::of_words(parallel, job.T, wanted);
                // The window's own words stand for those in the spare place.
                if (whole != job.T) std::memcpy(whole + job.skip, job.T, wanted * sizeof(Word));
                digests[0] = odd_right;
                digests[1] = odd_modulus().add(odd_modulus().residue(whole, W), -rest.above);
                right_one = odd_modulus().equal(digests[0], digests[1]);
                if (!right_one &&
                    odd_modulus().equal(odd_modulus().product(job.a.odd, job.b.odd), digests[1])) {
                    product_was_corrected(product);
                    return fold;
                }
            } else {
                RingResidue& found = rest.ring;
                if (period_ == 3) {
                    RingResidue window;
                    window.add(parallel, job.T, wanted, 0);
                    fold = window.goldilocks();
                    found.add(window.rotated(64 * job.skip));
                } else {
                    fold = goldilocks::of_words(parallel, job.T, wanted);
                    found.add(parallel, job.T, wanted, job.skip);
                }
                bool waves = true;  // modulo 2^61 - 1 nothing differs
                if (by_m61) {
                    const auto part = [&](const Word* words, u64 count, u64 at) {
                        return m61::mul_pow2_64(m61::hash_words(parallel, words, count),
                                                static_cast<i64>(at));
                    };
                    u64 sum = part(job.T, wanted, job.skip);
                    if (whole != nullptr && whole != job.T) {
                        sum = m61::add(sum, part(whole, job.skip, 0));
                        sum = m61::add(sum, part(whole + job.total, W - job.total, job.total));
                    }
                    waves = m61::equal(sum, m61::mul(job.a.m61, job.b.m61));
                }
                if (whole != nullptr && whole != job.T) {
                    found.add(parallel, whole, job.skip, 0);
                    found.add(parallel, whole + job.total, W - job.total, job.total);
                }
                right_one = waves && found.equals(right);
                if (waves && !right_one && found.equals(job.a.ring.times(job.b.ring))) {
                    // It was the other side of the comparison that changed.
                    product_was_corrected(product);
                    return fold;
                }
                digests[0] = right.digest();
                digests[1] = found.digest();
            }
            if (parallel.run != nullptr) {
                parallel.run->checks.products.fetch_add(1, std::memory_order_relaxed);
            }
            if (right_one) {
                if (attempt != 0) product_was_corrected(product);
                return fold;
            }
            if (last) product_is_wrong(product, digests[0], digests[1]);
        }
        look_at(job, job.A, job.a);
        if (job.square) {
            job.b = job.a;
        } else {
            look_at(job, job.B, job.b);
        }
        remake();
    }
}

void Transform::forward(const ParallelContext& parallel, void* data, const Word* A, u64 L, void* scratch,
                        u64 carried, bool words_stay) const {
    check_length(name(), L);
    u8* const label = static_cast<u8*>(data) + label_at_;
    if (!is_checked(parallel)) {
        // For a product that is checked: it finds that it cannot be.
        OperandResidue a;
        a.length = L;
        a.ring = RingResidue(period_);
        a.fold = carried;
        a.seal = a.sealed();
        operand_label::write(label, a);
        return do_forward(parallel, data, A, L, scratch);
    }
    OperandResidue a = operand(parallel, "transform", A, L, For::both, carried);
    a.source = words_stay && L != 0 ? A : nullptr;
    if (a.source != nullptr) a.seal = a.sealed();
    operand_label::write(label, a);
    parallel.stage("operand", A, L * sizeof(Word));
    do_forward(parallel, data, A, L, scratch);
    parallel.stage("data", data, label_at_);
    parallel.stage("residue", label, data_bytes_ - label_at_);
}

void Transform::forget_words(void* data) const {
    u8* const label = static_cast<u8*>(data) + label_at_;
    bool healed = false;
    OperandResidue r = operand_label::read(label, period_, healed);
    // A damaged one is refused when the transform is used.
    if (r.source == nullptr || !r.is_whole()) return;
    r.source = nullptr;
    r.seal = r.sealed();
    operand_label::write(label, r);
}

u64 Transform::inverse(const ParallelContext& parallel, Word* T, u64 skip, u64 total, void* work,
                       const void* X, const void* Y, void* scratch) const {
    check_length(name(), total);
    if (!is_checked(parallel)) {
        do_inverse(parallel, T, skip, total, work, X, Y, scratch, nullptr);
        return goldilocks::kNone;
    }
    const char* const operation = "product of transforms";
    const bool square = X == Y;
    const OperandResidue a = label_of(parallel, operation, X),
                         b = square ? a : label_of(parallel, operation, Y);
    const bool repeatable = (work != X || a.source != nullptr) && (work != Y || b.source != nullptr);
    Word* const spare = reinterpret_cast<Word*>(static_cast<u8*>(scratch) + scratch_bytes_ - spare_bytes_);
    Job job{parallel, operation, T, skip, total, a, b, square, a.source, b.source, repeatable, spare};
    const auto remake = [&](const void* data, const OperandResidue& r) {
        if (r.source != nullptr) do_forward(parallel, const_cast<void*>(data), r.source, r.length, scratch);
    };
    return checked(
        job,
        [&](Word* to, u64 from, u64 end, ProductRest* rest) {
            do_inverse(parallel, to, from, end, work, X, Y, scratch, rest);
        },
        [&] {
            remake(X, job.a);
            if (!square) remake(Y, job.b);
        });
}

u64 Transform::multiply_plain(const ParallelContext& parallel, Word* T, u64 skip, u64 total, const Word* A,
                              u64 LA, const Word* B, u64 LB, void* memory, u64 carried_a,
                              u64 carried_b) const {
    check_length(name(), LA);
    check_length(name(), LB);
    if (!is_checked(parallel)) {
        parallel.stage("operand", A, LA * sizeof(Word));
        do_multiply_plain(parallel, T, skip, total, A, LA, B, LB, memory, nullptr);
        return goldilocks::kNone;
    }
    const char* const operation = "product";
    Word* const spare = reinterpret_cast<Word*>(static_cast<u8*>(memory) + plain_bytes_ - spare_bytes_);
    const For use = purpose(LA + LB);
    Job job{parallel,
            operation,
            T,
            skip,
            total,
            operand(parallel, operation, A, LA, use, carried_a),
            operand(parallel, operation, B, LB, use, carried_b),
            false,
            A,
            B,
            true,
            spare};
    parallel.stage("residue", &job.a.ring.w, job.a.ring.p * sizeof(Word));
    parallel.stage("residue", &job.b.ring.w, job.b.ring.p * sizeof(Word));
    parallel.stage("operand", A, LA * sizeof(Word));
    return checked(
        job,
        [&](Word* to, u64 from, u64 end, ProductRest* rest) {
            do_multiply_plain(parallel, to, from, end, A, LA, B, LB, memory, rest);
        },
        [] {});
}

u64 Transform::square_plain(const ParallelContext& parallel, Word* T, u64 skip, u64 total, const Word* A,
                            u64 L, void* memory, u64 carried) const {
    check_length(name(), L);
    if (!is_checked(parallel)) {
        parallel.stage("operand", A, L * sizeof(Word));
        do_square_plain(parallel, T, skip, total, A, L, memory, nullptr);
        return goldilocks::kNone;
    }
    const char* const operation = "square";
    Word* const spare =
        reinterpret_cast<Word*>(static_cast<u8*>(memory) + data_bytes_ + scratch_bytes_ - spare_bytes_);
    const OperandResidue a = operand(parallel, operation, A, L, purpose(2 * L), carried);
    Job job{parallel, operation, T, skip, total, a, a, true, A, A, true, spare};
    parallel.stage("residue", &job.a.ring.w, job.a.ring.p * sizeof(Word));
    parallel.stage("operand", A, L * sizeof(Word));
    return checked(
        job,
        [&](Word* to, u64 from, u64 end, ProductRest* rest) {
            do_square_plain(parallel, to, from, end, A, L, memory, rest);
        },
        [] {});
}

u64 Transform::multiply_held(const ParallelContext& parallel, Word* T, u64 skip, u64 total, const Word* A,
                             u64 LA, const void* Y, void* work, void* scratch, u64 carried) const {
    check_length(name(), LA);
    if (!is_checked(parallel)) {
        parallel.stage("operand", A, LA * sizeof(Word));
        do_multiply_held(parallel, T, skip, total, A, LA, Y, work, scratch, nullptr);
        return goldilocks::kNone;
    }
    const char* const operation = "product by a kept transform";
    Word* const spare = reinterpret_cast<Word*>(static_cast<u8*>(scratch) + scratch_bytes_ - spare_bytes_);
    const OperandResidue b = label_of(parallel, operation, Y);
    const OperandResidue a = operand(parallel, operation, A, LA, purpose(LA + b.length), carried);
    Job job{parallel, operation, T, skip, total, a, b, false, A, b.source, true, spare};
    parallel.stage("residue", &job.a.ring.w, job.a.ring.p * sizeof(Word));
    parallel.stage("operand", A, LA * sizeof(Word));
    return checked(
        job,
        [&](Word* to, u64 from, u64 end, ProductRest* rest) {
            do_multiply_held(parallel, to, from, end, A, LA, Y, work, scratch, rest);
        },
        [&] {
            if (job.b.source == nullptr) return;
            do_forward(parallel, const_cast<void*>(Y), job.b.source, job.b.length, scratch);
        });
}

void Transform::do_multiply_plain(const ParallelContext& parallel, Word* T, u64 skip, u64 total,
                                  const Word* A, u64 LA, const Word* B, u64 LB, void* memory,
                                  ProductRest* rest) const {
    u8* const x = static_cast<u8*>(memory);
    u8* const y = x + data_bytes();
    u8* const scratch = y + data_bytes();
    do_forward(parallel, x, A, LA, scratch);
    parallel.stage("data", x, label_at_);
    do_forward(parallel, y, B, LB, scratch);
    parallel.stage("data", y, label_at_);
    do_inverse(parallel, T, skip, total, x, x, y, scratch, rest);
}

void Transform::do_square_plain(const ParallelContext& parallel, Word* T, u64 skip, u64 total, const Word* A,
                                u64 L, void* memory, ProductRest* rest) const {
    u8* const x = static_cast<u8*>(memory);
    u8* const scratch = x + data_bytes();
    do_forward(parallel, x, A, L, scratch);
    parallel.stage("data", x, label_at_);
    do_inverse(parallel, T, skip, total, x, x, x, scratch, rest);
}

void Transform::do_multiply_held(const ParallelContext& parallel, Word* T, u64 skip, u64 total, const Word* A,
                                 u64 LA, const void* Y, void* work, void* scratch, ProductRest* rest) const {
    do_forward(parallel, work, A, LA, scratch);
    parallel.stage("data", work, label_at_);
    do_inverse(parallel, T, skip, total, work, work, Y, scratch, rest);
}

}  // namespace trel
