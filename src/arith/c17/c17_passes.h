// The passes of the Code 17 transform: vector kernels, one table of functions per instruction set.
//
// A transform of N = b 2^c points modulo p splits the ring of polynomials modulo x^N - 1 by a tree. The root
// has b children x^m - zeta^s, m = 2^c, zeta of order b; every other node x^m - u has the children x^(m/2) -
// v and x^(m/2) + v with v^2 = u. A node of degree m holds m residues; the tree ends at degree 4, where
// polynomials are multiplied modulo x^4 - u. Its leaves stay in the order in which the tree makes them:
// nothing is ever put back into natural order, because the inverse transform undoes the same tree.
//
// The v of the node with index k at any depth of root s is a power of zeta times T[k], where T[0] = 1, T[k +
// 2^l] = T[k] rho_l, rho_l of order 2^(l+2). Hence T[k 2^u + i] = T[k 2^u] T[i] for i < 2^u: the v of a whole
// subtree are those of its leftmost branch (a "base" a level) times the first few entries of T. No table
// depends on the length of the transform.
//
// Residues are balanced doubles, reduced only where their bound asks for it: see c17_bounds.md.
#pragma once

#include "os/types.h"

namespace trel {

// Levels that are not transformed: the inverse transform yields N / 2^kC17LeafLevels times the product.
constexpr u32 kC17LeafLevels = 2;

// What the passes know of a prime; made once for the process.
struct alignas(64) C17PrimeTables {
    static constexpr u32 kDepths = 40;  // levels of the longest transform

    struct alignas(64) Direction {
        double low[64];             // T[i]
        double heap[8];             // 1, 1, T[0], T[1], T[0], T[1], T[2], T[3]
        double stride8[16];         // T[8 i]
        double child[16][kDepths];  // T[i 2^u]; 1 where no such root exists
    };
    double p;
    double inverse_p;
    Direction forward;
    Direction inverse;  // the same of the inverses 1 / T
};

// A prime in a set with odd factor b.
struct C17Prime {
    const C17PrimeTables* tables;
    double zeta[8];   // powers of zeta, balanced
    double split[8];  // constants of the radix-b pass
};

// One to four levels of the tree, taken together in one trip over a node's points.
struct C17Pass {
    u8 log_radix;
    bool reduce;  // residues that are not multiplied in the first level are reduced on entry
};

// How the data of one length are laid out and visited.
//
// There are rows() = b rows of row_points() = 2^c points. The top level (radix b) runs over columns of all
// rows, the rest of the tree, the "middle", row by row. A row lies in memory as units of 2^log_unit points,
// each followed by 8 unused doubles: without them, what a pass reads together would lie a power of two apart.
struct C17Plan {
    static constexpr u32 kMaxPasses = 20;

    u32 a, b, c;
    u32 log_unit;
    u32 log_columns;  // of a block
    u32 n_passes;     // of the middle, down to 64 points; at least one
    C17Pass passes[kMaxPasses];
    u64 row_stride;    // doubles from one row to the next
    u64 prime_stride;  // doubles from the rows of one prime to those of the next
    u64 ahead;         // doubles from the tail being worked on to the one to prefetch meanwhile, or 0

    u64 row_points() const { return u64(1) << c; }
    u32 rows() const { return b; }
    u64 points() const { return u64(b) << c; }
    u64 columns() const { return u64(1) << log_columns; }
    // Rows of one pass have no subtrees that could be taken one by one.
    bool has_subtrees() const { return n_passes > 1; }
    u64 subtrees() const { return u64(1) << passes[0].log_radix; }
    u64 max_pass_items() const { return row_points() / subtrees() / 64; }
    // Doubles between points 0 and j of a row.
    u64 offset(u64 j) const { return j + (j >> log_unit) * 8; }
};

// What is done to a row between the sweeps. x and y are rows after the radix-b pass, X and Y
// rows of whole transforms.
enum class C17Middle : u32 {
    forward,         // x becomes X
    product,         // out = x becomes the row of the product, y is lost
    square,          // out = x becomes the row of the square
    held_product,    // out = x becomes the row of the product with Y
    inverse,         // out = row of the product of X and Y; may be X or Y
    inverse_square,  // out = row of the square of X; may be X
};

// The part of a row's middle that an item does. Tasks that share a row take its first pass forward and its
// last pass back on equal ranges of columns in any order (`items` of them, a power of two up to
// max_pass_items()), and between the two its subtrees (subtrees() items), each all the way down and up. A
// part that a C17Middle does not have does nothing.
enum class C17Part : u32 { whole, first_pass, subtree, last_pass };

struct C17PassKernels {
    u32 max_log_radix;

    // Radix b, forward and back, on columns [0, columns) of b rows. In place when in == out. ahead: where the
    // next call will write (split) or read (join), or null.
    void (*split)(u32 b, const C17Prime& prime, const double* in, u64 in_stride, double* out, u64 out_stride,
                  u64 columns, const double* ahead);
    void (*join)(u32 b, const C17Prime& prime, const double* in, u64 in_stride, double* out, u64 out_stride,
                 u64 columns, const double* ahead);
    // Part `item` of `items` of row `row`; for C17Part::whole both are unused.
    void (*middle)(C17Middle what, C17Part part, u64 item, u64 items, const C17Plan& plan,
                   const C17Prime& prime, u32 row, double* out, const double* x, const double* y);
};

namespace avx2 {
extern const C17PassKernels c17_pass_kernels;
}
namespace avx512 {
extern const C17PassKernels c17_pass_kernels;
}

}  // namespace trel
