#include "arith/multiply/algorithm_table.h"

#include <array>
#include <map>
#include <optional>

#include "base/console/console.h"
#include "base/errors/exceptions.h"

namespace trel {
namespace {

using Slots = std::array<std::optional<AlgorithmEntry>, 4>;

std::map<std::string, Slots>& registry() {
    static std::map<std::string, Slots> instance;
    return instance;
}

}  // namespace

void register_algorithm(TableSlot slot, const AlgorithmEntry& entry) {
    std::optional<AlgorithmEntry>& place = registry()[entry.short_name][static_cast<u64>(slot)];
    if (place) {
        Console::error_line("Duplicate Multiplication Algorithm: " + entry.short_name);
        Console::fatal_exit(1);
    }
    place = entry;
}

const AlgorithmEntry* find_algorithm(TableSlot slot, const std::string& short_name, bool* known) {
    const auto found = registry().find(short_name);
    if (known != nullptr) *known = found != registry().end();
    if (found == registry().end()) return nullptr;
    const std::optional<AlgorithmEntry>& place = found->second[static_cast<u64>(slot)];
    return place ? &*place : nullptr;
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
            Console::print_line("Warning: " + item.short_name + " does not support: \"" + name_ + "\"");
        } else {
            Console::print_line("Skipping unknown algorithm: " + item.short_name);
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
    items_.push_back({words, entry.algorithm});
}

const MultiplyAlgorithm& AlgorithmTable::get_algorithm(u64 words) const {
    for (const Item& item : items_) {
        if (item.threshold_words >= words) return *item.algorithm;
    }
    throw LimitExceededException("AlgorithmTable::get_algorithm()", "", 0, words);
}

MultiplySizes AlgorithmTable::largest(u64 words, const char* function) const {
    MultiplySizes sizes;
    for (const Item& item : items_) {
        const bool last = item.threshold_words >= words;
        sizes.take_maximum(item.algorithm->sizes(last ? words : item.threshold_words));
        if (last) return sizes;
    }
    throw LimitExceededException(function, "", 0, words);
}

u64 AlgorithmTable::mSBsize(u64 words) const {
    return largest(words, "AlgorithmTableB::mSBsize()").scratch;
}
MultiplySizes AlgorithmTable::mSBsizes(u64 words) const {
    return largest(words, "AlgorithmTableB::mSBsizes()");
}

const AlgorithmTable& basic_table64() {
    static const AlgorithmTable table("Basic: 64-bit Word", 64, TableSlot::basic64,
                                      {{"BKT", 5120}, {"FFT", 100663296}});
    return table;
}

}  // namespace trel
