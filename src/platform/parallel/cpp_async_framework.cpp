#include "platform/parallel/cpp_async_framework.h"

#include <memory>

#include "platform/parallel/callers_share.h"
#include "base/settings/setting_lines.h"

namespace trel {
namespace {

constexpr u64 kHandlesInFrame = 15;

const char* policy_text(bool async_only) {
    return async_only ? "std::launch::async" : "std::launch::async | std::launch::deferred";
}

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

std::string CppAsyncConfig::name() const {
    return "cppasync";
}
std::string CppAsyncConfig::display_name() const {
    return "C++ std::async()";
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
std::unique_ptr<FrameworkConfig> CppAsyncConfig::clone() const {
    return std::make_unique<CppAsyncConfig>(*this);
}

CppAsyncConfig::CppAsyncConfig(const Config::Object& object)
    : async_only(object.get_bool("AsyncOnly", "Parallel Framework")), max_sequential_dispatch(object) {}

Config::Object CppAsyncConfig::to_config() const {
    Config::Object object;
    object.add_bool("AsyncOnly", async_only);
    max_sequential_dispatch.add_to_config(object);
    return object;
}

void CppAsyncConfig::add_selectors(Config::Object& object) const {
    add_bool_selector(object, "AsyncOnly", async_only, policy_text(async_only));
    max_sequential_dispatch.add_to_selector(object);
}

u64 CppAsyncConfig::print(u64 first_line_number) const {
    print_setting_line(first_line_number, "    Launch Policy: ", 0, policy_text(async_only), 'Y');
    max_sequential_dispatch.print(first_line_number + 1);
    return first_line_number + 2;
}

void CppAsyncConfig::edit(u64 line) {
    if (line == 0) async_only = !async_only;
    if (line == 1) max_sequential_dispatch.edit();
}

namespace {

const FrameworkTypeOf<CppAsyncConfig> g_type;
const FrameworkRegistration g_registration("cppasync", g_type);

}  // namespace
}  // namespace trel
