// The mini-dump format, written without the C library's streams and memory.
#pragma once

#include "os/linux/crash_record.h"
#include "os/types.h"

namespace trel::os {

// Writes the whole dump into the empty file; `context` holds the registers of the calling thread. `record`
// may be null: no exception stream. Returns errno, 0 when the dump is complete. One thread at a time (static
// buffers).
//
//   header | directory | thread | exception | modules, each with name and build id | memory: stack, code
//   around the instruction pointer | system | misc | /proc/self/maps | /proc/self/status | /proc/self/auxv
u32 write_minidump_file(int file, const CrashRecord* record, const ucontext_t& context) noexcept;

}  // namespace trel::os
