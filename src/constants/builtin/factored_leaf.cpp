#include "constants/builtin/factored_leaf.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <utility>

#include "arith/multiply/needs.h"
#include "arith/residue/goldilocks.h"
#include "base/errors/exceptions.h"
#include "constants/bsr/merge_steps.h"
#include "constants/builtin/leaf_words.h"

namespace kalvor {
namespace {

using BinarySplitting::CommonP2B3::Series;

BasicIntR view(ExactFloat& A) {
    return BasicIntR(A.buffer, A.buffer_size);
}
BasicIntR carve_int(AlignedBufferC& memory, u64 words) {
    return BasicIntR(carve_words(memory, words), words);
}

// out = the product of n words, none of them 0. memory: FactoredSizes::product_scratch_words().
void multiply_out(const Word* words, u64 n, BasicIntR& out, AlignedBufferC memory) {
    if (n <= FactoredSizes::kSingleWords) {
        leaf::set(out, n == 0 ? Word(1) : words[0]);
        for (u64 i = 1; i < n; i++) leaf::multiply(out, words[i]);
        return;
    }
    const u64 half = n / 2;
    BasicIntR A = carve_int(memory, half), B = carve_int(memory, n - half);
    multiply_out(words, half, A, memory);
    multiply_out(words + half, n - half, B, memory);
    out.set_mulB(A, B);
}

// Where the factor is 0 modulo the prime p; p: nowhere.
u32 zero_of(const LinearFactor& f, u64 p) {
    const u64 slope = f.slope % p;
    if (slope == 0) return static_cast<u32>(p);
    u64 inverse = 1;  // slope^(p - 2)
    for (u64 e = p - 2, power = slope; e != 0; e >>= 1, power = power * power % p) {
        if (e % 2 != 0) inverse = inverse * power % p;
    }
    const i64 q = static_cast<i64>(p);
    const u64 minus_offset = static_cast<u64>((q - f.offset % q) % q);
    return static_cast<u32>(minus_offset * inverse % p);
}

[[noreturn]] void damaged() {
    throw AlgorithmFailedException("FactoredLeaf::run()", "Factors of the terms were damaged in memory.");
}

// Factors gathered into as few words as they come: right ones into no more than there is room for.
class Gathered {
  public:
    Gathered(Word* words, u64 room) : words_(words), room_(room) {}
    void take(Word w) {
        const u128 p = u128(open_) * w;
        if (p >> 64 == 0) {
            open_ = static_cast<Word>(p);
        } else {
            put(std::exchange(open_, w));
        }
    }
    u64 finish() {
        if (open_ == 0) damaged();  // as it stays once a factor was
        if (open_ != 1) put(open_);
        return count_;
    }

