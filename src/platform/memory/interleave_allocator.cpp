#include "platform/memory/interleave_allocator.h"

#include <array>
#include <cstdint>
#include <exception>
#include <mutex>

#include "base/console/console.h"
#include "base/errors/one_shot_warning.h"
#include "platform/memory/fill_pattern.h"
#include "platform/memory/node_workers.h"
#include "platform/memory/page_locking.h"
#include "platform/memory/page_region.h"
#include "platform/memory/placement.h"

namespace trel {
namespace {

constexpr u64 kPage = kPlacementPage;
constexpr u64 kPagesAtOnce = 512;

constexpr std::array<u32, 256> crc_table() {
    std::array<u32, 256> table{};
    for (u32 i = 0; i < 256; i++) {
        u32 value = i;
        for (int bit = 0; bit < 8; bit++) value = value >> 1 ^ (value & 1 ? 0x82F63B78U : 0);
        table[i] = value;
    }
    return table;
}
constexpr std::array<u32, 256> kCrcTable = crc_table();

// What the tasks of one allocation bring together.
struct Shared {
    const MemoryCalls& calls;
    char* const base;
    const u64 pages;
    const std::vector<u32>& nodes;
    const bool hashed;
    MemoryStats& stats;

    SpinLock lock{};
    bool success = true;
    std::vector<std::string> warnings{};
};

// One entry of the node list: commits, fills and checks its pages.
class Interleaver {
  public:
    Interleaver(Shared& shared, u64 number) : shared_(shared), number_(number), node_(shared.nodes[number]) {}

    void run(const std::vector<u32>& processors) {
        const bool bound = !processors.empty() && !shared_.calls.bind_thread(processors);
        const u64 n = shared_.nodes.size();
        if (shared_.hashed) {
            for (u64 i = 0; i < shared_.pages; i++) {
                char* const page = shared_.base + i * kPage;
                if (crc32c_of_address(reinterpret_cast<std::uintptr_t>(page)) % n == number_) place(page);
            }
        } else {
            for (u64 i = number_; i < shared_.pages; i += n) place(shared_.base + i * kPage);
        }
        query();
        report(bound);
    }

  private:
    void place(char* page) {
        if (const os::OsError error = shared_.calls.commit_on_node(page, kPage, node_)) {
            commit_errors_[error.code]++;
            if (shared_.calls.commit(page, kPage)) {
                failed_ = true;
                return;
            }
        }
        fill_memory(page, kPage);
        placed_.push_back(page);
        if (placed_.size() == kPagesAtOnce) query();
    }

    void query() {
        if (placed_.empty()) return;
        std::vector<i32> nodes(placed_.size());
        if (const os::OsError error =
                shared_.calls.nodes_of_pages(placed_.data(), placed_.size(), nodes.data())) {
            query_errors_[error.code] += placed_.size();
        } else {
            for (const i32 node : nodes) {
                if (node < 0) {
                    query_errors_[static_cast<u32>(-node)]++;
                } else {
                    landed_[static_cast<u32>(node)] += kPage;
                }
            }
        }
        placed_.clear();
    }

    void report(bool bound) {
        const std::string thread = "Thread " + std::to_string(number_);
        const std::lock_guard<SpinLock> guard(shared_.lock);
        if (failed_) shared_.success = false;
        std::vector<std::string>& warnings = shared_.warnings;
        if (!bound) warnings.push_back(thread + " failed to bind to node " + std::to_string(node_) + ".");
        for (const auto& [code, count] : commit_errors_) {
            warnings.push_back(thread + " VirtualAllocExNuma() error " + std::to_string(code) +
                               ", count = " + std::to_string(count) + ".");
        }
        for (const auto& [code, count] : query_errors_) {
            warnings.push_back(thread + " QueryWorkingSetEx() error " + std::to_string(code) +
                               ", count = " + std::to_string(count) + ".");
        }
        for (const auto& [node, bytes] : landed_) {
            shared_.stats.node_bytes[node] += bytes;
            if (node == node_) continue;
            warnings.push_back(std::to_string(bytes / kPage) + " pages intended for node " +
                               std::to_string(node_) + " landed on node " + std::to_string(node) +
                               " instead.");
        }
    }

