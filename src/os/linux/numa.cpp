#include "os/numa.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "os/cpu.h"
#include "os/linux/errno_error.h"
#include "os/linux/number_list.h"
#include "os/memory.h"
#include "os/memory_status.h"

namespace trel::os {
namespace {

constexpr int kPolicyDefault = 0;    // MPOL_DEFAULT
constexpr int kPolicyPreferred = 1;  // MPOL_PREFERRED
constexpr u64 kNodeBits = 1024;

std::string node_folder(const std::string& root) {
    return root + "/sys/devices/system/node";
}

bool has_nodes(const std::string& root) {
    std::error_code error;
    return std::filesystem::exists(node_folder(root) + "/online", error);
}

constexpr u32 kNoNode = ~u32(0);

// A page lands where its first touch comes from and what that thread prefers. A preference of the pages
// themselves would cost a mapping for each, of which a process may have some ten thousand.
thread_local u32 t_preferred_node = kNoNode;

OsError prefer_node(u32 node) {
    unsigned long mask[kNodeBits / (8 * sizeof(unsigned long))] = {};
    constexpr u64 kBits = 8 * sizeof(unsigned long);
    if (node >= kNodeBits) return error_of(EINVAL);
    mask[node / kBits] = 1UL << (node % kBits);
    if (syscall(SYS_set_mempolicy, kPolicyPreferred, mask, kNodeBits + 1) != 0) return error_of(errno);
    return {};
}

void prefer_no_node() {
    if (t_preferred_node == kNoNode) return;
    t_preferred_node = kNoNode;
    (void)syscall(SYS_set_mempolicy, kPolicyDefault, nullptr, 0);
}

void touch(void* pages, u64 bytes) {
    volatile char* const begin = static_cast<volatile char*>(pages);
    for (u64 i = 0; i < bytes; i += page_size()) begin[i] = 0;
}

}  // namespace

OsError highest_numa_node(u32& node, const std::string& root) {
    node = 0;
    if (!has_nodes(root)) return {};
    const auto nodes = read_number_list(node_folder(root) + "/online");
    if (!nodes || nodes->empty()) return error_of(EINVAL);
    node = *std::max_element(nodes->begin(), nodes->end());
    return {};
}

OsError numa_node_processors(u32 node, std::vector<u32>& processors, const std::string& root) {
    processors.clear();
    if (!has_nodes(root)) {
        if (node != 0) return error_of(EINVAL);
        processors = active_processors();
        return {};
    }
    const auto listed = read_number_list(node_folder(root) + "/node" + std::to_string(node) + "/cpulist");
    if (!listed) return error_of(ENOENT);
    processors = *listed;
    // Another machine's processors, where tests play one, are all of this process.
    if (!root.empty()) return {};
    const std::vector<u32>& active = active_processors();
    std::erase_if(processors, [&](u32 p) { return !std::binary_search(active.begin(), active.end(), p); });
    return {};
}

OsError numa_node_available_memory(u32 node, u64& bytes, const std::string& root) {
    bytes = 0;
    if (!has_nodes(root)) {
        if (node != 0) return error_of(EINVAL);
        bytes = memory_status(root).available_physical;
        return {};
    }
    // "Node 0 MemFree:  123 kB"
    std::ifstream file(node_folder(root) + "/node" + std::to_string(node) + "/meminfo");
    std::string line;
    while (std::getline(file, line)) {
        std::istringstream words(line);
        std::string title, number, key;
        if (words >> title >> number >> key && key == "MemFree:" && words >> bytes) {
            bytes <<= 10;
            return {};
        }
    }
    bytes = 0;
    return error_of(ENOENT);
}

OsError commit_on_numa_node(void* pages, u64 bytes, u32 node) {
    if (t_preferred_node != node) {
        if (const OsError error = prefer_node(node)) return error;
        t_preferred_node = node;
    }
    touch(pages, bytes);
    return {};
}

OsError commit_memory(void* pages, u64 bytes) {
    prefer_no_node();
    touch(pages, bytes);
    return {};
}

OsError numa_nodes_of_pages(void* const* pages, u64 n, i32* nodes) {
    // Without target nodes no page moves, and the call answers with the nodes.
    if (syscall(SYS_move_pages, 0, n, pages, nullptr, nodes, 0) < 0) return error_of(errno);
    return {};
}

}  // namespace trel::os
