#include "platform/parallel/cilk_framework.h"

#include <mutex>
#include <string>

#include "base/errors/exceptions.h"
#include "os/cpu.h"
#include "os/shared_library.h"
#include "platform/cilk/cilk_entries.h"
#include "platform/parallel/callers_share.h"

namespace trel {
namespace {

constexpr const char* kLibraryNames[] = {"libcilkrts.so.5", "cilkrts20.dll"};

// How many frameworks use the run-time.
std::mutex g_users_mutex;
u64 g_users = 0;

struct Loop {
    CallersShare share;
    BasicAction* action;
    u64 begin;

    static void run(void* data, u64 low, u64 high) {
        Loop& loop = *static_cast<Loop*>(data);
        for (u64 i = low; i < high; i++) loop.share.run(*loop.action, loop.begin + i);
    }
};

// A spawn and a sync: a loop of two.
struct Fork {
    CallersShare share;
    BasicAction* actions[2];

    static void run(void* data, u64 low, u64 high) {
        Fork& fork = *static_cast<Fork*>(data);
        for (u64 i = low; i < high; i++) fork.share.run(*fork.actions[i], 0);
    }
};

}  // namespace

CilkCalls CilkCalls::load(std::span<const char* const> library_names) {
    for (const char* name : library_names) {
        void* const library = os::open_shared_library(name);
        if (!library) continue;
        const CilkCalls found{
            reinterpret_cast<decltype(CilkCalls::set_param)>(os::find_symbol(library, "__cilkrts_set_param")),
            reinterpret_cast<decltype(CilkCalls::cilk_for_64)>(
                os::find_symbol(library, "__cilkrts_cilk_for_64")),
            reinterpret_cast<decltype(CilkCalls::end_cilk)>(os::find_symbol(library, "__cilkrts_end_cilk")),
            name};
        if (found.set_param && found.cilk_for_64 && found.end_cilk) return found;
    }
    return built_in();
}

CilkCalls CilkCalls::built_in() {
    return {__cilkrts_set_param, __cilkrts_cilk_for_64, __cilkrts_end_cilk, nullptr};
}

const CilkCalls& CilkCalls::of_this_machine() {
    static const CilkCalls runtime = load(kLibraryNames);
    return runtime;
}

CilkFramework::CilkFramework(u64 worker_threads, const CilkCalls& runtime) : runtime_(runtime) {
    const std::lock_guard<std::mutex> lock(g_users_mutex);
    // A run-time that has started takes no other number.
    if (g_users == 0) runtime_.end_cilk();
    if (runtime_.set_param("nworkers", std::to_string(worker_threads).c_str()) != 0) {
        throw ResourceAcquisitionFailedException(
            "", "__cilkrts_set_param() returned a failure. Unable to set # of Cilk threads.");
    }
    g_users++;
}

CilkFramework::~CilkFramework() {
    const std::lock_guard<std::mutex> lock(g_users_mutex);
    if (--g_users == 0) runtime_.end_cilk();
}

void CilkFramework::run_in_parallel(BasicAction& action, u64 begin, u64 end) {
    if (end <= begin) return;
    if (end - begin == 1) {
        action.run(begin);
        return;
    }
    Loop loop{{}, &action, begin};
    runtime_.cilk_for_64(Loop::run, &loop, end - begin, 1);
    loop.share.rethrow();
}

void CilkFramework::run_in_parallel(BasicAction& a, BasicAction& b) {
    Fork fork{{}, {&a, &b}};
    runtime_.cilk_for_64(Fork::run, &fork, 2, 1);
    fork.share.rethrow();
}

namespace {

constexpr WordSetting::Word kRuntimes[] = {{"built-in", "Built-in", 'Y'}, {"library", "Library", 'Y'}};
constexpr u32 kLibrary = 1;

}  // namespace

CilkConfig::CilkConfig()
    : threads(WorkerThreads::kKey, "    Cilk Threads:", {.prompt = "Threads: ", .least = 1, .most = 65536},
              os::usable_processor_count()),
      runtime("Runtime", "    Runtime:", kRuntimes,
              {"", "Invalid Cilk run-time: {}\nChoose \"built-in\" or \"library\"."}, 0) {}

std::unique_ptr<BasicParallelizer> CilkConfig::make_framework() const {
    if (runtime.mode != kLibrary)
        return std::make_unique<CilkFramework>(threads.value(), CilkCalls::built_in());
    const CilkCalls& library = CilkCalls::of_this_machine();
    if (library.library == nullptr) {
        throw ResourceAcquisitionFailedException(
            "",
            "The settings ask for the library of the Cilk run-time, and it is not installed.\n"
            "Install it beside the program or among the system's libraries (" +
                std::string(kLibraryNames[0]) + ", on Windows " + kLibraryNames[1] +
                "), or take Runtime : \"built-in\".");
    }
    return std::make_unique<CilkFramework>(threads.value(), library);
}

std::string CilkConfig::mode_text() const {
    if (runtime.mode != kLibrary) return "  (built-in)";
    const char* const library = CilkCalls::of_this_machine().library;
    return library == nullptr ? "  (library not found)" : "  (" + std::string(library) + ")";
}

namespace {

const FrameworkRegistration<CilkConfig> g_registration;

}  // namespace
}  // namespace trel
