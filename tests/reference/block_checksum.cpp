#include "reference/block_checksum.h"

using namespace trel;

u32 reference::block_checksum(const u8* block, u64 bytes, u32 seed) {
    const u64 m = (u64(1) << 31) - 1;
    u64 acc[8] = {0, 0, 0, 0, 0, 0, 0, seed};
    for (u64 chunk = 0; chunk < bytes; chunk += 64) {
        for (int lane = 0; lane < 8; lane++) {
            u64 word = 0;
            for (int i = 7; i >= 0; i--) word = word << 8 | block[chunk + 8 * lane + i];
            const u64 turned = word << 32 | word >> 32;
            acc[lane] = (turned >> 31) + (turned & m) + (acc[lane] >> 15) + ((acc[lane] << 16) & m);
        }
    }
    u64 sum = 0;
    for (int lane = 0; lane < 8; lane++) {
        sum += ((acc[lane] << (14 - 2 * lane)) & m) + (acc[lane] >> (17 + 2 * lane));
    }
    sum = (sum & m) + (sum >> 31);
    return static_cast<u32>((sum & m) + (sum >> 31));
}
