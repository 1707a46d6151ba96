// Where the words of a Code 17 product go: only a window of them is wanted, and they come in groups (of eight
// points) that do not begin where the window does.
#pragma once

#include "arith/c17/c17_ends.h"
#include "arith/residue/ring_residue.h"
#include "os/types.h"

namespace trel {

class C17Window {
  public:
    static constexpr u64 kMaxGroupWords = 30;

    // T[0..total - skip) is to become words skip .. total - 1 of the product.
    C17Window(u32 a, Word* T, u64 skip, u64 total);

    // The groups to recombine: those that reach the window, and below them one more, which settles the carry.
    u64 first() const { return first_; }
    u64 end() const { return end_; }

    // How many groups from `group` on, at most n, lie wholly inside the window, and where they go.
    u64 inside(u64 group, u64 n, Word** out) const;
    // Puts the words of one group where they belong; words above the window are added to `lost`.
    void put(u64 group, const Word* words, RingResidue& lost);
    // Adds the words of a group, with the carry; what lies above the window to `lost`.
    void add(u64 group, const Word* words, RingResidue& lost);
    // Adds the words below the window that were joined with it.
    void add_below(RingResidue& to) const { to.add(below_, skip_ - first_ * group_words_, 0); }
    // False: the carry into the window depends on the groups below first().
    bool decided() const;
    // All words of the lowest group are ones, so that a carry from below would run through it.
    bool carry_runs_through() const;

  private:
    Word* place(u64 word) {
        return word < skip_ ? &below_[word - first_ * group_words_] : T_ + (word - skip_);
    }

    u32 a_;
    u64 group_words_;
    Word* T_;
    u64 skip_, total_;
    u64 first_, end_;
    Word below_[2 * kMaxGroupWords];  // from first() to the window
};

}  // namespace trel
