// Joins the carries that parallel blocks of one word array leave behind.
#pragma once

#include "arith/kernels/blocks.h"
#include "os/types.h"
#include "platform/parallel/basic_parallelizer.h"

namespace trel {

// Which way a carry changes a word: + (of a sum) or - (the borrow of a difference).
enum class Ripple { carry, borrow };

// carries[k] (0 or 1) leaves block k of T[0..n) and is still to be added to (Ripple::borrow: subtracted from)
// block k + 1. Applies them all, each rippling as far as it goes, and returns what leaves the last block. At
// most kMaxBlocks blocks. From 8192 words in two parallel passes, below that serially.
u8 bp_carry_join(const u8* carries, const Blocks& blocks, Word* T, Ripple ripple, const ParallelContext& P);

// First step of every join: outs[k], the carry word that block k left, is added to the first two words of
// block k + 1; only when one ripples beyond them bp_carry_join runs. Returns the carry word that leaves the
// last block. For Ripple::borrow every out is 0 or 1.
Word join_blocks(const Word* outs, const Blocks& blocks, Word* T, Ripple ripple, const ParallelContext& P);

}  // namespace trel
