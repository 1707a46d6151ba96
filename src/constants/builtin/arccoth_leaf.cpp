#include "constants/builtin/arccoth_leaf.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

#include "arith/multiply/needs.h"
#include "arith/residue/goldilocks.h"
#include "base/errors/exceptions.h"
#include "base/errors/fatal.h"
#include "constants/bsr/mend.h"
#include "constants/builtin/leaf_words.h"

namespace kalvor {
namespace {

constexpr Word kMost = std::numeric_limits<Word>::max();

// What the first blocks of a leaf, whose D is the plain product, keep of shared factors: at most 128 (ln 128
// - 1.69) nats.
constexpr double kKeptByBlocks = 420;
constexpr u64 kFewestTerms = 400;
// The shortest leaf of a range that is split into leaves: halves of the smallest one.
constexpr u64 kShortestLeaf = 1638;

double saved_by_one(u64 n) {
    const double terms = static_cast<double>(n);
    return terms * (std::log(terms) - 2.72) - kKeptByBlocks;
}

void bind(ExactFloat& A, const BasicIntR& B) {
    A.T = A.buffer;
    A.L = B.L;
    A.exp = 0;
    A.sign = true;
    A.residue = B.residue;
}
BasicIntR view(ExactFloat& A) {
    return BasicIntR(A.buffer, A.buffer_size);
}
// 1 times factors of up to a word, which are gathered into words first. The room is more than right factors
// fill; damaged ones may fill it, or be 0.
class WordProduct {
  public:
    explicit WordProduct(ExactFloat& out) : out_(out), product_(view(out)) { leaf::set(product_, Word(1)); }
    void multiply(Word w) {
        if (u128(factor_) * w >> 64 != 0) {
            flush();
            factor_ = 1;
        }
        factor_ *= w;
    }
    void finish() {
        flush();
        bind(out_, product_);
    }

