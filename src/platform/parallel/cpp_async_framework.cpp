#include "platform/parallel/cpp_async_framework.h"

#include <memory>

#include "platform/parallel/callers_share.h"

namespace trel {
namespace {

constexpr u64 kHandlesInFrame = 15;

}  // namespace

void CppAsyncFramework::run_flat(BasicAction& action, u64 begin, u64 end) {
    const u64 n_started = end - begin - 1;
    CallersShare share;
    std::future<void> in_frame[kHandlesInFrame];
    std::unique_ptr<std::future<void>[]> on_heap;
    if (n_started > kHandlesInFrame) on_heap = std::make_unique<std::future<void>[]>(n_started);
    std::future<void>* const handles = on_heap ? on_heap.get() : in_frame;
    // When a task cannot be started, the handles wait for the started ones as they go.
    for (u64 i = 0; i < n_started; i++) {
        handles[i] = std::async(policy_, [&share, &action, index = begin + i] { share.run(action, index); });
    }
    share.run_here(action, end - 1);
    for (u64 i = n_started; i-- > 0;) handles[i].get();
    share.rethrow();
}

void CppAsyncFramework::run_in_parallel(BasicAction& a, BasicAction& b) {
    CallersShare share;
    std::future<void> handle = std::async(policy_, [&] { share.run(b, 0); });
    share.run_here(a, 0);
    handle.get();
    share.rethrow();
}

std::string CppAsyncConfig::mode_text() const {
    return async_only ? "  (async only)" : "  (async | deferred)";
}
std::launch CppAsyncConfig::policy() const {
    return async_only ? std::launch::async : std::launch::async | std::launch::deferred;
}
std::unique_ptr<BasicParallelizer> CppAsyncConfig::make_framework() const {
    return std::make_unique<CppAsyncFramework>(policy(), max_sequential_dispatch.value());
}

namespace {

const FrameworkRegistration<CppAsyncConfig> g_registration;

}  // namespace
}  // namespace trel
