#include "arith/intntt/integer_ntt.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <string>

#include "arith/intntt/integer_ntt_tables.h"
#include "arith/ntt/join_window.h"
#include "arith/ntt/ntt_check.h"
#include "arith/ntt/ntt_prime_sets.h"
#include "base/errors/fatal.h"

namespace trel {
namespace {

constexpr u64 kBlock = kIntegerNttBlock;
constexpr u64 kMaxTasks = 32;
constexpr u32 kMaxB = 7;
// Transforms of fewer residues run on one task: starting tasks costs more than it saves.
constexpr u64 kParallelResidues = u64(1) << 15;
// Rows are split for tasks from this length on.
constexpr u32 kSplitExponent = 12;
// So many points below the window are joined too. The points left out below them reach less than two points
// up, so they carry into the window only through a point whose bits are all set.
constexpr u64 kPointsBefore = 3;

bool in_range(u32 hint, u32 low, u32 high) {
    return hint == 0 || (low <= hint && hint <= high);
}

// log2 of the points that are transformed level by level. The hint f of a record is the logarithm of a block
// of vectors of eight; d and e are checked but not needed.
u32 log_block_of(const NttRecord& r, u32 max_exponent) {
    if (!in_range(r.d, 5, 8) || !in_range(r.e, 3, 11) || !in_range(r.f, 6, 11) || r.c < kIntegerNttTail ||
        r.c > max_exponent) {
        std::string detail;
        for (const u32 x : {r.a, r.b, r.c, r.d, r.e, r.f}) detail += std::to_string(x) + " ";
        assertion_failure(kInvalidParameters, "IntegerNttTransform::IntegerNttTransform()", detail);
    }
    return r.f == 0 ? 12 : r.f + 3u;
}

// A point's value from its limbs, limbs[64 * l] being limb l, in words; rows beyond the last limb are zero.
template <class W>
void words_of_limbs(W* value, const W* limbs, u32 n_words) {
    constexpr u32 kLimb = IntegerNttTypes<W>::kLimbBits, kWord = 8 * sizeof(W);
    u32 l = 0, shift = 0;  // word = from bit `shift` of limb l
    for (u32 i = 0; i < n_words; i++) {
        W word = limbs[kBlock * l] >> shift;
        word |= limbs[kBlock * (l + 1)] << (kLimb - shift);
        if (2 * kLimb - shift < kWord) word |= limbs[kBlock * (l + 2)] << (2 * kLimb - shift);
        value[i] = word;
        shift += kWord - kLimb;
        l++;
        if (shift >= kLimb) {
            shift -= kLimb;
            l++;
        }
    }
}

}  // namespace

template <>
const IntegerNttKernels<u32>& integer_ntt_kernels<u32>(Isa isa) {
    return TREL_TABLE(isa, integer_ntt32);
}
template <>
const IntegerNttKernels<u64>& integer_ntt_kernels<u64>(Isa isa) {
    return TREL_TABLE(isa, integer_ntt64);
}
template <class W>
const IntegerNttKernels<W>& integer_ntt_kernels() {
    static const IntegerNttKernels<W>& chosen = integer_ntt_kernels<W>(active_isa());
    return chosen;
}
template const IntegerNttKernels<u32>& integer_ntt_kernels<u32>();
template const IntegerNttKernels<u64>& integer_ntt_kernels<u64>();

template <class W>
struct IntegerNttTransform<W>::PointRange {
    u64 first, end;
};

// What is left above the last point of each of a task's b parts; it is added to the next part.
template <class W>
struct IntegerNttTransform<W>::Carries {
    static constexpr u32 kWords = IntegerNttTypes<W>::kMaxPrimes + 1;
    W words[kMaxB][kWords];
};

template <class W>
IntegerNttTransform<W>::IntegerNttTransform(const IntegerNttKernels<W>& kernels, const NttRecord& record)
    : Transform(Windows::whole, ntt_capacity_bits(kIntegerNttFamily<W>, record),
                record.a * record.points() * sizeof(W), 0),
      kernels_(&kernels),
      set_(&integer_ntt_set<W>(record.a, record.b)),
      record_(record),
      log_block_(log_block_of(record, ntt_max_exponent(kIntegerNttFamily<W>, record.a, record.b))) {}

template <class W>
const char* IntegerNttTransform<W>::name() const {
    return ntt_constants(kIntegerNttFamily<W>).short_name;
}

template <class W>
u64 IntegerNttTransform<W>::n_tasks(const ParallelContext& parallel) const {
    if (parallel.tds < 2 || record_.a * record_.points() < kParallelResidues) return 1;
    return std::min({parallel.tds, kMaxTasks, (u64(1) << record_.c) / kBlock});
}

// rows[64 r + k] = transform over the rows of column `column` + k, from the units of the b points that fall
// into it; `empty` points are zero.
template <class W>
void IntegerNttTransform<W>::load_columns(W* rows, const W* units, u32 prime, const bool* empty,
                                          u64 column) const {
    const IntegerNttPrime<W>& constants = set_->prime[prime];
    const u32 b = record_.b;
    if (b == 1) {
        kernels_->reduce(constants, record_.a, units, rows);
        return;
    }
    alignas(64) W points[kBlock];
    for (u32 t = 0; t < b; t++) {
        if (empty[t]) {
            std::fill_n(points, kBlock, W(0));
        } else {
            kernels_->reduce(constants, record_.a, units + t * kBlock * (record_.a - 1), points);
        }
        u32 r = static_cast<u32>((column + (u64(t) << record_.c)) % b);
        for (u64 k = 0; k < kBlock; k++) {
            rows[kBlock * r + k] = points[k];
            r = r + 1 == b ? 0 : r + 1;
        }
    }
    kernels_->transform_b(constants, b, rows);
}

template <class W>
void IntegerNttTransform<W>::do_forward(const ParallelContext& parallel, void* data, const Word* A, u64 L,
                                        void*) const {
    using Unit = typename IntegerNttTypes<W>::Unit;
    check_length(ntt_constants(kIntegerNttFamily<W>).short_name, L);
    W* const out = static_cast<W*>(data);
    const u32 a = record_.a, b = record_.b, c = record_.c, n_units = a - 1;
    const u64 m = u64(1) << c, total_units = L * (sizeof(Word) / sizeof(Unit));
    const u64 n = n_tasks(parallel), blocks = m / kBlock;
    parallel_for(parallel, n, [&](u64 task) {
        alignas(64) W units[kMaxB * kBlock * (IntegerNttTypes<W>::kMaxPrimes - 1)];
        alignas(64) W rows[kMaxB * kBlock];
        for (u64 q = blocks * task / n; q < blocks * (task + 1) / n; q++) {
            const u64 column = q * kBlock;
            bool empty[kMaxB];
            bool all_empty = true;
            for (u32 t = 0; t < b; t++) {
                const u64 first = ((u64(t) << c) + column) * n_units;
                empty[t] = first >= total_units;
                if (empty[t]) continue;
                all_empty = false;
                W* const to = units + t * kBlock * n_units;
                const u8* from = reinterpret_cast<const u8*>(A) + first * sizeof(Unit);
                u64 left = std::min(total_units - first, kBlock * n_units);
                for (u64 k = 0; k < kBlock; k++) {
                    const u64 here = std::min<u64>(left, n_units);
                    left -= here;
                    for (u64 i = 0; i < here; i++, from += sizeof(Unit)) {
                        Unit unit;
                        std::memcpy(&unit, from, sizeof unit);
                        to[kBlock * i + k] = unit;
                    }
                    for (u64 i = here; i < n_units; i++) to[kBlock * i + k] = 0;
                }
            }
            for (u32 i = 0; i < a; i++) {
                if (!all_empty) load_columns(rows, units, i, empty, column);
                for (u32 r = 0; r < b; r++) {
                    W* const to = out + ((u64(i) * b + r) << c) + column;
                    if (all_empty) {
                        std::fill_n(to, kBlock, W(0));
                    } else {
                        std::memcpy(to, rows + kBlock * r, kBlock * sizeof(W));
                    }
                }
            }
        }
    });
    const u64 n_rows = u64(a) * b;
    parallel.stage("pass", out, a * record_.points() * sizeof(W));
    if (n < 2 || c < kSplitExponent) {
        parallel_for(parallel, n, [&](u64 task) {
            for (u64 r = n_rows * task / n; r < n_rows * (task + 1) / n; r++) {
                kernels_->forward(set_->prime[r / b], out + (r << c), c, 0, log_block_);
            }
        });
        return;
    }
    const u64 quarter = m / 4, parts = 4 * n_rows;
    parallel_for(parallel, n, [&](u64 task) {
        for (u64 u = parts * task / n; u < parts * (task + 1) / n; u++) {
            const u64 r = u / 4, part = u % 4;
            kernels_->forward_top(set_->prime[r / b], out + (r << c), c, quarter / 4 * part,
                                  quarter / 4 * (part + 1));
        }
    });
    parallel_for(parallel, n, [&](u64 task) {
        for (u64 u = parts * task / n; u < parts * (task + 1) / n; u++) {
            kernels_->forward(set_->prime[u / 4 / b], out + u * quarter, c - 2, u % 4, log_block_);
        }
    });
}

template <class W>
void IntegerNttTransform<W>::do_inverse(const ParallelContext& parallel, Word* T, u64 skip, u64 total,
                                        void* work, const void* X, const void* Y, void*,
                                        ProductRest* rest) const {
    W* const out = static_cast<W*>(work);
    const W* const x = static_cast<const W*>(X);
    const W* const y = static_cast<const W*>(Y);
    const u32 b = record_.b, c = record_.c;
    const u64 n = n_tasks(parallel), n_rows = u64(record_.a) * b;
    if (n < 2 || c < kSplitExponent) {
        parallel_for(parallel, n, [&](u64 task) {
            for (u64 r = n_rows * task / n; r < n_rows * (task + 1) / n; r++) {
                const u64 at = r << c;
                kernels_->inverse(set_->prime[r / b], out + at, x + at, y + at, c, 0, log_block_);
            }
        });
    } else {
        const u64 quarter = u64(1) << (c - 2), parts = 4 * n_rows;
        parallel_for(parallel, n, [&](u64 task) {
            for (u64 u = parts * task / n; u < parts * (task + 1) / n; u++) {
                const u64 at = u * quarter;
                kernels_->inverse(set_->prime[u / 4 / b], out + at, x + at, y + at, c - 2, u % 4, log_block_);
            }
        });
        parallel_for(parallel, n, [&](u64 task) {
            for (u64 u = parts * task / n; u < parts * (task + 1) / n; u++) {
                const u64 r = u / 4, part = u % 4;
                kernels_->inverse_top(set_->prime[r / b], out + (r << c), c, quarter / 4 * part,
                                      quarter / 4 * (part + 1));
            }
        });
    }
    parallel.stage("coefficients", out, record_.a * record_.points() * sizeof(W));
    recombine(parallel, T, skip, total, out, rest);
}

// Coefficients of 64 columns as they lie in the work area, and the words that they are joined to.
template <class W>
struct IntegerNttTransform<W>::Block {
    static constexpr u64 kMaxA = IntegerNttTypes<W>::kMaxPrimes;

