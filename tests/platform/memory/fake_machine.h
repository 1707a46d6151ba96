// A machine with as many memory nodes, large pages and failures as a test wants. Its memory is this
// machine's.
#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "os/memory.h"
#include "platform/memory/memory_calls.h"

class FakeMachine {
  public:
    struct Node {
        std::vector<trel::u32> processors;
        trel::u64 available = 1 << 30;
    };

    std::map<trel::u32, Node> nodes{{0, {{0}}}};
    std::vector<trel::u32> all_processors{0};
    trel::u32 highest_error = 0;
    bool privilege = true;
    bool grants_large_pages = false;
    bool refuses_mappings = false;
    trel::u64 lockable = ~trel::u64(0);
    std::set<std::vector<trel::u32>> unbindable;
    std::set<trel::u32> full_nodes;        // commits on these fail with error 12 ...
    bool refuses_commits = false;          // ... and anywhere with error 13
    std::map<trel::u32, trel::u32> moved;  // pages for the first land on the second
    trel::u32 query_error = 0;

    // What happened.
    std::mutex mutex;
    std::map<void*, trel::u32> pages;  // by page, the node that it was committed on
    std::set<std::vector<trel::u32>> bound;
    trel::u64 locked = 0;
    trel::u64 mappings = 0;
    trel::u64 reservations = 0;
    trel::u64 queries = 0;
    trel::u64 privilege_requests = 0;
    trel::u64 bytes_advised_large = 0, bytes_advised_small = 0;

    trel::MemoryCalls calls() {
        using namespace trel;
        const auto lock_guard = [this] { return std::lock_guard<std::mutex>(mutex); };
        const auto fail = [](u32 code) { return os::OsError{code, os::ErrorCategory::other}; };
        MemoryCalls c;
        c.page_size = [] { return u64(4096); };
        c.large_page_size = [] { return u64(2) << 20; };
        c.map = [this](u64 bytes, bool large) -> os::MappedMemory {
            if (refuses_mappings || (large && !grants_large_pages)) {
                return {nullptr, 0, {12, os::ErrorCategory::not_enough_memory}};
            }
            mappings++;
            if (!large) return os::map_memory(bytes, false);
            // A large page begins on its boundary; what stands before it is lost to the test.
            const os::MappedMemory memory = os::map_memory(bytes + (u64(2) << 20), false);
            const u64 base =
                (reinterpret_cast<u64>(memory.base) + (u64(2) << 20) - 1) & ~((u64(2) << 20) - 1);
            return {reinterpret_cast<void*>(base), bytes, {}};
        };
        c.reserve = [this](u64 bytes) -> os::MappedMemory {
            if (refuses_mappings) return {nullptr, 0, {12, os::ErrorCategory::not_enough_memory}};
            mappings++;
            reservations++;
            return os::map_memory(bytes, false);
        };
        c.unmap = [this](void* base, u64 bytes) {
            mappings--;
            return os::unmap_memory(base, bytes);
        };
        c.advise_large_pages = [this](void*, u64 bytes) { bytes_advised_large += bytes; };
        c.advise_small_pages = [this](void*, u64 bytes) { bytes_advised_small += bytes; };
        c.lock = [this](void*, u64 bytes) -> os::OsError {
            if (locked + bytes > lockable) return {12, os::ErrorCategory::quota};
            locked += bytes;
            return {};
        };
        c.raise_lock_limit = [] { return os::OsError{}; };
        c.acquire_lock_privilege = [this] {
            privilege_requests++;
            return privilege;
        };
        c.highest_node = [this, fail](u32& node) {
            if (highest_error != 0) return fail(highest_error);
            node = nodes.empty() ? 0 : nodes.rbegin()->first;
            return os::OsError{};
        };
        c.node_processors = [this, fail](u32 node, std::vector<u32>& processors) {
            processors.clear();
            if (nodes.count(node) == 0) return fail(2);
            processors = nodes[node].processors;
            return os::OsError{};
        };
        c.node_available = [this, fail](u32 node, u64& bytes) {
            if (nodes.count(node) == 0) return fail(2);
            bytes = nodes[node].available;
            return os::OsError{};
        };
        c.processors = [this] { return all_processors; };
        c.bind_thread = [this, lock_guard, fail](const std::vector<u32>& processors) {
            const auto guard = lock_guard();
            bound.insert(processors);
            return unbindable.count(processors) != 0 ? fail(22) : os::OsError{};
        };
        c.commit_on_node = [this, lock_guard, fail](void* page, u64, u32 node) {
            const auto guard = lock_guard();
            if (full_nodes.count(node) != 0) return fail(12);
            pages[page] = moved.count(node) != 0 ? moved[node] : node;
            return os::OsError{};
        };
        c.commit = [this, lock_guard, fail](void* page, u64) {
            const auto guard = lock_guard();
            if (refuses_commits) return fail(13);
            pages[page] = 0;
            return os::OsError{};
        };
        c.nodes_of_pages = [this, lock_guard, fail](void* const* asked, u64 n, i32* out) {
            const auto guard = lock_guard();
            queries++;
            if (query_error != 0) return fail(query_error);
            for (u64 i = 0; i < n; i++) {
                const auto found = pages.find(asked[i]);
                out[i] = found == pages.end() ? -14 : static_cast<i32>(found->second);
            }
            return os::OsError{};
        };
        return c;
    }
};

// Two nodes of two processors, as the system numbers them: 0 and 1, 4 and 6.
inline void make_two_nodes(FakeMachine& machine) {
    machine.nodes = {{0, {{0, 1}}}, {1, {{4, 6}}}};
    machine.all_processors = {0, 1, 4, 6};
}
