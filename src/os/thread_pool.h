// The system's thread pool: one for the process, shared by everybody, with threads added by the system as
// work asks for them.
#pragma once

#include "os/types.h"

namespace trel::os {

// A piece of work: a function and its argument. May be submitted again after it was waited for.
class PoolWork;

// Null when there is no memory for it.
PoolWork* create_pool_work(void (*run)(void*), void* argument) noexcept;

// A pool apart from that of the process, of at most `most_threads` threads (1 ...), for tests of what few
// threads can do. Lives until the process ends.
class WorkPool;
WorkPool& make_work_pool(u64 most_threads);
// Work that belongs to it.
PoolWork* create_pool_work(WorkPool& pool, void (*run)(void*), void* argument) noexcept;

// Hands the work to the pool; run(argument) is called once on one of its threads, or inside wait_pool_work().
// `run` must not throw.
void submit_pool_work(PoolWork* work);
// Returns when the submitted work has run. Work that no thread has begun is taken back and run here, so that
// waiting inside of work never waits for a free thread.
void wait_pool_work(PoolWork* work);
// The work must not be under way.
void close_pool_work(PoolWork* work) noexcept;

}  // namespace trel::os