    alignas(64) W by_point[kMaxB][kMaxA * kBlock];  // residues of the points column + 64 k in run t
    alignas(64) W limbs[(IntegerNttSet<W>::kMaxLimbs + 2) * kBlock];
    u8 bytes[kBlock * (kMaxA - 1) * (sizeof(W) / 2)];
    W excess = 0;  // the largest part of a coefficient above a product of two points

    explicit Block(const IntegerNttSet<W>& set) { std::fill_n(limbs + set.limbs * kBlock, 2 * kBlock, W(0)); }
};

template <class W>
void IntegerNttTransform<W>::load_block(Block& block, const W* residues, u64 column) const {
    const u32 a = record_.a, b = record_.b, c = record_.c;
    for (u32 i = 0; i < a; i++) {
        const W* const row = residues + (u64(i) * b << c) + column;
        if (b == 1) {
            std::memcpy(block.by_point[0] + kBlock * i, row, kBlock * sizeof(W));
            continue;
        }
        alignas(64) W rows[kMaxB * kBlock];
        for (u32 r = 0; r < b; r++) {
            std::memcpy(rows + kBlock * r, row + (u64(r) << c), kBlock * sizeof(W));
        }
        kernels_->inverse_b(set_->prime[i], b, rows);
        for (u32 t = 0; t < b; t++) {
            u32 r = static_cast<u32>((column + (u64(t) << c)) % b);
            for (u64 k = 0; k < kBlock; k++) {
                block.by_point[t][kBlock * i + k] = rows[kBlock * r + k];
                r = r + 1 == b ? 0 : r + 1;
            }
        }
    }
}

// The points of run t to block.bytes, with the carry from below; leaves the carry above.
template <class W>
void IntegerNttTransform<W>::join(Block& block, u32 t, W* carry) const {
    using Wide = typename IntegerNttTypes<W>::Wide;
    const u32 a = record_.a;
    const u64 point_bytes = (a - 1) * (sizeof(W) / 2), kept_bytes = (a + 1) * sizeof(W) - point_bytes;
    kernels_->combine(*set_, record_.c, block.by_point[t], block.limbs);
    for (u64 k = 0; k < kBlock; k++) {
        W sum[Block::kMaxA + 1];
        words_of_limbs(sum, block.limbs + k, a);
        block.excess = std::max(block.excess, sum[a - 1]);
        W over = 0;
        for (u32 i = 0; i < a; i++) {
            const Wide s = Wide(sum[i]) + carry[i] + over;
            sum[i] = static_cast<W>(s);
            over = static_cast<W>(s >> (8 * sizeof(W)));
        }
        sum[a] = carry[a] + over;
        std::memcpy(block.bytes + k * point_bytes, sum, point_bytes);
        std::memcpy(carry, reinterpret_cast<const u8*>(sum) + point_bytes, kept_bytes);
        std::memset(reinterpret_cast<u8*>(carry) + kept_bytes, 0, point_bytes);
    }
}

// Joins the columns [from, to) of every one of the b runs of 2^c points. Returns the largest excess.
template <class W>
W IntegerNttTransform<W>::join_columns(const PointRange& points, const JoinWindow& window, const W* residues,
                                       u64 from, u64 to, Carries& carries) const {
    const u64 point_bytes = (record_.a - 1) * (sizeof(W) / 2);
    std::memset(&carries, 0, sizeof carries);
    Block block(*set_);
    for (u64 column = from; column < to; column += kBlock) {
        load_block(block, residues, column);
        for (u32 t = 0; t < record_.b; t++) {
            const u64 first = (u64(t) << record_.c) + column;
            if (first + kBlock <= points.first || first >= points.end) continue;
            join(block, t, carries.words[t]);
            window.write(first * point_bytes, block.bytes, kBlock * point_bytes);
        }
    }
    return block.excess;
}

// The carry that all points below `end` send to it. Returns the largest excess.
template <class W>
W IntegerNttTransform<W>::carry_into(u64 end, const W* residues, W* carry) const {
    Block block(*set_);
    for (u64 point = 0; point < end; point += kBlock) {
        const u64 run = point >> record_.c;
        load_block(block, residues, point - (run << record_.c));
        join(block, static_cast<u32>(run), carry);
    }
    return block.excess;
}

template <class W>
void IntegerNttTransform<W>::recombine(const ParallelContext& parallel, Word* T, u64 skip, u64 total,
                                       const void* data, ProductRest* rest) const {
    check_length(ntt_constants(kIntegerNttFamily<W>).short_name, total);
    const W* const residues = static_cast<const W*>(data);
    const u64 point_bytes = (record_.a - 1) * (sizeof(W) / 2);
    // carries of tasks may run through the bytes that are joined below the window
    u8 below[(2 * kBlock + kPointsBefore) * (IntegerNttTypes<W>::kMaxPrimes - 1) * (sizeof(W) / 2)];
    const u64 lowest = 8 * skip / point_bytes;
    const u64 first = lowest < kPointsBefore ? 0 : lowest - kPointsBefore;
    const u64 first_block = first / kBlock * kBlock;
    const PointRange points{first, (8 * total + point_bytes - 1) / point_bytes};
    const JoinWindow window(T, skip, total, below, first_block * point_bytes);
    const u64 n = n_tasks(parallel), m = u64(1) << record_.c, blocks = m / kBlock;
    const auto column_of = [&](u64 task) { return blocks * task / n * kBlock; };
    Carries carries[kMaxTasks];
    W excess[kMaxTasks];
    parallel_for(parallel, n, [&](u64 task) {
        excess[task] =
            join_columns(points, window, residues, column_of(task), column_of(task + 1), carries[task]);
    });
    for (u64 task = 0; task < n; task++) {
        for (u32 t = 0; t < record_.b; t++) {
            const u64 point = t * m + column_of(task + 1);
            const u8* const carry = reinterpret_cast<const u8*>(carries[task].words[t]);
            const u64 bytes = (record_.a + 1) * sizeof(W);
            const u32 out = window.add(point * point_bytes, carry, bytes);
            if (rest == nullptr) continue;
            // What leaves the ring's top comes back at its bottom. With rest the window is the whole ring.
            rest->ring.add(u128(out), 0);
            if (point < record_.points()) continue;
            Word words[IntegerNttTypes<W>::kMaxPrimes + 1] = {};
            std::memcpy(words, carry, bytes);
            rest->ring.add(words, std::size(words), 0);
        }
    }
    W largest = *std::max_element(excess, excess + n);
    // What was left out reaches less than two points up. If all bits from there to the window are set, it may
    // still carry into the window.
    const u8* const from = below + (first + 2 - first_block) * point_bytes;
    const u8* const to = below + (8 * skip - first_block * point_bytes);
    if (first_block != 0 && std::all_of(from, to, [](u8 byte) { return byte == 0xff; })) {
        W carry[Carries::kWords] = {};
        largest = std::max(largest, carry_into(first_block, residues, carry));
        window.add(first_block * point_bytes, reinterpret_cast<const u8*>(carry),
                   (record_.a + 1) * sizeof(W));
    }
    check_ntt_coefficients(parallel, kIntegerNttFamily<W>, record_, largest);
}

template <class W>
bool IntegerNttTransform<W>::compatible(const Transform& other) const {
    const auto* t = dynamic_cast<const IntegerNttTransform*>(&other);
    return t != nullptr && t->kernels_ == kernels_ && t->record_.a == record_.a &&
           t->record_.b == record_.b && t->record_.c == record_.c;
}

template class IntegerNttTransform<u32>;
template class IntegerNttTransform<u64>;

template <class W>
MultiplySizes IntegerNttAlgorithm<W>::sizes(u64 words) const {
    MultiplySizes s;
    s.output = round_up_64(8 * words);
    s.transform_data = round_up_64(ntt_largest_residues(kIntegerNttFamily<W>, words) * sizeof(W)) +
                       Transform::kLongLabelBytes;
    const NttRecord& record = find_ntt_record_for_words(kIntegerNttFamily<W>, words);
    s.transform_scratch = round_up_64(ntt_capacity_bits(kIntegerNttFamily<W>, record) / 8);
    s.scratch = 2 * s.transform_data + s.transform_scratch;
    return s;
}

template <class W>
void IntegerNttAlgorithm<W>::make_transform(TransformHolder& holder, u64 words,
                                            const MultiplyContext&) const {
    holder.emplace<IntegerNttTransform<W>>(integer_ntt_kernels<W>(),
                                           find_ntt_record_for_words(kIntegerNttFamily<W>, words));
}

const MultiplyAlgorithm& n32_algorithm() {
    static const IntegerNttAlgorithm<u32> algorithm;
    return algorithm;
}
const MultiplyAlgorithm& n64_algorithm() {
    static const IntegerNttAlgorithm<u64> algorithm;
    return algorithm;
}

}  // namespace trel
