#include "platform/memory/interleave_allocator.h"

#include <array>
#include <cctype>
#include <cstdint>
#include <limits>
#include <mutex>

#include "base/console/console.h"
#include "base/errors/exceptions.h"
#include "base/prompt/prompt.h"
#include "platform/memory/fill_pattern.h"
#include "platform/memory/node_workers.h"
#include "platform/memory/page_locking.h"
#include "platform/memory/page_region.h"
#include "platform/memory/placement.h"
#include "base/settings/setting_lines.h"

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

// Numbers that no node can have stay such.
u32 node_number(i64 value) {
    constexpr u32 kNoNode = std::numeric_limits<u32>::max();
    return value < 0 || value > kNoNode ? kNoNode : static_cast<u32>(value);
}

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

}  // namespace

u32 crc32c_of_address(u64 address) {
    u32 value = 0;
    for (int byte = 0; byte < 8; byte++) {
        value = value >> 8 ^ kCrcTable[(value ^ static_cast<u32>(address >> (8 * byte))) & 0xFF];
    }
    return value;
}

InterleaveConfig::InterleaveConfig(const MemoryCalls& calls, const NumaMap& map, NodeWorkers& workers)
    : calls_(&calls), map_(&map), workers_(&workers) {
    nodes = default_nodes();
}

InterleaveConfig::InterleaveConfig()
    : InterleaveConfig(MemoryCalls::of_this_machine(), NumaMap::of_this_machine(),
                       NodeWorkers::of_this_machine()) {}

InterleaveConfig::InterleaveConfig(const Config::Object& object)
    : hashed(object.get_bool("Hashed")),
      calls_(&MemoryCalls::of_this_machine()),
      map_(&NumaMap::of_this_machine()),
      workers_(&NodeWorkers::of_this_machine()) {
    locked_pages.set(object.get_string(locked_pages.name));
    for (const auto& element : object.get_array("Nodes").elements) {
        nodes.push_back(node_number(element->as<Config::Integer>().value));
    }
    if (nodes.empty()) throw InvalidParametersException("", "Node list cannot be empty.");
}

std::vector<u32> InterleaveConfig::default_nodes() const {
    std::vector<u32> usable, all;
    for (const auto& [number, node] : map_->nodes()) {
        all.push_back(number);
        u64 available = 0;
        if (!calls_->node_available(number, available) && available > 0) usable.push_back(number);
    }
    if (!usable.empty()) return usable;
    Console::print_line("Unable to find any usable NUMA nodes. Will attempt to use all of them...", 'Y');
    Console::set_color('w');
    return all;
}

std::string InterleaveConfig::name() const {
    return "interleave";
}
std::string InterleaveConfig::display_name() const {
    return kDisplayName;
}

bool InterleaveConfig::acquire_permissions() const {
    if (locked_pages.mode == OptionalFlag::kDisabled) return true;
    return acquire_lock_privilege_or_warn(calls_->acquire_lock_privilege);
}

std::unique_ptr<LargeAllocation> InterleaveConfig::allocate(const ParallelContext& /*context*/,
                                                            u64 alignment_log2, u64& bytes) const {
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
    os::JoinCounter join;
    join.add(nodes.size());
    for (u64 t = 0; t < nodes.size(); t++) {
        workers_->worker(nodes[t]).push(
            [this, &shared, t] {
                const auto node = map_->nodes().find(nodes[t]);
                Interleaver(shared, t).run(node == map_->nodes().end() ? std::vector<u32>{}
                                                                       : node->second.processors);
            },
            join);
    }
    join.wait();
    region->add_warnings(shared.warnings);
    region->stats_to_fill().aimed_nodes = nodes.size();
    if (!shared.success || !region->lock(locked_pages)) {
        region->release();
        return region;
    }
    bytes = rounded;
    return region;
}

std::unique_ptr<AllocatorConfig> InterleaveConfig::clone() const {
    return std::make_unique<InterleaveConfig>(*this);
}

Config::Object InterleaveConfig::to_config() const {
    Config::Object object;
    object.add_bool("Hashed", hashed);
    object.add_string(locked_pages.name, locked_pages.word());
    Config::Array& list = object.add_array("Nodes");
    for (const u32 node : nodes) list.add_integer(node);
    return object;
}

std::string InterleaveConfig::nodes_text() const {
    std::string text;
    for (const u32 node : nodes) text += (text.empty() ? "" : ", ") + std::to_string(node);
    return text;
}

void InterleaveConfig::add_selectors(Config::Object& object) const {
    add_bool_selector(object, "Hashed", hashed, hashed ? "Hashed" : "Round-Robin");
    add_selector(object, locked_pages.name, locked_pages.word(), locked_pages.selector_text());
    Config::Object& setting = object.add_object("Nodes");
    Config::Array& list = setting.add_array("Value");
    for (const u32 node : nodes) list.add_integer(node);
    setting.add_string("DisplayText", nodes_text());
}

u64 InterleaveConfig::print(u64 first_line_number) const {
    if (map_->nodes().size() == 1) {
        Console::print_line("        (This allocator is useful only when there are multiple NUMA nodes.)",
                            'Y');
    }
    print_setting_line(first_line_number, "    NUMA nodes:", kAllocatorLabelWidth, nodes_text(), 'T');
    print_setting_line(first_line_number + 1, "    Page Mapping:", kAllocatorLabelWidth,
                       hashed ? "Hashed" : "Round-Robin", 'G');
    print_setting_line(first_line_number + 2, "    Lock Pages in Memory:", kAllocatorLabelWidth,
                       locked_pages.display_text(), locked_pages.color());
    return first_line_number + 3;
}

void InterleaveConfig::edit_nodes() {
    std::vector<u32> chosen;
    Console::print_line("\n\nEnter NUMA node #'s one-by-one. Enter nothing to stop.", 'w');
    Console::print_line("    - Duplicating nodes allow for imbalanced interleaving.");
    Console::print_line("    - Non-existant nodes simply won't bind.");
    while (true) {
        const std::string answer = Prompt::read_text("Node #", 'T');
        if (answer.empty() || !std::isdigit(static_cast<unsigned char>(answer[0]))) break;
        i64 number = 0;
        for (const char c : answer) {
            if (!std::isdigit(static_cast<unsigned char>(c))) break;
            number = node_number(number * 10 + (c - '0'));
        }
        chosen.push_back(static_cast<u32>(number));
    }
    // Not before here: when nobody answers, the list stays.
    nodes = chosen.empty() ? default_nodes() : chosen;
}

void InterleaveConfig::edit(u64 line) {
    if (line == 0) edit_nodes();
    if (line == 1) hashed = !hashed;
    if (line == 2) locked_pages.advance();
}

namespace {

const AllocatorTypeOf<InterleaveConfig> g_type;
const AllocatorRegistration g_registration("interleave", g_type);

}  // namespace
}  // namespace trel