  private:
    void flush() {
        if (product_.L == product_.buffer_size || factor_ == 0) {
            throw AlgorithmFailedException("ArcCothLeaf::run()", "A factor of a term was damaged in memory.");
        }
        leaf::multiply(product_, factor_);
    }
    ExactFloat& out_;
    BasicIntR product_;
    Word factor_ = 1;
};

// P = P w + D v, D *= d, in one pass. The sum is D or more.
void step(BasicIntR& P, BasicIntR& D, Word w, Word v, Word d) {
    while (P.L < D.L) P.T[P.L++] = 0;
    Word carry_w = 0, carry_v = 0, carry_d = 0;
    for (u64 i = 0; i < P.L; i++) {
        const u128 x = u128(P.T[i]) * w + carry_w;
        Word low = static_cast<Word>(x);
        carry_w = static_cast<Word>(x >> 64);
        if (i < D.L) {
            const u128 y = u128(D.T[i]) * v + carry_v;
            const u128 z = u128(D.T[i]) * d + carry_d;
            D.T[i] = static_cast<Word>(z);
            carry_d = static_cast<Word>(z >> 64);
            carry_v = static_cast<Word>(y >> 64);
            low += static_cast<Word>(y);
            carry_w += low < static_cast<Word>(y) ? 1 : 0;
        } else {
            low += carry_v;
            carry_w += low < carry_v ? 1 : 0;
            carry_v = 0;
        }
        P.T[i] = low;
    }
    const Word top = carry_w + carry_v;
    const bool over = top < carry_w;
    if (top != 0 || over) P.T[P.L++] = top;
    if (over) P.T[P.L++] = 1;
    if (carry_d != 0) D.T[D.L++] = carry_d;
    P.residue = goldilocks::add(goldilocks::mul(P.residue, goldilocks::of_word(w)),
                                goldilocks::mul(D.residue, goldilocks::of_word(v)));
    D.residue = goldilocks::mul(D.residue, goldilocks::of_word(d));
}

}  // namespace

// Every power p^i that divides more than one of the n numbers is taken out of all of them but one. At least
// floor(n / p^i) of them have it, and the sum of ln p (floor(n / p^i) - 1) over the odd primes is above
// n (ln n - 2.72) from 380 to kTerms.
double ArcCothLeaf::saved(u64 n) {
    if (n < kFewestTerms) return 0;
    if (n < kTerms) return saved_by_one(n);
    return usually_saved_per_term() * static_cast<double>(n);
}

double ArcCothLeaf::usually_saved_per_term() {
    return saved_by_one(kShortestLeaf) / static_cast<double>(kShortestLeaf);
}

const std::vector<ArcCothLeaf::Prime>& ArcCothLeaf::primes() {
    static const std::vector<Prime> list = [] {
        std::vector<Prime> found;
        for (u32 n = 3; n < kPrimeLimit; n += 2) {
            bool prime = true;
            for (u32 q = 3; q * q <= n && prime; q += 2) prime = n % q != 0;
            if (!prime) continue;
            // Newton's iteration doubles the bits that are right; n is its own inverse to three of them.
            Word inverse = n;
            for (int i = 0; i < 5; i++) inverse *= 2 - n * inverse;
            found.push_back({n, inverse, kMost / n});
        }
        return found;
    }();
    return list;
}

ArcCothLeaf::ArcCothLeaf(Word square) : square_(square), power_words_(kLevels) {
    for (u64 i = 0; i < kLevels; i++) {
        power_words_[i].resize((kWordTerms << i) + 2);
        ExactFloat W(power_words_[i].data(), power_words_[i].size());
        if (i == 0) {
            WordProduct product(W);
            for (u64 k = 0; k < kWordTerms; k++) product.multiply(square);
            product.finish();
        } else {
            // The squares are made of words alone: this runs a few times in a computation.
            const ExactFloat& half = powers_[i - 1];
            std::vector<Word> words(half.L);
            std::copy_n(half.T, half.L, words.begin());
            BasicIntR A(words.data(), half.L), square_of_half = view(W);
            A.L = half.L;
            A.residue = half.words_residue();
            square_of_half.set_sqrB(A);
            bind(W, square_of_half);
            W.exp = 2 * half.exp;
            W.residue = goldilocks::mul(half.residue, half.residue);
        }
        W.strip_low_zeros(1);
        powers_.push_back(W);
    }
}

u64 ArcCothLeaf::right_terms(u64 n) {
    u64 terms = kWordTerms;
    while (2 * terms < n) terms *= 2;
    return terms;
}
u64 ArcCothLeaf::level_of(u64 terms) const {
    return static_cast<u64>(std::countr_zero(terms / kWordTerms));
}
u64 ArcCothLeaf::words_P(const Run& run, u64 n) const {
    return (run.bits + static_cast<u64>(std::bit_width(square_))) * n / 64 + 4;
}

// The terms a + 1 .. a + n.
void ArcCothLeaf::sum_words(u64 a, u64 n, BasicIntR& P, BasicIntR& D) const {
    const u64 last = 2 * (a + n) + 1;
    const bool small = u128(last) * square_ >> 64 == 0;
    const u64 bits = static_cast<u64>(std::bit_width(last));
    const u64 room = (bits + static_cast<u64>(std::bit_width(square_))) * (n - 1) / 64 + 2;
    const char* const name = small ? "ArcCoth_BSR_End_small()" : "ArcCoth_BSR_End_large()";
    leaf::require(P, room, name);
    leaf::require(D, bits * n / 64 + 1, name);
    u64 odd = 2 * a + 3;
    leaf::set(P, Word(1));
    leaf::set(D, odd);
    if (small && u128(last * square_) * (last * square_) >> 64 == 0) {
        // Two terms at a time.
        for (; odd + 4 <= last; odd += 4) {
            const Word o1 = odd + 2, o2 = odd + 4;
            step(P, D, o1 * square_ * (o2 * square_), o2 * square_ + o1, o1 * o2);
        }
    }
    for (; odd < last; odd += 2) {
        const Word next = odd + 2;
        if (small) {
            step(P, D, next * square_, 1, next);
            continue;
        }
        leaf::multiply(P, next);
        leaf::multiply(P, square_);
        P += D;
        leaf::multiply(D, next);
    }
}

void ArcCothLeaf::sum_plain(const Run& run, u64 a, u64 n, Plain& out, AlignedBufferC memory) const {
    if (n <= kWordTerms) {
        BasicIntR P = view(out.P), D = view(out.D);
        sum_words(a, n, P, D);
        bind(out.P, P);
        bind(out.D, D);
        return;
    }
    const u64 n2 = right_terms(n), n1 = n - n2;
    Plain left{carve<ExactFloat>(memory, words_P(run, n1)), carve<ExactFloat>(memory, words_D(run, n1))};
    Plain right{carve<ExactFloat>(memory, words_P(run, n2)), carve<ExactFloat>(memory, words_D(run, n2))};
    sum_plain(run, a, n1, left, memory);
    sum_plain(run, a + n1, n2, right, memory);
    merge_P(run, out.P, left.P, right.D, n2, right.P, left.D, memory);
    out.D.set_mul(run.context.with_scratch(memory), left.D, right.D);
}

void ArcCothLeaf::merge_P(const Run& run, ExactFloat& P, const ExactFloat& P1, const ExactFloat& c1, u64 n2,
                          const ExactFloat& P2, const ExactFloat& c2, AlignedBufferC memory) const {
    const ExactFloat& W = powers_[level_of(n2)];
    ExactFloat factor = carve<ExactFloat>(memory, c1.L + W.L), T = carve<ExactFloat>(memory, P2.L + c2.L);
    const MultiplyContext context = run.context.with_scratch(memory);
    factor.set_mul(context, c1, W);
    T.set_mul(context, P2, c2);
    // Room for the words of T below those of M's power of two.
    const u64 below = static_cast<u64>(factor.exp);
    ExactFloat upper(P.buffer + below, P.buffer_size - below);
    upper.set_mul(context, P1, factor);
    upper.buffer = P.buffer;
    upper.buffer_size = P.buffer_size;
    P = upper;
    P.add_signed_ip(context.parallel, T, false);
}

// The terms i + 1 .. i + n of the run.
void ArcCothLeaf::sum_reduced(const Run& run, u64 i, u64 n, Reduced& out, AlignedBufferC memory) const {
    const u64 count = primes().size();
    if (n <= kBlockTerms) {
        const u64 block = i < run.first_block ? 0 : 1 + (i - run.first_block) / kBlockTerms;
        out.powers = run.block_powers + block * count;
        WordProduct G(out.G);
        for (u64 k = i; k < i + n; k++) G.multiply(run.rough[k]);
        G.finish();
        Plain plain{out.P, carve<ExactFloat>(memory, words_D(run, n))};
        sum_plain(run, run.a + i, n, plain, memory);
        out.P = plain.P;
        out.under = plain.D.residue;
        return;
    }
    const u64 n2 = right_terms(n), n1 = n - n2;
    Reduced left{carve<ExactFloat>(memory, words_P(run, n1)), carve<ExactFloat>(memory, words_D(run, n1)),
                 nullptr};
    Reduced right{carve<ExactFloat>(memory, words_P(run, n2)), carve<ExactFloat>(memory, words_D(run, n2)),
                  nullptr};
    sum_reduced(run, i, n1, left, memory);
    sum_reduced(run, i + n1, n2, right, memory);

    ExactFloat rest1 = carve<ExactFloat>(memory, words_D(run, n2)),
               rest2 = carve<ExactFloat>(memory, words_D(run, n1));
    {
        WordProduct L1(rest1), L2(rest2);  // L / L1 and L / L2
        for (u64 j = 0; j < count; j++) {
            const Word p = primes()[j].p;
            for (; left.powers[j] < right.powers[j]; left.powers[j]++) L1.multiply(p);
            for (u8 e = right.powers[j]; e < left.powers[j]; e++) L2.multiply(p);
        }
        L1.finish();
        L2.finish();
    }
    out.powers = left.powers;  // now the larger ones
    out.under = goldilocks::mul(left.under, goldilocks::mul(right.G.residue, rest1.residue));
    demand(run, out.under == goldilocks::mul(right.under, goldilocks::mul(left.G.residue, rest2.residue)));
    ExactFloat c1 = carve<ExactFloat>(memory, right.G.L + rest1.L),
               c2 = carve<ExactFloat>(memory, left.G.L + rest2.L);
    const MultiplyContext context = run.context.with_scratch(memory);
    c1.set_mul(context, right.G, rest1);
    c2.set_mul(context, left.G, rest2);
    merge_P(run, out.P, left.P, c1, n2, right.P, c2, memory);
    out.G.set_mul(context, left.G, right.G);
}

void ArcCothLeaf::sieve(const Run& run, Word* rough) const {
    const u64 count = primes().size();
    const u64 blocks = (run.n - run.first_block) / kBlockTerms + 1;
    std::memset(run.block_powers, 0, blocks * count);
    for (u64 k = 0; k < run.n; k++) rough[k] = 2 * (run.a + k) + 3;
    for (u64 j = 0; j < count; j++) {
        const Prime& prime = primes()[j];
        const u64 p = prime.p;
        // The first k with 2 (a + k) + 3 = 0 modulo p.
        const u64 rest = (2 * run.a + 3) % p;
        const u64 even = rest == 0 ? 0 : p - rest;
        for (u64 k = (even % 2 == 0 ? even : even + p) / 2; k < run.n; k += p) {
            const u64 block = k < run.first_block ? 0 : 1 + (k - run.first_block) / kBlockTerms;
            u8& power = run.block_powers[block * count + j];
            // A rest that was damaged to 0 is not divided for ever.
            for (Word q = rough[k] * prime.inverse; q - 1 < prime.most; q = rough[k] * prime.inverse) {
                rough[k] = q;
                power++;
            }
        }
    }
}

void ArcCothLeaf::demand(const Run& run, bool holds) {
    if (holds) return;
    throw AlgorithmFailedException("ArcCothLeaf::run()",
                                   "Factors of the terms were damaged in memory: " +
                                       BinarySplitting::range_name(run.a, run.a + run.n) + ".");
}

void ArcCothLeaf::run(u64 a, u64 b, ExactFloat& P, ExactFloat& Q, ExactFloat& R, bool edge, Word* scratch,
                      u64 scratch_words, const ParallelContext& parallel) const {
    AlignedBufferC memory(scratch, scratch_words / 8 * 64);
    Run run{{serial_context(), memory, nullptr}, 0, a, b - a, 0, nullptr, nullptr};
    run.context.parallel.run = parallel.run;
    run.context.parallel.inner_unchecked = true;
    run.bits = static_cast<u64>(std::bit_width(2 * b + 1));
    const u64 n = run.n;
    ExactFloat D = carve<ExactFloat>(memory, words_D(run, n) + 8);
    if (n <= kBlockTerms) {
        Plain plain{P, D};
        sum_plain(run, a, n, plain, memory);
        P = plain.P;
        D = plain.D;
    } else {
        run.first_block = (n - 1) % kBlockTerms + 1;
        const u64 count = primes().size();
        Word* rough = carve_words(memory, n);
        run.rough = rough;
        run.block_powers =
            reinterpret_cast<u8*>(carve_words(memory, ((n / kBlockTerms + 1) * count + 7) / 8));
        parallel.stage("primes", primes().data(), count * sizeof(Prime));
        sieve(run, rough);
        parallel.stage("sieve", rough, n * sizeof(Word));
        parallel.stage("sieve", run.block_powers, ((n - run.first_block) / kBlockTerms + 1) * count);
        Reduced all{P, carve<ExactFloat>(memory, words_D(run, n)), nullptr};
        sum_reduced(run, 0, n, all, memory);
        P = all.P;
        ExactFloat L = carve<ExactFloat>(memory, words_D(run, n));
        WordProduct product(L);
        for (u64 j = 0; j < count; j++) {
            for (u8 e = 0; e < all.powers[j]; e++) product.multiply(primes()[j].p);
        }
        product.finish();
        D.set_mul(run.context.with_scratch(memory), all.G, L);
        demand(run, D.residue == all.under);
    }
    // M^n of the powers that are there, the smallest first.
    const u64 words = n * static_cast<u64>(std::bit_width(square_)) / 64 + kLevels + 4;
    ExactFloat W = carve<ExactFloat>(memory, words), other = carve<ExactFloat>(memory, words);
    u64 rest = (n - 1) % kWordTerms + 1;
    WordProduct product(W);
    for (u64 k = 0; k < rest; k++) product.multiply(square_);
    product.finish();
    const MultiplyContext context = run.context.with_scratch(memory);
    for (u64 level = 0, left = n - rest; left != 0; level++) {
        const u64 terms = kWordTerms << level;
        if ((left & terms) == 0) continue;
        other.set_mul(context, W, powers_[level]);
        std::swap(W, other);
        left -= terms;
    }
    Q.set_mul(context, D, W);
    if (!edge) R.set_ExactFloat(D, context.parallel);
}

}  // namespace kalvor
