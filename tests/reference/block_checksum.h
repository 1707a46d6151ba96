// The checksum of a block, word by word from its definition.
#pragma once

#include "os/types.h"

namespace reference {

// bytes: a multiple of 64
trel::u32 block_checksum(const trel::u8* block, trel::u64 bytes, trel::u32 seed);

}  // namespace reference
