// A two-way fork-join whose halves may fail: for operations that a caller does again after an error.
#pragma once

#include <exception>
#include <utility>

#include "base/errors/exceptions.h"
#include "platform/parallel/basic_parallelizer.h"

namespace trel {

// fork_join() of a() and b(), but an Exception of either half waits until both have finished and is thrown
// again in the calling thread, whichever thread it was met in; of two, that of a(). Anything else that a half
// throws goes the way of fork_join().
template <class A, class B>
void fork_join_catching(const ParallelContext& parallel, A&& a, B&& b) {
    std::exception_ptr errors[2];
    const auto kept = [&errors](std::size_t i, auto& half) {
        try {
            half();
        } catch (const Exception&) {
            errors[i] = std::current_exception();
        }
    };
    fork_join(
        parallel, [&] { kept(0, a); }, [&] { kept(1, b); });
    for (const std::exception_ptr& error : errors) {
        if (error) std::rethrow_exception(error);
    }
}

}  // namespace trel
