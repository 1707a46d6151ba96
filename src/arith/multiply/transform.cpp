#include "arith/multiply/transform.h"

#include <cstring>

#include "arith/multiply/floating_point_control.h"
#include "base/errors/exceptions.h"

namespace trel {
namespace {

static_assert(sizeof(OperandResidue) <= Transform::kLabelBytes);

// Its count of words is an index, so damage must not reach it.
OperandResidue label(const void* data, u64 at, u32 period) {
    OperandResidue r = *reinterpret_cast<const OperandResidue*>(static_cast<const u8*>(data) + at);
    r.ring.p = period;
    return r;
}

bool same(const OperandResidue& a, const OperandResidue& b) {
    return a.ring.equals(b.ring);
}

}  // namespace

Transform::~Transform() = default;

Transform::Transform(Windows windows, u64 convolution_bits, u64 data_bytes, u64 scratch_bytes,
                     u64 plain_bytes)
    : convolution_bits_(convolution_bits),
      data_bytes_(data_bytes + kLabelBytes),
      scratch_bytes_(scratch_bytes),
      plain_bytes_(plain_bytes == 0 ? 2 * (data_bytes + kLabelBytes) + scratch_bytes : plain_bytes),
      label_at_(data_bytes),
      spare_bytes_(windows == Windows::whole ? round_up_64(convolution_bits / 8) : 0),
      period_(convolution_words() % 3 == 0 || convolution_words() % RingResidue::kMaxWords != 0
                  ? 3
                  : RingResidue::kMaxWords) {
    scratch_bytes_ += spare_bytes_;
    plain_bytes_ += spare_bytes_;
}

const OddModulus& Transform::odd_modulus() const {
    static const OddModulus none;
    return none;
}

// Sixteen words are for cyclic rings alone: a product that wraps negatively has its odd modulus.
OperandResidue Transform::residue_of(const ParallelContext& parallel, const Word* A, u64 L, bool odd) const {
    OperandResidue r{L, RingResidue(fold() == Fold::cyclic ? period_ : 3), 0};
    r.ring.add(parallel, A, L, 0);
    if (odd && odd_modulus()) r.odd = odd_modulus().residue(A, L);
    return r;
}

// The same of an operand that carries a residue.
OperandResidue Transform::compared_residue(const ParallelContext& parallel, const char* operation,
                                           const Word* A, u64 L, bool odd, u64 carried) const {
    const OperandResidue r = residue_of(parallel, A, L, odd);
    if (carried == goldilocks::kNone) return r;
    const u64 formed = r.ring.p == 3 ? r.ring.goldilocks() : goldilocks::of_words(parallel, A, L);
    if (!operand_was_misread({parallel, name(), operation, L}, A, L, carried, formed)) return r;
    return residue_of(parallel, A, L, odd);
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
    const Word *A, *B;  // nullptr: only the transform is there
    bool repeatable;
    Word* spare;
};

// run(T, skip, total, rest) does the product.
template <class Run>
u64 Transform::checked(const Job& job, Run&& run) const {
    const ParallelContext& parallel = job.parallel;
    const u64 W = convolution_words(), wanted = job.total > job.skip ? job.total - job.skip : 0;
    const auto unchecked = [&] {
        run(job.T, job.skip, job.total, nullptr);
        return goldilocks::of_words(parallel, job.T, wanted);
    };
    if (wanted == 0) return unchecked();
    const u64 n = job.a.length + job.b.length;
    const bool wraps = n > W && fold() != Fold::none;
    const bool by_odd = wraps && fold() == Fold::negacyclic;
    const bool all = job.skip == 0 && job.total >= n;  // T is the product
    // Nothing is known of a ring without a divisor.
    const bool known = by_odd ? bool(odd_modulus()) : !wraps || W % period_ == 0;
    if (!known) return unchecked();

    const CheckedProduct product{parallel, name(), job.operation, wanted};
    const RingResidue right = job.a.ring.times(job.b.ring);
    const u64 odd_right = by_odd ? odd_modulus().product(job.a.odd, job.b.odd) : 0;
    const auto look_at_operands = [&] {
        const auto look_at = [&](const Word* words, const OperandResidue& before) {
            if (words == nullptr) return;
            const OperandResidue now = residue_of(parallel, words, before.length, false);
            if (!same(before, now)) operand_is_damaged(product, before.ring.digest(), now.ring.digest());
        };
        look_at(job.A, job.a);
        look_at(job.B, job.b);
    };
    for (u32 attempt = 0;; attempt++) {
        const bool last = attempt != 0 || !job.repeatable;
        ProductRest rest{RingResidue(fold() == Fold::cyclic ? period_ : 3), 0};
        Word* whole = nullptr;
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
            look_at_operands();
            continue;
        }
        parallel.stage("product", job.T, wanted * sizeof(Word));
        bool right_one = false;
        u64 digests[2], fold = 0;
        // The fold comes first, or from the same reading: what changes afterwards is seen by the comparison.
        if (by_odd) {
            fold = goldilocks::of_words(parallel, job.T, wanted);
            // The window's own words stand for those in the spare place.
            if (whole != job.T) std::memcpy(whole + job.skip, job.T, wanted * sizeof(Word));
            digests[0] = odd_right;
            digests[1] = odd_modulus().add(odd_modulus().residue(whole, W), -rest.above);
            right_one = odd_modulus().equal(digests[0], digests[1]);
        } else {
            RingResidue& found = rest.ring;
            if (found.p == 3) {
                RingResidue window;
                window.add(parallel, job.T, wanted, 0);
                fold = window.goldilocks();
                found.add(window.rotated(64 * job.skip));
            } else {
                fold = goldilocks::of_words(parallel, job.T, wanted);
                found.add(parallel, job.T, wanted, job.skip);
            }
            if (whole != nullptr && whole != job.T) {
                found.add(parallel, whole, job.skip, 0);
                found.add(parallel, whole + job.total, W - job.total, job.total);
            }
            right_one = found.equals(right);
            digests[0] = right.digest();
            digests[1] = found.digest();
        }
        if (parallel.run != nullptr) parallel.run->checks.products.fetch_add(1, std::memory_order_relaxed);
        if (right_one) {
            if (attempt != 0) product_was_corrected(product);
            return fold;
        }
        if (last) product_is_wrong(product, digests[0], digests[1]);
        look_at_operands();
    }
}

