// Reading and writing in steps: what both back ends of file.h do around the system's call.
#pragma once

#include "os/file.h"

namespace trel::os {

// One system call moves at most this much: some systems take 32-bit lengths, others cut silently at 2 GiB.
inline constexpr u64 kMaxTransferStep = u64(1) << 30;
// Every sector is a multiple of this.
inline constexpr u64 kSmallestSector = 512;

// What one system call moved.
struct TransferStep {
    u64 bytes = 0;
    OsError error;
};

// Calls step(done, ask) for the bytes [done, done + ask) until all have moved, an error comes, or a step moves
// nothing (the end of the file, a device that takes no more). Interrupted steps are repeated, partial ones
// continued.
template <class Step>
Transfer transfer_in_steps(u64 bytes, Step step) {
    u64 done = 0;
    while (done < bytes) {
        const u64 left = bytes - done;
        const TransferStep moved = step(done, left < kMaxTransferStep ? left : kMaxTransferStep);
        if (moved.error.category == ErrorCategory::interrupted) continue;
        if (moved.error) {
            // Unbuffered access cannot go on from inside a sector, where only the end of a file leads.
            const bool inside_sector = done % kSmallestSector != 0;
            if (inside_sector && moved.error.category == ErrorCategory::invalid_parameter) break;
            return {done, moved.error};
        }
        if (moved.bytes == 0) break;
        done += moved.bytes;
    }
    return {done, {}};
}

}  // namespace trel::os
