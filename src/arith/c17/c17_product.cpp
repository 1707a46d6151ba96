#include "arith/c17/c17_product.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <tuple>
#include <type_traits>

#include "arith/c17/c17_plan.h"
#include "arith/multiply/work_area.h"
#include "arith/ntt/ntt_check.h"
#include "platform/parallel/task_phases.h"

namespace trel {
namespace {

constexpr u64 kPad = 8;                      // doubles behind each row of a buffer
constexpr u64 kEntryColumns = 128;           // whose limbs stay in the first cache
constexpr u64 kOneTurnBytes = u64(1) << 20;  // up to here the second operand takes one turn
constexpr u64 kSharedRowPoints = u64(1) << 13;
constexpr u64 kPassItems = 32;               // of a row's first and last pass, when tasks share it
constexpr u64 kParallelBits = u64(1) << 19;  // from products of 2^13 words on

}  // namespace

C17Sizes c17_sizes(const C17Plan& plan) {
    C17Sizes s{};
    s.data_bytes = 8 * plan.a * plan.prime_stride;
    // A task's buffer. First sweep: the limbs of a block, then one prime's residues. Last sweep: the residues
    // of all primes. Behind them the carries of the rows.
    const u64 block = plan.rows() * (plan.columns() + kPad) * 8;
    s.task_bytes = (plan.a + 1) * block + plan.rows() * sizeof(C17Carry);
    s.max_tasks = 1;
    if (24 * (plan.a - 1) * plan.points() >= kParallelBits) {
        // memory for the tasks of many processors only where the data outweigh it
        s.max_tasks =
            static_cast<u32>(std::clamp<u64>(s.data_bytes / (8 * s.task_bytes), 4, C17Sizes::kMaxTasks));
    }
    s.max_last_items = static_cast<u32>(
        std::min<u64>(plan.row_points() >> plan.log_columns, s.max_tasks == 1 ? 1 : 4 * s.max_tasks));
    s.carry_words = static_cast<u32>((c17_group_words(plan.a) + 7) / 8 * 8);
    s.scratch_bytes =
        s.max_tasks * s.task_bytes + s.max_last_items * plan.rows() * s.carry_words * sizeof(Word);
    s.plain_primes = s.data_bytes <= kOneTurnBytes ? plan.a : (plan.a + 2) / 3;
    s.second_bytes = 8 * plan.prime_stride * s.plain_primes;
    return s;
}

C17Setup make_c17_setup(Isa isa, const NttRecord& record, const C17Plan& plan) {
    C17Setup s{};
    s.passes = &TREL_TABLE(isa, c17_pass_kernels);
    s.ends = &c17_end_kernels(isa);
    s.entry = &TREL_TABLE(isa, c17_entry_kernels);
    s.tables = &c17_set_tables(record.a, record.b);
    make_c17_end_constants(&s.constants, *s.tables->set, record.c - kC17LeafLevels);
    s.record = record;
    s.plan = plan;
    s.capacity_bits = ntt_capacity_bits(NttFamily::c17, record);
    s.sizes = c17_sizes(plan);
    check_carry_buffer(s.sizes.carry_words, c17_group_words(record.a));
    return s;
}

const C17Setup& c17_setup(Isa isa, const NttRecord& record) {
    using Key = std::tuple<Isa, u8, u8, u8, u8, u8, u8>;
    static std::mutex mutex;
    static std::map<Key, std::unique_ptr<C17Setup>> all;
    const std::lock_guard lock(mutex);
    auto& place = all[Key{isa, record.a, record.b, record.c, record.d, record.e, record.f}];
    if (!place) {
        const u32 max_log_radix = TREL_TABLE(isa, c17_pass_kernels).max_log_radix;
        place = std::make_unique<C17Setup>(make_c17_setup(isa, record, make_c17_plan(record, max_log_radix)));
    }
    return *place;
}

C17Product::C17Product(const C17Setup& setup, const ParallelContext& parallel, void* scratch)
    : setup_(setup),
      plan_(setup.plan),
      parallel_(parallel),
      tasks_(std::min<u64>(parallel.tds, setup.sizes.max_tasks)),
      scratch_(static_cast<u8*>(scratch)) {
    check_work_area(parallel, scratch);
}

double* C17Product::buffer(u64 task) const {
    return reinterpret_cast<double*>(scratch_ + task * setup_.sizes.task_bytes);
}
Word* C17Product::carries_of(u64 item, u32 row) const {
    return reinterpret_cast<Word*>(scratch_ + setup_.sizes.max_tasks * setup_.sizes.task_bytes) +
           (item * plan_.rows() + row) * setup_.sizes.carry_words;
}
u64 C17Product::last_items() const {
    return tasks_ < 2 ? 1 : std::min<u64>(setup_.sizes.max_last_items, 16 * tasks_);
}

u64 C17Product::excess() const {
    return *std::max_element(excess_, excess_ + tasks_);
}
void C17Product::count_excess(u64 task, const C17Carry& carry) {
    excess_[task] = std::max(excess_[task], c17_excess(carry));
}
void C17Product::look_at_rounding() {
    if (!floating_point_control_is_right()) rounded_right_.store(false, std::memory_order_relaxed);
}

template <class Items, class F>
void C17Product::run(const double* data, u32 n_phases, Items&& items, F&& f) {
    const auto items_of_phase = [&](u32 phase) noexcept { return items(phase); };
    const auto do_item = [&](u64 task, u32 phase, u64 i) noexcept {
        f(task, phase, i);
        look_at_rounding();
    };
    if (parallel_.run == nullptr || parallel_.run->stages == nullptr) {
        return run_phases(parallel_, tasks_, n_phases, items_of_phase, do_item);
    }
    // One phase at a time: otherwise tasks begin a phase while others still ask for items of the one before,
    // and the observer of the stages never has the data to itself.
    for (u32 phase = 0; phase < n_phases; phase++) {
        if (phase != 0) parallel_.stage("pass", data, setup_.sizes.data_bytes);
        run_phases(
            parallel_, tasks_, 1, [&](u32) noexcept { return items_of_phase(phase); },
            [&](u64 task, u32, u64 i) noexcept { do_item(task, phase, i); });
    }
}

// ---- the three sweeps

void C17Product::first_sweep(u64 task, u64 block, const Operand& A, u32 begin, u32 end, double* data) {
    const u32 rows = plan_.rows(), b = plan_.b;
    const u64 n = plan_.columns(), stride = n + kPad, m = plan_.row_points(), column = block * n;
    double* const limbs = buffer(task);
    const u64 row_limbs = c17_point_limbs(plan_.a) * n;
    double* const q = limbs + rows * row_limbs;

    // rows from `used` on are beyond the operand
    const u64 points = (64 * A.length + 24 * (plan_.a - 1) - 1) / (24 * (plan_.a - 1));
    const u32 used =
        points <= column ? 0 : static_cast<u32>(std::min<u64>(rows, (points - column + m - 1) / m));
    if (b != 7) {
        const u64 few = std::min(n, kEntryColumns);
        for (u64 k = 0; k < n; k += few) enter_columns(limbs, A, points, column + k, few, begin, end, data);
        return;
    }
    for (u32 r = 0; r < used; r++) {
        setup_.ends->cut(plan_.a, A.words, A.length, r * m + column, n, limbs + r * row_limbs);
    }
    for (u32 r = used; r < rows; r++) std::memset(q + r * stride, 0, 8 * n);
    for (u32 i = begin; i < end; i++) {
        const C17Prime& prime = setup_.tables->primes[i];
        double* const out = data + (i - begin) * plan_.prime_stride + plan_.offset(column);
        for (u32 r = 0; r < used; r++) {
            setup_.ends->reduce(&setup_.constants, i, 1, limbs + r * row_limbs, n, q + r * stride, 0);
        }
        const double* const ahead = i + 1 < end ? out + plan_.prime_stride : nullptr;
        setup_.passes->split(b, prime, q, stride, out, plan_.row_stride, n, ahead);
    }
}

// Few columns at a time: their limbs stay in the first cache while they go through all primes.
void C17Product::enter_columns(double* limbs, const Operand& A, u64 points, u64 column, u64 columns,
                               u32 begin, u32 end, double* data) {
    const u32 rows = plan_.rows();
    const u64 m = plan_.row_points(), row_limbs = c17_point_limbs(plan_.a) * columns;
    double* const out = data + plan_.offset(column);
    if (points <= column) {
        for (u32 i = 0; i < end - begin; i++) {
            for (u32 r = 0; r < rows; r++) {
                std::memset(out + i * plan_.prime_stride + r * plan_.row_stride, 0, 8 * columns);
            }
        }
        return;
    }
    const u32 used = static_cast<u32>(std::min<u64>(rows, (points - column + m - 1) / m));
    for (u32 r = 0; r < used; r++) {
        setup_.ends->cut(plan_.a, A.words, A.length, r * m + column, columns, limbs + r * row_limbs);
    }
    setup_.entry->enter(&setup_.constants, setup_.tables->primes, plan_.b, begin, end - begin, limbs,
                        row_limbs, used, columns, out, plan_.row_stride, plan_.prime_stride);
}

// Rows are split when the tasks cannot share them out evenly. Short rows are not: they would only travel
// between the processors' caches.
C17Product::Middle C17Product::middle_of(C17Middle what, u32 primes) const {
    const u64 rows = u64(primes) * plan_.rows(), idle = (tasks_ - rows % tasks_) % tasks_;
    if (!plan_.has_subtrees() || plan_.row_points() < kSharedRowPoints || 16 * idle <= rows) {
        return {what, 1, 0};
    }
    return {what, 3, std::min(kPassItems, plan_.max_pass_items())};
}
u64 C17Product::items_of(const Middle& middle, u32 phase, u32 primes) const {
    const u64 rows = u64(primes) * plan_.rows();
    if (middle.phases == 1) return rows;
    return rows * (phase == 1 ? plan_.subtrees() : middle.pass_items);
}

void C17Product::do_middle(const Middle& middle, u32 phase, u64 item, u32 begin, double* out, const double* x,
                           const double* y) {
    constexpr C17Part kParts[3] = {C17Part::first_pass, C17Part::subtree, C17Part::last_pass};
    const C17Part part = middle.phases == 1 ? C17Part::whole : kParts[phase];
    const u64 items = items_of(middle, phase, 1) / plan_.rows();  // of a row
    const u32 prime = static_cast<u32>(item / items / plan_.rows());
    const u32 row = static_cast<u32>(item / items % plan_.rows());
    const u64 at = prime * plan_.prime_stride + row * plan_.row_stride;
    setup_.passes->middle(middle.what, part, item % items, items, plan_, setup_.tables->primes[begin + prime],
                          row, out + begin * plan_.prime_stride + at, x + at, y + at);
}

C17Product::Block C17Product::join_block(u64 task, u64 block, const double* data) {
    const u32 rows = plan_.rows(), b = plan_.b;
    const u64 n = plan_.columns(), at = plan_.offset(block * n);
    if (b == 1) return {data + at, plan_.prime_stride, plan_.row_stride};
    const u64 stride = n + kPad;
    double* const out = buffer(task);
    for (u32 i = 0; i < plan_.a; i++) {
        const C17Prime& prime = setup_.tables->primes[i];
        const double* in = data + i * plan_.prime_stride + at;
        double* const q = out + i * rows * stride;
        const double* const ahead = i + 1 < plan_.a ? in + plan_.prime_stride : data + at + n;
        setup_.passes->join(b, prime, in, plan_.row_stride, q, stride, n, ahead);
    }
    return {out, rows * stride, stride};
}

C17Product::Range C17Product::wanted(const C17Window& window, u32 row, u64 block0, u64 block1) const {
    const u64 start = row * (plan_.row_points() / 8), n = plan_.columns() / 8;
    const u64 begin = std::max(start + block0 * n, window.first());
    return {begin, std::max(begin, std::min(start + block1 * n, window.end()))};
}

// When a product wraps around, what is left above the last point is added to the lowest groups. The last two
// groups determine it.
u64 C17Product::wrap_begin(const C17Window& window, bool wraps) const {
    const u64 last = setup_.groups();
    return wraps && window.first() == 0 && window.end() != 0 ? std::max(window.end(), last - 2) : last;
}

void C17Product::recombine(const Block& block, u32 row, u64 first_group, Range range, C17Window& window,
                           C17Carry& carry, RingResidue& lost) {
    for (u64 g = range.begin; g < range.end;) {
        const double* const residues = block.residues + row * block.row_stride + 8 * (g - first_group);
        Word* out;
        const u64 n = window.inside(g, range.end - g, &out);
        if (n != 0) {
            setup_.ends->recombine(&setup_.constants, residues, block.stride, 8 * n, &carry, out);
            g += n;
            continue;
        }
        Word words[C17Window::kMaxGroupWords];
        setup_.ends->recombine(&setup_.constants, residues, block.stride, 8, &carry, words);
        window.put(g, words, lost);
        g++;
    }
}

void C17Product::leave_out(const Block& block, u32 row, u64 first_group, u64 begin, u64 end,
                           C17Outside& sums) {
    while (begin < end) {
        const u64 n = std::min(end - begin, C17Outside::kMaxGroups - sums.groups);
        setup_.ends->leave_out(&setup_.constants,
                               block.residues + row * block.row_stride + 8 * (begin - first_group),
                               block.stride, 8 * n, &sums);
        sums.groups += n;
        begin += n;
        if (sums.groups < C17Outside::kMaxGroups) continue;
        rest_->add(sums);
        std::memset(static_cast<void*>(&sums), 0, sizeof sums);
    }
}

void C17Product::last_sweep(u64 task, u64 item, C17Window& window, const double* data, bool wraps) {
    const u32 rows = plan_.rows();
    const u64 n_items = last_items(), blocks = setup_.blocks();
    const u64 block0 = blocks * item / n_items, block1 = blocks * (item + 1) / n_items;
    const u64 row_groups = plan_.row_points() / 8, n = plan_.columns() / 8;
    const u64 wrap = wrap_begin(window, wraps);
    C17Carry* const carries =
        reinterpret_cast<C17Carry*>(scratch_ + (task + 1) * setup_.sizes.task_bytes) - rows;
    std::memset(static_cast<void*>(carries), 0, rows * sizeof(C17Carry));
    C17Carry above{};
    C17Outside outside;
    RingResidue lost;
    if (rest_ != nullptr) std::memset(static_cast<void*>(&outside), 0, sizeof outside);
    for (u64 block = block0; block < block1; block++) {
        bool needed = rest_ != nullptr || (block + 1 == blocks && wrap != setup_.groups());
        for (u32 r = 0; r < rows && !needed; r++) {
            const Range range = wanted(window, r, block, block + 1);
            needed = range.begin < range.end;
        }
        if (!needed) continue;
        const Block joined = join_block(task, block, data);
        for (u32 r = 0; r < rows; r++) {
            const u64 first = r * row_groups + block * n;
            const Range inside = wanted(window, r, block, block + 1);
            const bool wrapping = r + 1 == rows && block + 1 == blocks && wrap != setup_.groups();
            if (inside.begin < inside.end) recombine(joined, r, first, inside, window, carries[r], lost);
            if (rest_ != nullptr) {
                // a range that is empty may lie anywhere
                const bool none = inside.begin >= inside.end;
                const u64 end = wrapping ? std::max(wrap, first) : first + n;
                leave_out(joined, r, first, first, none ? end : inside.begin, outside);
                if (!none) leave_out(joined, r, first, inside.end, end, outside);
            }
            if (wrapping) {
                // the words of these groups lie above the window, but what they carry comes back into it
                C17Carry& carry = wrap == window.end() ? carries[r] : above;
                recombine(joined, r, first, {std::max(wrap, first), setup_.groups()}, window, carry, lost);
            }
        }
    }
    for (u32 r = 0; r < rows; r++) {
        const bool top = r + 1 == rows && block1 == blocks && wrap != setup_.groups() && wrap != window.end();
        setup_.ends->flush(&setup_.constants, top ? &above : &carries[r], carries_of(item, r));
        if (top && rest_ != nullptr) {
            // the carry out of the window's end, for which nobody else asks
            Word words[C17Window::kMaxGroupWords];
            setup_.ends->flush(&setup_.constants, &carries[r], words);
            lost.add(words, c17_group_words(plan_.a), 0);
        }
        count_excess(task, carries[r]);
    }
    count_excess(task, above);
    if (rest_ != nullptr) {
        rest_->add(outside);
        rest_->add(lost);
    }
}

void C17Product::finish(C17Window& window, const double* data, bool wraps) {
    const u64 n_items = last_items(), blocks = setup_.blocks();
    RingResidue lost;
    for (u64 item = 0; item < n_items; item++) {
        for (u32 r = 0; r < plan_.rows(); r++) {
            const bool last = item + 1 == n_items && r + 1 == plan_.rows();
            const Range range = wanted(window, r, blocks * item / n_items, blocks * (item + 1) / n_items);
            if (last && wraps && window.first() == 0) {
                window.add(0, carries_of(item, r), lost);
            } else if (range.begin < range.end) {
                window.add(range.end, carries_of(item, r), lost);
            }
        }
    }
    if (!window.decided()) {
        settle_below(window, data);
        look_at_rounding();
    }
    if (rest_ == nullptr) return;
    window.add_below(lost);
    rest_->add(lost);
}

// The group below first() determines what is missing at first(), except for one unit that it may have to pass
// on from below. It passes one on only if its words are all ones; then the next lower group is needed too.
void C17Product::settle_below(C17Window& window, const double* data) {
    const u64 n = plan_.columns() / 8, row_groups = plan_.row_points() / 8;
    u64 block = setup_.blocks();  // none
    Block joined{};
    const auto group_of = [&](u64 g, Word* words, Word* above) {
        const u64 in_row = g % row_groups;
        if (in_row / n != block) {
            block = in_row / n;
            joined = join_block(0, block, data);
        }
        C17Carry carry{};
        const double* const residues =
            joined.residues + g / row_groups * joined.row_stride + 8 * (in_row % n);
        setup_.ends->recombine(&setup_.constants, residues, joined.stride, 8, &carry, words);
        setup_.ends->flush(&setup_.constants, &carry, above);
        count_excess(0, carry);
    };
    const u64 group_words = c17_group_words(plan_.a);
    Word words[C17Window::kMaxGroupWords], above[C17Window::kMaxGroupWords];
    u64 g = window.first() - 1;
    group_of(g, words, above);
    // What is added belongs to coefficients that count as left out.
    const auto add = [&](const Word* addend) {
        RingResidue lost, added;
        window.add(window.first(), addend, lost);
        if (rest_ == nullptr) return;
        added.add(addend, group_words, 0);
        rest_->add(lost);
        rest_->subtract(added);
    };
    add(above);
    if (!window.carry_runs_through()) return;
    for (; g > 0; g--) {
        Word lower[C17Window::kMaxGroupWords];
        group_of(g - 1, lower, above);
        Word carry = 0;
        bool ones = true;
        for (u64 i = 0; i < group_words; i++) {
            const Word partial = words[i] + carry, sum = partial + above[i];
            carry = (partial < carry) + (sum < above[i]);
            ones = ones && sum == ~Word(0);
        }
        if (carry != 0) {
            Word one[C17Window::kMaxGroupWords] = {1};
            return add(one);
        }
        if (!ones) return;
        std::copy_n(lower, group_words, words);
    }
}

// ---- whole operations

// Phases: the sweep from words, the middle, the sweep to words; the first or the last may be missing.
template <class First, class Last>
void C17Product::run_sweeps(C17Middle what, double* out, const double* x, const double* y, First&& first,
                            Last&& last) {
    constexpr u32 n_first = std::is_null_pointer_v<std::decay_t<First>> ? 0 : 1;
    constexpr u32 n_last = std::is_null_pointer_v<std::decay_t<Last>> ? 0 : 1;
    const Middle middle = middle_of(what, plan_.a);
    run(
        out, n_first + middle.phases + n_last,
        [&](u32 phase) noexcept {
            if (phase < n_first) return setup_.blocks();
            return phase - n_first < middle.phases ? items_of(middle, phase - n_first, plan_.a)
                                                   : last_items();
        },
        [&](u64 task, u32 phase, u64 i) {
            if constexpr (n_first == 1) {
                if (phase == 0) return first(task, i);
            }
            if constexpr (n_last == 1) {
                if (phase - n_first == middle.phases) return last(task, i);
            }
            do_middle(middle, phase - n_first, i, 0, out, x, y);
        });
}

void C17Product::forward(double* data, const Word* A, u64 L) {
    run_sweeps(
        C17Middle::forward, data, data, data,
        [&](u64 task, u64 i) {
            first_sweep(task, i, {A, L}, 0, plan_.a, data);
        },
        nullptr);
}

void C17Product::inverse(C17Window& window, double* work, const double* X, const double* Y, bool wraps) {
    const C17Middle what = X == Y ? C17Middle::inverse_square : C17Middle::inverse;
    // the kernel allows out to be X, not Y
    if (work == Y) std::swap(X, Y);
    run_sweeps(what, work, X, Y, nullptr, [&](u64 task, u64 i) { last_sweep(task, i, window, work, wraps); });
    finish(window, work, wraps);
}

void C17Product::square_plain(C17Window& window, double* data, const Word* A, u64 L) {
    run_sweeps(
        C17Middle::square, data, data, data,
        [&](u64 task, u64 i) {
            first_sweep(task, i, {A, L}, 0, plan_.a, data);
        },
        [&](u64 task, u64 i) { last_sweep(task, i, window, data, false); });
    finish(window, data, false);
}

void C17Product::multiply_held(C17Window& window, double* work, const Word* A, u64 L, const double* Y) {
    run_sweeps(
        C17Middle::held_product, work, work, Y,
        [&](u64 task, u64 i) {
            first_sweep(task, i, {A, L}, 0, plan_.a, work);
        },
        [&](u64 task, u64 i) { last_sweep(task, i, window, work, true); });
    finish(window, work, true);
}

// The second operand is transformed for a few primes at a time, one turn after the other in the same buffer.
// Its words are cut again in every turn, which costs little for the memory it saves. Short transforms have no
// memory to save and take one turn.
void C17Product::multiply_plain(C17Window& window, double* data, double* second, const Word* A, u64 LA,
                                const Word* B, u64 LB) {
    const u32 per_turn = setup_.sizes.plain_primes, turns = (plan_.a + per_turn - 1) / per_turn;
    const u64 blocks = setup_.blocks();
    const auto primes_end = [&](u32 turn) { return std::min(plan_.a, (turn + 1) * per_turn); };
    Middle middle = middle_of(C17Middle::product, per_turn);
    if (middle.phases == 1) middle = middle_of(C17Middle::product, plan_.a - (turns - 1) * per_turn);
    const u32 turn_phases = 1 + middle.phases;
    run(
        data, turns * turn_phases + 1,
        [&](u32 phase) noexcept {
            const u32 turn = phase / turn_phases, k = phase % turn_phases;
            if (turn == turns) return last_items();
            if (k == 0) return turn == 0 ? 2 * blocks : blocks;
            return items_of(middle, k - 1, primes_end(turn) - turn * per_turn);
        },
        [&](u64 task, u32 phase, u64 i) {
            const u32 turn = phase / turn_phases, k = phase % turn_phases, begin = turn * per_turn;
            if (turn == turns) return last_sweep(task, i, window, data, false);
            if (k != 0) {
                return do_middle(middle, k - 1, i, begin, data, data + begin * plan_.prime_stride, second);
            }
            if (turn == 0 && i % 2 == 0) return first_sweep(task, i / 2, {A, LA}, 0, plan_.a, data);
            first_sweep(task, turn == 0 ? i / 2 : i, {B, LB}, begin, primes_end(turn), second);
        });
    finish(window, data, false);
}

}  // namespace trel