void Transform::forward(const ParallelContext& parallel, void* data, const Word* A, u64 L, void* scratch,
                        u64 carried) const {
    check_length(name(), L);
    if (!is_checked() && carried == goldilocks::kNone) return do_forward(parallel, data, A, L, scratch);
    const OperandResidue a = compared_residue(parallel, "transform", A, L, true, carried);
    if (!is_checked()) return do_forward(parallel, data, A, L, scratch);
    OperandResidue* const kept = new (static_cast<u8*>(data) + label_at_) OperandResidue(a);
    parallel.stage("operand", A, L * sizeof(Word));
    do_forward(parallel, data, A, L, scratch);
    parallel.stage("data", data, label_at_);
    parallel.stage("residue", kept, sizeof(OperandResidue));
}

u64 Transform::inverse(const ParallelContext& parallel, Word* T, u64 skip, u64 total, void* work,
                       const void* X, const void* Y, void* scratch) const {
    check_length(name(), total);
    if (!is_checked()) {
        do_inverse(parallel, T, skip, total, work, X, Y, scratch, nullptr);
        return goldilocks::of_words(parallel, T, total - skip);
    }
    Word* const spare = reinterpret_cast<Word*>(static_cast<u8*>(scratch) + scratch_bytes_ - spare_bytes_);
    const Job job{parallel,
                  "product of transforms",
                  T,
                  skip,
                  total,
                  label(X, label_at_, fold() == Fold::cyclic ? period_ : 3),
                  label(Y, label_at_, fold() == Fold::cyclic ? period_ : 3),
                  nullptr,
                  nullptr,
                  work != X && work != Y,
                  spare};
    return checked(job, [&](Word* to, u64 from, u64 end, ProductRest* rest) {
        do_inverse(parallel, to, from, end, work, X, Y, scratch, rest);
    });
}

