#include "arith/multiply/algorithm_table.h"

#include <array>

#include "base/errors/exceptions.h"
#include "base/registry/named.h"

namespace trel {
namespace {

// One registry a slot.
Named<AlgorithmEntry>& registry(TableSlot slot) {
    constexpr const char* kDuplicate = "Duplicate Multiplication Algorithm: ";
    static std::array<Named<AlgorithmEntry>, 4> slots{
        Named<AlgorithmEntry>(kDuplicate), Named<AlgorithmEntry>(kDuplicate),
        Named<AlgorithmEntry>(kDuplicate), Named<AlgorithmEntry>(kDuplicate)};
    return slots[static_cast<u64>(slot)];
}

// The default lists: short names and thresholds in bits. They must be usable while other files' objects are
// still being made, hence functions.
std::vector<AlgorithmTable::ListItem> basic_list() {
    return {{"BKT", 5120}, {"FFT", 208896}, {"C17", 0x1440000000000}, {"N64", 0x3800000000000000}};
}
std::vector<AlgorithmTable::ListItem> swap_list() {
    return {{"C17", 0x1440000000000}, {"N64", 0x3800000000000000}};
}

}  // namespace

void register_algorithm(TableSlot slot, const AlgorithmEntry& entry) {
    const bool words64 = slot == TableSlot::basic64 || slot == TableSlot::swap64;
    if ((entry.algorithm != nullptr) != words64 || (entry.algorithm32 == nullptr) != words64) {
        refuse_registration("Multiplication Algorithm for another Word: " + entry.short_name);
    }
    registry(slot).add(entry.short_name, entry);
}

const AlgorithmEntry* find_algorithm(TableSlot slot, const std::string& short_name, bool* known) {
    using enum TableSlot;
    if (known != nullptr) {
        *known = false;
        for (const TableSlot any : {basic32, basic64, swap32, swap64}) {
            *known = *known || registry(any).find(short_name) != nullptr;
        }
    }
    return registry(slot).find(short_name);
}

AlgorithmTable::AlgorithmTable(std::string name, u32 word_bits, TableSlot slot,
                               const std::vector<ListItem>& list)
    : AlgorithmTable(std::move(name), word_bits) {
    for (const ListItem& item : list) {
        bool known = false;
        const AlgorithmEntry* entry = find_algorithm(slot, item.short_name, &known);
        if (entry != nullptr) {
            add(item.threshold_bits, *entry);
        } else if (known) {
            remarks_.push_back("Warning: " + item.short_name + " does not support: \"" + name_ + "\"");
        } else {
            remarks_.push_back("Skipping unknown algorithm: " + item.short_name);
        }
    }
}

void AlgorithmTable::add(u64 threshold_bits, const AlgorithmEntry& entry) {
    const u64 words = threshold_bits / word_bits_;
    if (!items_.empty() && words <= items_.back().threshold_words) {
        throw StringException("AlgorithmTable::add()", "Thresholds must be increasing.");
    }
    if (words * word_bits_ > entry.max_bits) {
        throw StringException("AlgorithmTable::add()", "Thresholds is larger than maximum size.");
    }
    items_.push_back({words, entry.algorithm, entry.algorithm32, entry.max_bits / word_bits_});
}

const AlgorithmTable::Item& AlgorithmTable::item(u64 words) const {
    for (const Item& item : items_) {
        if (item.threshold_words >= words) return item;
    }
    throw LimitExceededException("AlgorithmTable::get_algorithm()", "", 0, words);
}

const MultiplyAlgorithm* AlgorithmTable::below(const MultiplyAlgorithm& failed, u64 words, u64 bytes) const {
    bool is_below = false;
    for (auto item = items_.rbegin(); item != items_.rend(); ++item) {
        if (is_below && item->max_words >= words && item->algorithm->sizes(words).scratch <= bytes) {
            return item->algorithm;
        }
        is_below = is_below || item->algorithm == &failed;
    }
    return nullptr;
}

MultiplySizes AlgorithmTable::largest(u64 words, const char* function) const {
    MultiplySizes sizes;
    for (const Item& item : items_) {
        const bool last = item.threshold_words >= words;
        sizes.take_maximum(item.sizes(last ? words : item.threshold_words));
        if (last) return sizes;
    }
    throw LimitExceededException(function, "", 0, words);
}

u64 AlgorithmTableB::mSBsize(u64 words) const {
    return largest(words, "AlgorithmTableB::mSBsize()").scratch;
}
MultiplySizes AlgorithmTableB::mSBsizes(u64 words) const {
    return largest(words, "AlgorithmTableB::mSBsizes()");
}

MultiplySizes AlgorithmTableS::mSBsizes(u64 words) const {
    return largest(words, "AlgorithmTableS::mSBsizes()");
}
u64 AlgorithmTableS::iPsize(u64 words) const {
    const MultiplySizes sizes = largest(words, "AlgorithmTableS::iPsize()");
    return sizes.output + sizes.scratch;
}

const AlgorithmTableB& basic_table32() {
    static const AlgorithmTableB table("Basic: 32-bit Word", 32, TableSlot::basic32, basic_list());
    return table;
}
const AlgorithmTableB& basic_table64() {
    static const AlgorithmTableB table("Basic: 64-bit Word", 64, TableSlot::basic64, basic_list());
    return table;
}
const AlgorithmTableS& swap_table32() {
    static const AlgorithmTableS table("Swap: 32-bit Word", 32, TableSlot::swap32, swap_list());
    return table;
}
const AlgorithmTableS& swap_table64() {
    static const AlgorithmTableS table("Swap: 64-bit Word", 64, TableSlot::swap64, swap_list());
    return table;
}

}  // namespace trel
