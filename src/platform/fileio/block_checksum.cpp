#include "platform/fileio/block_checksum.h"

namespace trel {

namespace avx2 {
extern const FileIO::BlockChecksum kBlockChecksum;
}
namespace avx512 {
extern const FileIO::BlockChecksum kBlockChecksum;
}

namespace FileIO {

void block_checksums(Isa isa, u32* checksums, const void* data, u64 n_blocks, u64 block_bytes, u32 seed) {
    const BlockChecksum& kernel = TREL_TABLE(isa, kBlockChecksum);
    kernel.blocks(checksums, data, n_blocks, block_bytes, seed);
}

void block_checksums(u32* checksums, const void* data, u64 n_blocks, u64 block_bytes, u32 seed) {
    static const Isa isa = active_isa();
    block_checksums(isa, checksums, data, n_blocks, block_bytes, seed);
}

}  // namespace FileIO
}  // namespace trel