  private:
    void put(Word w) {
        if (count_ == room_) damaged();
        words_[count_++] = w;
    }
    Word* words_;
    const u64 room_;
    Word open_ = 1;
    u64 count_ = 0;
};

}  // namespace

// R of degree d has a power p^i of a prime p above 3 at least d floor(m / p^i) times among m terms, and Q as
// well; primes of the constants only add to that. What R has of it in the first m of n terms finds as much in
// Q among the m terms that follow behind a block. For each of the d, the sum of ln p max(0, floor((n - 32) /
// p^i) - 1) over the primes is above n (ln n - 3.28) - 100 from kFewestTerms to kTerms.
double FactoredLeaf::saved(u64 n) {
    if (n < kFewestTerms) return 0;
    const double terms = static_cast<double>(n);
    return terms * (std::log(terms) - 3.28) - 100;
}

FactoredLeaf::FactoredLeaf(const FactoredNumber& Q, const FactoredNumber& R, u64 terms,
                           const Series::TermWords& term)
    : Q_(Q),
      R_(R),
      factors_(Q.factors.size() + R.factors.size()),
      sizes_(Q, R, terms, term, std::min(terms, kTerms - 1)) {
    Word rest_Q = Q.constant, rest_R = R.constant;
    for (u32 n = 2; n < kPrimeLimit; n += n == 2 ? 1 : 2) {
        bool is_prime = true;
        for (u32 q = 3; q * q <= n && is_prime; q += 2) is_prime = n % q != 0;
        if (!is_prime) continue;
        Prime prime{n, 0, 0, std::numeric_limits<Word>::max() / n, {1}, {}, 0, 0};
        // Newton's iteration doubles the bits that are right; n is its own inverse to three of them.
        if (n != 2) prime.inverse = n;
        for (int i = 0; i < 5; i++) prime.inverse *= 2 - n * prime.inverse;
        while (prime.word.back() <= prime.most) prime.word.push_back(prime.word.back() * n);
        prime.most_power = static_cast<u32>(prime.word.size() - 1);
        for (const FactoredNumber* number : {&Q_, &R_}) {
            for (const LinearFactor& f : number->factors) {
                prime.zeros.push_back(zero_of(f, n));
            }
        }
        for (; rest_Q != 0 && rest_Q % n == 0; rest_Q /= n) prime.in_Q++;
        for (; rest_R != 0 && rest_R % n == 0; rest_R /= n) prime.in_R++;
        primes_.push_back(std::move(prime));
    }
    // What the sieve does not see would be missing in the numbers.
    if (rest_Q != 1 || rest_R != 1) {
        throw InvalidParametersException("FactoredLeaf::FactoredLeaf()",
                                         "A constant has a prime that is not sieved.");
    }
}

// ---- primes

FactoredLeaf::Side FactoredLeaf::carve_side(u64 blocks, u64 capacity, AlignedBufferC& memory) {
    Side side{};
    side.capacity = capacity;
    side.words = carve_words(memory, blocks * side.capacity);
    side.levels = reinterpret_cast<u8*>(carve_words(memory, blocks * side.capacity / 8));
    side.kept = reinterpret_cast<u32*>(carve_words(memory, (blocks + 1) / 2));
    side.open = carve_words(memory, blocks * kLevels);
    std::fill_n(side.kept, blocks, 0);
    std::fill_n(side.open, blocks * kLevels, Word(1));
    return side;
}

// A word takes primes as long as one more fits: when it is full it is above 2^64 / p.
void FactoredLeaf::keep(Side& side, u64 block, u64 level, const Prime& prime, u64 count) {
    Word& open = side.open[block * kLevels + level];
    if (count <= prime.most_power) [[likely]] {
        const u128 p = u128(open) * prime.word[count];
        if (p >> 64 == 0) {
            open = static_cast<Word>(p);
            return;
        }
    }
    fill(side, block, level, prime, count);
}

// count primes do not fit.
void FactoredLeaf::fill(Side& side, u64 block, u64 level, const Prime& prime, u64 count) {
    Word& open = side.open[block * kLevels + level];
    for (;;) {
        if (open == 0) damaged();
        const Word room = std::numeric_limits<Word>::max() / open;
        u64 fits;
        if (count <= 3) {  // nearly always, and without a jump that cannot be foreseen
            fits = u64(count > 1 && prime.word[1] <= room) + u64(count > 2 && prime.word[2] <= room);
        } else {
            fits = std::min<u64>(count, prime.most_power);
            while (prime.word[fits] > room) fits--;
        }
        if (side.kept[block] >= side.capacity) damaged();
        const u64 at = block * side.capacity + side.kept[block]++;
        side.words[at] = open * prime.word[fits];
        side.levels[at] = static_cast<u8>(level);
        count -= fits;
        open = prime.word[std::min<u64>(count, prime.most_power)];
        if (count <= prime.most_power) return;
        count -= prime.most_power;
    }
}

// How often the prime is in Q and R of each block; `touched` tells where at all.
void FactoredLeaf::match(Run& run, const Prime& prime, const u32* in_Q, const u32* in_R,
                         const u64* touched) const {
    struct Free {
        u32 block, count;
    };
    Free free[kBlocks];
    u64 frees = 0, matched = 0;
    for (u64 half = 0; half < kBlocks / 64; half++) {
        for (u64 rest = touched[half]; rest != 0; rest &= rest - 1) {
            const u64 block = 64 * half + static_cast<u64>(std::countr_zero(rest));
            u32 wanted = in_Q[block];
            while (wanted != 0 && frees != 0) {
                Free& from = free[frees - 1];
                const u32 count = std::min(wanted, from.count);
                const u64 level = static_cast<u64>(std::bit_width(from.block ^ block));
                matched += count;
                // Neighbours that are merged first never hold it.
                if (level != 1) {
                    keep(run.side_R, from.block, level, prime, count);
                    keep(run.side_Q, block, level, prime, count);
                }
                wanted -= count;
                from.count -= count;
                if (from.count == 0) frees--;
            }
            keep(run.side_Q, block, 0, prime, wanted);
            if (in_R[block] != 0) free[frees++] = {static_cast<u32>(block), in_R[block]};
        }
    }
    for (u64 i = 0; i < frees; i++) keep(run.side_R, free[i].block, 0, prime, free[i].count);
    if (matched != 0) {
        run.matched = goldilocks::mul(run.matched, goldilocks::pow(prime.p, matched));
    }
}

void FactoredLeaf::sieve(Run& run) const {
    Word* rough = run.rough;
    for (const FactoredNumber* number : {&Q_, &R_}) {
        for (const LinearFactor& f : number->factors) {
            Word value = f.slope * (run.a + 1) + static_cast<Word>(static_cast<i64>(f.offset));
            for (u64 i = 0; i < run.n; i++, value += f.slope) *rough++ = value;
        }
    }
    const u64 blocks = FactoredSizes::blocks_of(run.n);
    for (const Prime& prime : primes_) {
        u32 in_Q[kBlocks] = {}, in_R[kBlocks] = {};
        u64 touched[kBlocks / 64] = {};
        if (prime.in_Q + prime.in_R != 0) {
            for (u64 block = 0; block < blocks; block++) {
                const u64 terms = std::min(kBlockTerms, run.n - block * kBlockTerms);
                in_Q[block] = static_cast<u32>(prime.in_Q * terms);
                in_R[block] = static_cast<u32>(prime.in_R * terms);
                touched[block / 64] |= u64(1) << block % 64;
            }
        }
        const u64 p = prime.p, rest = (run.a + 1) % p;
        for (u64 j = 0; j < factors_; j++) {
            const u64 zero = prime.zeros[j];
            if (zero == p) continue;
            const bool of_Q = j < Q_.factors.size();
            const u32 power = of_Q ? Q_.factors[j].power : R_.factors[j - Q_.factors.size()].power;
            u32* counts = of_Q ? in_Q : in_R;
            rough = run.rough + j * run.n;
            for (u64 i = zero >= rest ? zero - rest : zero + p - rest; i < run.n; i += p) {
                u32 times = 0;
                Word r = rough[i];
                // A rest that was damaged to 0 is not divided for ever.
                if (p == 2) {
                    times = static_cast<u32>(std::countr_zero(r)) % 64;
                    r >>= times;
                } else {
                    for (Word q = r * prime.inverse; q - 1 < prime.most; q = r * prime.inverse) {
                        r = q;
                        times++;
                    }
                }
                rough[i] = r;
                const u64 block = i / kBlockTerms;
                counts[block] += power * times;
                touched[block / 64] |= u64(1) << block % 64;
            }
        }
        match(run, prime, in_Q, in_R, touched);
    }
}

// ---- sums as they are

// From the last term to the first: P = P(k) Q +- R(k) P.
void FactoredLeaf::sum_words(const Run& run, u64 a, u64 n, Piece& out, AlignedBufferC memory) const {
    const Series::TermWords& each = sizes_.term();
    BasicIntR p = carve_int(memory, each.P), q = carve_int(memory, each.Q), r = carve_int(memory, each.R);
    BasicIntR P = carve_int(memory, sizes_.P(n)), X = carve_int(memory, sizes_.P(n)),
              Y = carve_int(memory, sizes_.P(n));
    BasicIntR Q = carve_int(memory, sizes_.Q_of_words(n)), Z = carve_int(memory, sizes_.Q_of_words(n));
    BasicIntR R = carve_int(memory, sizes_.R_of_words(n)), W = carve_int(memory, sizes_.R_of_words(n));
    run.series.term(a + n, P, Q, R);
    for (u64 k = a + n - 1; k > a; k--) {
        run.series.term(k, p, q, r);
        X.set_mulB(Q, p);
        Y.set_mulB(P, r);
        if (run.series.alternating()) {
            X -= Y;
        } else {
            X += Y;
        }
        std::swap(P, X);
        Z.set_mulB(Q, q);
        std::swap(Q, Z);
        if (out.R.buffer_size == 0) {
            R.residue = goldilocks::mul(R.residue, r.residue);
            continue;
        }
        W.set_mulB(R, r);
        std::swap(R, W);
    }
    out.P.set_BasicInt(P);
    out.Q.residue = Q.residue;
    out.R.residue = R.residue;
    if (out.Q.buffer_size != 0) out.Q.set_BasicInt(Q);
    if (out.R.buffer_size != 0) out.R.set_BasicInt(R);
}

// Q and R without buffers are not computed; only their residues are.
void FactoredLeaf::sum_piece(const Run& run, u64 a, u64 n, Piece& out, AlignedBufferC memory) const {
    if (n <= kWordTerms) return sum_words(run, a, n, out, memory);
    u64 n1 = kWordTerms;
    while (2 * n1 < n) n1 *= 2;
    const u64 n2 = n - n1;
    const auto piece = [&](u64 terms, bool with_Q, bool with_R) {
        Piece made{carve_int(memory, sizes_.P(terms)), {}, {}};
        if (with_Q) made.Q = carve_int(memory, sizes_.Q(terms));
        if (with_R) made.R = carve_int(memory, sizes_.R(terms));
        return made;
    };
    const bool with_Q = out.Q.buffer_size != 0, with_R = out.R.buffer_size != 0;
    Piece left = piece(n1, with_Q, true), right = piece(n2, true, with_R);
    sum_piece(run, a, n1, left, memory);
    sum_piece(run, a + n1, n2, right, memory);
    BasicIntR T = carve_int(memory, left.R.L + right.P.L);
    T.set_mulB(left.R, right.P);
    out.P.set_mulB(left.P, right.Q);
    out.P += T;
    if (with_Q) out.Q.set_mulB(left.Q, right.Q);
    if (with_R) out.R.set_mulB(left.R, right.R);
    out.Q.residue = goldilocks::mul(left.Q.residue, right.Q.residue);
    out.R.residue = goldilocks::mul(left.R.residue, right.R.residue);
}

// ---- sums without what is matched

void FactoredLeaf::product_of_rough(const Run& run, u64 block, bool of_Q, ExactFloat& out,
                                    AlignedBufferC memory) const {
    const Side& side = of_Q ? run.side_Q : run.side_R;
    const u64 first = block * kBlockTerms, terms = std::min(kBlockTerms, run.n - first);
    const u64 room = sizes_.gathered(of_Q);
    Word* gathered = carve_words(memory, room);
    Gathered product(gathered, room);
    const Word* rough = run.rough + (of_Q ? 0 : Q_.factors.size() * run.n) + first;
    for (const LinearFactor& f : (of_Q ? Q_ : R_).factors) {
        // What a power repeats is gathered once.
        Word once[kBlockTerms];
        Gathered shared(once, kBlockTerms);
        for (u64 i = 0; i < terms; i++) shared.take(rough[i]);
        const u64 words = shared.finish();
        for (u32 j = 0; j < f.power; j++) {
            for (u64 i = 0; i < words; i++) product.take(once[i]);
        }
        rough += run.n;
    }
    if (side.kept[block] > side.capacity) damaged();
    for (u64 i = 0; i < side.kept[block]; i++) {
        if (side.levels[block * side.capacity + i] == 0) product.take(side.words[block * side.capacity + i]);
    }
    product.take(side.open[block * kLevels]);
    BasicIntR number = view(out);
    multiply_out(gathered, product.finish(), number, memory);
    BinarySplitting::set_natural(out, number);
}

ExactFloat FactoredLeaf::with_matched(const Run& run, const Side& side, u64 block, u64 blocks, u64 level,
                                      const ExactFloat& G, AlignedBufferC& memory) const {
    u64 most = 0;
    for (u64 i = block; i < block + blocks; i++) {
        if (side.kept[i] > side.capacity) damaged();
        most += side.kept[i] + kLevels;
    }
    AlignedBufferC inner = memory;
    Word* words = carve_words(inner, most);
    Gathered gathered(words, most);
    for (u64 i = block; i < block + blocks; i++) {
        const u64 at = i * side.capacity;
        for (u64 j = 0; j < side.kept[i]; j++) {
            if (side.levels[at + j] > level) gathered.take(side.words[at + j]);
        }
        for (u64 j = level + 1; j < kLevels; j++) gathered.take(side.open[i * kLevels + j]);
    }
    const u64 count = gathered.finish();
    if (count == 0) return G;
    ExactFloat A = carve<ExactFloat>(memory, G.L + count);
    // The words stand in A's place and move behind it and T.
    inner = memory;
    ExactFloat T = carve<ExactFloat>(inner, count);
    AlignedBufferC above = inner;
    Word* moved = carve_words(above, count);
    std::copy_n(words, count, moved);
    BasicIntR product = view(T);
    multiply_out(moved, count, product, above);
    BinarySplitting::set_natural(T, product);
    A.set_mul(run.context.with_scratch(inner), G, T);
    return A;
}

void FactoredLeaf::sum_block(const Run& run, u64 block, Reduced& out, AlignedBufferC memory) const {
    const u64 first = block * kBlockTerms, terms = std::min(kBlockTerms, run.n - first);
    Piece piece{view(out.P), {}, {}};
    sum_piece(run, run.a + first, terms, piece, memory);
    BinarySplitting::set_natural(out.P, piece.P);
    out.whole_P = piece.P.residue;
    out.whole_Q = piece.Q.residue;
    out.whole_R = piece.R.residue;
}

void FactoredLeaf::sum(const Run& run, u64 block, u64 blocks, Reduced& out, bool edge,
                       AlignedBufferC memory) const {
    if (blocks == 1) {
        sum_block(run, block, out, memory);
        product_of_rough(run, block, true, out.Q, memory);
        BinarySplitting::strip_zero_words(out.Q);
        if (!edge) product_of_rough(run, block, false, out.R, memory);
        return;
    }
    const u64 level = FactoredSizes::level_of(blocks);
    const u64 left_blocks = FactoredSizes::left_blocks(blocks), right_blocks = blocks - left_blocks;
    const u64 n1 = left_blocks * kBlockTerms;
    const u64 n2 = std::min(blocks * kBlockTerms, run.n - block * kBlockTerms) - n1;
    const auto make = [&](u64 n) {
        return Reduced{carve<ExactFloat>(memory, sizes_.P(n)),
                       carve<ExactFloat>(memory, sizes_.Q(n)),
                       carve<ExactFloat>(memory, sizes_.R(n)),
                       0,
                       0,
                       0};
    };
    Reduced left = make(n1), right = make(n2);
    sum(run, block, left_blocks, left, false, memory);
    sum(run, block + left_blocks, right_blocks, right, edge, memory);

    const ExactFloat R1 = with_matched(run, run.side_R, block, left_blocks, level, left.R, memory);
    const ExactFloat Q2 =
        with_matched(run, run.side_Q, block + left_blocks, right_blocks, level, right.Q, memory);
    ExactFloat T = carve<ExactFloat>(memory, R1.L + right.P.L);
    const MultiplyContext context = run.context.with_scratch(memory);
    T.set_mul(context, R1, right.P);
    if (Q2.T == right.Q.T) {
        BinarySplitting::multiply_both(context, out.P, out.Q, left.P, left.Q, Q2, T.exp);
    } else {
        BinarySplitting::multiply_above(context, out.P, left.P, Q2, T.exp);
        out.Q.set_mul(context, left.Q, right.Q);
    }
    BinarySplitting::strip_zero_words(out.Q);
    out.P.add_signed_ip(context.parallel, T, false);
    if (!edge) out.R.set_mul(context, left.R, right.R);
    out.whole_P = goldilocks::add(goldilocks::mul(left.whole_P, right.whole_Q),
                                  goldilocks::mul(left.whole_R, right.whole_P));
    out.whole_Q = goldilocks::mul(left.whole_Q, right.whole_Q);
    out.whole_R = goldilocks::mul(left.whole_R, right.whole_R);
}

void FactoredLeaf::run(const Series& series, u64 a, u64 b, ExactFloat& P, ExactFloat& Q, ExactFloat& R,
                       bool edge, Word* scratch, u64 scratch_words, const ParallelContext& parallel) const {
    AlignedBufferC memory(scratch, scratch_words / 8 * 64);
    Run run{series, {serial_context(), memory, nullptr}, a, b - a, nullptr, {}, {}};
    run.context.parallel.run = parallel.run;
    run.context.parallel.inner_unchecked = true;
    const u64 blocks = FactoredSizes::blocks_of(run.n);
    run.rough = carve_words(memory, factors_ * run.n);
    run.side_Q = carve_side(blocks, sizes_.kept(true), memory);
    run.side_R = carve_side(blocks, sizes_.kept(false), memory);
    sieve(run);
    parallel.stage("sieve", run.rough, factors_ * run.n * sizeof(Word));
    for (const Side* side : {&run.side_Q, &run.side_R}) {
        parallel.stage("sieve", side->words, blocks * side->capacity * sizeof(Word));
        parallel.stage("sieve", side->levels, blocks * side->capacity);
        parallel.stage("sieve", side->kept, blocks * sizeof(u32));
        parallel.stage("sieve", side->open, blocks * kLevels * sizeof(Word));
    }
    Reduced all{P, Q, R, 0, 0, 0};
    sum(run, 0, blocks, all, edge, memory);
    P = all.P;
    Q = all.Q;
    if (!edge) R = all.R;
    // The words are to be what the terms' residues say, whatever happened to the primes.
    const u64 inverse = goldilocks::inverse(run.matched);
    P.residue = goldilocks::mul(all.whole_P, inverse);
    Q.residue = goldilocks::mul(all.whole_Q, inverse);
    if (!edge) R.residue = goldilocks::mul(all.whole_R, inverse);
}

}  // namespace kalvor
