// The last moments of a process: catching a crash on the thread where it happens, writing a mini-dump, and
// the few services that a report may use then.
//
// A crashed process is in an unknown state: the memory allocator, the C library's streams or any lock may be
// the thing that broke. Nothing here that runs after the crash takes memory or a lock.
#pragma once

#include <string_view>

#include "os/clock.h"
#include "os/types.h"

namespace trel::os {

// Where and why a thread crashed, as the system reports it.
struct CrashRecord;

// Reports a crash, on the thread that crashed; other threads may crash meanwhile and come here too. When it
// returns, the system ends the process the way it ends crashed processes.
using CrashReporter = void (*)(const CrashRecord* record) noexcept;

// From here on the reporter is called for hardware exceptions (bad memory access, bad instruction, arithmetic
// fault), for abort() and for std::terminate(), on any thread. The calling thread gets a stack for it as by
// use_crash_stack(). Once per process.
void install_crash_handler(CrashReporter reporter);

// Sets stack aside for the reporter, so that a thread which runs out of its own is reported too. Every other
// crash is reported on any thread without it. Given back when the thread ends; nothing on a second call.
// The threads of pools call it; threads that live for one task do without.
void use_crash_stack();

// ---- for reporters

// Writes to the standard output behind what was written before, without its buffers.
void crash_print(std::string_view text) noexcept;
// Sets the colour of a terminal by its console letter, at once. Whether colours are wanted is up to the
// caller.
void crash_color(char letter) noexcept;
// The local time.
LocalTime crash_local_time() noexcept;

struct DumpFile {
    i64 handle = -1;  // -1: not opened
    u32 error = 0;    // the system's number
};
// Creates the file, for its owner alone: a dump shows memory. Fails when there is a file, folder or link of
// that name. Other processes of the owner may read it meanwhile.
DumpFile create_dump_file(const char* path) noexcept;
// Writes a mini-dump: registers and stack of the crashing thread (on Windows of all threads), the modules of
// the process, the system and, unless `record` is null, the exception. Without a record the thread that calls
// is the one shown. Neither the environment nor the command line is in it, nor copies of them; of other
// values, what the variables of the functions on the stack hold is. Returns the system's error number, 0 when
// the dump is complete.
u32 write_minidump(i64 handle, const CrashRecord* record) noexcept;
void close_dump_file(i64 handle) noexcept;
// Closes and removes a dump that could not be completed.
void discard_dump_file(i64 handle, const char* path) noexcept;

}  // namespace trel::os
