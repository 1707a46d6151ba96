// The entries of the Cilk Plus run-time that the program calls, as C functions under the names that the
// genuine library exports. This library stands in for it on machines that have none.
//
// Indices and counts are 64 bits; loops may be nested and may be started from any thread. The loop body must
// not throw.
#pragma once

#include "os/types.h"

extern "C" {

// "nworkers" is the only parameter: a decimal number of threads, the calling one included. Returns 0, or: 1
// unknown parameter, 2 out of range (1 ... 65536), 3 not a number, 4 too late: loops have run and
// __cilkrts_end_cilk() was not called since (the value in force is not too late).
int __cilkrts_set_param(const char* name, const char* value);

// Runs body(data, low, high) over disjoint ranges of at most `grain` indices that cover [0, count), and
// returns when all have returned. A range is halved: the upper half may be stolen while the lower one runs.
// grain <= 0 chooses count / (8 * workers), at most 2048.
void __cilkrts_cilk_for_64(void (*body)(void* data, trel::u64 low, trel::u64 high), void* data,
                           trel::u64 count, int grain);

int __cilkrts_get_nworkers(void);

// Ends the threads of the run-time; no loop may be running. They come back with the next loop.
void __cilkrts_end_cilk(void);
}
