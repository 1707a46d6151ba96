#include "arith/hnt/hnt.h"

#include <algorithm>
#include <atomic>
#include <cstring>

#include "arith/fft/fft_algorithm.h"
#include "arith/fft/fft_parameters.h"
#include "arith/fft/fft_tables.h"
#include "arith/fft/fft_transform.h"
#include "arith/hnt/fermat_ring.h"
#include "arith/hnt/residue_transform.h"
#include "arith/kernels/word_array.h"
#include "arith/kernels/words32.h"
#include "arith/multiply/transform_tables.h"
#include "arith/multiply/work_area.h"
#include "arith/ntt/join_window.h"
#include "arith/ntt/ntt_check.h"
#include "base/errors/exceptions.h"

namespace trel {
namespace {

constexpr u64 kMaxTasks = 8;
// Transforms of less data run on one task.
constexpr u64 kParallelBytes = u64(1) << 19;
// Tasks go through this number of levels together; below those, each task works on nodes of its own.
constexpr u32 kSharedLevels = 4;

// The product of two elements of n words needs a convolution of twice their bits: one of their own length
// gives it modulo 2^(its capacity) + 1, which is the element's modulus for few lengths.
const FftParameters& element_fft(u64 n) {
    return fft_parameter_table()[fft_entry_for(128 * n)];
}

// What a task works in: two transforms and a product, or two elements for a butterfly.
u64 bytes_of_task(const HntParameters& p) {
    const u64 n = p.element_units() / 2, butterfly = round_up_64(2 * (n + 1) * sizeof(Word));
    if (p.element_units() < kHntFftUnits) return butterfly;
    const FftParameters& fft = element_fft(n);
    const u64 transform = round_up_64(fft.points() * sizeof(double)) + Transform::kLabelBytes;
    // behind the transforms the place in which the FFT's check looks at windows
    return std::max(butterfly,
                    2 * transform + round_up_64(fft.capacity() / 8) + round_up_64(2 * n * sizeof(Word)));
}

u64 bytes_of_elements(const HntParameters& p) {
    return round_up_64(p.elements() * (p.element_units() / 2 + 1) * sizeof(Word));
}

// Behind the elements the transform of the points' residues, a word for each.
u64 bytes_of_data(const HntParameters& p) {
    return bytes_of_elements(p) + round_up_64(p.elements() * sizeof(u64));
}

u64 tasks_of_scratch(const HntParameters& p) {
    return std::clamp<u64>(bytes_of_elements(p) / bytes_of_task(p), 1, kMaxTasks);
}

u64 bytes_of_scratch(const HntParameters& p) {
    return tasks_of_scratch(p) * bytes_of_task(p);
}

const HntParameters& parameters_for(u64 words) {
    const u64 limit = hnt_list_b().back().capacity_bits() / 64;
    if (words > limit) throw LimitExceededException("HNT", "Product is too large.", limit, words);
    return find_hnt_parameters(64 * words);
}

// T = x y by Basecase/Karatsuba on 32-bit words; x == y squares.
void multiply_units(Word* T, const Word* x, const Word* y, u64 n) {
    constexpr u64 kUnits = kHntFftUnits - 1;
    u32 a[kUnits], b[kUnits], t[2 * kUnits], scratch[5 * 2 * kUnits + 64];
    std::memcpy(a, x, n * sizeof(Word));
    if (x == y) {
        words32::sqr_karatsuba(t, a, 2 * n, scratch);
    } else {
        std::memcpy(b, y, n * sizeof(Word));
        words32::mul_karatsuba(t, a, 2 * n, b, 2 * n, scratch);
    }
    std::memcpy(T, t, 2 * n * sizeof(Word));
}

}  // namespace

HntTransform::HntTransform(const HntParameters& parameters, const FftSharedTables* tables)
    : Transform(Windows::whole, parameters.capacity_bits(), bytes_of_data(parameters),
                bytes_of_scratch(parameters)),
      parameters_(parameters),
      tables_(tables),
      n_(parameters.element_units() / 2),
      residues_at_(bytes_of_elements(parameters)),
      task_bytes_(bytes_of_task(parameters)),
      max_tasks_(tasks_of_scratch(parameters)) {}

u64 HntTransform::n_tasks(const ParallelContext& parallel) const {
    if (parallel.tds < 2 || data_bytes_ < kParallelBytes) return 1;
    return std::min({parallel.tds, max_tasks_, parameters_.elements() >> kSharedLevels});
}

// r = x times the root's power j (-j when negative), 0 <= j < 2^k; x is overwritten. temporary: n + 1 words.
void HntTransform::multiply_by_root(Word* r, const Word* x, u64 j, bool negative, Word* temporary) const {
    const u64 period = 256 * n_;  // the order of 2^(1/2)
    u64 e = u64(parameters_.m) * j % period;
    if (negative && e != 0) e = period - e;
    const u64 halves = 128 * n_;  // 2^(1/2) to this power is -1
    const auto shifted = [&](Word* to, const Word* from, u64 half_bits) {
        fermat::shift(to, from, half_bits % halves / 2, n_);
        if (half_bits / halves % 2 == 1) fermat::negate(to, n_);
    };
    if (e % 2 == 0) {
        shifted(r, x, e);
        return;
    }
    shifted(r, x, e - 1 + 96 * n_);
    shifted(temporary, x, e - 1 + 32 * n_);
    fermat::sub(r, r, temporary, n_);
}

// (x, y) -> (x + y, (x - y) root^j). temporary: 2 (n + 1) words.
void HntTransform::forward_butterfly(Word* x, Word* y, u64 j, Word* temporary) const {
    if (j == 0) {
        fermat::sub(temporary, x, y, n_);
        fermat::add(x, x, y, n_);
        std::memcpy(y, temporary, stride() * sizeof(Word));
        return;
    }
    fermat::sub(temporary, x, y, n_);
    fermat::add(x, x, y, n_);
    multiply_by_root(y, temporary, j, false, temporary + stride());
}

// (x, y) -> (x + y root^-j, x - y root^-j)
void HntTransform::inverse_butterfly(Word* x, Word* y, u64 j, Word* temporary) const {
    if (j == 0) {
        std::memcpy(temporary, y, stride() * sizeof(Word));
    } else {
        multiply_by_root(temporary, y, j, true, temporary + stride());
    }
    fermat::sub(y, x, temporary, n_);
    fermat::add(x, x, temporary, n_);
}

// All levels of a node of 2^levels elements; roots of order 2^levels.
void HntTransform::forward_node(Word* x, u32 levels, Word* temporary) const {
    if (levels == 0) return;
    const u64 half = (u64(1) << levels) / 2;
    for (u64 i = 0; i < half; i++) {
        forward_butterfly(x + i * stride(), x + (half + i) * stride(), i << (parameters_.k - levels),
                          temporary);
    }
    forward_node(x, levels - 1, temporary);
    forward_node(x + half * stride(), levels - 1, temporary);
}

void HntTransform::inverse_node(Word* x, u32 levels, Word* temporary) const {
    if (levels == 0) return;
    const u64 half = (u64(1) << levels) / 2;
    inverse_node(x, levels - 1, temporary);
    inverse_node(x + half * stride(), levels - 1, temporary);
    for (u64 i = 0; i < half; i++) {
        inverse_butterfly(x + i * stride(), x + (half + i) * stride(), i << (parameters_.k - levels),
                          temporary);
    }
}

// One level of a transform on all tasks: f(element, its partner, power of the root, task) for every
// butterfly.
template <class F>
void HntTransform::shared_level(const ParallelContext& parallel, u64 n_tasks, u32 level, const F& f) const {
    const u64 count = parameters_.elements() / 2, half = count >> level;
    parallel_for(parallel, n_tasks, [&](u64 task) {
        for (u64 i = count * task / n_tasks; i < count * (task + 1) / n_tasks; i++) {
            const u64 first = i / half * 2 * half + i % half;
            f(first, first + half, (i % half) << level, task);
        }
    });
}

void HntTransform::do_forward(const ParallelContext& parallel, void* data, const Word* A, u64 L,
                              void* scratch) const {
    check_work_area(parallel, scratch);
    Word* const x = static_cast<Word*>(data);
    const u64 elements = parameters_.elements(), n_tasks = this->n_tasks(parallel);
    const u64 point_bytes = parameters_.point_bits() / 8, bytes = L * sizeof(Word);
    const auto temporary = [&](u64 task) {
        return reinterpret_cast<Word*>(static_cast<u8*>(scratch) + task * task_bytes_);
    };
    u64* const residues = residues_of(data);
    parallel_for(parallel, n_tasks, [&](u64 task) {
        for (u64 j = elements * task / n_tasks; j < elements * (task + 1) / n_tasks; j++) {
            Word* const to = x + j * stride();
            const u64 from = std::min(j * point_bytes, bytes), here = std::min(point_bytes, bytes - from);
            std::memset(to, 0, stride() * sizeof(Word));
            if (here != 0) std::memcpy(to, reinterpret_cast<const u8*>(A) + from, here);
            residues[j] = residue_transform::of_words(to, n_);
        }
    });
    residue_transform::forward(residues, parameters_.k);
    parallel.stage("pass", x, elements * stride() * sizeof(Word));
    if (n_tasks < 2) {
        forward_node(x, parameters_.k, temporary(0));
        return;
    }
    for (u32 level = 0; level < kSharedLevels; level++) {
        if (level != 0) parallel.stage("pass", x, elements * stride() * sizeof(Word));
        shared_level(parallel, n_tasks, level, [&](u64 i, u64 partner, u64 j, u64 task) {
            forward_butterfly(x + i * stride(), x + partner * stride(), j, temporary(task));
        });
    }
    const u64 nodes = u64(1) << kSharedLevels, size = elements / nodes;
    parallel_for(parallel, n_tasks, [&](u64 task) {
        for (u64 node = nodes * task / n_tasks; node < nodes * (task + 1) / n_tasks; node++) {
            forward_node(x + node * size * stride(), parameters_.k - kSharedLevels, temporary(task));
        }
    });
}

// r = x y, element by element. 2^(64 n) is -1: where an element has that value, the other one is negated.
void HntTransform::pointwise(const ParallelContext& parallel, Word* r, const Word* x, const Word* y,
                             u8* scratch) const {
    const u64 elements = parameters_.elements(), n_tasks = this->n_tasks(parallel);
    const bool by_fft = parameters_.element_units() >= kHntFftUnits;
    TransformHolder holder;
    if (by_fft) holder.emplace<FftTransform>(fft_kernels(), element_fft(n_), tables_);
    // Checked here: the FFT would throw under its own name, on a worker's thread, where it cannot be caught.
    std::atomic<bool> rounded_right{true}, failed{false};
    parallel_for(parallel, n_tasks, [&](u64 task) {
        u8* const memory = scratch + task * task_bytes_;
        Word* const product = reinterpret_cast<Word*>(memory);
        const ParallelContext inner = parallel.with_tds(1);
        for (u64 i = elements * task / n_tasks; i < elements * (task + 1) / n_tasks; i++) {
            const Word *a = x + i * stride(), *b = y + i * stride();
            Word* const to = r + i * stride();
            if (a[n_] != 0 || b[n_] != 0) {
                if (a[n_] == 0) std::swap(a, b);  // a is -1
                std::memmove(to, b, stride() * sizeof(Word));
                fermat::negate(to, n_);
                continue;
            }
            if (!by_fft) {
                multiply_units(product, a, b, n_);
            } else if (!floating_point_control_is_right()) {
                rounded_right.store(false, std::memory_order_relaxed);
                return;
            } else {
                // The check of the whole product covers those of its elements. What the FFT finds itself is
                // thrown when all tasks have ended.
                u8* const rest = memory + round_up_64(2 * n_ * sizeof(Word));
                try {
                    if (a == b) {
                        holder->square_element(inner, product, 2 * n_, a, n_, rest);
                    } else {
                        holder->multiply_element(inner, product, 2 * n_, a, n_, b, n_, rest);
                    }
                } catch (const ConvolutionFailedException&) {
                    failed.store(true, std::memory_order_relaxed);
                    return;
                }
            }
            fermat::reduce(to, product, n_);
        }
    });
    check_rounding(parallel, "HNT", rounded_right.load(std::memory_order_relaxed), excess_bound(),
                   excess_bound());
    if (failed.load(std::memory_order_relaxed)) {
        throw ConvolutionFailedException("HNT", "Coefficient is not an integer.", 0, 0);
    }
}

// The coefficients against those of the points' residues. What changed between the product of the points and
// here changes a coefficient by a power of two or the difference of two, or makes it too large. The check of
// the words would not see it where the modulus has no factor in common with that of the branch.
void HntTransform::check_residues(const ParallelContext& parallel, const Word* elements,
                                  const u64* residues) const {
    const u64 n = parameters_.elements(), n_tasks = this->n_tasks(parallel);
    u64 right[kMaxTasks], found[kMaxTasks];
    parallel_for(parallel, n_tasks, [&](u64 task) {
        right[task] = found[task] = 0;
        for (u64 i = n * task / n_tasks; i < n * (task + 1) / n_tasks; i++) {
            const u64 now = residue_transform::of_words(elements + i * stride(), stride());
            if (now == residues[i]) continue;
            right[task] = residues[i];
            found[task] = now;
            return;
        }
    });
    for (u64 task = 0; task < n_tasks; task++) {
        if (right[task] == found[task]) continue;
        throw ConvolutionFailedException("HNT", "Coefficient does not fit its residue.", right[task],
                                         found[task]);
    }
}

void HntTransform::do_inverse(const ParallelContext& parallel, Word* T, u64 skip, u64 total, void* work,
                              const void* X, const void* Y, void* scratch, ProductRest* rest) const {
    check_work_area(parallel, scratch);
    Word* const r = static_cast<Word*>(work);
    const u64 elements = parameters_.elements(), n_tasks = this->n_tasks(parallel);
    const auto temporary = [&](u64 task) {
        return reinterpret_cast<Word*>(static_cast<u8*>(scratch) + task * task_bytes_);
    };
    pointwise(parallel, r, static_cast<const Word*>(X), static_cast<const Word*>(Y),
              static_cast<u8*>(scratch));
    u64* const residues = residues_of(work);
    residue_transform::multiply(residues, residues_of(X), residues_of(Y), parameters_.k);
    parallel.stage("pass", r, elements * stride() * sizeof(Word));
    residue_transform::inverse(residues, parameters_.k);
    if (n_tasks < 2) {
        inverse_node(r, parameters_.k, temporary(0));
    } else {
        const u64 nodes = u64(1) << kSharedLevels, size = elements / nodes;
        parallel_for(parallel, n_tasks, [&](u64 task) {
            for (u64 node = nodes * task / n_tasks; node < nodes * (task + 1) / n_tasks; node++) {
                inverse_node(r + node * size * stride(), parameters_.k - kSharedLevels, temporary(task));
            }
        });
        for (u32 level = kSharedLevels; level-- > 0;) {
            shared_level(parallel, n_tasks, level, [&](u64 i, u64 partner, u64 j, u64 task) {
                inverse_butterfly(r + i * stride(), r + partner * stride(), j, temporary(task));
            });
            if (level != 0) parallel.stage("pass", r, elements * stride() * sizeof(Word));
        }
    }
    parallel.stage("pass", r, elements * stride() * sizeof(Word));
    // 2^-k is -2^(64 n - k)
    parallel_for(parallel, n_tasks, [&](u64 task) {
        Word* const t = temporary(task);
        for (u64 i = elements * task / n_tasks; i < elements * (task + 1) / n_tasks; i++) {
            fermat::shift(t, r + i * stride(), 64 * n_ - parameters_.k, n_);
            fermat::negate(t, n_);
            std::memcpy(r + i * stride(), t, stride() * sizeof(Word));
        }
    });
    parallel.stage("coefficients", r, elements * stride() * sizeof(Word));
    check_residues(parallel, r, residues);
    join(parallel, T, skip, total, r, scratch, rest);
}

// One pass over all elements, lowest first, so that every carry is known. A coefficient plus the rest of
// those below it has n + 1 words; the lowest bytes, as many as a point has, are then final.
void HntTransform::join(const ParallelContext& parallel, Word* T, u64 skip, u64 total, const Word* elements,
                        void* scratch, ProductRest* rest) const {
    check_length("HNT", total);
    const u64 point_bytes = parameters_.point_bits() / 8;
    const JoinWindow window(T, skip, total, nullptr, 8 * skip);
    Word *const sum = static_cast<Word*>(scratch), *const carry = sum + stride();
    std::memset(carry, 0, stride() * sizeof(Word));
    u64 excess = 0;
    for (u64 j = 0; j < parameters_.elements() && j * point_bytes < 8 * total; j++) {
        const Word* const x = elements + j * stride();
        // a product of two points fills all words but the highest
        excess = std::max(excess, x[n_] != 0 ? ~u64(0) : x[n_ - 1]);
        sum[n_] = carry[n_] + x[n_] + add_n(sum, x, carry, n_);
        window.write(j * point_bytes, reinterpret_cast<const u8*>(sum), point_bytes);
        std::memcpy(carry, reinterpret_cast<const u8*>(sum) + point_bytes,
                    stride() * sizeof(Word) - point_bytes);
    }
    // With rest the window is the whole ring: what leaves its top comes back at its bottom.
    if (rest != nullptr) rest->ring.add(carry, stride(), 0);
    check_coefficients(parallel, "HNT", excess_bound(), excess);
}

bool HntTransform::compatible(const Transform& other) const {
    const auto* t = dynamic_cast<const HntTransform*>(&other);
    return t != nullptr && t->parameters_ == parameters_;
}

// A record of larger capacity may need less memory, so the largest need of all smaller products counts.
MultiplySizes HntAlgorithm::sizes(u64 words) const {
    const u64 capacity = parameters_for(words).capacity_bits();
    MultiplySizes s;
    s.output = round_up_64(8 * words);
    for (const std::span<const HntParameters> list : {hnt_list_a(), hnt_list_b()}) {
        for (const HntParameters& p : list) {
            if (p.capacity_bits() > capacity) break;
            if (find_hnt_parameters(p.capacity_bits()) != p) continue;
            const u64 data = bytes_of_data(p) + Transform::kLongLabelBytes;
            const u64 scratch = bytes_of_scratch(p) + round_up_64(p.capacity_bits() / 8);
            s.transform_data = std::max(s.transform_data, data);
            s.transform_scratch = std::max(s.transform_scratch, scratch);
            s.scratch = std::max(s.scratch, 2 * data + scratch);
        }
    }
    return s;
}

void HntAlgorithm::make_transform(TransformHolder& holder, u64 words, const MultiplyContext& context) const {
    const SharedTables* tables = context.tables == nullptr ? nullptr : context.tables->find(fft_algorithm());
    holder.emplace<HntTransform>(parameters_for(words), static_cast<const FftSharedTables*>(tables));
}

const MultiplyAlgorithm& hnt_algorithm() {
    static const HntAlgorithm algorithm;
    return algorithm;
}

}  // namespace trel