    Shared& shared_;
    const u64 number_;
    const u32 node_;
    bool failed_ = false;
    std::vector<void*> placed_;  // not yet queried
    std::map<u32, u64> commit_errors_, query_errors_, landed_;
};

// One task for each entry of the list. The tasks use this frame, so that nothing leaves it before the last of
// them has ended. Where no thread can be started the share is done here, as is that of a node that does
// not exist.
void place_all_pages(Shared& shared, const NumaMap& map, NodeWorkers& workers) {
    const std::vector<u32>& nodes = shared.nodes;
    std::vector<u64> left;
    left.reserve(nodes.size());
    os::JoinCounter join;
    {
        struct WaitForAll {
            ~WaitForAll() { join.wait(); }
            os::JoinCounter& join;
        } const wait_for_all{join};
        for (u64 t = 0; t < nodes.size(); t++) {
            const auto node = map.nodes().find(nodes[t]);
            if (node == map.nodes().end()) {
                left.push_back(t);
                continue;
            }
            join.add(1);
            try {
                const std::vector<u32>& processors = node->second.processors;
                workers.worker(nodes[t]).push(
                    [&shared, &processors, t] { Interleaver(shared, t).run(processors); }, join);
            } catch (const std::exception&) {  // no thread, no memory
                join.finish();
                left.push_back(t);
            }
        }
        for (const u64 t : left) Interleaver(shared, t).run({});
    }
    // The calling thread goes back to taking memory from wherever the system likes.
    if (!left.empty()) (void)shared.calls.commit(nullptr, 0);
}

}  // namespace

u32 crc32c_of_address(u64 address) {
    u32 value = 0;
    for (int byte = 0; byte < 8; byte++) {
        value = value >> 8 ^ kCrcTable[(value ^ static_cast<u32>(address >> (8 * byte))) & 0xFF];
    }
    return value;
}

namespace {

constinit OneShotWarning map_shown;

// A map that the user has seen: it is printed when the first setting is made of it.
const NumaMap& shown_map() {
    const NumaMap& map = NumaMap::of_this_machine();
    if (!map_shown.first_time()) return map;
    for (const Warnings::Line& line : map.lines()) {
        Console::print_line(line.text, line.color);
        if (line.color != ' ') Console::set_color('w');
    }
    return map;
}

}  // namespace

InterleaveConfig::InterleaveConfig(const MemoryCalls& calls, const NumaMap& map, NodeWorkers& workers)
    : nodes(calls, map), calls_(&calls), map_(&map), workers_(&workers) {
    nodes.numbers = nodes.defaults();
}

InterleaveConfig::InterleaveConfig()
    : InterleaveConfig(MemoryCalls::of_this_machine(), shown_map(), NodeWorkers::of_this_machine()) {}

InterleaveConfig::InterleaveConfig(const Config::Object& object)
    : nodes(MemoryCalls::of_this_machine(), shown_map()),
      calls_(&MemoryCalls::of_this_machine()),
      map_(&NumaMap::of_this_machine()),
      workers_(&NodeWorkers::of_this_machine()) {
    load(object);
}

bool InterleaveConfig::acquire_permissions(const ParallelContext& parallel) const {
    if (locked_pages.mode == OptionalFlag::kDisabled) return true;
    const bool held = calls_->acquire_lock_privilege();
    parallel.warn(lock_privilege_warnings_once());
    return held;
}

std::unique_ptr<LargeAllocation> InterleaveConfig::allocate(const ParallelContext& parallel,
                                                            u64 alignment_log2, u64& bytes) const {
    const std::vector<u32>& nodes = this->nodes.numbers;
    auto region = std::make_unique<PageRegion>(*calls_);
    const u64 page = calls_->page_size();
    const u64 rounded = round_up_to(bytes, page);
    const u64 alignment = std::max(u64(1) << alignment_log2, page);
    const u64 mapped = alignment > page ? rounded + alignment : rounded;
    if (nodes.empty() || rounded == 0 || mapped < rounded) return region;
    if (!region->map(mapped, alignment, rounded, PageRegion::Kind::reserved)) return region;
    calls_->advise_small_pages(region->pointer(), rounded);

    Shared shared{*calls_,         static_cast<char*>(region->pointer()),
                  rounded / kPage, nodes,
                  hashed,          region->stats_to_fill()};
    place_all_pages(shared, *map_, *workers_);
    region->add_warnings(shared.warnings);
    region->stats_to_fill().aimed_nodes = nodes.size();
    if (!shared.success || !region->lock(parallel, locked_pages)) {
        region->release();
        return region;
    }
    bytes = rounded;
    return region;
}

void InterleaveConfig::print_heading() const {
    if (map_->nodes().size() != 1) return;
    Console::print_line("        (This allocator is useful only when there are multiple NUMA nodes.)", 'Y');
}

namespace {

// A loaded configuration is not made from the defaults, which ask every node for its memory and may warn.
class InterleaveType final : public ChoiceTypeOf<InterleaveConfig, AllocatorConfig> {
    std::unique_ptr<AllocatorConfig> make_config(const Config::Object& object) const override {
        return std::make_unique<InterleaveConfig>(object);
    }
};

const AllocatorRegistration<InterleaveConfig, InterleaveType> g_registration;

}  // namespace
}  // namespace trel
