// The sweeps of a Code 17 product: from words to rows, over the rows, and from rows back to words. README.md
// has a drawing of the data and a list of the words used here.
//
// Each sweep is one trip through all residues. The first takes block after block from the operand's words
// through cutting, reduction and the radix-b pass. The middle takes each row of each prime down the rest of
// the tree, through the pointwise product and up again; that is three trips where tasks share rows. The last
// takes block after block back through the radix-b pass and joins the residues to words.
#pragma once

#include <atomic>

#include "arith/c17/c17_ends.h"
#include "arith/c17/c17_entry.h"
#include "arith/c17/c17_passes.h"
#include "arith/c17/c17_rest.h"
#include "arith/c17/c17_tables.h"
#include "arith/c17/c17_window.h"
#include "arith/ntt/ntt_records.h"
#include "base/simd/isa.h"
#include "platform/parallel/basic_parallelizer.h"

namespace trel {

// Bytes and tasks of one record; multiples of 64.
struct C17Sizes {
    static constexpr u32 kMaxTasks = 64;

    u64 data_bytes;      // of one transform
    u64 scratch_bytes;   // tasks' buffers, then the carries of the last sweep
    u64 task_bytes;      // of one task's buffer
    u64 second_bytes;    // of the second operand in a plain product
    u32 max_tasks;       // that there are buffers for
    u32 max_last_items;  // items of the last sweep
    u32 carry_words;     // what an item of the last sweep leaves behind at the end of a row
    u32 plain_primes;    // primes of the second operand that are transformed together in a plain product

    u64 plain_bytes() const { return data_bytes + second_bytes + scratch_bytes; }
};
C17Sizes c17_sizes(const C17Plan& plan);

// Everything about one record that does not depend on the operands; read-only.
struct C17Setup {
    const C17PassKernels* passes;
    const C17EndKernels* ends;
    const C17EntryKernels* entry;
    const C17SetTables* tables;
    C17EndConstants constants;
    NttRecord record;
    C17Plan plan;
    u64 capacity_bits;
    C17Sizes sizes;

    u64 groups() const { return plan.points() / 8; }
    u64 blocks() const { return plan.row_points() >> plan.log_columns; }
};

C17Setup make_c17_setup(Isa isa, const NttRecord& record, const C17Plan& plan);
// The setup of a record with its own plan, made on first use and kept; any thread.
const C17Setup& c17_setup(Isa isa, const NttRecord& record);

// One forward transform, inverse or product on up to max_tasks tasks. An object for one call.
class C17Product {
  public:
    // scratch: scratch_bytes of the sizes
    C17Product(const C17Setup& setup, const ParallelContext& parallel, void* scratch);
    const ParallelContext& parallel() const { return parallel_; }
    // Adds to it what the windows of this object leave out; nullptr: to nothing.
    void account_to(C17Rest* rest) { rest_ = rest; }

    void forward(double* data, const Word* A, u64 L);
    // work = row products of X and Y (X == Y: the square), then the window's words. X and Y stay unless they
    // are work. wraps: the product may be longer than the convolution.
    void inverse(C17Window& window, double* work, const double* X, const double* Y, bool wraps);
    // second: second_bytes of the sizes
    void multiply_plain(C17Window& window, double* data, double* second, const Word* A, u64 LA, const Word* B,
                        u64 LB);
    void square_plain(C17Window& window, double* data, const Word* A, u64 L);
    void multiply_held(C17Window& window, double* work, const Word* A, u64 L, const double* Y);

    // Afterwards: the largest excess of all coefficients that were joined, and whether all threads that took
    // part round to nearest.
    u64 excess() const;
    bool rounded_right() const { return rounded_right_.load(std::memory_order_relaxed); }

  private:
    struct Operand {
        const Word* words;
        u64 length;
    };

    // Block `block` of columns of the operand through the radix-b pass, for primes [begin, end); data holds
    // prime `begin` first.
    void first_sweep(u64 task, u64 block, const Operand& A, u32 begin, u32 end, double* data);
    // The same for b = 1, 3 or 5, `columns` columns from `column` on; the operand has
    // `points` points.
    void enter_columns(double* limbs, const Operand& A, u64 points, u64 column, u64 columns, u32 begin,
                       u32 end, double* data);
    // What is done to the rows of some primes, in one phase or, where tasks share rows, three: the parts of
    // C17Part.
    struct Middle {
        C17Middle what;
        u32 phases;
        u64 pass_items;  // of the first and last pass of a row
    };
    Middle middle_of(C17Middle what, u32 primes) const;
    u64 items_of(const Middle& middle, u32 phase, u32 primes) const;
    // An item of the rows of primes begin, begin + 1, ...; x and y hold prime `begin` first, out prime 0.
    void do_middle(const Middle& middle, u32 phase, u64 item, u32 begin, double* out, const double* x,
                   const double* y);
    // first(task, block), the middle of all primes, last(task, item); first or last may be nullptr.
    template <class First, class Last>
    void run_sweeps(C17Middle what, double* out, const double* x, const double* y, First&& first,
                    Last&& last);
    // Item `item` of the last sweep: a run of blocks.
    void last_sweep(u64 task, u64 item, C17Window& window, const double* data, bool wraps);
    // run_phases() with a look at each item's thread. data: what the phases work on.
    template <class Items, class F>
    void run(const double* data, u32 n_phases, Items&& items, F&& f);
    void look_at_rounding();
    void count_excess(u64 task, const C17Carry& carry);
    // Adds what the items have left at their ends and settles the carry from below.
    void finish(C17Window& window, const double* data, bool wraps);
    void settle_below(C17Window& window, const double* data);
    // Residues of a block of columns of all rows and primes after the inverse radix-b pass: residue of prime
    // i, row r, column k at residues[i * stride + r * row_stride + k].
    struct Block {
        const double* residues;
        u64 stride, row_stride;
    };
    // Groups [begin, end) of a row are not joined.
    void leave_out(const Block& block, u32 row, u64 first_group, u64 begin, u64 end, C17Outside& sums);

    Block join_block(u64 task, u64 block, const double* data);
    // The groups of a row between columns [j0, j1) that the window wants.
    struct Range {
        u64 begin, end;
    };
    Range wanted(const C17Window& window, u32 row, u64 block0, u64 block1) const;
    void recombine(const Block& block, u32 row, u64 first_group, Range range, C17Window& window,
                   C17Carry& carry, RingResidue& lost);

    u64 wrap_begin(const C17Window& window, bool wraps) const;
    double* buffer(u64 task) const;
    Word* carries_of(u64 item, u32 row) const;
    u64 last_items() const;

    const C17Setup& setup_;
    const C17Plan& plan_;
    ParallelContext parallel_;
    u64 tasks_;
    u8* scratch_;
    C17Rest* rest_ = nullptr;
    u64 excess_[C17Sizes::kMaxTasks] = {};
    std::atomic<bool> rounded_right_{true};
};

}  // namespace trel
