// The inner loop of SHA-256, with the processor's own instructions where it has them: the program reads its
// own file through it at every start.
#pragma once

#include "os/types.h"

namespace trel {

// state after n blocks of 64 bytes. Both give the same.
void sha256_blocks_plain(u32 state[8], const u8* data, u64 n);
// Only where sha256_is_built_in().
void sha256_blocks_built_in(u32 state[8], const u8* data, u64 n);
bool sha256_is_built_in();

}  // namespace trel
