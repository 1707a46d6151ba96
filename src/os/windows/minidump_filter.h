// The system writes a mini-dump with the stacks as they are; what it shall not hold is taken out afterwards.
#pragma once

#include <windows.h>

#include "os/types.h"

namespace trel::os {

// Remembers the command line and the environment; nothing on a second call. Before a crash: it takes memory.
void remember_process_texts();

// Overwrites pieces of those texts in the memory and the registers of a complete mini-dump with zeros. The
// file is open for reading and writing. Returns the system's error number, 0 when the dump is clear of them.
// One thread at a time (static buffers).
u32 clear_minidump(HANDLE file) noexcept;

}  // namespace trel::os
