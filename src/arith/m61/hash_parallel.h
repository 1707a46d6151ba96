// hash_words with the words shared out to the tasks of a context.
#pragma once

#include "arith/m61/m61.h"
#include "platform/parallel/basic_parallelizer.h"

namespace trel::m61 {

// The residue, canonical.
u64 hash_words(const ParallelContext& parallel, const Word* words, u64 n);

}  // namespace trel::m61