u64 Transform::multiply_plain(const ParallelContext& parallel, Word* T, u64 skip, u64 total, const Word* A,
                              u64 LA, const Word* B, u64 LB, void* memory, u64 carried_a,
                              u64 carried_b) const {
    check_length(name(), LA);
    check_length(name(), LB);
    if (!is_checked()) {
        if (carried_a != goldilocks::kNone) compared_residue(parallel, "product", A, LA, false, carried_a);
        if (carried_b != goldilocks::kNone) compared_residue(parallel, "product", B, LB, false, carried_b);
        do_multiply_plain(parallel, T, skip, total, A, LA, B, LB, memory, nullptr);
        return goldilocks::of_words(parallel, T, total - skip);
    }
    Word* const spare = reinterpret_cast<Word*>(static_cast<u8*>(memory) + plain_bytes_ - spare_bytes_);
    const bool wraps = LA + LB > convolution_words();
    const Job job{parallel,
                  "product",
                  T,
                  skip,
                  total,
                  compared_residue(parallel, "product", A, LA, wraps, carried_a),
                  compared_residue(parallel, "product", B, LB, wraps, carried_b),
                  A,
                  B,
                  true,
                  spare};
    parallel.stage("operand", A, LA * sizeof(Word));
    return checked(job, [&](Word* to, u64 from, u64 end, ProductRest* rest) {
        do_multiply_plain(parallel, to, from, end, A, LA, B, LB, memory, rest);
    });
}

u64 Transform::square_plain(const ParallelContext& parallel, Word* T, u64 skip, u64 total, const Word* A,
                            u64 L, void* memory, u64 carried) const {
    check_length(name(), L);
    if (!is_checked()) {
        if (carried != goldilocks::kNone) compared_residue(parallel, "square", A, L, false, carried);
        do_square_plain(parallel, T, skip, total, A, L, memory, nullptr);
        return goldilocks::of_words(parallel, T, total - skip);
    }
    Word* const spare =
        reinterpret_cast<Word*>(static_cast<u8*>(memory) + data_bytes_ + scratch_bytes_ - spare_bytes_);
    const OperandResidue a = compared_residue(parallel, "square", A, L, 2 * L > convolution_words(), carried);
    const Job job{parallel, "square", T, skip, total, a, a, A, nullptr, true, spare};
    parallel.stage("operand", A, L * sizeof(Word));
    return checked(job, [&](Word* to, u64 from, u64 end, ProductRest* rest) {
        do_square_plain(parallel, to, from, end, A, L, memory, rest);
    });
}

u64 Transform::multiply_held(const ParallelContext& parallel, Word* T, u64 skip, u64 total, const Word* A,
                             u64 LA, const void* Y, void* work, void* scratch, u64 carried) const {
    check_length(name(), LA);
    if (!is_checked()) {
        if (carried != goldilocks::kNone) {
            compared_residue(parallel, "product by a kept transform", A, LA, false, carried);
        }
        do_multiply_held(parallel, T, skip, total, A, LA, Y, work, scratch, nullptr);
        return goldilocks::of_words(parallel, T, total - skip);
    }
    Word* const spare = reinterpret_cast<Word*>(static_cast<u8*>(scratch) + scratch_bytes_ - spare_bytes_);
    const OperandResidue b = label(Y, label_at_, fold() == Fold::cyclic ? period_ : 3);
    const OperandResidue a = compared_residue(parallel, "product by a kept transform", A, LA,
                                              LA + b.length > convolution_words(), carried);
    const Job job{parallel, "product by a kept transform", T, skip, total, a, b, A, nullptr, true, spare};
    parallel.stage("operand", A, LA * sizeof(Word));
    return checked(job, [&](Word* to, u64 from, u64 end, ProductRest* rest) {
        do_multiply_held(parallel, to, from, end, A, LA, Y, work, scratch, rest);
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
